"""The policy in the proxy: what applies to whom, and a new one while the proxy runs."""

import subprocess
import unittest

from proxy_case import ADS, IS_SQUID, MODULES, ProxyCase, events

SCRIPT = b"<script>alert(1)</script>"
AD = b'<img src="http://ads.example/a.gif">'
PAGE = b"<p>page</p>" + SCRIPT + AD
NO_SCRIPT = b"<p>page</p>" + AD
NO_AD = b"<p>page</p>" + SCRIPT


class Rules(ProxyCase):
    policy = """
[filter]
block = "scripts"

[[rule]]
name = "pupils"
clients = ["127.0.0.2"]
block = "ads"

[[rule]]
name = "course"
sites = ["127.0.0.1"]
clients = ["127.0.0.3"]
allow = "all"

[[rule]]
name = "reading room"
clients = ["127.0.0.5"]
block = "popups, script-errors"

[allow]
clients = ["127.0.0.4"]
""" + ADS

    def test_apply_to_clients_and_sites(self):
        self.serve("/page", PAGE, ETag='"1"')
        for client, body in (
            ("127.0.0.1", NO_SCRIPT),
            ("127.0.0.2", b"<p>page</p>"),
            ("127.0.0.3", PAGE),
            ("127.0.0.4", PAGE),
        ):
            with self.subTest(client):
                answer = self.fetch("/page", "--interface", client)
                self.assertEqual(answer.body, body)
                self.assertEqual("etag" in answer.headers, body == PAGE)
        saved = [
            (event["client"], event["items"], event["saved"])
            for event in self.all_events_of("/page")
            if event["event"] == "filtered"
        ]
        both = len(SCRIPT) + len(AD)
        self.assertEqual(saved, [("127.0.0.1", 1, len(SCRIPT)), ("127.0.0.2", 2, both)])
        blocked = [(event["client"], event["category"]) for event in self.events_of("/page")]
        self.assertEqual(
            blocked,
            [("127.0.0.1", "scripts"), ("127.0.0.2", "scripts"), ("127.0.0.2", "ad-urls")],
        )

    def test_a_page_that_is_guarded_is_told_of(self):
        self.serve("/guarded", b"<html><head></head><body>" + SCRIPT + b"</body></html>")
        self.assertIn(b"window.open", self.fetch("/guarded", "--interface", "127.0.0.5").body)
        told = [
            event["category"]
            for event in self.all_events_of("/guarded")
            if event["event"] == "guarded"
        ]
        self.assertEqual(told, ["script-errors", "popups"])

    def test_where_scripts_are_blocked_every_answer_says_so(self):
        self.serve("/page", PAGE, Content_Security_Policy="img-src *", ETag='"1"')
        self.serve("/image", b"\x89PNG", "image/png")
        self.serve("/missing", PAGE, status=404)
        self.serve("/empty", b"")
        asked = (
            ("/page", (), 200),
            ("/page", ("--head",), 200),
            ("/page", ("-H", 'If-None-Match: "1"'), 304),
            ("/page", ("-r", "0-9"), 206),
            ("/image", (), 200),
            ("/missing", (), 404),
            ("/empty", (), 200),
        )
        for path, options, status in asked:
            with self.subTest(path, options=options):
                answer = self.fetch(path, *options)
                self.assertEqual((answer.code, answer.status), (0, status))
                policies = answer.lines("content-security-policy")
                self.assertIn("script-src 'none'", policies)
                self.assertEqual("img-src *" in policies, path == "/page")
        self.assertEqual(self.fetch("/image").headers["content-length"], "4")
        free = self.fetch("/page", "--interface", "127.0.0.3")
        self.assertEqual(free.lines("content-security-policy"), ["img-src *"])

    def test_what_browsers_take_for_a_page_is_filtered(self):
        no_type = NO_SCRIPT[len("<p>page</p>") :]
        self.serve("/no-type", b"<!doctype html>" + PAGE, None)
        self.serve("/part", PAGE, status=206, Content_Range=f"bytes 0-{len(PAGE) - 1}/{len(PAGE)}")
        self.serve("/lines", PAGE, "text/css\r\nContent-Type: text/html")
        for path in ("/no-type", "/part", "/lines"):
            with self.subTest(path):
                answer = self.fetch(path)
                self.assertEqual((answer.code, answer.status), (0, 206 if path == "/part" else 200))
                self.assertIn(no_type, answer.body)
                self.assertNotIn(SCRIPT, answer.body)
                self.assertNotIn("content-range", answer.headers)


