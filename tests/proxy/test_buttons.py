"""A block page's buttons: open once, and allow here."""

import html
import re
import subprocess
import unittest

from origin import Page
from proxy_case import ADS, ENGINE, IS_SQUID, Answer, ProxyCase, events
from tls_origin import hosts_line

NAMES = ("doc.example", "other.example")
DOCUMENT = {"Sec-Fetch-Dest": "document", "Sec-Fetch-Mode": "navigate", "Sec-Fetch-Site": "same-origin"}


class Buttons(ProxyCase):
    lists = "||doc.example^$document\n||other.example^$document\n||other.example^\n"
    policy = f"""
[filter]
block = "requests"
[[rule]]
sites = ["doc.example"]
clients = ["127.0.0.1"]
allow-self = true
{ADS}"""

    @classmethod
    def make_squid(cls, **options):
        # Several processes that share no memory; the other engine has one.
        workers = {"workers": 2} if IS_SQUID else {}
        return super().make_squid(extra=hosts_line(ENGINE, cls.folder.name, NAMES), **workers, **options)

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.origin.pages["/a"] = Page(b"from the origin", "text/plain")

    def setUp(self):
        self.site = f"http://doc.example:{self.origin.server_port}"

    def ask(self, url, *options, **headers):
        headers = {name.replace("_", "-"): value for name, value in headers.items()}
        lines = [part for pair in (DOCUMENT | headers).items() for part in ("-H", ": ".join(pair))]
        command = self.curl("/", "-i", *lines, *options)
        command[-1] = url
        return Answer(subprocess.run(command, capture_output=True))

    def buttons(self, url):
        """Paths by action."""
        page = self.ask(url)
        self.assertEqual(page.status, 403)
        self.assertIn("frame-ancestors 'none'", page.headers["content-security-policy"])
        paths = map(html.unescape, re.findall(r'<form method="post" action="([^"]*)"', page.body.decode()))
        return {re.match(r"/\.well-known/velmora/(\w+)\?", path)[1]: path for path in paths}

    def press(self, path, site=None, **headers):
        return self.ask((site or self.site) + path, "-d", "", **{"Origin": site or self.site} | headers)

    def told(self):
        return [(e["event"], e["url"]) for e in events.read(self.squid.events) if e["event"] in ("opened", "allowed")]

    def test_open_once_opens_once(self):
        url = f"{self.site}/a?b=c&d"
        self.origin.pages["/a?b=c&d"] = self.origin.pages["/a"]
        path = self.buttons(url)["open"]
        answer = self.press(path)
        self.assertEqual((answer.status, answer.headers["location"], answer.body.strip()), (303, url, b""))
        self.assertEqual([self.ask(url).status for _ in range(3)], [200, 403, 403])
        self.assertEqual(self.press(path).status, 403, "a button works once")
        self.assertIn(("opened", url), self.told())
        # With what a browser sends of a form with a field, whose body must not be answered with one.
        path = self.buttons(url)["open"]
        self.assertEqual(self.ask(self.site + path, "-d", "x=1", Origin=self.site).status, 303)
        self.assertEqual(self.ask(url).status, 200)

    def test_nobody_else_presses_it(self):
        url = f"{self.site}/a"
        path = self.buttons(url)["open"]
        other = f"http://other.example:{self.origin.server_port}"
        signed = re.search(r"permit=([^&]*)", path)[1]
        elsewhere = path.replace(re.search("url=(.*)", path)[1], "http%3A%2F%2Fother.example%2Fa")
        for name, answer in (
            ("another site's form", self.press(path, Origin=other)),
            ("cross-site", self.press(path, Sec_Fetch_Site="cross-site")),
            ("a script", self.press(path, Sec_Fetch_Mode="cors", Sec_Fetch_Dest="empty")),
            ("another URL", self.press(elsewhere)),
            ("another action", self.press(path.replace("/open?", "/allow?"))),
            ("another expiry", self.press(path.replace(signed, "f" + signed))),
            ("nothing signed", self.press(path.replace(signed, "1-2-3"))),
        ):
            with self.subTest(name):
                self.assertEqual(answer.status, 403)
                self.assertNotIn("location", answer.headers)
        self.assertEqual(self.ask(url).status, 403)
        self.assertEqual(self.press(path).status, 303, "it is good still")
        self.assertEqual([self.ask(url).status for _ in range(2)], [200, 403])

    def test_allow_here_where_the_policy_lets_this_client(self):
        url = f"{self.site}/a"
        other = f"http://other.example:{self.origin.server_port}/a"
        self.assertEqual(set(self.buttons(other)), {"open"})
        answer = self.press(self.buttons(url)["allow"])
        self.assertEqual(answer.status, 200)
        self.assertIn(f'content="1; url={url}"', answer.body.decode())
        self.wait_until(lambda: [self.ask(url).status for _ in range(8)] == [200] * 8)
        self.assertIn(("allowed", url), self.told())
        line = self.squid.policy.with_suffix(".exceptions").read_text()
        self.assertIn('"site":"doc.example","client":"127.0.0.1/32"', line)
        self.squid.policy.with_suffix(".exceptions").unlink()
        self.wait_until(lambda: [self.ask(url).status for _ in range(8)] == [403] * 8)

    def test_what_may_be_a_frame_has_a_link(self):
        headers = ["-H", "Accept: text/html", "-H", "Referer: http://news.example/"]
        command = self.curl("/", "-i", *headers)
        command[-1] = f"http://other.example:{self.origin.server_port}/a"
        answer = Answer(subprocess.run(command, capture_output=True))
        self.assertEqual(answer.status, 403)
        self.assertNotIn(b"<form", answer.body)
        self.assertIn(f'<a href="{command[-1]}" target="_top">'.encode(), answer.body)
        self.assertNotIn("frame-ancestors", answer.headers["content-security-policy"])


if __name__ == "__main__":
    unittest.main()
