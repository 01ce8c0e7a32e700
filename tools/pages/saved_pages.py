"""Saved pages in a folder, and the files that stand for the rest of the web.

    FOLDER/*.html             pages; their address is the one that they name themselves (og:url, canonical)
    FOLDER/*_files/...        what a browser saved along with them
    FOLDER/HOST/index.html    pages too: the front page of HOST, at https://HOST/
    FOLDER/HOST/PATH          any other file of that host, as mirroring programs lay it down
    FILE.headers              lines "Name: value" that FILE is answered with
"""

import html
import mimetypes
import pathlib
import re
import urllib.parse
from dataclasses import dataclass

OWN_ADDRESS = (
    re.compile(rb"""<meta\b[^>]*\bproperty\s*=\s*["']?og:url\b[^>]*>""", re.IGNORECASE),
    re.compile(rb"""<link\b[^>]*\brel\s*=\s*["']?canonical\b[^>]*>""", re.IGNORECASE),
)
ADDRESS = re.compile(rb"""\b(?:content|href)\s*=\s*(?:"([^"]*)"|'([^']*)'|([^\s>]+))""", re.IGNORECASE)
# Files of this suffix say how another one is answered.
HEADERS = ".headers"


@dataclass(frozen=True)
class Page:
    name: str
    url: str
    file: pathlib.Path


@dataclass(frozen=True)
class File:
    body: bytes
    content_type: str
    headers: list


def own_address(text, name):
    """The address that a page says it has; else one of a site of its own."""
    for pattern in OWN_ADDRESS:
        element = pattern.search(text)
        address = element and ADDRESS.search(element.group())
        if not address:
            continue
        url = html.unescape(next(filter(None, address.groups()), b"").decode("utf-8", "replace"))
        url = urllib.parse.urljoin("https://", url.partition("#")[0])
        parts = urllib.parse.urlsplit(url)
        if parts.scheme in ("http", "https") and parts.hostname and not parts.port:
            return urllib.parse.quote(url, safe="%/:?&=@+,;~!$'()*[]")
    return f"https://{re.sub('[^a-z0-9-]', '-', name.lower())}.example/"


def has_lost_charset(body):
    """A header said that a page is in UTF-8 if nothing does where browsers look."""
    try:
        return b"charset" not in body[:1024].lower() and bool(body.decode())
    except UnicodeDecodeError:
        return False


def without_query(url):
    parts = urllib.parse.urlsplit(url)
    return parts.netloc, parts.path or "/"


class SavedPages:
    def __init__(self, folders):
        self.folders = [folder.resolve() for folder in folders]
        self.pages = [page for folder in self.folders for page in self._pages_in(folder)]
        self._by_url = {without_query(page.url): page.file for page in self.pages}

    def _pages_in(self, folder):
        for entry in sorted(folder.iterdir()):
            if entry.suffix in (".html", ".htm"):
                yield Page(entry.stem, own_address(entry.read_bytes(), entry.stem), entry)
            elif entry.is_dir() and (index := entry / "index.html").exists():
                yield Page(entry.name, f"https://{entry.name}/", index)

    def file_for(self, host, path):
        """What a folder has for an address, if anything; the path without its query."""
        found = self._by_url.get((host, path)) or self._find(host, urllib.parse.unquote(path))
        return self._read(found) if found else None

    def _find(self, host, path):
        for folder in self.folders:
            for place in (folder / host, folder):
                file = (place / path.lstrip("/")).resolve()
                if file.is_dir() and place != folder:
                    file /= "index.html"
                if file.is_file() and file.is_relative_to(folder) and file.suffix != HEADERS:
                    return file
        return self._saved_along(path)

    def _saved_along(self, path):
        """Browsers save what a page needs in a folder beside it; the page may lie deep in its site."""
        name = next((part for part in path.split("/") if part.endswith("_files")), None)
        if name is None:
            return None
        rest = path[path.index(name) :]
        files = (folder / rest for folder in self.folders)
        return next((f for f in files if f.is_file() and ".." not in rest), None)

    @staticmethod
    def _read(file):
        beside = file.with_name(file.name + HEADERS)
        lines = beside.read_text().splitlines() if beside.exists() else []
        headers = [tuple(line.split(": ", 1)) for line in lines if line]
        kind = mimetypes.guess_type(file.name)[0] or "application/octet-stream"
        body = file.read_bytes()
        if kind == "text/html" and has_lost_charset(body):
            kind += "; charset=utf-8"
        return File(body, kind, headers)
