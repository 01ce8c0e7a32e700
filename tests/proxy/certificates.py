"""Certificates of the tests' origins, made with the openssl command."""

import subprocess

EXTENSIONS = """\
basicConstraints = critical, CA:{is_authority}
subjectAltName = {kind}:{name}
subjectKeyIdentifier = hash
{more}
"""


class Certificate:
    """`key` and `chain` are files: the chain is the certificate and what it needs besides the root."""

    def __init__(self, folder, name, issuer=None, days=1, is_authority=False, more=""):
        self.key = folder / f"{name}.key"
        self.file = self.chain = folder / f"{name}.crt"
        request = folder / f"{name}.csr"
        extensions = folder / f"{name}.ext"
        self._openssl("req", "-new", "-newkey", "rsa:2048", "-noenc", "-subj", f"/CN={name}",
                      "-keyout", self.key, "-out", request)  # fmt: skip
        extensions.write_text(
            EXTENSIONS.format(
                is_authority=str(is_authority).upper(),
                kind="IP" if name[-1].isdigit() else "DNS",
                name=name,
                more=more,
            )
        )
        by = ["-CA", issuer.file, "-CAkey", issuer.key] if issuer else ["-signkey", self.key]
        self._openssl("x509", "-req", "-in", request, "-days", days, "-extfile", extensions,
                      "-out", self.file, *by)  # fmt: skip

    @staticmethod
    def _openssl(*arguments):
        subprocess.run(["openssl", *map(str, arguments)], check=True, capture_output=True)

    def der(self):
        return subprocess.run(
            ["openssl", "x509", "-in", self.file, "-outform", "der"], check=True, capture_output=True
        ).stdout
