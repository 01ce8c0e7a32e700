"""The origin of the tests: pages by path, in one thread a connection."""

import http.server
import threading


class Page:
    """What a path answers. HEAD, a range and If-None-Match are answered as they ask for it."""

    def __init__(self, body, content_type="text/html", pieces=None, status=200, **headers):
        self.body = body
        self.status = status
        # A body in pieces is sent in chunks, without a length.
        self.pieces = pieces
        # A type on several lines has line ends in it.
        self.headers = {} if content_type is None else {"Content-Type": content_type}
        self.headers |= {name.replace("_", "-"): value for name, value in headers.items()}

    def __call__(self, handler):
        status, body = self.status, self.body
        if handler.headers.get("If-None-Match") == self.headers.get("ETag", "-"):
            status, body = 304, None
        elif handler.headers.get("Range"):
            first, last = map(int, handler.headers["Range"].removeprefix("bytes=").split("-"))
            status, body = 206, self.body[first : last + 1]
            handler.ranged = f"bytes {first}-{last}/{len(self.body)}"
        handler.send_response(status)
        for name, value in self.headers.items():
            handler.send_header(name, value)
        if status == 206 and self.status != 206:
            handler.send_header("Content-Range", handler.ranged)
        if self.pieces is not None:
            handler.send_chunks(self.pieces)
            return
        if body is not None:
            handler.send_header("Content-Length", str(len(body)))
        handler.end_headers()
        if body is not None and handler.command != "HEAD":
            handler.wfile.write(body)


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def do_GET(self):
        self.server.requests.append(self.path)
        page = self.server.pages.get(self.path) or self.server.pages[self.path.rsplit("/", 1)[0]]
        try:
            page(self)
        except OSError:
            self.close_connection = True

    do_HEAD = do_POST = do_GET

    def send_chunks(self, pieces):
        self.send_header("Transfer-Encoding", "chunked")
        self.end_headers()
        for piece in pieces:
            self.send_chunk(piece)
        self.wfile.write(b"0\r\n\r\n")

    def send_chunk(self, piece):
        self.wfile.write(b"%x\r\n%s\r\n" % (len(piece), piece))
        self.wfile.flush()

    def log_message(self, *_):
        pass


class Origin(http.server.ThreadingHTTPServer):
    daemon_threads = True
    request_queue_size = 128

    def __init__(self):
        super().__init__(("127.0.0.1", 0), Handler)
        self.pages = {}
        self.requests = []
        threading.Thread(target=self.serve_forever, daemon=True).start()

    def url(self, path):
        return f"http://127.0.0.1:{self.server_port}{path}"

    def handle_error(self, *_):
        """A client that goes away is no news."""

    def stop(self):
        self.shutdown()
        self.server_close()