class Reconfiguration(ProxyCase):
    policy = ADS + '[filter]\nblock = "scripts"\n'

    def reconfigure(self, policy=None):
        if policy is not None:
            self.squid.policy.write_text(policy)
        self.squid.reconfigure()

    def wait_for(self, body):
        self.wait_until(lambda: self.fetch("/page").body == body)

    def errors(self):
        return [e["reason"] for e in events.read(self.squid.events) if e["event"] == "error"]

    def setUp(self):
        self.serve("/page", PAGE)
        self.reconfigure(self.policy)
        self.wait_for(NO_SCRIPT)

    def test_a_bad_policy_changes_nothing(self):
        log = self.squid.log
        before = len(self.errors())
        self.reconfigure(self.policy.replace("scripts", "nonsense"))
        self.wait_until(lambda: len(self.errors()) > before)
        reason = f'{self.squid.policy}:5:9: unknown category "nonsense"'
        self.assertIn(reason, self.errors()[-1])
        self.assertIn(reason, log.read_text())
        self.wait_for(NO_SCRIPT)
        self.reconfigure(self.policy.replace("scripts", "ads"))
        self.wait_for(NO_AD)

    @unittest.skipUnless(IS_SQUID, "Traffic Server reads the plug-in's words at its start alone")
    def test_an_unknown_key_changes_nothing(self):
        configuration = self.squid.folder / "squid.conf"
        text = configuration.read_text()
        self.addCleanup(configuration.write_text, text)
        configuration.write_text(text.replace(" event-log=", " nonsense=1 event-log="))
        before = len(self.errors())
        self.reconfigure()
        self.wait_until(lambda: len(self.errors()) > before)
        self.assertIn('unknown key "nonsense"', self.errors()[-1])
        self.wait_for(NO_SCRIPT)

    def test_lists_and_policy_change_together_or_not_at_all(self):
        own = self.squid.folder / "own.txt"
        own.write_text("||other.example^\n")
        blocks_ads = ADS.replace("ads.txt", "own.txt") + '[filter]\nblock = "ads"\n'
        self.reconfigure(blocks_ads)
        self.wait_for(PAGE)
        own.write_text("||ads.example^\n")
        self.reconfigure()
        self.wait_for(NO_AD)
        own.write_text("! no rule\n")
        before = len(self.errors())
        self.reconfigure(blocks_ads.replace('block = "ads"', 'block = "scripts"'))
        self.wait_until(lambda: len(self.errors()) > before)
        self.wait_for(NO_AD)

    def test_a_preset_is_chosen_while_the_proxy_runs(self):
        self.reconfigure(ADS + '[filter]\nblock = "scripts"\n')
        self.wait_for(NO_SCRIPT)
        for word, body in (("classic", b"<p>page</p>"), ("--as-policy", NO_SCRIPT)):
            command = [MODULES / "velmora", "preset", word, "--policy", self.squid.policy]
            subprocess.run(command, check=True, capture_output=True)
            self.wait_for(body)

    def test_answers_do_not_wait_for_lists(self):
        own = self.squid.folder / "own.txt"
        own.write_text("".join(f"||a{i}.example^$image\n" for i in range(400_000)))
        self.squid.events.rename(self.squid.events.with_name("events.before"))
        lists = '[ads]\nextra-lists = "own.txt"\nrules = "||ads.example^"\n'
        self.reconfigure(lists + '[filter]\nblock = "ads"\n')
        # Policy and log are there, the lists are being read.
        self.wait_until(self.squid.events.exists)
        # A connection that comes while Squid opens its ports anew may end without an answer.
        answers = []
        self.wait_until(lambda: answers.append(self.fetch("/page").body) or answers[-1])
        self.assertEqual(answers[-1], NO_SCRIPT)
        self.wait_for(NO_AD)

    def test_a_log_that_cannot_be_opened_stops_nothing(self):
        log = self.squid.log
        complaint = f"{self.squid.events}: Is a directory"
        self.squid.events.rename(self.squid.events.with_name("events.2"))
        self.squid.events.mkdir()
        self.reconfigure()
        self.wait_until(lambda: complaint in log.read_text())
        self.wait_for(NO_SCRIPT)

        self.squid.stop()
        before = len(log.read_text())
        self.squid.start()
        type(self).worker = self.squid.worker()
        self.wait_for(NO_SCRIPT)
        self.assertIn(complaint, log.read_text()[before:])
        # Tried again, with a count of what was lost.
        self.squid.events.rmdir()
        self.wait_until(lambda: self.squid.events.exists() and self.squid.events.stat().st_size > 0)
        self.assertEqual(events.read(self.squid.events)[0]["event"], "dropped")


if __name__ == "__main__":
    unittest.main()
