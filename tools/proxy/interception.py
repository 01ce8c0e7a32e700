"""How the proxy looks into encrypted traffic: it answers in the site's name, with a certificate of its
own authority, and talks to the site itself, whose certificate it checks against the system's list."""

import pathlib
import shutil
import subprocess

from engine import ProxyError

CERTIFICATE_HELPER = "/usr/lib/squid/security_file_certgen"

PORT_OPTIONS = (
    " ssl-bump tls-cert={certificate} tls-key={key}"
    " generate-host-certificates=on dynamic_cert_mem_cache_size=4MB"
)

CONFIGURATION = pathlib.Path(__file__).resolve().parents[2] / "packaging" / "squid-inspection.conf"

# An empty list would be complained about; nothing has a name that ends so.
NO_SITES = ".invalid\n"


class Interception:
    """For a Squid whose files are in `folder`; `spliced_sites` are passed on untouched, a line each."""

    def __init__(self, folder, authority, user, spliced_sites):
        if not pathlib.Path(CERTIFICATE_HELPER).exists():
            raise ProxyError("HTTPS needs Squid with OpenSSL: apt-get install squid-openssl")
        self.port_options = PORT_OPTIONS.format(certificate=authority.certificate, key=authority.key)
        spliced = folder / "spliced-sites.txt"
        spliced.write_text(spliced_sites or NO_SITES)
        text = CONFIGURATION.read_text()
        for name, value in (("@certificates@", folder / "certificates"), ("@spliced@", spliced)):
            text = text.replace(name, str(value))
        self.configuration = text
        # Made anew: it holds what another authority may have signed.
        shutil.rmtree(folder / "certificates", ignore_errors=True)
        command = [CERTIFICATE_HELPER, "-c", "-s", folder / "certificates", "-M", "4MB"]
        subprocess.run(user.command(*command), check=True, capture_output=True, umask=0o077)
