"""Bodies on their way: slow ones, broken ones, many at a time, and readers slower than origins."""

import gzip
import socket
import subprocess
import threading
import time
import unittest
import zlib

from proxy_case import ADS, IS_SQUID, ProxyCase

SCRIPT = b"<script>alert(1)</script>"
MIB = 1 << 20
BLOCK_SCRIPTS = ADS + '[filter]\nblock = "scripts"\n'


class Flow(ProxyCase):
    policy = BLOCK_SCRIPTS

    @classmethod
    def make_squid(cls, **options):
        # Else the system lets its socket to an origin grow to some MiB, as for every program.
        extra = "tcp_recv_bufsize 256 KB\n" if IS_SQUID else ""
        return super().make_squid(extra=extra, **options)

    def first_bytes(self, path, count):
        """Starts to read an answer's body; the process goes on."""
        process = subprocess.Popen(self.curl(path, "-N"), stdout=subprocess.PIPE)
        self.addCleanup(process.stdout.close)
        return process, process.stdout.read(count)

    def serve_in_two(self, path, first, second, gate, **headers):
        def page(handler):
            handler.send_response(200)
            handler.send_header("Content-Type", "text/html")
            for name, value in headers.items():
                handler.send_header(name.replace("_", "-"), value)
            handler.send_header("Transfer-Encoding", "chunked")
            handler.end_headers()
            handler.send_chunk(first)
            gate.wait(30)
            handler.send_chunk(second)
            handler.wfile.write(b"0\r\n\r\n")

        self.origin.pages[path] = page

    def test_first_bytes_do_not_wait_for_the_last(self):
        compressor = zlib.compressobj(wbits=31)
        # A tag at the very end is still open to what comes after it.
        first, last = b"<p>first</p>-", SCRIPT + b"<p>last</p>"
        packed = compressor.compress(first) + compressor.flush(zlib.Z_SYNC_FLUSH)
        rest = compressor.compress(last) + compressor.flush()
        for name, pieces, headers in (
            ("plain", (first, last), {}),
            ("gzip", (packed, rest), {"Content_Encoding": "gzip"}),
        ):
            with self.subTest(name):
                gate = threading.Event()
                self.serve_in_two(f"/slow-{name}", *pieces, gate, **headers)
                begin = time.monotonic()
                process, start = self.first_bytes(f"/slow-{name}", len(first))
                self.assertEqual(start, first)
                self.assertLess(time.monotonic() - begin, 25, "the rest was waited for")
                gate.set()
                self.assertEqual(process.stdout.read(), b"<p>last</p>")
                self.assertEqual(process.wait(), 0)

    def test_a_client_that_goes_away(self):
        gate = threading.Event()
        self.serve_in_two("/left", b"<p>first</p>", b"<p>last</p>", gate)
        for _ in range(20):
            process, _ = self.first_bytes("/left", 5)
            process.kill()
            process.wait()
        gate.set()
        self.serve("/after", b"<p>after</p>")
        self.assertEqual(self.fetch("/after").body, b"<p>after</p>")

    def test_an_origin_that_goes_away(self):
        def with_length(handler):
            handler.send_response(200)
            handler.send_header("Content-Type", "text/html")
            handler.send_header("Content-Length", "1000")
            handler.end_headers()
            handler.wfile.write(b"<p>first</p><script>half")
            handler.connection.shutdown(socket.SHUT_RDWR)

        self.origin.pages["/broken"] = with_length
        answer = self.fetch("/broken")
        self.assertNotEqual(answer.code, 0, "the client is told that bytes are missing")
        # Traffic Server has perhaps not begun to send.
        self.assertTrue(b"<p>first</p>".startswith(answer.body), "half a script does not go on")

    @unittest.skipIf(IS_SQUID, "Squid takes it for whole")
    def test_an_origin_that_goes_away_in_mid_chunk(self):
        def in_chunks(handler):
            handler.send_response(200)
            handler.send_header("Content-Type", "text/html")
            handler.send_header("Transfer-Encoding", "chunked")
            handler.end_headers()
            handler.wfile.write(b"1000\r\n<p>first</p><script>half")
            handler.connection.shutdown(socket.SHUT_RDWR)

        self.origin.pages["/broken"] = in_chunks
        begin = time.monotonic()
        answer = self.fetch("/broken")
        self.assertLess(time.monotonic() - begin, 20, "a time-out was waited for")
        self.assertNotEqual(answer.code, 0, "the client is told that bytes are missing")
        self.assertNotIn(b"half", answer.body)

    def test_a_slow_reader_slows_the_origin(self):
        """What lies between the two, in the proxy and its sockets, is bounded; so is what it remembers."""
        for name, length in (("in chunks", None), ("with a length", 250 * MIB)):
            with self.subTest(name):
                before = self.worker_memory()
                sent, taken = self.take_slowly(length)
                waiting, grown = (sent - taken) / MIB, (self.worker_memory() - before) / MIB
                print(f"{name}: {sent / MIB:.2f} MiB sent, {waiting:.2f} wait, grown by {grown:.2f}")
                self.assertGreater(taken, 20_000)
                self.assertLess(waiting, 2)
                self.assertLess(grown, 8)

    def take_slowly(self, length):
        """Takes some of a long body, 10 KB a second, until no more is sent; how much went in and out."""
        piece = b"<p>" + b"x" * 65529 + b"</p>"
        sent = 0

        def long(handler):
            nonlocal sent
            # What lies in the sockets of both ends is none of the proxy's.
            handler.connection.setsockopt(socket.SOL_SOCKET, socket.SO_SNDBUF, 4096)
            handler.send_response(200)
            handler.send_header("Content-Type", "text/html")
            if length is None:
                handler.send_header("Transfer-Encoding", "chunked")
            else:
                handler.send_header("Content-Length", str(length))
            handler.end_headers()
            while True:
                handler.send_chunk(piece) if length is None else handler.wfile.write(piece)
                sent += len(piece)

        self.origin.pages["/long"] = long
        with socket.socket() as client:
            client.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4096)
            client.connect(("127.0.0.1", self.squid.port))
            url = self.origin.url("/long")
            client.sendall(f"GET {url} HTTP/1.1\r\nHost: {url.split('/')[2]}\r\n\r\n".encode())
            taken, last = 0, -1
            while last != sent or taken < 30_000:
                last = sent
                for _ in range(5):
                    taken += len(client.recv(2048))
                    time.sleep(0.2)
            return sent, taken


