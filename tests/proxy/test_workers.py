"""A proxy of several processes that share its work and its event log."""

import collections
import os
import pathlib
import signal
import subprocess
import unittest

import proxy_case
from proxy_case import ProxyCase
from squid import NoSockets

PAGES = 2500
WORKERS = 2
FILTERED = b"<p>page</p>"


class Workers(ProxyCase):
    policy = '[filter]\nblock = "scripts"\n'

    @classmethod
    def make_squid(cls):
        try:
            # Whoever is free takes the next connection; one page each spreads them well.
            alone = "client_persistent_connections off\n"
            return super().make_squid(workers=WORKERS, extra=alone)
        except NoSockets as error:
            raise unittest.SkipTest(str(error)) from None

    def worker_ids(self):
        """Of those that serve; another child coordinates them."""
        found = set()
        for child in self.squid.children():
            command = pathlib.Path(f"/proc/{child}/cmdline").read_bytes()
            if b"squid-coord" not in command:
                found.add(child)
        return found

    def blocked(self):
        """All that the log holds; a line that is cut or mixed with another is an error here."""
        events = proxy_case.events.read(self.squid.events)
        self.assertEqual({event["event"] for event in events}, {"blocked", "filtered"})
        return [event for event in events if event["event"] == "blocked"]

    def test_every_line_of_every_worker_is_in_the_log(self):
        self.serve("/p", FILTERED + b"<script>alert(1)</script>")
        folder = pathlib.Path(self.folder.name, "pages")
        folder.mkdir()
        many = ["-Z", "--parallel-max", "64", "--parallel-immediate", "--fail", "-o", f"{folder}/#1"]
        subprocess.run(self.curl(f"/p/[1-{PAGES}]", *many), check=True)
        self.assertEqual({path.read_bytes() for path in folder.iterdir()}, {FILTERED})
        urls = sorted(self.origin.url(f"/p/{number}") for number in range(1, PAGES + 1))
        events = [event for event in self.blocked() if event["url"] in urls]
        self.assertEqual(sorted(event["url"] for event in events), urls)
        by_worker = collections.Counter(event["pid"] for event in events)
        print("pages by worker:", *by_worker.values())
        self.assertEqual(by_worker.keys(), self.worker_ids())

    def test_a_new_policy_reaches_all(self):
        script = b"<script>alert(1)</script>"
        self.serve("/new", FILTERED + script)
        for policy, body in (('block = "flash"', FILTERED + script), ('block = "scripts"', FILTERED)):
            self.squid.policy.write_text(f"[filter]\n{policy}\n")
            self.squid.process.send_signal(signal.SIGHUP)
            self.wait_until(lambda body=body: {self.fetch("/new").body for _ in range(20)} == {body})

    def test_when_one_crashes_the_others_go_on(self):
        self.serve("/page", FILTERED)
        before = self.worker_ids()
        victim = max(before)
        os.kill(victim, signal.SIGSEGV)
        for _ in range(20):
            self.assertEqual(self.fetch("/page").body, FILTERED)
        self.wait_until(lambda: len(self.worker_ids() - {victim}) == WORKERS)
        self.assertEqual(before - self.worker_ids(), {victim})
        type(self).worker = self.squid.worker()


if __name__ == "__main__":
    unittest.main()
