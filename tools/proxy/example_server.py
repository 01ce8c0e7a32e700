"""Serves a folder on 127.0.0.1: Python's own server, with the type of VBScript taught to it."""

import http.server
import sys


class Handler(http.server.SimpleHTTPRequestHandler):
    extensions_map = {
        **http.server.SimpleHTTPRequestHandler.extensions_map,
        ".vbs": "text/vbscript",
    }

    def __init__(self, *arguments):
        super().__init__(*arguments, directory=sys.argv[2])

    def log_message(self, *_):
        pass


http.server.ThreadingHTTPServer(("127.0.0.1", int(sys.argv[1])), Handler).serve_forever()