class Trouble(ProxyCase):
    """Codings that go wrong, where the answer is to be passed on as far as it goes."""

    policy = BLOCK_SCRIPTS + "[limits]\n"
    breaks_off = False

    def test_one_that_is_cut_off(self):
        page = b"<p>page</p>" * 1000
        self.serve("/truncated", gzip.compress(page)[:-4], Content_Encoding="gzip")
        answer = self.fetch("/truncated")
        # What nothing was sent of yet can still get another status.
        self.assertEqual(answer.code != 0 or answer.status == 502, self.breaks_off)
        if not self.breaks_off:
            self.assertEqual(answer.body, page)
        reasons = [event.get("reason") for event in self.events_of("/truncated")]
        self.assertEqual(reasons, ["content coding truncated"])

    def test_an_unknown_coding(self):
        self.serve("/unknown", SCRIPT, Content_Encoding="compress")
        answer = self.fetch("/unknown")
        if self.breaks_off:
            self.assertEqual(answer.status, 403 if IS_SQUID else 502)
            self.assertNotIn(b"alert", answer.body)
        else:
            self.assertEqual(answer.body, SCRIPT)
        self.assertEqual(len(self.events_of("/unknown")), 1)


class TroubleThatBreaksOff(Trouble):
    policy = Trouble.policy + 'beyond = "fail"\n'
    breaks_off = True


class Memory(ProxyCase):
    policy = BLOCK_SCRIPTS

    def fetch_pages(self, first, last):
        many = ["-Z", "--parallel-max", "16", "--fail", "-o", "/dev/null"]
        subprocess.run(self.curl(f"/m/[{first}-{last}]", *many), check=True)

    def test_does_not_grow_with_the_pages(self):
        self.serve("/m", (b"<p>page</p>" * 100 + SCRIPT) * 8)
        self.fetch_pages(1, 1000)
        before = self.worker_memory()
        self.fetch_pages(1001, 10000)
        grown = self.worker_memory() - before
        print(f"grown by {grown / MIB:.2f} MiB over 9,000 pages")
        self.assertLess(grown, 8 * MIB)

class MemoryOfOpenElements(ProxyCase):
    policy = BLOCK_SCRIPTS + '[limits]\nall-held-bytes = "32M"\ndecoded-ratio = 5000\nbeyond = "fail"\n'

    def test_counts_in_the_bound_of_the_process(self):
        packed = gzip.compress(b"<form action=/x>" * (2 * MIB))
        for number in range(3):
            self.serve(f"/forms/{number}", packed, Content_Encoding="gzip")
        before = self.worker_memory()
        subprocess.run(self.curl("/forms/[0-2]", "-Z", "-o", "/dev/null"), check=False)
        grown = self.worker_memory("VmHWM") - before
        print(f"grown by {grown / MIB:.2f} MiB at most")
        self.assertLess(grown, 128 * MIB)
        for number in range(3):
            stops = [event["reason"] for event in self.events_of(f"/forms/{number}")]
            self.assertEqual(stops, ["more memory held by all bodies together than allowed"])


if __name__ == "__main__":
    unittest.main()
