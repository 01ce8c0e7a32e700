"""Who asks, and when: groups, users, times; sites that are blocked for them, and searches that are changed."""

import base64
import datetime
import pathlib
import socket
import subprocess
import unittest

from certificates import Certificate
from origin import Page
from proxy_case import ADS, ENGINE, IS_SQUID, Answer, ProxyCase, events
from tls_origin import TlsOrigin, hosts_line, wait_for_names

# What stands in for search engines.
NAMES = ("games.example", "www.games.example", "free.example", "www.google.com", "www.youtube.com",
         "safe.duckduckgo.com", "ads.example")  # fmt: skip
DAYS = ("Mon", "Tue", "Wed", "Thu", "Fri", "Sat", "Sun")
TODAY = datetime.datetime.now(datetime.timezone.utc).weekday()

POLICY = f"""
time.zone = "UTC"
[filter]
block = ["requests", "ad-elements"]
[[group]]
name = "pupils"
clients = ["127.0.0.5"]
users = ["anna"]
[[group]]
name = "tablets"
[[category]]
name = "games"
sites = ["games.example"]
[[rule]]
groups = ["pupils", "tablets"]
block = ["games"]
safe-search = "strict"
[rule.ads]
rules = ["||free.example^$image", "@@||ads.example^"]
[[rule]]
clients = ["127.0.0.4"]
ads.lists = "own.txt"
[[rule]]
clients = ["127.0.0.6"]
when = "{DAYS[TODAY]}, {DAYS[(TODAY + 1) % 7]}"
block = ["games"]
[[rule]]
clients = ["127.0.0.7"]
when = "{DAYS[(TODAY + 3) % 7]}"
block = ["games"]
{ADS}"""

# How each engine says that 127.0.0.8 is one of the tablets, and that Anna has signed in from 127.0.0.9.
SQUID_SAYS = """\
acl tablets src 127.0.0.8
adaptation_meta X-Velmora-Group-1 "others, tablets" tablets
auth_param basic program /usr/lib/squid/basic_fake_auth
acl signed_in proxy_auth REQUIRED
acl desk src 127.0.0.9
http_access deny desk !signed_in
"""
TRAFFIC_SERVER_SAYS = """\
cond %{READ_REQUEST_HDR_HOOK} [AND]
cond %{IP:CLIENT} ="127.0.0.8"
set-header @Velmora-Groups "others, tablets"
cond %{READ_REQUEST_HDR_HOOK} [AND]
cond %{IP:CLIENT} ="127.0.0.9"
set-header @Velmora-User anna
"""
SIGNED_IN = ("--proxy-user", "anna:x")

# Who is kept from games: by address, by the proxy's word, by name, by the time.
CLIENTS = (
    ("127.0.0.1", (), False),
    ("127.0.0.5", (), True),
    ("127.0.0.8", (), True),
    ("127.0.0.9", SIGNED_IN, True),
    ("127.0.0.6", (), True),
    ("127.0.0.7", (), False),
    # Nobody puts himself into a group.
    ("127.0.0.1", ("-H", "@Velmora-Groups: tablets", "-H", "@Velmora-User: anna"), False),
    ("127.0.0.1", ("-H", "X-Velmora-Group: tablets"), False),
)


def make_engine(make, folder, **options):
    names = hosts_line(ENGINE, folder, NAMES)
    # Nobody listens at the host without the filter.
    with open(pathlib.Path(folder, "hosts"), "a") as hosts:
        hosts.write("127.0.0.2 duckduckgo.com\n")
    says = SQUID_SAYS if IS_SQUID else ""
    pathlib.Path(folder, "squid", "own.txt").write_text("||free.example^$script\n")
    engine = make(extra=options.pop("extra", "") + names + says, **options)
    if not IS_SQUID:
        rules = pathlib.Path(engine.folder, "etc", "who.config")
        rules.write_text(TRAFFIC_SERVER_SAYS)
        plugins = rules.with_name("plugin.config")
        plugins.write_text(f"header_rewrite.so {rules}\n{plugins.read_text()}")
    return engine


