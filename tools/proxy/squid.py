"""Squid with the adapter for eCAP."""

import os
import pathlib
import shutil
import signal
import subprocess

from engine import Engine, ProxyError
from interception import Interception

SQUID = "/usr/sbin/squid"

CONFIGURATION = """\
http_port {address}{port_options}
visible_hostname velmora
acl loopback src 127.0.0.0/8 ::1/128
http_access allow loopback
{others}
http_access deny all
# Filtered pages may differ from client to client.
cache deny all
cache_mem 8 MB
pid_filename {folder}/squid.pid
access_log stdio:{folder}/log/access.log
cache_log {folder}/log/cache.log
coredump_dir {folder}
netdb_filename none
pinger_enable off
shutdown_lifetime 1 second
"""

# For those who come from elsewhere, what listens on this machine's loopback is out of reach.
OTHERS_MAY_COME = """\
http_access deny to_localhost
http_access allow all"""

# Where the processes of a Squid with several workers meet, compiled into it.
SOCKETS = pathlib.Path("/run/squid")

# A balancer on this machine is believed who its clients are.
BALANCED = """\
http_port 127.0.0.1:{port} require-proxy-header
acl balancer src 127.0.0.1
proxy_protocol_access allow balancer
"""

WORKERS = """\
workers {workers}
memory_cache_shared off
"""

ADAPTER = """\
loadable_modules {library}
ecap_enable on
adaptation_send_client_ip on
adaptation_send_username on
ecap_service filter respmod_precache uri={uri} bypass=off {settings}
adaptation_access filter allow all
"""

# The requests too. What comes inside a tunnel that is looked into is judged one by one.
JUDGE = """\
ecap_service judge reqmod_precache uri=ecap://velmora/reqmod bypass=off
{tunnels}adaptation_access judge allow all
"""
TUNNELS_PASS = """\
acl tunnel method CONNECT
adaptation_access judge deny tunnel
"""


class NoSockets(ProxyError):
    """The processes of a Squid with several workers could not meet."""


class Squid(Engine):
    """As an engine; `adapter` stands for another library and its service's address. With `https` it looks
    into encrypted traffic, by the authority that it keeps in `folder`/ca. Lines of configuration in
    `extra` come before all others.
    """

    adapter = "ecap_velmora.so"
    log_name = "cache.log"
    fatal = "FATAL: "
    pid_name = "squid.pid"
    # What a balancer asks to see whether it serves.
    CHECK = "/squid-internal-mgr/info"
    # Names are looked up in a file alone.
    HOSTS = "hosts_file {file}\ndns_nameservers 127.0.0.1\n"
    # An authority that sites' certificates may be signed by.
    TRUST = "tls_outgoing_options cafile={file}\n"

    def __init__(
        self, folder, modules, policy="", *, extra="", adapter=None, https=False, workers=1, **place
    ):
        super().__init__(folder, None if adapter else modules, policy, **place)
        adaptation = ""
        if adapter:
            adaptation = ADAPTER.format(library=adapter[0], uri=adapter[1], settings="")
        elif modules:
            adaptation = self._adapter()
            adaptation += JUDGE.format(tunnels=TUNNELS_PASS if https else "")
        options = ""
        if https:
            interception = self._interception(modules)
            extra += interception.configuration
            options = interception.port_options
        if self.balanced_port:
            extra += BALANCED.format(port=self.balanced_port)
        if workers > 1:
            extra += WORKERS.format(workers=workers)
        text = CONFIGURATION.format(
            address=self.shown_address,
            folder=self.folder,
            port_options=options,
            others="" if self.address.is_loopback else OTHERS_MAY_COME,
        )
        (self.folder / "squid.conf").write_text(extra + text + adaptation)
        # Shared memory is named after the service.
        self.name = f"velmora{os.getpid()}p{self.port}"
        self.command = self._command(workers)

    def _adapter(self):
        settings = {"policy": self.policy, "event-log": self.events}
        return ADAPTER.format(
            library=self.modules / self.adapter,
            uri="ecap://velmora/respmod",
            settings=" ".join(f"{key}={value}" for key, value in settings.items()),
        )

    def _interception(self, modules):
        spliced = ""
        if modules:
            program = pathlib.Path(modules).absolute() / "velmora"
            command = [program, "check-config", "--splice-list", self.policy]
            if not command[0].exists():
                raise ProxyError(f"not built: {command[0]}")
            run = subprocess.run(command, capture_output=True, text=True)
            if run.returncode != 0:
                raise ProxyError(run.stderr.strip())
            spliced = run.stdout
        self._take_authority()
        return Interception(self.folder, self.used_authority, self.user, spliced)

    def _command(self, workers):
        squid = [SQUID, "-n", self.name, "-f", self.folder / "squid.conf", "--foreground", "-YC"]
        if workers <= 1:
            return self.user.command(*squid)
        if self.user.account and not SOCKETS.exists():
            self.user.make_folder(SOCKETS)  # as the system does at its start
        folder = self.folder / "run"
        if self.user.succeeds(self.user.command_with_mount(folder, SOCKETS, "true")):
            return self.user.command_with_mount(folder, SOCKETS, *squid)
        if self.user.succeeds(self.user.command("test", "-w", SOCKETS)):
            return self.user.command(*squid)
        raise NoSockets(
            f"several workers need a folder {SOCKETS} that belongs to the proxy's user, "
            "or the right to mount another one in its place"
        )

    def reconfigure(self):
        """Reads the policy and all else again, without an end of the service."""
        self.process.send_signal(signal.SIGHUP)

    def _clear_up(self):
        for left in SOCKETS.glob(f"{self.name}-*.ipc"):
            left.unlink()
