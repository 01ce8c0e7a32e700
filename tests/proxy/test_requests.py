"""Requests judged before they leave: which are made, and what is answered in the place of the others."""

import contextlib
import pathlib
import socket
import struct
import subprocess
import time
import unittest

from certificates import Certificate
from origin import Page
from proxy_case import ADS, ENGINE, IS_SQUID, MODULES, Answer, ProxyCase, events
from tls_origin import TlsOrigin, hosts_line, wait_for_names

LISTS = """\
||ads.example^
@@||ads.example^*/good/
||typed.example^*/track$script
||third.example^$third-party
||paged.example^$domain=news.example
||doc.example^$document
||whole.example^
"""
NAMES = ("ads.example", "typed.example", "third.example", "paged.example", "doc.example", "free.example",
         "whole.example")
GIF = (200, "image/gif", b"GIF89a")
FRAME = (200, "text/html; charset=utf-8", b"<!doctype html>")
PAGE = (403, "text/html; charset=utf-8", b"<!doctype html>\n<html lang=")
PASSES = (200, "text/plain", b"from the origin")


def empty(content_type="text/plain"):
    return (403, content_type, b"")


def to(destination, **more):
    return {"Sec-Fetch-Dest": destination, **{k.replace("_", "-"): v for k, v in more.items()}}


NEWS = {"Referer": "http://news.example/"}
# Is POSTed.
PING = {"Ping-From": "http://news.example/", "Content-Type": "text/ping"}
# What is asked for, with which headers, and what comes.
CASES = (
    ("ads.example/a", to("script"), empty("text/javascript")),
    ("ads.example/a", to("style"), empty("text/css")),
    ("ads.example/a", to("empty", Sec_Fetch_Mode="cors"), empty()),
    ("ads.example/a", to("font"), empty()),
    ("ads.example/a", to("video"), empty()),
    ("ads.example/a", to("image"), GIF),
    ("ads.example/a", to("iframe"), FRAME),
    # Only rules for pages are for pages that somebody asks for.
    ("ads.example/a", to("document"), PASSES),
    ("doc.example/a", to("document"), PAGE),
    ("ads.example/good/a", to("script"), PASSES),
    ("free.example/a", to("script"), PASSES),
    # What markup asks for elsewhere than in src: srcset and poster, preloads, prefetches, images of SVG, pings.
    ("ads.example/a", to("image", Sec_Fetch_Mode="no-cors", **NEWS), GIF),
    ("ads.example/a", to("font", Sec_Fetch_Mode="cors", **NEWS), empty()),
    ("ads.example/a", to("track", **NEWS), empty()),
    ("ads.example/a", to("empty", Sec_Fetch_Mode="no-cors", Sec_Purpose="prefetch", **NEWS), empty()),
    ("ads.example/a", to("json"), empty()),
    # Without Sec-Fetch-Dest.
    ("ads.example/a", {"Accept": "text/css,*/*;q=0.1"}, empty("text/css")),
    ("ads.example/a", {"Accept": "image/avif,image/webp,*/*;q=0.8"}, GIF),
    ("ads.example/a", {"Accept": "text/html,*/*;q=0.8"}, PASSES),
    ("ads.example/a", {"Accept": "text/html,*/*;q=0.8", **NEWS}, PAGE),
    ("ads.example/a.png?b.js", {}, GIF),
    ("ads.example/a", {"Upgrade": "websocket", "Connection": "Upgrade"}, empty()),
    ("ads.example/a", PING, empty()),
    # The type matters, where it is told and where it is guessed.
    ("typed.example/track", to("script"), empty("text/javascript")),
    ("typed.example/track", to("image"), PASSES),
    ("typed.example/track.js", {}, empty("text/javascript")),
    ("typed.example/track.gif", {}, PASSES),
    ("typed.example/track", {}, empty("text/javascript")),
    # So does the page, told by whatever header.
    ("third.example/a", NEWS, empty("text/javascript")),
    ("third.example/a", {"Referer": "http://www.third.example/"}, PASSES),
    ("third.example/a", to("script", Sec_Fetch_Site="cross-site"), empty("text/javascript")),
    ("third.example/a", to("script", Sec_Fetch_Site="same-origin"), PASSES),
    ("third.example/a", {}, PASSES),
    ("paged.example/a", {"Origin": "http://news.example"}, empty("text/javascript")),
    ("paged.example/a", {"Origin": "null"}, PASSES),
    # The policy of the page holds, and an allowed site can be asked for from anywhere.
    ("ads.example/a", {"Referer": "http://friend.example/"}, PASSES),
)  # fmt: skip