class Who(ProxyCase):
    policy = POLICY

    @classmethod
    def make_squid(cls, **options):
        return make_engine(super().make_squid, cls.folder.name, **options)

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        wait_for_names(cls.squid.port)
        cls.origin.pages["/a"] = Page(b"from the origin", "text/plain")

    def ask(self, place, client, *options):
        command = self.curl("/", "-i", "--interface", client, *options)
        command[-1] = f"http://{place.replace('/', f':{self.origin.server_port}/', 1)}"
        return Answer(subprocess.run(command, capture_output=True))

    def test_sites_are_blocked_for_some(self):
        for client, options, is_blocked in CLIENTS:
            for place in ("games.example/a", "www.games.example/a", "free.example/a"):
                with self.subTest(client=client, place=place, options=options):
                    answer = self.ask(place, client, *options)
                    expected = 403 if is_blocked and "games" in place else 200
                    self.assertEqual((answer.code, answer.status), (0, expected))

    def test_a_page_says_which_category(self):
        document = ("-H", "Sec-Fetch-Dest: document")
        answer = self.ask("www.games.example/a", "127.0.0.5", *document)
        self.assertRegex(answer.headers["x-velmora"], r'^blocked; rule="www.games.example"; category="games"; id=')
        self.assertIn(b"The site is not for here: <code>www.games.example</code>", answer.body)
        self.assertNotIn(b"<form", answer.body, "whoever sees it does not open it")
        answer = self.ask("games.example/a", "127.0.0.5", "-H", "Sec-Fetch-Dest: image")
        self.assertEqual((answer.status, answer.body[:6]), (200, b"GIF89a"))
        logged = [e for e in events.read(self.squid.events) if e.get("list", "").startswith("[[category]] games:")]
        self.assertTrue(logged)

    def test_lists_of_ones_own(self):
        script, image = (("-H", f"Sec-Fetch-Dest: {kind}") for kind in ("script", "image"))
        ad, free = (b'<img src="http://%s.example/a.gif">' % name for name in (b"ads", b"free"))
        self.origin.pages["/page"] = Page(b"<p>page</p>" + ad + free)
        for client, is_ad, is_free, is_own in (
            ("127.0.0.1", True, False, False),
            ("127.0.0.5", False, True, False),
            ("127.0.0.4", False, False, True),
        ):
            with self.subTest(client):
                self.assertEqual(self.ask("ads.example/a", client, *script).status, 403 if is_ad else 200)
                body = self.ask("free.example/a", client, *image).body
                self.assertEqual(body.startswith(b"GIF"), is_free)
                self.assertEqual(self.ask("free.example/a", client, *script).status, 403 if is_own else 200)
                # An element stays where it would get what it asks for.
                found = self.ask("free.example/page", client, "-H", "Sec-Fetch-Dest: document").body
                stay = (b"" if is_ad else ad) + (b"" if is_free else free)
                self.assertEqual(found, b"<p>page</p>" + stay)

    def test_searches_are_changed(self):
        self.origin.pages["/search?q=a&safe=active"] = self.origin.pages["/search?q=a"] = Page(b"found")
        for client, path in (("127.0.0.5", "/search?q=a&safe=active"), ("127.0.0.1", "/search?q=a")):
            self.origin.requests.clear()
            self.assertEqual(self.ask("www.google.com/search?q=a", client).body, b"found")
            self.assertEqual(self.origin.requests, [path])
        seen = []

        def restricted(handler):
            size = int(handler.headers.get("Content-Length", 0))
            seen.append((handler.headers.get_all("YouTube-Restrict"), handler.rfile.read(size)))
            Page(b"videos")(handler)

        self.origin.pages["/videos"] = restricted
        body = b"x" * 300_000
        file = pathlib.Path(self.folder.name, "body")
        file.write_bytes(body)
        with_body = ("--data-binary", f"@{file}", "-H", "YouTube-Restrict: none")
        for client, options in (("127.0.0.5", ()), ("127.0.0.5", with_body), ("127.0.0.1", ())):
            self.assertEqual(self.ask("www.youtube.com/videos", client, *options).body, b"videos")
        self.assertEqual(seen, [(["Strict"], b""), (["Strict"], body), (None, b"")])

    def connect(self, host, client, headers=""):
        """The answer to a CONNECT, and what comes through the tunnel."""
        source = (client, 0)
        with socket.create_connection(("127.0.0.1", self.squid.port), source_address=source) as tunnel:
            tunnel.settimeout(20)
            place = f"{host}:{self.origin.server_port}"
            tunnel.sendall(f"CONNECT {place} HTTP/1.1\r\nHost: {place}\r\n{headers}\r\n".encode())
            head = tunnel.recv(4096).decode()
            if " 200 " not in head.partition("\r\n")[0]:
                return head, b""
            tunnel.sendall(b"GET /a HTTP/1.0\r\n\r\n")
            through = b""
            while piece := tunnel.recv(4096):
                through += piece
            return head, through

    def test_tunnels_are_blocked_or_led_elsewhere(self):
        signed = f"Proxy-Authorization: Basic {base64.b64encode(b'anna:x').decode()}\r\n"
        for client, headers, is_kept in (
            ("127.0.0.5", "", True),
            ("127.0.0.8", "", True),
            ("127.0.0.9", signed, True),
            ("127.0.0.1", "", False),
        ):
            with self.subTest(client):
                head, through = self.connect("games.example", client, headers)
                self.assertEqual('category="games"' in head, is_kept)
                self.assertEqual(through.endswith(b"from the origin"), not is_kept)
                head, through = self.connect("duckduckgo.com", client, headers)
                self.assertEqual(through.endswith(b"from the origin"), is_kept, head)


