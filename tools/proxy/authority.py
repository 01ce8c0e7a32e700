"""The certificate authority with which a proxy looks into encrypted traffic.

It is made once, with the openssl command, and kept: every device that uses the proxy has been told to
trust it. Who has its private key can pose as any site towards those devices.
"""

import hashlib
import os
import pathlib
import re
import shutil
import socket
import ssl
import subprocess
import tempfile

KEY = "key.pem"
CERTIFICATE = "velmora-proxy.crt"
YEARS = 10

CONFIGURATION = pathlib.Path(__file__).resolve().parents[2] / "packaging" / "authority.cnf"

HOW_TO_TRUST = """\
To be trusted, the proxy's certificate has to be imported once on each device that uses it:
  {certificate}
  SHA-256 {fingerprint}
  Firefox      Settings, Certificates, View Certificates, Authorities, Import: to identify websites
  Chromium     mkdir -p ~/.pki/nssdb; certutil -d sql:$HOME/.pki/nssdb -A -t C,, \\
                 -n '{name}' -i {certificate}
  Debian       sudo cp {certificate} /usr/local/share/ca-certificates/
               sudo update-ca-certificates
Its private key ({key}) must not leave this machine."""


class AuthorityError(Exception):
    """There is no authority, and none can be made; the text says why, for a person."""


def name_of_authority():
    """As a browser lists it; a common name has 64 characters at most."""
    return f"Velmora proxy on {re.sub('[^A-Za-z0-9.-]', '', socket.gethostname())}"[:64]


class Authority:
    """The key and the certificate in `folder`, made there if there are none.

    The key is readable to its owner alone: `owner` (an entry of the password file), or this user.
    """

    def __init__(self, folder, owner=None):
        self.folder = folder
        self.owner = owner
        self.key = folder / KEY
        self.certificate = folder / CERTIFICATE
        if not folder.exists():
            self._make()
        for file in (self.key, self.certificate):
            if not file.exists():
                raise AuthorityError(f"{file} is missing; without {folder} a new authority is made")
        if self.key.stat().st_uid != (owner.pw_uid if owner else os.getuid()):
            raise AuthorityError(f"{self.key} does not belong to the proxy's user")

    def _make(self):
        """In a folder that nobody else can enter, which then gets its name: all of it or nothing."""
        new = tempfile.mkdtemp(prefix=f"{self.folder.name}-", dir=self.folder.parent)
        try:
            run = subprocess.run(
                ["openssl", "req", "-config", CONFIGURATION, "-x509", "-new", "-sha256", "-noenc"]
                + ["-subj", f"/O=Velmora/CN={name_of_authority()}"]
                + ["-newkey", "rsa:3072", "-days", str(YEARS * 365), "-keyout", KEY]
                + ["-out", CERTIFICATE],
                capture_output=True,
                text=True,
                cwd=new,
                umask=0o077,
            )
            if run.returncode != 0:
                raise AuthorityError(f"openssl makes no certificate:\n{run.stderr}")
            self._give_away(new)
            os.rename(new, self.folder)
        finally:
            shutil.rmtree(new, ignore_errors=True)

    def _give_away(self, folder):
        """All to the owner; the folder and the certificate can be read by others, the key cannot."""
        for name, mode in ((KEY, 0o600), (CERTIFICATE, 0o644), ("", 0o755)):
            path = os.path.join(folder, name)
            os.chmod(path, mode)
            if self.owner:
                os.chown(path, self.owner.pw_uid, self.owner.pw_gid)

    def copy_to(self, folder):
        """The same authority in another, new folder."""
        shutil.rmtree(folder, ignore_errors=True)
        folder.mkdir(mode=0o700)
        for file in (self.key, self.certificate):
            with open(folder / file.name, "xb", opener=private) as copy:
                copy.write(file.read_bytes())
        self._give_away(folder)
        return Authority(folder, self.owner)

    def fingerprint(self):
        der = ssl.PEM_cert_to_DER_cert(self.certificate.read_text())
        return ":".join(f"{byte:02X}" for byte in hashlib.sha256(der).digest())

    def how_to_trust(self):
        return HOW_TO_TRUST.format(
            certificate=self.certificate,
            fingerprint=self.fingerprint(),
            name=name_of_authority(),
            key=self.key,
        )


def private(path, flags):
    return os.open(path, flags, 0o600)
