"""The site that the browser visits: an old-fashioned front page with all that the filter is for.

`gazette_pages/` holds its files. The same pages stand under several names, so that one policy can
treat them in several ways; advertisements come from a host of their own.
"""

import pathlib
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path[:0] = [str(ROOT / "tools" / "proxy"), str(ROOT / "tests" / "proxy")]

from certificates import Certificate  # noqa: E402
from origin import Origin, Page  # noqa: E402
from proxy_case import ENGINE, IS_SQUID  # noqa: E402
from tls_origin import TlsOrigin, hosts_line  # noqa: E402

FILES = pathlib.Path(__file__).with_name("gazette_pages")
NAMES = ("gazette.example", "restored.example", "strict.example", "shut.example", "ads.example")
ADVERTISEMENTS = {"/banner.svg", "/skyscraper.svg", "/box", "/offer", "/buy"}

POLICY = """
[filter]
block = ["popups", "script-errors", "ads", "gif-animation"]

[[rule]]
sites = ["restored.example"]
block = "restore-popups"

[[rule]]
sites = ["strict.example"]
only = ["scripts", "ads"]

[[rule]]
sites = ["shut.example"]
only = "requests"
allow-self = true

[ads]
lists = "../ads.txt"
"""
AD_LIST = "||ads.example^\n||shut.example^$document\n"

# The browser calls its maker's hosts, whatever it is told.
ONLY_THESE = """\
acl site dstdomain {names}
http_access deny !site
"""


class Gazette:
    """The origin, in the clear or over TLS."""

    def __init__(self, folder, is_secure):
        self.folder = pathlib.Path(folder)
        self.scheme = "https" if is_secure else "http"
        self.configuration = hosts_line(ENGINE, folder, NAMES)
        if IS_SQUID:
            self.configuration += ONLY_THESE.format(names=" ".join(NAMES))
        if is_secure:
            root = Certificate(self.folder, "root", is_authority=True)
            certificates = {name: Certificate(self.folder, name, root) for name in NAMES}
            self.origin = TlsOrigin(certificates)
            self.configuration += ENGINE.TRUST.format(file=root.file)
        else:
            self.origin = Origin()
        (self.folder / "ads.txt").write_text(AD_LIST)
        self._serve_files()

    def _serve_files(self):
        pages = self.origin.pages
        for file in FILES.iterdir():
            text = file.read_text().replace("{port}", str(self.origin.server_port))
            if file.suffix == ".svg":
                pages[f"/{file.name}"] = Page(text.encode(), "image/svg+xml")
            else:
                pages[f"/{file.stem}"] = Page(text.encode())
        pages["/"] = pages["/index"]
        animation = (ROOT / "examples" / "animation.gif").read_bytes()
        pages["/animation.gif"] = Page(animation, "image/gif")
        pages["/favicon.ico"] = Page(b"", "image/x-icon")

    def url(self, name="gazette.example"):
        return f"{self.scheme}://{name}:{self.origin.server_port}/"

    def squid(self, name, modules):
        """A proxy, not started yet, that knows this site and no other; without modules it only passes
        on. It looks into encrypted traffic either way."""
        return ENGINE(
            self.folder / name,
            modules,
            POLICY,
            extra=self.configuration,
            https=self.scheme == "https",
        )

    def stop(self):
        self.origin.stop()
