"""Encrypted traffic: looked into, or passed on; and never less safe than without the proxy."""

import os
import pathlib
import ssl
import stat
import subprocess
import unittest

from certificates import Certificate
from origin import Origin, Page
from proxy_case import ENGINE, Answer, ProxyCase
from engine import ProxyError, User
from tls_origin import TlsOrigin, hosts_line

SCRIPT = b"<script>alert(1)</script>"
FILTERED = b"<p>page</p>"
PAGE = FILTERED + SCRIPT
SPLICED = ("spliced.example", "a.spliced.example", "www.spliced.example")
UNTRUSTED = 60  # curl's exit code


class HttpsCase(ProxyCase):
    policy = """
[filter]
block = "scripts"
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
            for name in ("site.example", *SPLICED)
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
    def make_squid(cls, **options):
        trusted = f"tls_outgoing_options cafile={cls.root.file}\n"
        names = hosts_line(ENGINE, cls.folder.name, cls.certificates)
        return super().make_squid(extra=trusted + names, **options)

    def get(self, *options, name=None, trust=None):
        """A page by HTTPS, with a certificate to trust beside no other."""
        command = self.curl("/page", "-i", "--suppress-connect-headers", *options)
        command[-1] = self.origin.url("/page", name)
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
        cls.trust = squid.interception.authority.certificate
        return squid

    def test_pages_are_filtered_for_those_who_trust_the_proxy(self):
        for protocol in ("--http1.1", "--http2"):
            answer = self.get(protocol, trust=self.trust)
            self.assertEqual((answer.code, answer.status, answer.body), (0, 200, FILTERED))
        self.assertEqual(len(self.events_of("/page")), 2)
        for trust in (self.root.file, None):
            self.assertEqual(self.get(trust=trust).code, UNTRUSTED)

    def test_spliced_sites_are_untouched(self):
        for name in SPLICED:
            self.assert_untouched(name)

    def test_a_bad_certificate_of_the_origin_is_an_error(self):
        for name in self.bad:
            with self.subTest(name):
                self.origin.requests.clear()
                self.assertNotEqual(self.get(name=name, trust=self.trust).status, 200)
                careless = self.get("-k", name=name)
                self.assertEqual(careless.status, 503)
                self.assertNotIn(b"alert", careless.body)
                self.assertEqual(self.origin.requests, [])

    def test_a_certificate_that_the_origin_forgot_to_send_is_fetched(self):
        answer = self.get(name="incomplete.example", trust=self.trust)
        self.assertEqual((answer.code, answer.body), (0, FILTERED))
        self.assertIn("/middle", self.plain_origin.requests)

    def test_how_to_trust_the_proxy_is_told(self):
        authority = self.squid.interception.authority
        show = ["openssl", "x509", "-in", authority.certificate, "-noout", "-fingerprint", "-sha256"]
        run = subprocess.run([*show, "-text"], capture_output=True, text=True, check=True)
        fingerprint = run.stdout.splitlines()[0].rpartition("=")[2]
        for text in (fingerprint, str(authority.certificate), "certutil", "update-ca-certificates"):
            self.assertIn(text, authority.how_to_trust())
        self.assertRegex(run.stdout, "Subject:.*Velmora proxy on [^ ]")
        self.assertRegex(run.stdout, r"Basic Constraints: critical\s+CA:TRUE, pathlen:0")
        self.assertRegex(run.stdout, r"Key Usage: critical\s+Certificate Sign, CRL Sign\n")

    def test_only_the_proxy_can_read_the_key(self):
        authority = self.squid.interception.authority
        key = authority.key.stat()
        self.assertEqual(stat.S_IMODE(key.st_mode), 0o600)
        account = User().account
        self.assertEqual(key.st_uid, account.pw_uid if account else os.getuid())
        self.assertEqual(stat.S_IMODE(authority.certificate.stat().st_mode), 0o644)
        self.assertNotIn("PRIVATE", authority.certificate.read_text())
        # The keys that it signed for are in there.
        certificates = self.squid.folder / "certificates"
        self.assertEqual(stat.S_IMODE(certificates.stat().st_mode), 0o700)

    def test_the_authority_is_made_once(self):
        authority = self.squid.interception.authority
        before = authority.key.read_bytes(), authority.certificate.read_bytes()
        self.squid.stop()
        authority.certificate.unlink()
        with self.assertRaisesRegex(ProxyError, "velmora-proxy.crt is missing"):
            self.make_squid()
        authority.certificate.write_bytes(before[1])
        type(self).squid = self.make_squid().start()
        type(self).worker = self.squid.worker()
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
