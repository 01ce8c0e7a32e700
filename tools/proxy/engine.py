"""An engine with Velmora in it: a proxy of one's own, on loopback, as an ordinary user, with everything
that it writes in one folder.

Nothing of the system's proxy is touched. Started by root it runs as the user "proxy", so the folder
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

from authority import Authority, AuthorityError


class ProxyError(Exception):
    """The proxy cannot be started; the text says why, for a person."""


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

    def command_with_mount(self, folder, place, *arguments):
        """The same; the command alone sees `folder` in the place of another."""
        mount = ["sh", "-c", f'mount --bind "$0" {place} && exec "$@"', str(folder)]
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


def is_free(port):
    with socket.socket() as probe:
        try:
            probe.bind((str(LOOPBACK), port))
        except OSError:
            return False
        return True


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


class Engine:
    """A running proxy; a context that stops it.

    `modules` is the folder with the built libraries (None: no adapter); `policy` is the policy's text,
    or the file that it stands in. It listens on `address`; when that is none of the loopback's, it
    serves whoever reaches it. With `balanced` it has one more port, for a balancer that says in the PROXY
    protocol who the client is.
    """

    # What each kind of engine says of itself: its adapter, its own log, how that begins the reason for
    # an end, and who it is.
    adapter = ""
    fatal = ""
    log_name = ""
    pid_name = ""

    def __init__(self, folder, modules, policy="", *, port=None, address=LOOPBACK, balanced=False):
        self.user = User()
        self.address = address
        self.port = port or free_port()
        self.balanced_port = free_port() if balanced else None
        self.kept_folder = pathlib.Path(folder).absolute()
        self.folder = self._reachable(self.kept_folder)
        self._refuse_second()
        self._make_folders()
        self.policy = self._policy_file(policy) if modules else None
        self.modules = self._reachable_modules(pathlib.Path(modules).absolute()) if modules else None
        # With what it looks into encrypted traffic, if it does; and the same where the engine reads it.
        self.authority = self.used_authority = None
        self.command = []
        self.process = None

    def _reachable(self, folder):
        self.user.make_folder(folder)
        if self.user.can_read(folder):
            return folder
        folder = pathlib.Path(tempfile.mkdtemp(prefix="velmora-proxy-"))
        self.user.make_folder(folder)
        return folder

    @property
    def shown_host(self):
        return f"[{self.address}]" if self.address.version == 6 else str(self.address)

    @property
    def shown_address(self):
        return f"{self.shown_host}:{self.port}"

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
        pid_file = self.folder / self.pid_name
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
        (self.folder / self.pid_name).unlink(missing_ok=True)

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

    def _reachable_modules(self, modules):
        names = (self.adapter, "libvelmora.so", "libvexlar.so")
        missing = [str(modules / name) for name in names if not (modules / name).exists()]
        if missing:
            raise ProxyError("not built: " + ", ".join(missing))
        if self.user.can_read(modules / self.adapter):
            return modules
        for name in names:
            shutil.copy(modules / name, self.folder)
        return self.folder

    def _take_authority(self):
        """The authority is made at the first start, and kept from then on."""
        try:
            self.authority = self.used_authority = Authority(self.kept_folder / "ca", self.user.account)
        except AuthorityError as error:
            raise ProxyError(str(error)) from None
        if self.folder != self.kept_folder:
            self.used_authority = self.authority.copy_to(self.folder / "ca")

    @property
    def log(self):
        """The engine's own log."""
        return self.folder / "log" / self.log_name

    def environment(self):
        return {**os.environ, "HOME": str(self.folder / "home"), "XDG_CACHE_HOME": ""}

    def is_serving(self):
        return is_listening(self.port, self.address)

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
                env=self.environment(),
                # A Ctrl-C is not for its helpers.
                start_new_session=True,
            )
        deadline = time.monotonic() + 30
        while not self.is_serving():
            if self.process.poll() is not None or time.monotonic() > deadline:
                self.stop()
                raise ProxyError(f"the proxy does not start:\n{self.complaints()}")
            time.sleep(0.02)
        return self

    def stop(self):
        """Lets open answers end, for a second; then nothing of it is left."""
        if self.process is None:
            return
        self.process.terminate()
        try:
            self.process.wait(timeout=20)
        except subprocess.TimeoutExpired:
            os.killpg(self.process.pid, signal.SIGKILL)
            self.process.wait()
        self.process = None
        self._clear_up()
        self._bring_home()

    def complaints(self):
        """Why it does not start, as its logs say."""
        files = [file for file in (self.log.with_name("start.log"), self.log) if file.exists()]
        lines = [line for file in files for line in file.read_text(errors="replace").splitlines()]
        # Each attempt to start says the same.
        reasons = dict.fromkeys(line.partition(self.fatal)[2] for line in lines if self.fatal in line)
        return "\n".join(reasons or lines[-5:]) or f"its log is {self.log}"

    def kill(self):
        """Everything of it ends at once, as with a machine that loses its power."""
        os.killpg(self.process.pid, signal.SIGKILL)
        self.process.wait()
        self.process = None

    def _clear_up(self):
        """What an engine leaves behind."""

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
