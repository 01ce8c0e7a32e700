"""A Squid of one's own: on loopback, as an ordinary user, with everything it writes in one folder.

Nothing of the system's Squid is touched. Started by root it runs as the user "proxy", so the folder
must be one that this user can reach.
"""

import ipaddress
import os
import pathlib
import pwd
import shutil
import signal
import socket
import subprocess
import tempfile
import time

from authority import AuthorityError
from interception import Interception

SQUID = "/usr/sbin/squid"
MODULES = ("ecap_velmora.so", "libvelmora.so", "libvexlar.so")

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

WORKERS = """\
workers {workers}
memory_cache_shared off
"""

ADAPTER = """\
loadable_modules {library}
ecap_enable on
adaptation_send_client_ip on
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


class ProxyError(Exception):
    """The proxy cannot be started; the text says why, for a person."""


class NoSockets(ProxyError):
    """The processes of a Squid with several workers could not meet."""


class User:
    """Whom the proxy runs as: this user, or "proxy" where this one is root."""

    def __init__(self):
        self.account = pwd.getpwnam("proxy") if os.getuid() == 0 else None

    def command(self, *arguments):
        """The command under this user; it is told to end when its parent is gone."""
        prefix = ["setpriv", "--pdeathsig", "TERM"]
        if self.account:
            prefix += [f"--reuid={self.account.pw_uid}", f"--regid={self.account.pw_gid}"]
            prefix += ["--clear-groups"]
        return [*prefix, *map(str, arguments)]

    def command_with_sockets(self, folder, *arguments):
        """The same; the command alone sees `folder` in the place of SOCKETS."""
        mount = ["sh", "-c", f'mount --bind "$0" {SOCKETS} && exec "$@"', str(folder)]
        if self.account:
            return ["unshare", "--mount", *mount, *self.command(*arguments)]
        same = [f"--map-user={os.getuid()}", f"--map-group={os.getgid()}"]
        no_more = ["--ambient-caps=-all", "--inh-caps=-all", "--bounding-set=-all"]
        mount += ["setpriv", *no_more, *self.command(*arguments)]
        return ["unshare", "--user", *same, "--keep-caps", "--mount", *mount]

    def succeeds(self, command):
        return subprocess.run(command, stderr=subprocess.DEVNULL).returncode == 0

    def can_read(self, path):
        return self.succeeds(self.command("test", "-r", path))

    def make_folder(self, path):
        path.mkdir(mode=0o755, parents=True, exist_ok=True)
        if self.account:
            os.chown(path, self.account.pw_uid, self.account.pw_gid)


LOOPBACK = ipaddress.ip_address("127.0.0.1")
# How many event logs of earlier runs are kept.
EARLIER_LOGS = 7


def free_port():
    with socket.socket() as probe:
        probe.bind((str(LOOPBACK), 0))
        return probe.getsockname()[1]


def is_listening(port, address=LOOPBACK):
    """An address that stands for all of the machine's is asked for by its loopback."""
    if address.is_unspecified:
        address = LOOPBACK if address.version == 4 else ipaddress.ip_address("::1")
    try:
        with socket.create_connection((str(address), port), timeout=1):
            return True
    except OSError:
        return False


def keep_earlier(log):
    """The log of the run before gets the name log.1, the one before that log.2, and so on."""
    for number in range(EARLIER_LOGS - 1, 0, -1):
        earlier = log.with_name(f"{log.name}.{number}")
        if earlier.exists():
            earlier.rename(log.with_name(f"{log.name}.{number + 1}"))
    if log.exists():
        log.rename(log.with_name(f"{log.name}.1"))


