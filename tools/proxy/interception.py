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

CONFIGURATION = """\
sslcrtd_program {helper} -s {folder}/certificates -M 4MB
sslcrtd_children 8 startup=1 idle=1
acl hello at_step SslBump1
acl spliced ssl::server_name "{folder}/spliced-sites.txt"
ssl_bump peek hello
ssl_bump splice spliced
ssl_bump bump all
# What turns out not to be TLS goes by as it is; websockets are no pages.
on_unsupported_protocol tunnel all
http_upgrade_request_protocols websocket allow all
# Certificates between a site's own and its root, which the site forgot to send.
acl missing_certificates transaction_initiator certificate-fetching
http_access allow missing_certificates
"""

# An empty list would be complained about; nothing has a name that ends so.
NO_SITES = ".invalid\n"


class Interception:
    """For a Squid whose files are in `folder`; `spliced_sites` are passed on untouched, a line each."""

    def __init__(self, folder, authority, user, spliced_sites):
        if not pathlib.Path(CERTIFICATE_HELPER).exists():
            raise ProxyError("HTTPS needs Squid with OpenSSL: apt-get install squid-openssl")
        self.port_options = PORT_OPTIONS.format(certificate=authority.certificate, key=authority.key)
        self.configuration = CONFIGURATION.format(helper=CERTIFICATE_HELPER, folder=folder)
        (folder / "spliced-sites.txt").write_text(spliced_sites or NO_SITES)
        # Made anew: it holds what another authority may have signed.
        shutil.rmtree(folder / "certificates", ignore_errors=True)
        command = [CERTIFICATE_HELPER, "-c", "-s", folder / "certificates", "-M", "4MB"]
        subprocess.run(user.command(*command), check=True, capture_output=True, umask=0o077)
