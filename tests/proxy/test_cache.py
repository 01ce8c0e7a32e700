"""Traffic Server's cache keeps originals: who gets one from it gets it filtered like any other."""

import time
import unittest

from proxy_case import ADS, ProxyCase

SCRIPT = b"<script>alert(1)</script>"
PAGE = b"<p>page</p>" + SCRIPT


class Cache(ProxyCase):
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


if __name__ == "__main__":
    unittest.main()
