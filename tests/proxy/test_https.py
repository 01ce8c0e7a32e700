"""Encrypted traffic: looked into, or passed on; and never less safe than without the proxy."""

import os
import pathlib
import socket
import ssl
import stat
import subprocess
import unittest

from certificates import Certificate
from origin import Origin, Page
from proxy_case import ENGINE, IS_SQUID, Answer, ProxyCase
from engine import ProxyError, User
from tls_origin import TlsOrigin, hosts_line, wait_for_names

SCRIPT = b"<script>alert(1)</script>"
FILTERED = b"<p>page</p>"
PAGE = FILTERED + SCRIPT
SPLICED = ("spliced.example", "a.spliced.example", "www.spliced.example")
ADDRESS = "127.0.0.1"
UNTRUSTED = 60  # curl's exit code


class HttpsCase(ProxyCase):
    policy = """
[filter]
block = "scripts"
[allow]
clients = ["127.0.0.4"]
[https]
splice = ["a.spliced.example", "spliced.example"]
"""

    @classmethod
    def make_origin(cls):
        folder = pathlib.Path(cls.folder.name)
        cls.root = Certificate(folder, "root", is_authority=True)
        cls.plain_origin = Origin()
        cls.addClassCleanup(cls.plain_origin.stop)
        middle = Certificate(folder, "middle", cls.root, is_authority=True)
        cls.plain_origin.pages["/middle"] = Page(middle.der(), "application/pkix-cert")
        where = f"authorityInfoAccess = caIssuers;URI:{cls.plain_origin.url('/middle')}"
        good = {
            name: Certificate(folder, name, cls.root)
            for name in ("site.example", ADDRESS, *SPLICED)
        }
        cls.bad = {
            "self-signed.example": Certificate(folder, "self-signed.example"),
            "expired.example": Certificate(folder, "expired.example", cls.root, days=-1),
            "misnamed.example": good["site.example"],
            "unknown.example": Certificate(
                folder, "unknown.example", Certificate(folder, "stranger", is_authority=True)
            ),
        }
        incomplete = Certificate(folder, "incomplete.example", middle, more=where)
        cls.certificates = {**good, **cls.bad, "incomplete.example": incomplete}
        origin = TlsOrigin(cls.certificates)
        origin.pages["/page"] = Page(PAGE)
        return origin

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        wait_for_names(cls.squid.port)

    @classmethod
    def make_squid(cls, **options):
        trusted = ENGINE.TRUST.format(file=cls.root.file)
        names = hosts_line(ENGINE, cls.folder.name, cls.certificates)
        return super().make_squid(extra=trusted + names, **options)

    def get(self, *options, name=None, url=None, trust=None):
        """A page by HTTPS, with a certificate to trust beside no other."""
        command = self.curl("/page", "-i", "--suppress-connect-headers", *options)
        command[-1] = url or self.origin.url("/page", name)
        trusted = ["--capath", "/nonexistent", "--cacert", trust] if trust else []
        return Answer(subprocess.run([*command, *trusted], capture_output=True))

    def certificate_of(self, name):
        """What a client is shown."""
        address = f"{name}:{self.origin.server_port}"
        through = ["-proxy", f"127.0.0.1:{self.squid.port}", "-servername", name]
        run = subprocess.run(
            ["openssl", "s_client", "-connect", address, *through, "-showcerts"],
            input=b"",
            capture_output=True,
        )
        pem = run.stdout.partition(b"-----BEGIN")[2].partition(b"-----END CERTIFICATE-----")
        return ssl.PEM_cert_to_DER_cert(("-----BEGIN" + pem[0].decode() + pem[1].decode()))

    def assert_untouched(self, name):
        answer = self.get(name=name, trust=self.root.file)
        self.assertEqual((answer.code, answer.body), (0, PAGE))
        self.assertEqual(self.certificate_of(name), self.certificates[name].der())


