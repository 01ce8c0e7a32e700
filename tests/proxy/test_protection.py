"""What pages protect themselves with: a security policy, and scripts that they pin."""

import unittest

from proxy_case import ADS, ProxyCase

PAGE = b"<html><head><script>run()</script></head><body>text</body></html>"
AD = b'const a = 1; load("http://ads.example/a.js");'


class Protection(ProxyCase):
    policy = '[filter]\nblock = "strict"\n' + ADS

    def test_the_pop_up_script_is_one_that_the_page_runs(self):
        nonce = b' nonce="abc"'
        for name, headers, added in (
            ("none", {}, b""),
            ("nonce", {"Content_Security_Policy": "script-src 'nonce-abc' 'strict-dynamic'"}, nonce),
            ("two", {"Content_Security_Policy": "default-src 'self'\r\nContent-Security-Policy: img-src x"}, None),
        ):
            with self.subTest(name):
                self.serve(f"/{name}", PAGE, **headers)
                body = self.fetch(f"/{name}").body
                tag = b'<script language="JavaScript"%s>' % (added or b"")
                self.assertEqual(body.count(tag), 0 if added is None else 2, body)
                told = {(e["event"], e["category"]) for e in self.all_events_of(f"/{name}")}
                kind = "left-out" if added is None else "guarded"
                self.assertEqual(told, {(kind, "popups"), (kind, "script-errors")})

    def test_a_pinned_script_goes_whole_or_not_at_all(self):
        """One that is not pinned becomes a blank."""
        good = b"const a = 1;" * 20_000
        for path in ("/p/bad.js", "/u/bad.js"):
            self.serve(path, AD, "text/javascript")
        self.serve("/p/good.js", good, "text/javascript")
        self.serve("/p/", b"".join(b'<script src="%s" integrity="sha384-x"></script>' % name
                                   for name in (b"bad.js?a&amp;b", b"/p/good.js")))
        self.origin.pages["/p/bad.js?a&b"] = self.origin.pages["/p/bad.js"]
        self.fetch("/p/")
        cors = ["-H", "Sec-Fetch-Dest: script", "-H", "Sec-Fetch-Mode: cors"]
        for path, headers, status, body in (
            ("/u/bad.js", [], 200, b" "),
            ("/u/bad.js", cors, 403, b""),
            ("/p/bad.js?a&b", [], 403, b""),
            ("/p/good.js", [], 200, good),
        ):
            with self.subTest(path, headers=headers):
                answer = self.fetch(path, *headers)
                self.assertEqual((answer.code, answer.status, answer.body), (0, status, body))
                mark = "^blocked; reason=integrity$" if status == 403 else "^filtered; id="
                self.assertRegex(answer.headers["x-velmora"], mark)


if __name__ == "__main__":
    unittest.main()
