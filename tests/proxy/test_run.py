"""The programs behind `./run` and `./run proxy`, and what they leave behind: no process."""

import pathlib
import re
import signal
import subprocess
import sys
import unittest

from proxy_case import MODULES, ROOT, ProxyCase
from squid import free_port, is_listening

PROGRAMS = ROOT / "tools" / "proxy"


def leftovers(folder):
    """Processes that were told of a folder."""
    found = []
    for command in pathlib.Path("/proc").glob("[0-9]*/cmdline"):
        try:
            if str(folder).encode() in command.read_bytes():
                found.append(command.parent.name)
        except OSError:
            continue
    return found


class Run(unittest.TestCase):
    def program(self, name, *arguments):
        return [sys.executable, "-B", PROGRAMS / f"{name}.py", *arguments]

    def test_the_demonstration_ends_by_itself(self):
        run = subprocess.run(
            self.program("demo", MODULES), capture_output=True, text=True, timeout=60
        )
        self.assertEqual(run.returncode, 0, run.stderr)
        for category in ("scripts", "ad-urls", "flash", "gif-animation"):
            self.assertRegex(run.stdout, rf"(?m)^  {category} +[1-9]")
        files = re.search(r"The files: (\S+) and (\S+)", run.stdout)
        before, after = map(pathlib.Path, files.groups())
        names = {path.name for path in before.iterdir()}
        self.assertEqual(names, {path.name for path in after.iterdir()})
        for name in names:
            self.assertNotEqual((before / name).read_bytes(), (after / name).read_bytes(), name)
        self.assertEqual(leftovers(ROOT / "build" / "proxy" / "squid.conf"), [])

    def test_an_interrupt_stops_the_proxy(self):
        for number in (signal.SIGINT, signal.SIGTERM):
            with self.subTest(number):
                port = free_port()
                proxy = subprocess.Popen(
                    self.program("proxy", "--port", str(port), "--modules", MODULES),
                    stdout=subprocess.PIPE,
                    text=True,
                )
                self.assertIn(str(port), proxy.stdout.readline())
                self.assertTrue(is_listening(port))
                proxy.send_signal(number)
                self.assertIn("Stopped", proxy.communicate(timeout=30)[0])
                self.assertEqual(proxy.returncode, 0)
                self.assertFalse(is_listening(port))
                self.assertEqual(leftovers(ROOT / "build" / "proxy" / "squid.conf"), [])

    def test_faults_are_said_in_a_line(self):
        port = free_port()
        for arguments, text in (
            (["--block", "nonsense", "--port", str(port)], 'unknown category "nonsense"'),
            (["--modules", "/nowhere", "--port", str(port)], "/nowhere"),
        ):
            run = subprocess.run(
                self.program("proxy", "--modules", MODULES, *arguments),
                capture_output=True,
                text=True,
                timeout=60,
            )
            self.assertEqual(run.returncode, 1)
            self.assertIn(text, run.stderr)
            self.assertNotIn("Traceback", run.stderr)


class Crash(ProxyCase):
    """What a crash costs: the worker, which comes back by itself."""

    def test_the_worker_is_started_again(self):
        self.serve("/page", b"<p>page</p>")
        self.assertEqual(self.fetch("/page").body, b"<p>page</p>")
        subprocess.run(["kill", "-SEGV", str(self.worker)], check=True)
        self.wait_until(lambda: self.fetch("/page").body == b"<p>page</p>")
        self.assertNotEqual(self.squid.worker(), self.worker)
        type(self).worker = self.squid.worker()


if __name__ == "__main__":
    unittest.main()