class Requests(ProxyCase):
    lists = LISTS
    policy = f"""
[filter]
block = "requests"
[[rule]]
sites = ["friend.example"]
allow = "ads"
{ADS}"""

    @classmethod
    def make_squid(cls, **options):
        return super().make_squid(extra=hosts_line(ENGINE, cls.folder.name, NAMES), **options)

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        for path in ("/a", "/good/a", "/track", "/track.gif"):
            cls.origin.pages[path] = Page(b"from the origin", "text/plain")

    def address(self, place):
        host, _, path = place.partition("/")
        return f"http://{host}:{self.origin.server_port}/{path}"

    def ask(self, place, headers, *options):
        lines = [part for name, value in headers.items() for part in ("-H", f"{name}: {value}")]
        command = self.curl("/", "-i", *lines, *options)
        command[-1] = self.address(place)
        return Answer(subprocess.run(command, capture_output=True))

    def test_each_request_gets_what_fits_it(self):
        for place, headers, (status, content_type, body) in CASES:
            with self.subTest(place, **headers):
                self.origin.requests.clear()
                answer = self.ask(place, headers, *(["-d", "PING"] if headers is PING else []))
                found = (answer.code, answer.status, answer.headers["content-type"])
                self.assertEqual(found, (0, status, content_type))
                self.assertTrue(answer.body.startswith(body) if body else answer.body.strip() == b"")
                is_made = body == b"from the origin"
                self.assertEqual(len(self.origin.requests), is_made)
                self.assertEqual("x-velmora" in answer.headers, not is_made)

    def test_a_block_is_told_and_logged(self):
        answer = self.ask("typed.example/track", {**to("script"), **NEWS})
        rule, place = "||typed.example^*/track$script", self.squid.folder / "ads.txt"
        event = events.read(self.squid.events)[-1]
        self.assertEqual(
            answer.headers["x-velmora"], f'blocked; rule="{rule}"; list="ads.txt"; id={event["id"]}'
        )
        self.assertLessEqual(
            {
                "event": "blocked",
                "client": "127.0.0.1",
                "url": self.address("typed.example/track"),
                "page": NEWS["Referer"],
                "type": "script",
                "category": "requests",
                "item": "GET",
                "detail": f'"{rule}"',
                "list": f"{place}:3",
            }.items(),
            event.items(),
        )

    def command(self, *words):
        policy = ["--policy", self.squid.policy]
        run = subprocess.run([MODULES / "velmora", *words, *policy], capture_output=True, text=True)
        self.assertEqual(run.returncode, 0, run.stderr)
        return run.stdout

    def test_what_is_allowed_passes_within_a_second_until_it_is_undone(self):
        script = to("script")
        for words, place, headers in (
            (["free.example"], "ads.example/a", {**script, "Referer": "http://www.free.example/"}),
            (["ads.example", "--category", "requests"], "ads.example/a", {**script, **NEWS}),
            (["ads.example", "--client", "127.0.0.0/8", "--for", "1h"], "ads.example/a", script),
        ):
            with self.subTest(words):
                self.assertEqual(self.ask(place, headers).status, 403)
                self.assertIn(f"allowed {words[0]}", self.command("allow", *words))
                time.sleep(1)
                self.assertEqual(self.ask(place, headers).status, 200)
                self.assertIn(f"taken back: {words[0]}", self.command("undo"))
                time.sleep(1)
                self.assertEqual(self.ask(place, headers).status, 403)
        self.command("allow", "ads.example", "--client", "10.0.0.0/8")
        self.command("allow", "ads.example", "--category", "popups")
        self.command("allow", "ads.example", "--for", "1s")
        time.sleep(2)
        self.assertEqual(self.ask("ads.example/a", script).status, 403)
        # A file that cannot be read changes nothing, and both logs say so.
        file = self.squid.policy.with_suffix(".exceptions")
        file.write_text('{"site":"ads.example"}\n{"site":3}\n')
        time.sleep(1)
        self.assertEqual(self.ask("ads.example/a", script).status, 403)
        reasons = [e["reason"] for e in events.read(self.squid.events) if e["event"] == "error"]
        self.assertIn(f"{file}:2: ", reasons[-1])
        file.unlink()

    def test_why_tells_the_story_of_a_block(self):
        answer = self.ask("ads.example/why", {**to("image"), **NEWS})
        block = answer.headers["x-velmora"].rpartition("id=")[2]
        for asked in (block, self.address("ads.example/why")):
            story = self.command("why", asked, "--log", self.squid.events)
            for text in (
                block,
                "requests",
                "image",
                NEWS["Referer"],
                '"||ads.example^"',
                f"{self.squid.folder / 'ads.txt'}:1",
                "127.0.0.1",
                "[filter]",
            ):
                self.assertIn(text, story)

    def test_a_page_says_why_in_the_languages_of_the_browser(self):
        for languages, text in (
            ("fr, de-DE;q=0.8, en;q=0.5", "Von Velmora blockiert"),
            ("en-GB, de", "Blocked by Velmora"),
            ("", "Blocked by Velmora"),
        ):
            head = {**to("document"), "Accept-Language": languages}
            page = self.ask("doc.example/<b>&", head, "--path-as-is").body.decode()
            self.assertIn(f"<h1>{text}</h1>", page)
            self.assertIn("||doc.example^$document", page)
            self.assertNotIn("/<b>&", page)
            self.assertNotIn("<script", page)
            self.assertRegex(page, "velmora why [0-9a-z]{10}</code>.*velmora allow doc.example</code>")

    @unittest.skipUnless(IS_SQUID, "Traffic Server closes those on which it answered itself")
    def test_connections_are_kept(self):
        urls = [self.address(f"ads.example/{i}.gif") for i in range(8)]
        nowhere = ["-o", "/dev/null"] * len(urls)
        command = [*self.curl("/", "-w", "%{num_connects} ", *nowhere)[:-1], *urls]
        run = subprocess.run(command, capture_output=True, text=True)
        self.assertEqual(run.stdout, "1 " + "0 " * 7)

    def test_heads_and_bodies_are_answered_without_a_body(self):
        for headers in (to("image"), to("iframe"), to("document"), to("script")):
            host = "doc.example/a" if "document" in headers.values() else "ads.example/a"
            with self.subTest(**headers):
                head = self.ask(host, headers, "--head")
                self.assertEqual((head.code, head.body), (0, b""))
                post = self.ask(host, headers, "-d", "x" * 100_000)
                self.assertEqual((post.code, post.status, post.body.strip()), (0, 403, b""))
        self.assertIn("x-velmora", post.headers)

    def test_a_client_that_breaks_off_what_it_sends_kills_no_worker(self):
        reset = struct.pack("ii", 1, 0)
        kinds = (("image", "ads.example"), ("iframe", "ads.example"), ("document", "doc.example"))
        for size, delay in ((300_000, 0), (70_000, 0.002)):
            for kind, host in kinds * 10:
                with socket.create_connection(("127.0.0.1", self.squid.port)) as client:
                    client.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, reset)
                    head = f"POST {self.address(host + '/a')} HTTP/1.1\r\nHost: {host}\r\n"
                    head += f"Sec-Fetch-Dest: {kind}\r\nContent-Length: 1000000\r\n\r\n"
                    with contextlib.suppress(OSError):
                        client.sendall(head.encode() + b"x" * size)
                    time.sleep(delay)
        time.sleep(0.5)
        self.assertEqual(self.squid.worker(), self.worker)
        self.assertEqual(self.ask("ads.example/a", to("image")).status, 200)

    def test_a_tunnel_is_blocked_where_all_that_could_come_through_is(self):
        for name, status in (("whole.example", 403), ("typed.example", 200), ("third.example", 200)):
            with self.subTest(name), socket.create_connection(("127.0.0.1", self.squid.port)) as client:
                client.settimeout(10)
                client.sendall(f"CONNECT {name}:{self.origin.server_port} HTTP/1.1\r\n\r\n".encode())
                head = client.recv(4096).decode()
                self.assertTrue(head.startswith(f"HTTP/1.1 {status} "), head)
                self.assertEqual("X-Velmora: blocked" in head, status == 403)