class Intercepted(HttpsCase):
    @classmethod
    def make_squid(cls, **options):
        squid = super().make_squid(https=True, **options)
        cls.trust = squid.authority.certificate
        return squid

    def test_pages_are_filtered_for_those_who_trust_the_proxy(self):
        for protocol in ("--http1.1", "--http2"):
            answer = self.get(protocol, trust=self.trust)
            self.assertEqual((answer.code, answer.status, answer.body), (0, 200, FILTERED))
            is_http2 = protocol == "--http2" and not IS_SQUID
            self.assertEqual(answer.protocol, "HTTP/2" if is_http2 else "HTTP/1.1")
        self.assertEqual(len(self.events_of("/page")), 2)
        for trust in (self.root.file, None):
            self.assertEqual(self.get(trust=trust).code, UNTRUSTED)

    def test_a_client_sees_whether_it_trusts_the_proxy(self):
        url = "https://check.velmora.invalid/trusted.svg"
        answer = self.get(url=url, trust=self.trust)
        found = (answer.code, answer.status, answer.headers["content-type"], answer.body[:5])
        self.assertEqual(found, (0, 200, "image/svg+xml", b"<svg "))
        self.assertEqual(self.get(url=url, trust=self.root.file).code, UNTRUSTED)

    def test_the_policy_holds_for_the_client_before_the_tunnel(self):
        for protocol in ("--http1.1", "--http2"):
            for client, body in (("127.0.0.4", PAGE), ("127.0.0.5", FILTERED)):
                with self.subTest(protocol, client=client):
                    answer = self.get(protocol, "--interface", client, trust=self.trust)
                    self.assertEqual((answer.code, answer.body), (0, body))
        told = {e["client"] for e in self.events_of("/page") if e["client"] != ADDRESS}
        self.assertEqual(told, {"127.0.0.5"})

    def test_a_websocket_goes_through(self):
        def upgrade(handler):
            handler.send_response(101)
            handler.send_header("Upgrade", "websocket")
            handler.send_header("Connection", "Upgrade")
            handler.end_headers()
            handler.wfile.write(b"got " + handler.rfile.read(4))
            handler.close_connection = True

        self.origin.pages["/socket"] = upgrade
        site = f"site.example:{self.origin.server_port}"
        trusting = ssl.create_default_context(cafile=str(self.trust))
        # As strict with the proxy's certificate as can be.
        trusting.verify_flags |= ssl.VERIFY_X509_STRICT
        with socket.create_connection(("127.0.0.1", self.squid.port), timeout=20) as tunnel:
            tunnel.sendall(f"CONNECT {site} HTTP/1.1\r\n\r\n".encode())
            self.assertIn(b" 200 ", tunnel.recv(4096))
            with trusting.wrap_socket(tunnel, server_hostname="site.example") as client:
                client.sendall(
                    f"GET /socket HTTP/1.1\r\nHost: {site}\r\nUpgrade: websocket\r\n"
                    "Connection: Upgrade\r\nSec-WebSocket-Version: 13\r\n"
                    "Sec-WebSocket-Key: MTIzNDU2Nzg5MDEyMzQ1Ng==\r\n\r\n".encode()
                )
                self.assertIn(b" 101 ", client.recv(4096))
                client.sendall(b"ping")
                self.assertEqual(client.recv(4096), b"got ping")

    def test_an_address_is_a_name_too(self):
        answer = self.get(name=ADDRESS, trust=self.trust)
        self.assertEqual((answer.code, answer.body), (0, FILTERED))

    def test_spliced_sites_are_untouched(self):
        for name in SPLICED:
            self.assert_untouched(name)

    def test_a_bad_certificate_of_the_origin_is_an_error(self):
        for name in self.bad:
            with self.subTest(name):
                self.origin.requests.clear()
                self.assertNotEqual(self.get(name=name, trust=self.trust).status, 200)
                careless = self.get("-k", name=name)
                self.assertEqual(careless.status, 503 if IS_SQUID else 502)
                self.assertNotIn(b"alert", careless.body)
                self.assertEqual(self.origin.requests, [])

    @unittest.skipUnless(IS_SQUID, "Traffic Server fetches no certificates")
    def test_a_certificate_that_the_origin_forgot_to_send_is_fetched(self):
        answer = self.get(name="incomplete.example", trust=self.trust)
        self.assertEqual((answer.code, answer.body), (0, FILTERED))
        self.assertIn("/middle", self.plain_origin.requests)

    def test_how_to_trust_the_proxy_is_told(self):
        authority = self.squid.authority
        show = ["openssl", "x509", "-in", authority.certificate, "-noout", "-fingerprint", "-sha256"]
        run = subprocess.run([*show, "-text"], capture_output=True, text=True, check=True)
        fingerprint = run.stdout.splitlines()[0].rpartition("=")[2]
        for text in (fingerprint, str(authority.certificate), "certutil", "update-ca-certificates"):
            self.assertIn(text, authority.how_to_trust())
        self.assertRegex(run.stdout, "Subject:.*Velmora proxy on [^ ]")
        self.assertRegex(run.stdout, r"Basic Constraints: critical\s+CA:TRUE, pathlen:0")
        self.assertRegex(run.stdout, r"Key Usage: critical\s+Certificate Sign, CRL Sign\n")

    def test_only_the_proxy_can_read_the_key(self):
        authority = self.squid.authority
        key = authority.key.stat()
        self.assertEqual(stat.S_IMODE(key.st_mode), 0o600)
        account = User().account
        self.assertEqual(key.st_uid, account.pw_uid if account else os.getuid())
        self.assertEqual(stat.S_IMODE(authority.certificate.stat().st_mode), 0o644)
        self.assertNotIn("PRIVATE", authority.certificate.read_text())
        if IS_SQUID:
            # The keys that it signed for are in there.
            certificates = self.squid.folder / "certificates"
            self.assertEqual(stat.S_IMODE(certificates.stat().st_mode), 0o700)

    def test_the_authority_is_made_once(self):
        authority = self.squid.authority
        before = authority.key.read_bytes(), authority.certificate.read_bytes()
        self.squid.stop()
        authority.certificate.unlink()
        with self.assertRaisesRegex(ProxyError, "velmora-proxy.crt is missing"):
            self.make_squid()
        authority.certificate.write_bytes(before[1])
        type(self).squid = self.make_squid().start()
        type(self).worker = self.squid.worker()
        wait_for_names(self.squid.port)
        self.assertEqual((authority.key.read_bytes(), authority.certificate.read_bytes()), before)
        self.assertEqual(self.get(trust=self.trust).body, FILTERED)


class WithoutHttps(HttpsCase):
    def test_encrypted_traffic_is_untouched(self):
        for name in ("site.example", "spliced.example", "self-signed.example"):
            self.assertEqual(self.certificate_of(name), self.certificates[name].der())
        self.assert_untouched("site.example")
        self.assertEqual(self.get(name="self-signed.example", trust=self.root.file).code, UNTRUSTED)


if __name__ == "__main__":
    unittest.main()