class Squid:
    """A running proxy; a context that stops it.

    `modules` is the folder with the built libraries (None: no adapter); `policy` is the policy's text,
    or the file that it stands in; `adapter` stands for another library and its service's address.
    With `https` it looks into encrypted traffic, by the authority that it keeps in `folder`/ca. Lines of
    configuration in `extra` come before all others. It listens on `address`; when that is none of the
    loopback's, it serves whoever reaches it.
    """

    def __init__(
        self,
        folder,
        modules,
        policy="",
        port=None,
        extra="",
        adapter=None,
        https=False,
        workers=1,
        address=LOOPBACK,
    ):
        self.user = User()
        self.address = address
        self.port = port or free_port()
        self.kept_folder = pathlib.Path(folder).absolute()
        self.folder = self._reachable(self.kept_folder)
        self._refuse_second()
        self._make_folders()
        adaptation = ""
        if adapter:
            adaptation = ADAPTER.format(library=adapter[0], uri=adapter[1], settings="")
        elif modules:
            modules = pathlib.Path(modules).absolute()
            adaptation = self._adapter(modules, self._policy_file(policy))
            adaptation += JUDGE.format(tunnels=TUNNELS_PASS if https else "")
        self.interception = self._interception(modules) if https else None
        options = ""
        if https:
            extra += self.interception.configuration
            options = self.interception.port_options
        if workers > 1:
            extra += WORKERS.format(workers=workers)
        text = CONFIGURATION.format(
            address=self.shown_address,
            folder=self.folder,
            port_options=options,
            others="" if address.is_loopback else OTHERS_MAY_COME,
        )
        (self.folder / "squid.conf").write_text(extra + text + adaptation)
        # Shared memory is named after the service.
        self.name = f"velmora{os.getpid()}p{self.port}"
        self.command = self._command(workers)
        self.process = None

    def _reachable(self, folder):
        self.user.make_folder(folder)
        if self.user.can_read(folder):
            return folder
        folder = pathlib.Path(tempfile.mkdtemp(prefix="velmora-proxy-"))
        self.user.make_folder(folder)
        return folder

    @property
    def shown_address(self):
        host = f"[{self.address}]" if self.address.version == 6 else self.address
        return f"{host}:{self.port}"

    @property
    def events(self):
        return self.folder / "log" / "events"

    def _bring_home(self):
        """What was written in a folder that stood in for the one asked for is kept in that one."""
        if self.folder == self.kept_folder:
            return
        shutil.copytree(self.folder / "log", self.kept_folder / "log", dirs_exist_ok=True)
        shutil.rmtree(self.folder)
        self.folder = self.kept_folder

    def _refuse_second(self):
        pid_file = self.folder / "squid.pid"
        if pid_file.exists() and pathlib.Path("/proc", pid_file.read_text().strip()).exists():
            raise ProxyError(f"another proxy runs in {self.folder}")

    def _make_folders(self):
        keep_earlier(self.kept_folder / "log" / self.events.name)
        for name in ("home", "run"):
            shutil.rmtree(self.folder / name, ignore_errors=True)
        for name in ("log", "home", "run"):
            self.user.make_folder(self.folder / name)
        for log in (self.folder / "log").glob("*.log"):
            log.unlink()
        (self.folder / "squid.pid").unlink(missing_ok=True)

    def _policy_file(self, policy):
        if isinstance(policy, pathlib.Path):
            if not policy.exists():
                raise ProxyError(f"{policy}: no such file")
            if not self.user.can_read(policy.absolute()):
                raise ProxyError(f"{policy} cannot be read by the proxy's user")
            return policy.absolute()
        file = self.folder / "velmora.toml"
        file.write_text(policy)
        return file

    def _adapter(self, modules, policy):
        missing = [str(modules / name) for name in MODULES if not (modules / name).exists()]
        if missing:
            raise ProxyError("not built: " + ", ".join(missing))
        if not self.user.can_read(modules / MODULES[0]):
            for name in MODULES:
                shutil.copy(modules / name, self.folder)
            modules = self.folder
        self.policy = policy
        settings = {"policy": policy, "event-log": self.events}
        return ADAPTER.format(
            library=modules / MODULES[0],
            uri="ecap://velmora/respmod",
            settings=" ".join(f"{key}={value}" for key, value in settings.items()),
        )

    def _interception(self, modules):
        spliced = ""
        if modules:
            command = [modules / "velmora", "check-config", "--splice-list", self.policy]
            if not command[0].exists():
                raise ProxyError(f"not built: {command[0]}")
            run = subprocess.run(command, capture_output=True, text=True)
            if run.returncode != 0:
                raise ProxyError(run.stderr.strip())
            spliced = run.stdout
        try:
            return Interception(self.folder, self.kept_folder, self.user, spliced)
        except AuthorityError as error:
            raise ProxyError(str(error)) from None

    def _command(self, workers):
        squid = [SQUID, "-n", self.name, "-f", self.folder / "squid.conf", "--foreground", "-YC"]
        if workers <= 1:
            return self.user.command(*squid)
        if self.user.account and not SOCKETS.exists():
            self.user.make_folder(SOCKETS)  # as the system does at its start
        folder = self.folder / "run"
        if self.user.succeeds(self.user.command_with_sockets(folder, "true")):
            return self.user.command_with_sockets(folder, *squid)
        if self.user.succeeds(self.user.command("test", "-w", SOCKETS)):
            return self.user.command(*squid)
        raise NoSockets(
            f"several workers need a folder {SOCKETS} that belongs to the proxy's user, "
            "or the right to mount another one in its place"
        )

    def start(self):
        if is_listening(self.port, self.address):
            raise ProxyError(f"port {self.port} is in use already")
        # What it says before it has a log of its own.
        with (self.folder / "log" / "start.log").open("w") as start_log:
            self.process = subprocess.Popen(
                self.command,
                stdin=subprocess.DEVNULL,
                stdout=subprocess.DEVNULL,
                stderr=start_log,
                cwd=self.folder,
                env={**os.environ, "HOME": str(self.folder / "home"), "XDG_CACHE_HOME": ""},
                # A Ctrl-C is not for its helpers.
                start_new_session=True,
            )
        deadline = time.monotonic() + 30
        while not is_listening(self.port, self.address):
            if self.process.poll() is not None or time.monotonic() > deadline:
                self.stop()
                raise ProxyError(f"the proxy does not start:\n{self.complaints()}")
            time.sleep(0.02)
        return self

    def reconfigure(self):
        """Reads the policy and all else again, without an end of the service."""
        self.process.send_signal(signal.SIGHUP)

    def complaints(self):
        log = self.folder / "log" / "cache.log"
        files = [file for file in (log.with_name("start.log"), log) if file.exists()]
        lines = [line for file in files for line in file.read_text(errors="replace").splitlines()]
        # Each attempt to start says the same.
        fatal = dict.fromkeys(line.partition("FATAL: ")[2] for line in lines if "FATAL: " in line)
        return "\n".join(fatal or lines[-5:]) or f"its log is {log}"

    def stop(self):
        """Lets open answers end, for a second; then nothing of it is left."""
        if self.process is None:
            return
        self.process.terminate()
        try:
            self.process.wait(timeout=20)
        except subprocess.TimeoutExpired:
            os.killpg(self.process.pid, 9)
            self.process.wait()
        self.process = None
        for left in SOCKETS.glob(f"{self.name}-*.ipc"):
            left.unlink()
        self._bring_home()

    def children(self):
        """The ids of the master's children: those that serve and, if they are several, what coordinates
        them."""
        children = pathlib.Path(f"/proc/{self.process.pid}/task/{self.process.pid}/children")
        return [int(child) for child in children.read_text().split()]

    def worker(self):
        """The id of the process that serves."""
        return self.children()[0]

    def __enter__(self):
        return self.start()

    def __exit__(self, *_):
        self.stop()
