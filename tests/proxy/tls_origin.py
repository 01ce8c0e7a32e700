"""The origin of the tests over TLS: under each of its names it has another certificate."""

import pathlib
import ssl

from origin import Origin


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
        connection.context = self.contexts.get(name, connection.context)

    def url(self, path, name=None):
        return f"https://{name or self.name}:{self.server_port}{path}"


def hosts_line(engine, folder, names):
    """An engine's configuration for names that only the tests know; no other is looked up."""
    file = pathlib.Path(folder, "hosts")
    file.write_text(f"127.0.0.1 localhost {' '.join(names)}\n")
    return engine.HOSTS.format(file=file)
