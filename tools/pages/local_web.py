"""All of the web that the pages see: a server on loopback that answers for every host, as a proxy would.

Browsers and proxies have it as the proxy behind which the web lies; so nobody asks for a host's address.
What the folders have is sent as it is; for all else stands an answer of the kind that was asked for, with
nothing in it. Hosts that the ad lists block are the advertisers' own: their scripts do what such scripts
do, and what they put on a page is marked.
"""

import base64
import http.server
import ssl
import subprocess
import threading
import urllib.parse

# What is put on a page by an advertiser's script has this class, so that its text is not missed.
MARK = "velmora-advertisement"

AD_SCRIPT = """\
(() => {
  const home = new URL(document.currentScript?.src || location.href).origin;
  const box = Object.assign(document.createElement("div"), {className: "%s", textContent: "Buy this!"});
  const image = Object.assign(new Image(), {src: home + "/pixel.gif"});
  const frame = Object.assign(document.createElement("iframe"), {src: home + "/frame.html"});
  box.append(image, frame);
  document.body?.append(box);
  fetch(home + "/bid.json", {mode: "no-cors"}).catch(() => {});
})();
""" % MARK
AD_FRAME = f'<!doctype html><body class="{MARK}">Buy this!<img src="/pixel.gif"></body>'

GIF = base64.b64decode("R0lGODlhAQABAIAAAMzMzP///ywAAAAAAQABAAACAkQBADs=")
FRAME = "<!doctype html><title>A frame</title><body></body>"
# By the kind of request: the type of the answer, what it holds, and what an advertiser's holds.
ANSWERS = {
    "script": ("text/javascript", "", AD_SCRIPT),
    "style": ("text/css", "", ""),
    "image": ("image/gif", GIF, GIF),
    "document": ("text/html", FRAME, AD_FRAME),
    "other": ("text/plain", "", ""),
}
KINDS = {"iframe": "document", "frame": "document", "empty": "other"}
KINDS_BY_SUFFIX = {
    "js": "script", "mjs": "script", "css": "style", "html": "document", "htm": "document",
    "gif": "image", "png": "image", "jpg": "image", "jpeg": "image", "webp": "image", "svg": "image",
    "ico": "image",
}  # fmt: skip


def kind_of(headers, path):
    """Where browsers do not say (in the clear), by what they accept and by the name; else a script:
    nothing else that they ask for matters here."""
    if told := headers.get("Sec-Fetch-Dest"):
        kind = KINDS.get(told, told)
        return kind if kind in ANSWERS else "other"
    accepted = headers.get("Accept", "")
    if accepted.startswith("text/html"):
        return "document"
    if accepted.startswith("text/css"):
        return "style"
    if accepted.startswith("image/"):
        return "image"
    return KINDS_BY_SUFFIX.get(path.rpartition(".")[2].lower(), "script")


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def do_GET(self):
        try:
            self.rfile.read(int(self.headers.get("Content-Length") or 0))
            self._answer()
        except (OSError, ValueError):
            self.close_connection = True

    do_HEAD = do_POST = do_PUT = do_DELETE = do_OPTIONS = do_GET

    def do_CONNECT(self):
        """What comes through the tunnel is asked of this server too."""
        self.send_response(200)
        self.end_headers()
        try:
            self.request = self.server.context.wrap_socket(self.request, server_side=True)
            self.setup()
            self.close_connection = False  # whatever was said of the connection in the clear
        except OSError:
            self.close_connection = True

    def _answer(self):
        target = urllib.parse.urlsplit(self.path)
        host = (self.headers.get("Host") or target.netloc).partition(":")[0].lower()
        file = self.server.pages.file_for(host, target.path)
        if file:
            self._send(file.body, file.content_type, file.headers)
            return
        content_type, body, ad = ANSWERS[kind_of(self.headers, target.path)]
        body = ad if self.server.is_ad_host(host) else body
        self._send(body if isinstance(body, bytes) else body.encode(), content_type, [])

    def _send(self, body, content_type, headers):
        self.send_response(200)
        self.send_header("Content-Length", str(len(body)))
        if not any(name.lower() == "content-type" for name, _ in headers):
            self.send_header("Content-Type", content_type)
        # Fetches across sites are allowed, with whatever the page asks for.
        self.send_header("Access-Control-Allow-Origin", self.headers.get("Origin", "*"))
        self.send_header("Access-Control-Allow-Credentials", "true")
        if asked := self.headers.get("Access-Control-Request-Headers"):
            self.send_header("Access-Control-Allow-Headers", asked)
        for name, value in headers:
            self.send_header(name, value)
        self.end_headers()
        if self.command != "HEAD":
            self.wfile.write(body)

    def log_message(self, *_):
        pass


# For a Squid that knows the server as the parent of all sites.
SQUID_CONFIGURATION = """\
cache_peer 127.0.0.1 parent {port} 0 no-query no-digest no-netdb-exchange default
never_direct allow all
"""
# It has one certificate for all hosts.
ANY_CERTIFICATE = """\
tls_outgoing_options flags=DONT_VERIFY_PEER,DONT_VERIFY_DOMAIN
sslproxy_cert_error allow all
"""


class LocalWeb(http.server.ThreadingHTTPServer):
    """`is_ad_host(host)` tells the advertisers'."""

    daemon_threads = True
    request_queue_size = 128

    def __init__(self, folder, pages, is_ad_host):
        super().__init__(("127.0.0.1", 0), Handler)
        self.pages = pages
        self.is_ad_host = is_ad_host
        self.certificate = folder / "web.crt"
        key = folder / "web.key"
        subprocess.run(
            ["openssl", "req", "-x509", "-newkey", "rsa:2048", "-noenc", "-days", "2"]
            + ["-subj", "/CN=web", "-keyout", key, "-out", self.certificate],
            check=True,
            capture_output=True,
        )
        self.context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        self.context.load_cert_chain(self.certificate, key)
        threading.Thread(target=self.serve_forever, daemon=True).start()

    def squid_configuration(self, is_tls_looked_into):
        lines = SQUID_CONFIGURATION.format(port=self.server_port)
        return lines + (ANY_CERTIFICATE if is_tls_looked_into else "")

    def handle_error(self, *_):
        """A client that goes away is no news."""

    def stop(self):
        self.shutdown()
        self.server_close()