class RequestsInTunnels(ProxyCase):
    """What comes through a tunnel that is looked into is judged one by one."""

    lists = LISTS
    policy = Requests.policy
    ask = Requests.ask

    @classmethod
    def make_origin(cls):
        folder = pathlib.Path(cls.folder.name)
        cls.root = Certificate(folder, "root", is_authority=True)
        origin = TlsOrigin({name: Certificate(folder, name, cls.root) for name in NAMES})
        origin.pages["/a"] = origin.pages["/good/a"] = Page(b"from the origin", "text/plain")
        return origin

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        wait_for_names(cls.squid.port)

    @classmethod
    def make_squid(cls, **options):
        extra = ENGINE.TRUST.format(file=cls.root.file) + hosts_line(ENGINE, cls.folder.name, NAMES)
        return super().make_squid(https=True, extra=extra, **options)

    def address(self, place):
        host, _, path = place.partition("/")
        return f"https://{host}:{self.origin.server_port}/{path}"

    def test_each_request_gets_what_fits_it(self):
        for place, headers, (status, content_type, body) in (
            ("ads.example/a", to("script"), empty("text/javascript")),
            ("ads.example/a", to("image"), GIF),
            ("ads.example/a", to("iframe"), FRAME),
            ("doc.example/a", to("document"), PAGE),
            ("whole.example/a", to("script"), empty("text/javascript")),
            ("ads.example/a", {"Upgrade": "websocket", "Connection": "Upgrade"}, empty()),
            ("ads.example/good/a", to("script"), PASSES),
            ("free.example/a", to("script"), PASSES),
        ):
            with self.subTest(place, **headers):
                self.origin.requests.clear()
                answer = self.ask(place, headers, "-k", "--http1.1", "--suppress-connect-headers")
                found = (answer.code, answer.status, answer.headers["content-type"])
                self.assertEqual(found, (0, status, content_type))
                self.assertTrue(answer.body.startswith(body) if body else answer.body.strip() == b"")
                self.assertEqual(len(self.origin.requests), body == b"from the origin")


if __name__ == "__main__":
    unittest.main()
