"""Ad lists with URLs: fetched by the command, checked, and taken by the running proxy."""

import subprocess
import unittest

from origin import Page
from proxy_case import MODULES, ProxyCase

LIST = "! Title: Sites of ads\n! Expires: 2 days\n" + "".join(f"||ad{i}.example^\n" for i in range(40))


class Lists(ProxyCase):
    @classmethod
    def make_squid(cls, **options):
        cls.policy = f'[filter]\nblock = "requests"\n[ads]\nurls = "{cls.origin.url("/list.txt")}"\nlists = "ads.txt"\n'
        return super().make_squid(**options)

    def command(self, *words):
        policy = ["--policy", self.squid.policy]
        return subprocess.run([MODULES / "velmora", "lists", *words, *policy], capture_output=True, text=True)

    def serve_list(self, text, etag="1", status=200):
        self.origin.pages["/list.txt"] = Page(text.encode(), "text/plain", status=status, ETag=f'"{etag}"')

    def is_blocked(self, host):
        command = self.curl("/", "-i")
        command[-1] = f"http://{host}/x.js"
        return b"X-Velmora: blocked" in subprocess.run(command, capture_output=True).stdout

    def update(self, *options, code=0):
        run = self.command("update", "--direct", *options)
        self.assertEqual(run.returncode, code, run.stdout + run.stderr)
        return run.stdout

    def test_a_list_lives(self):
        self.assertIn("not fetched yet", self.command().stdout)
        self.assertFalse(self.is_blocked("ad7.example"))
        self.serve_list("", status=404)
        self.assertIn("not taken: the server answers 404", self.update(code=1))
        self.serve_list(LIST)
        self.assertIn("new: 40 rules", self.update())
        self.wait_until(lambda: self.is_blocked("ad7.example"))
        self.assertTrue(self.is_blocked("ads.example"), "the lists named stay")
        shown = self.command().stdout
        for text in ("Sites of ads\n", "40 in force", "0 hours; it expires after 2 days", self.origin.url("/list.txt")):
            self.assertIn(text, shown)
        # Asked for with what the server said the last time; not at all before it has expired.
        self.assertIn("unchanged", self.update())
        self.origin.requests.clear()
        self.assertIn("not due yet", self.update("--due"))
        self.assertEqual(self.origin.requests, [])
        # What looks like a mistake leaves the one before in force, as does a server that is gone.
        for text, reason in (
            ("<!doctype html><p>Sign in to this network", "a web page"),
            ("! nothing\n", "no rule"),
            ("||ad1.example^\n" * 19, "has 1 rules where the one before has 40"),
        ):
            with self.subTest(reason):
                self.serve_list(text, etag=reason)
                self.assertIn(reason, self.update(code=1))
        self.assertTrue(self.is_blocked("ad7.example"))
        self.serve_list("||ad1.example^\n||ad99.example^\n", etag="less")
        self.assertIn("new: 2 rules (40 before)", self.update("--take-less"))
        self.wait_until(lambda: self.is_blocked("ad99.example"))
        self.assertFalse(self.is_blocked("ad7.example"))
        # By way of the proxy too.
        self.serve_list(LIST, etag="proxy")
        proxy = f"http://127.0.0.1:{self.squid.port}"
        run = self.command("update", "--proxy", proxy)
        self.assertIn("new: 40 rules", run.stdout)


if __name__ == "__main__":
    unittest.main()
