"""The origin of the tests over TLS: under each of its names it has another certificate."""

import http.client
import pathlib
import socket
import ssl
import threading
import time

from origin import Origin

# Asked for to see whether names are known.
PROBE = "probe.example"


class TlsOrigin(Origin):
    """`certificates` are by name; the first name is the one that is meant when none is said."""

    def __init__(self, certificates):
        self.contexts = {}
        for name, certificate in certificates.items():
            context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
            context.load_cert_chain(certificate.chain, certificate.key)
            self.contexts[name] = context
        self.name, first = next(iter(self.contexts.items()))
        first.sni_callback = self._choose
        super().__init__()
        self.socket = first.wrap_socket(
            self.socket, server_side=True, do_handshake_on_connect=False
        )

    def _choose(self, connection, name, _):
        """Who asks for an address says no name."""
        name = name or str(self.server_address[0])
        connection.context = self.contexts.get(name, connection.context)

    def url(self, path, name=None):
        return f"https://{name or self.name}:{self.server_port}{path}"


def hosts_line(engine, folder, names):
    """An engine's configuration for names that only the tests know; no other is looked up."""
    file = pathlib.Path(folder, "hosts")
    file.write_text(f"127.0.0.1 localhost {PROBE} {' '.join(names)}\n")
    return engine.HOSTS.format(file=file, nameserver=knows_no_name())


def knows_no_name():
    """The address of a name server that says so at once."""
    server = socket.socket(type=socket.SOCK_DGRAM)
    server.bind(("127.0.0.1", 0))

    def answer():
        while True:
            question, asker = server.recvfrom(4096)
            # An answer, by a server that asks others, and there is no such name.
            server.sendto(question[:2] + b"\x81\x83" + question[4:], asker)

    threading.Thread(target=answer, daemon=True).start()
    return f"127.0.0.1:{server.getsockname()[1]}"


def wait_for_names(port):
    """Traffic Server reads them a moment after it begins to serve."""
    deadline = time.monotonic() + 20
    while time.monotonic() < deadline:
        proxy = http.client.HTTPConnection("127.0.0.1", port, timeout=20)
        proxy.request("GET", f"http://{PROBE}:1/")
        status = proxy.getresponse().status
        proxy.close()
        if status != http.HTTPStatus.INTERNAL_SERVER_ERROR:
            return
        time.sleep(0.1)
    raise TimeoutError("names are not known")
