"""What comes in, however it comes in, goes out filtered or untouched."""

import collections
import gzip
import json
import re
import subprocess
import unittest

from proxy_case import ADS, MODULES, ROOT, ProxyCase

SCRIPT = b"<script>alert(1)</script>"
TEXT = b"<html><body><p>one</p>%s<p>two</p></body></html>"
PAGE = TEXT % SCRIPT
# Nothing that adds to a page, so that the results are plain to see.
POLICY = """
[filter]
block = ["scripts", "javascript", "vbscript", "ad-urls", "gif-animation"]
[limits]
filter-time = "50s"  # A busy machine is no reason to let the large page pass.
[event-log]
counters = "500ms"
""" + ADS
GIF = (ROOT / "examples" / "animation.gif").read_bytes()


class Bodies(ProxyCase):
    policy = POLICY

    def assert_filtered(self, answer):
        self.assertEqual(answer.code, 0)
        self.assertEqual(answer.status, 200)
        self.assertNotIn(b"alert", answer.body)
        self.assertTrue(answer.body.startswith(b"<html><body><p>one</p>"), answer.body)
        self.assertTrue(answer.body.endswith(b"<p>two</p></body></html>"), answer.body)

    def test_with_a_length_and_in_chunks(self):
        self.serve("/plain", PAGE)
        answer = self.fetch("/plain")
        self.assert_filtered(answer)
        # Traffic Server knows the new length of what is short.
        self.assertEqual(answer.headers.get("content-length", "46"), str(len(answer.body)))
        self.serve("/chunked", PAGE, pieces=[PAGE[i : i + 1] for i in range(len(PAGE))])
        self.assert_filtered(self.fetch("/chunked"))
        self.assert_filtered(self.fetch("/chunked", "--http1.0"))
        blocked = {(e["category"], e["client"]) for e in self.events_of("/plain")}
        self.assertIn(("scripts", "127.0.0.1"), blocked)
        summary = subprocess.run(
            [MODULES / "velmora", "top", "--summary", self.squid.events], capture_output=True, text=True
        )
        self.assertRegex(summary.stdout, r"(?m)^[1-9]\d* blocked, 0 stopped, 0 errors, [1-9]\d* bytes saved$")
        self.assertNotIn("unreadable", summary.stdout)

    def metrics(self):
        """Each by its name and its last label, of all workers."""
        command = [MODULES / "velmora", "metrics", "--policy", self.squid.policy, "--log", self.squid.events]
        told = subprocess.run(command, capture_output=True, text=True, check=True).stdout
        sums = collections.Counter()
        for name, label, value in re.findall(r'(?m)^velmora_(\w+)\{[^}]*?\w+="([a-z_-]*)"\} (\S+)$', told):
            sums[name, label] += float(value)
        return sums

    def test_workers_tell_what_they_have_done(self):
        before = self.metrics()
        self.serve("/counted", PAGE)
        for _ in range(3):
            self.assert_filtered(self.fetch("/counted"))
        self.wait_until(lambda: self.metrics()["body_bytes_total", "out"] >= before["body_bytes_total", "out"] + 3 * 46)
        grown = self.metrics() - before
        self.assertGreaterEqual(grown["requests_total", "judged"], 3)
        self.assertGreaterEqual(grown["responses_total", "filtered"], 3)
        self.assertGreaterEqual(grown["blocked_total", "scripts"], 3)
        self.assertGreaterEqual(grown["body_bytes_total", "in"], 3 * len(PAGE))

    def test_a_header_leads_to_what_went(self):
        """How much that is, is not known when the header is sent."""
        self.serve("/marked", b"<p onclick='a'>" + PAGE)
        mark = self.fetch("/marked").headers["x-velmora"]
        self.assertRegex(mark, "^filtered; id=[0-9a-z]{10}$")
        self.wait_until(lambda: any(e["event"] == "filtered" for e in self.all_events_of("/marked")))
        why = [MODULES / "velmora", "why", mark[-10:], "--log", self.squid.events]
        story = subprocess.run(why, capture_output=True, text=True).stdout
        for line in ("items         3", "item          onclick='a'", "byte 0 of the body", "byte 37 of the body"):
            self.assertIn(line, story)
        # What nothing was asked about has none.
        self.serve("/untouched", PAGE, "image/png")
        self.assertNotIn("x-velmora", self.fetch("/untouched").headers)

    def test_the_command_does_the_same(self):
        """Coded bodies, types and character sets under the web's names, and what the page says. What
        it does is for the tests of the library that both use."""
        japanese = '<meta charset=windows-31j><p onclick="x(\u8868)">'.encode("cp932") + PAGE
        for name, coding, content_type, body, is_filtered in (
            ("page.html.gz", "gzip", "text/html", gzip.compress(japanese), True),
            ("image", "", "image/gif", GIF, True),
            ("latin", "", "application/xhtml+xml; charset=x-sjis", japanese, True),
            ("other.gz", "gzip", "image/png", gzip.compress(PAGE), False),
        ):
            with self.subTest(name):
                headers = {"Content_Encoding": coding} if coding else {}
                self.serve(f"/{name}", body, content_type, **headers)
                file = self.squid.folder / name
                file.write_bytes(body)
                kind, _, charset = content_type.partition("; charset=")
                run = subprocess.run(
                    [MODULES / "velmora", "filter", file, "--policy", self.squid.policy]
                    + ["--type", kind, "--url", self.origin.url(f"/{name}")]
                    + (["--charset", charset] if charset else [])
                    + ["--report", "json"],
                    capture_output=True,
                )
                self.assertEqual(run.returncode, 0, run.stderr)
                answer = self.fetch(f"/{name}")
                self.assertEqual(run.stdout, answer.body)
                self.assertEqual(answer.body != body, is_filtered)
                self.assertEqual("content-encoding" in answer.headers, bool(coding) > is_filtered)
                items = [json.loads(line) for line in run.stderr.splitlines()]
                self.assertEqual(
                    [(item["code"], item["item"]) for item in items],
                    [(e["code"], e["item"]) for e in self.events_of(f"/{name}")],
                )

    def test_empty_and_tiny(self):
        for name, body in {"empty": b"", "one": b"x", "two": b"<p"}.items():
            for kind, pieces in {"plain": None, "chunked": [body] if body else []}.items():
                with self.subTest(name, kind=kind):
                    self.serve(f"/{name}", body, pieces=pieces)
                    answer = self.fetch(f"/{name}")
                    self.assertEqual((answer.code, answer.body), (0, body))

    def test_headers_that_no_longer_hold_are_dropped(self):
        stale = {"ETag": '"1"', "Content_MD5": "x", "Digest": "y", "Accept_Ranges": "bytes"}
        self.serve("/stale", PAGE, Last_Modified="Mon, 01 Jan 2024 00:00:00 GMT", **stale)
        headers = self.fetch("/stale").headers
        for name in ("etag", "content-md5", "digest", "accept-ranges"):
            self.assertNotIn(name, headers)
        self.assertIn("last-modified", headers)
        # What is not filtered keeps them.
        self.serve("/kept", PAGE, "image/png", **stale)
        answer = self.fetch("/kept")
        self.assertEqual(answer.body, PAGE)
        self.assertEqual(answer.headers["etag"], '"1"')
        self.assertEqual(answer.headers["content-length"], str(len(PAGE)))

    def test_head_parts_and_not_modified_pass_by(self):
        self.serve("/page", PAGE, ETag='"1"')
        head = self.fetch("/page", "--head")
        self.assertEqual((head.code, head.status, head.body), (0, 200, b""))
        part = self.fetch("/page", "-r", "30-49")
        self.assertEqual((part.code, part.status, part.body), (0, 206, PAGE[30:50]))
        self.assertEqual(part.headers["content-range"], f"bytes 30-49/{len(PAGE)}")
        unchanged = self.fetch("/page", "-H", 'If-None-Match: "1"')
        self.assertEqual((unchanged.code, unchanged.status), (0, 304))
        self.origin.pages["/none"] = lambda handler: (
            handler.send_response(204),
            handler.end_headers(),
        )
        self.assertEqual(self.fetch("/none").status, 204)

    def test_fifty_megabytes(self):
        block = b"<p>" + b"text " * 2000 + b"</p>" + SCRIPT
        count = 50_000_000 // len(block)
        self.serve("/large", block * count)
        answer = self.fetch("/large")
        self.assertEqual(answer.code, 0)
        self.assertEqual(answer.body.count(b"alert"), 0)
        self.assertEqual(answer.body.count(b"text "), 2000 * count)
        categories = [event["category"] for event in self.events_of("/large")]
        self.assertEqual(categories.count("scripts"), count)


class GzipAgain(ProxyCase):
    policy = POLICY + "[responses]\ngzip-again = true\n"

    def test_is_sent_to_those_who_take_it(self):
        self.serve("/gzip", gzip.compress(PAGE), Content_Encoding="gzip")
        packed = self.fetch("/gzip", "-H", "Accept-Encoding: gzip")
        self.assertEqual(packed.headers["content-encoding"], "gzip")
        plain = self.fetch("/gzip")
        self.assertNotIn("content-encoding", plain.headers)
        self.assertNotIn(b"alert", plain.body)
        self.assertEqual(gzip.decompress(packed.body), plain.body)


if __name__ == "__main__":
    unittest.main()
