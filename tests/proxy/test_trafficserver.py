"""What Traffic Server alone has: a cache that keeps originals, counters, and an end of its own."""

import ipaddress
import pathlib
import subprocess
import tempfile
import time
import unittest

from proxy_case import ADS, ENGINE, MODULES, Origin, ProxyCase, ProxyError
from engine import LOOPBACK

SCRIPT = b"<script>alert(1)</script>"
PAGE = b"<p>page</p>" + SCRIPT


class Cache(ProxyCase):
    """Who gets an original from the cache gets it filtered like any other."""

    policy = '[filter]\nblock = "scripts"\n[allow]\nclients = ["127.0.0.4"]\n' + ADS

    @classmethod
    def make_squid(cls, **options):
        return super().make_squid(cache=True, **options)

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        # It is not ready as soon as the proxy is.
        deadline = time.monotonic() + 30
        while "cache enabled" not in cls.squid.log.read_text() and time.monotonic() < deadline:
            time.sleep(0.1)

    def assert_both_right(self, path):
        self.assertEqual(self.fetch(path).body, b"<p>page</p>")
        self.assertEqual(self.fetch(path, "--interface", "127.0.0.4").body, PAGE)

    def test_fresh_or_stale(self):
        asked = []
        for name, pieces in (("/length", None), ("/chunks", [PAGE[:20], PAGE[20:]])):
            self.serve(name, PAGE, pieces=pieces, ETag='"1"', Cache_Control="max-age=2")
            answer = self.origin.pages[name]

            def told(handler, answer=answer):
                asked.append(handler.headers.get("If-None-Match"))
                answer(handler)

            self.origin.pages[name] = told
            with self.subTest(name):
                asked.clear()
                self.assert_both_right(name)
                self.assert_both_right(name)
                self.assertEqual(asked, [None], "the clients share one fetch")
                time.sleep(3)
                self.assert_both_right(name)
                self.assertEqual(asked[:2], [None, '"1"'], "the origin was asked again")

    def test_counters_tell_what_was_done(self):
        self.serve("/counted", PAGE)
        self.fetch("/counted")
        self.fetch("/counted", "--interface", "127.0.0.4")
        expected = {
            "responses": 2,
            "responses.filtered": 1,
            "responses.bytes_in": len(PAGE),
            "responses.bytes_out": len(PAGE) - len(SCRIPT),
        }
        # Traffic Server shows them some seconds later.
        self.wait_until(lambda: expected.items() <= self.squid.counters().items())


class Start(unittest.TestCase):
    def make(self, name, policy="", **options):
        folder = tempfile.TemporaryDirectory(prefix="velmora-test-")
        self.addCleanup(folder.cleanup)
        pathlib.Path(folder.name).chmod(0o755)
        return ENGINE(pathlib.Path(folder.name, name), MODULES, policy, **options)

    def test_what_cannot_be_read_ends_it_with_the_reason(self):
        engine = self.make("engine", '[filter]\nblock = "nonsense"\n')
        with self.assertRaisesRegex(ProxyError, 'unknown category "nonsense"'):
            engine.start()

    def test_who_comes_from_elsewhere_reaches_nothing_on_the_loopback(self):
        origin = Origin()
        self.addCleanup(origin.stop)
        for https in (False, True):
            elsewhere = ipaddress.ip_address("192.0.2.1")
            engine = self.make("open", "[ads]\nlists = []\n", address=elsewhere, https=https)
            # As if this machine had that address.
            records = engine.folder / "etc" / "records.config"
            records.write_text(records.read_text().replace(str(elsewhere), str(LOOPBACK)))
            engine.address = LOOPBACK
            with engine:
                for url in (origin.url("/"), origin.url("/").replace("http", "https")):
                    with self.subTest(url, https=https):
                        status = ["-s", "-k", "-o", "/dev/null", "-w", "%{http_code} %{http_connect}"]
                        curl = ["curl", *status, "-x", f"http://127.0.0.1:{engine.port}", url]
                        run = subprocess.run(curl, capture_output=True, text=True)
                        self.assertIn("403", run.stdout)
                curl = ["curl", "-s", "-p", *status[3:], "-x", f"http://127.0.0.1:{engine.port}"]
                run = subprocess.run([*curl, "http://127.0.0.1/"], capture_output=True, text=True)
                self.assertRegex(run.stdout, "000 40[0-9]$")
        self.assertEqual(origin.requests, [])


if __name__ == "__main__":
    unittest.main()
