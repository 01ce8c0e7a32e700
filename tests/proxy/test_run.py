"""The programs behind `./run` and `./run proxy`, and what they leave behind: no process."""

import argparse
import contextlib
import io
import ipaddress
import os
import pathlib
import re
import signal
import subprocess
import sys
import tempfile
import unittest

from proxy_case import MODULES, ROOT, ProxyCase
import proxy
from engine import free_port, is_listening
from squid import Squid

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

    def start(self, *arguments):
        proxy = subprocess.Popen(
            self.program("proxy", "--modules", MODULES, *arguments),
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
            text=True,
        )
        self.addCleanup(proxy.kill)
        return proxy

    def end(self, proxy, number=signal.SIGINT):
        proxy.send_signal(number)
        output, errors = proxy.communicate(timeout=30)
        self.assertIn("Stopped", output)
        self.assertEqual(proxy.returncode, 0)
        self.assertEqual(leftovers(ROOT / "build" / "proxy" / "squid.conf"), [])
        return errors

    def test_an_interrupt_stops_the_proxy(self):
        for number in (signal.SIGINT, signal.SIGTERM):
            with self.subTest(number):
                port = free_port()
                proxy = self.start("--port", str(port), "--listen", "127.0.0.2")
                self.assertIn(f"127.0.0.2:{port}", proxy.stdout.readline())
                self.assertTrue(is_listening(port, ipaddress.ip_address("127.0.0.2")))
                self.assertFalse(is_listening(port))
                self.assertEqual(self.end(proxy, number), "")
                self.assertFalse(is_listening(port, ipaddress.ip_address("127.0.0.2")))

    @unittest.skipUnless((MODULES / "trafficserver_velmora.so").exists(), "not built")
    def test_the_other_engine(self):
        port = free_port()
        proxy = self.start("--engine", "trafficserver", "--https", "--port", str(port))
        self.assertIn(str(port), proxy.stdout.readline())
        self.assertEqual(self.end(proxy), "")
        self.assertEqual(leftovers(ROOT / "build" / "proxy" / "runroot.yaml"), [])

    def test_a_changed_policy_is_read_and_earlier_events_are_kept(self):
        with tempfile.TemporaryDirectory() as folder:
            os.chmod(folder, 0o755)
            policy = pathlib.Path(folder, "velmora.toml")
            ads = pathlib.Path(folder, "ads.txt")
            ads.write_text("||ads.example^\n")
            policy.write_text('[ads]\nextra-lists = ["ads.txt"]\n')
            proxy = self.start("--port", str(free_port()), "--policy", policy)
            while "Ctrl-C" not in proxy.stdout.readline():
                self.assertIsNone(proxy.poll())
            ads.write_text("||other.example^\n")
            self.assertIn(f"{ads} has changed", proxy.stdout.readline())
            policy.write_text('ads = 1\nrule = 2\n[filter]\nblock = "nonsense"\n')
            said = ""
            while f"{policy} has changed" not in said or 'category "nonsense"' not in said:
                said += proxy.stdout.readline()
                self.assertIsNone(proxy.poll())
            self.end(proxy)
            self.end_at_once()
        log = ROOT / "build" / "proxy" / "log" / "events"
        self.assertNotIn("nonsense", log.read_text())
        self.assertIn("nonsense", log.with_name("events.1").read_text())

    def end_at_once(self):
        proxy = self.start("--port", str(free_port()))
        proxy.stdout.readline()
        self.end(proxy)

    def test_who_may_come_is_said_and_meant(self):
        for address, is_open in (("127.0.0.1", False), ("::1", False), ("192.0.2.1", True)):
            with self.subTest(address), tempfile.TemporaryDirectory() as folder:
                os.chmod(folder, 0o755)
                options = argparse.Namespace(
                    listen=ipaddress.ip_address(address), https=False, policy=None, block="ads"
                )
                squid = Squid(folder, None, port=3128, address=options.listen)
                access = re.findall(
                    r"(?m)^http_access (.*)", (squid.folder / "squid.conf").read_text()
                )
                others = ["deny to_localhost", "allow all"] if is_open else []
                self.assertEqual(access, ["allow loopback", *others, "deny all"])
                errors = io.StringIO()
                with contextlib.redirect_stderr(errors), contextlib.redirect_stdout(io.StringIO()):
                    proxy.say_hello(squid, options)
                self.assertEqual("open to whoever" in errors.getvalue(), is_open)

    def test_faults_are_said_in_a_line(self):
        port = str(free_port())
        for arguments, text in (
            (["--block", "nonsense", "--port", port], 'unknown category "nonsense"'),
            (["--modules", "/nowhere", "--port", port], "/nowhere"),
            (["--policy", "none.toml", "--port", port], "none.toml: no such file"),
            (["--port", "80000"], "'80000' is no port: 1 to 65535"),
            (["--listen", "1.2.3"], "'1.2.3' is no IP address"),
            (["--workers", "0"], "'0' is no number from 1 on"),
        ):
            run = subprocess.run(
                self.program("proxy", "--modules", MODULES, *arguments),
                capture_output=True,
                text=True,
                timeout=60,
            )
            self.assertNotEqual(run.returncode, 0)
            self.assertIn(text, run.stderr)
            self.assertNotIn("Traceback", run.stderr)

    def test_arguments_are_looked_at_before_the_build(self):
        for arguments, code in ((["proxy", "--port", "80000"], 2), (["farm", "--members", "0"], 2), (["proxy", "-h"], 0)):
            run = subprocess.run([ROOT / "run", *arguments], capture_output=True, text=True, timeout=20)
            self.assertEqual(run.returncode, code)
            self.assertNotIn("Building", run.stdout + run.stderr)
            self.assertRegex(run.stdout + run.stderr, "80000|'0' is no|usage: ./run proxy")


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
