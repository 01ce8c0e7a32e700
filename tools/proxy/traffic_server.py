"""Traffic Server with its adapter."""

import pathlib
import shutil
import socket
import subprocess

from engine import Engine, free_port

MANAGER = "/usr/bin/traffic_manager"
SETTINGS = pathlib.Path("/etc/trafficserver")

# Where everything is; the engine's own programs and plug-ins stay where they are.
LAYOUT = """\
prefix: {folder}
exec_prefix: {folder}
bindir: /usr/bin
sbindir: /usr/bin
sysconfdir: {folder}/etc
datadir: {folder}/cache
includedir: /usr/include
libdir: /usr/lib/trafficserver
libexecdir: /usr/lib/trafficserver/modules
localstatedir: {folder}/run
runtimedir: {folder}/run
logdir: {folder}/log
cachedir: {folder}/cache
"""

RECORDS = """\
http.server_ports STRING {port}:ip-in={host}{more_ports}
reverse_proxy.enabled INT 0
url_remap.remap_required INT 0
http.cache.http INT {has_cache}
http.chunking.size INT 65536
http.connect_ports STRING *
http.insert_response_via_str INT 0
http.response_server_enabled INT 0
http.negative_caching_enabled INT 0
http.parent_proxy.self_detect INT 0
net.sock_recv_buffer_size_out INT 262144
net.sock_send_buffer_size_in INT 262144
hostdb.host_file.path STRING /etc/hosts
exec_thread.autoconfig INT 0
exec_thread.limit INT {threads}
admin.user_id STRING #-1
dns.search_default_domains INT 0
diags.logfile.rolling_enabled INT 0
"""

# A site whose certificate is not good is not talked to. By itself the engine knows no good ones.
INTERCEPTION = """\
ssl.client.verify.server.policy STRING ENFORCED
ssl.client.verify.server.properties STRING ALL
ssl.client.CA.cert.filename STRING /etc/ssl/certs/ca-certificates.crt
"""

ALLOWED = """\
ip_allow:
  - apply: in
    ip_addrs: {clients}
    action: allow
    methods: ALL
"""

# For those who come from elsewhere, what listens on this machine's loopback is out of reach; but tunnels
# that are looked into lead there.
NOT_TO_LOOPBACK = """\
  - apply: out
    ip_addrs: [127.0.0.0/8, 0.0.0.0/32, "::1", "::"]
    action: {action}
    methods: {methods}
"""
# Those to port 80 are not looked into.
NO_TUNNELS_TO_PORT_80 = "http.connect_ports STRING 1-79 81-65535\n"


class TrafficServer(Engine):
    """As an engine; `adapter` stands for another plug-in and its words. With `cache` it keeps the
    originals of what goes through; with `https` it looks into encrypted traffic, by the authority that it
    keeps in `folder`/ca. Lines of records.config in `extra` come after all others.
    """

    adapter = "trafficserver_velmora.so"
    log_name = "diags.log"
    fatal = "EMERGENCY: "
    pid_name = "run/server.lock"
    # What a balancer asks to see whether it serves.
    CHECK = "/_stats"
    # Names are looked up in a file alone; `nameserver` is one that knows none.
    HOSTS = """\
hostdb.host_file.path STRING {file}
dns.nameservers STRING {nameserver}
dns.resolv_conf STRING /dev/null
"""
    # The authority that sites' certificates may be signed by.
    TRUST = "ssl.client.CA.cert.filename STRING {file}\n"

    def __init__(
        self, folder, modules, policy="", *, extra="", adapter=None, https=False, threads=1, cache=False, **place
    ):
        super().__init__(folder, None if adapter else modules, policy, **place)
        for name in ("etc", "cache"):
            self.user.make_folder(self.folder / name)
        shutil.copytree(SETTINGS / "body_factory", self.folder / "etc/body_factory", dirs_exist_ok=True)
        (self.folder / "runroot.yaml").write_text(LAYOUT.format(folder=self.folder))
        plugin = ""
        if adapter:
            plugin = " ".join(map(str, adapter))
        elif modules:
            plugin = f"{self.modules / self.adapter} policy={self.policy} event-log={self.events}"
        more_ports = f" {self.balanced_port}:pp:ip-in=127.0.0.1" if self.balanced_port else ""
        if https:
            self._take_authority()
            tls_port = free_port()
            more_ports += f" {tls_port}:ssl:ip-in=127.0.0.1"
            plugin += f" authority={self.used_authority.folder} tls-port={tls_port}"
            extra = INTERCEPTION + ("" if self.address.is_loopback else NO_TUNNELS_TO_PORT_80) + extra
        records = RECORDS.format(
            port=self.port,
            host=self.shown_host,
            more_ports=more_ports,
            threads=threads,
            has_cache=int(cache),
        )
        lines = (records + extra).splitlines()
        self._configure("records.config", "\n".join(f"CONFIG proxy.config.{line}" for line in lines))
        self._configure("plugin.config", f"{plugin}\nstats_over_http.so")
        self._configure("ip_allow.yaml", self._access(https))
        self._configure("storage.config", f"{self.folder}/cache 64M" if cache else "")
        for name in ("remap.config", "hosting.config", "ssl_multicert.config"):
            self._configure(name, "")
        self.command = self.user.command(MANAGER, "--nosyslog")

    def _access(self, https):
        """Who may come, and where to."""
        if self.address.is_loopback:
            return ALLOWED.format(clients="127.0.0.0/8,::1")
        action, methods = ("allow", "CONNECT") if https else ("deny", "ALL")
        return ALLOWED.format(clients="0/0,::/0") + NOT_TO_LOOPBACK.format(action=action, methods=methods)

    def _configure(self, name, text):
        (self.folder / "etc" / name).write_text(text + "\n")

    def environment(self):
        return super().environment() | {"TS_RUNROOT": str(self.folder)}

    def is_serving(self):
        """The port is open before there is a process that serves."""
        try:
            with socket.create_connection((str(self.address), self.port), timeout=1) as connection:
                connection.sendall(b"GET / HTTP/1.0\r\n\r\n")
                return connection.recv(1) != b""
        except OSError:
            return False

    def control(self, *arguments):
        """What `traffic_ctl` prints."""
        command = self.user.command("traffic_ctl", *arguments)
        run = subprocess.run(command, capture_output=True, text=True, env=self.environment())
        return run.stdout

    def reconfigure(self):
        """Reads the policy and all else again, without an end of the service."""
        self.control("plugin", "msg", "velmora", "reload")

    def counters(self):
        """The adapter's, by the last words of their names."""
        lines = self.control("metric", "match", r"plugin\.velmora").splitlines()
        return {name.removeprefix("plugin.velmora."): int(value) for name, value in map(str.split, lines)}