class WhoInTunnels(ProxyCase):
    """The same in a tunnel that is looked into, by what was known when it was asked for."""

    policy = POLICY

    @classmethod
    def make_origin(cls):
        folder = pathlib.Path(cls.folder.name)
        cls.root = Certificate(folder, "root", is_authority=True)
        origin = TlsOrigin({name: Certificate(folder, name, cls.root) for name in NAMES})
        for path in ("/a", "/search?q=a", "/search?q=a&safe=active"):
            origin.pages[path] = Page(b"from the origin", "text/plain")
        return origin

    @classmethod
    def make_squid(cls, **options):
        extra = ENGINE.TRUST.format(file=cls.root.file)
        return make_engine(super().make_squid, cls.folder.name, https=True, extra=extra, **options)

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        wait_for_names(cls.squid.port)

    def test_all_of_it(self):
        for client, options, is_blocked in CLIENTS:
            if client in ("127.0.0.6", "127.0.0.7"):
                continue  # times have nothing to do with tunnels
            for place, is_kept in (("games.example/a", True), ("www.google.com/search?q=a", False)):
                with self.subTest(client=client, place=place, options=options):
                    self.origin.requests.clear()
                    flags = ("-k", "--http1.1", "--suppress-connect-headers", "--interface", client)
                    command = self.curl("/", "-i", *flags, *options)
                    command[-1] = f"https://{place.replace('/', f':{self.origin.server_port}/', 1)}"
                    answer = Answer(subprocess.run(command, capture_output=True))
                    self.assertEqual(answer.status, 403 if is_kept and is_blocked else 200)
                    changed = ["/search?q=a&safe=active"] if is_blocked else ["/search?q=a"]
                    self.assertEqual(self.origin.requests, changed if not is_kept else ["/a"] * (not is_blocked))


if __name__ == "__main__":
    unittest.main()
