"""ProxyCase: a test with an origin, an engine with its adapter between, and curl in front.

The engine is Squid, or Traffic Server where the environment's VELMORA_ENGINE says "trafficserver".
"""

import os
import pathlib
import subprocess
import sys
import tempfile
import time
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tools" / "proxy"))

import events  # noqa: E402
from engine import ProxyError, free_port  # noqa: E402, F401
from origin import Origin, Page  # noqa: E402, F401
from squid import Squid  # noqa: E402
from traffic_server import TrafficServer  # noqa: E402

IS_SQUID = os.environ.get("VELMORA_ENGINE", "squid") == "squid"
ENGINE = Squid if IS_SQUID else TrafficServer
MODULES = pathlib.Path(os.environ.get("VELMORA_MODULES", ROOT / "build" / "release"))
# The lists of a policy.
ADS = '\n[ads]\nlists = "ads.txt"\n'


class Answer:
    def __init__(self, process):
        self.code = process.returncode
        head, _, self.body = process.stdout.partition(b"\r\n\r\n")
        status, *lines = head.decode("latin-1").split("\r\n")
        self.status = int(status.split()[1]) if status else 0
        self.protocol = status.partition(" ")[0]
        self._lines = [
            (name.lower(), value) for name, _, value in (line.partition(": ") for line in lines)
        ]
        self.headers = dict(self._lines)

    def lines(self, name):
        return [value for key, value in self._lines if key == name]


class ProxyCase(unittest.TestCase):
    """One proxy serves all tests of a class, and has to be the same process at its end."""

    policy = ADS
    lists = "||ads.example^\n"
    modules = MODULES

    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory(prefix="velmora-test-")
        cls.addClassCleanup(cls.folder.cleanup)
        os.chmod(cls.folder.name, 0o755)
        cls.origin = cls.make_origin()
        cls.addClassCleanup(cls.origin.stop)
        lists = pathlib.Path(cls.folder.name, "squid", "ads.txt")
        lists.parent.mkdir()
        lists.write_text(cls.lists)
        cls.squid = cls.make_squid()
        cls.addClassCleanup(cls.squid.stop)
        cls.squid.start()
        cls.worker = cls.squid.worker()

    @classmethod
    def make_origin(cls):
        return Origin()

    @classmethod
    def make_squid(cls, **options):
        return ENGINE(pathlib.Path(cls.folder.name, "squid"), cls.modules, cls.policy, **options)

    @classmethod
    def tearDownClass(cls):
        assert cls.squid.worker() == cls.worker, "the proxy's worker has crashed"

    def curl(self, path, *options):
        """The command that fetches through the proxy."""
        quiet = ["-sS", "--no-progress-meter", "--max-time", "60"]
        proxy = ["-x", f"http://127.0.0.1:{self.squid.port}"]
        return ["curl", *quiet, *proxy, *options, self.origin.url(path)]

    def fetch(self, path, *options):
        return Answer(subprocess.run(self.curl(path, "-i", *options), capture_output=True))

    def serve(self, path, *arguments, **keywords):
        self.origin.pages[path] = Page(*arguments, **keywords)

    def all_events_of(self, path):
        url = self.origin.url(path)
        return [event for event in events.read(self.squid.events) if event.get("url") == url]

    def events_of(self, path):
        """Without those of a body or page as a whole."""
        return [
            event
            for event in self.all_events_of(path)
            if event["event"] not in ("filtered", "guarded")
        ]

    def worker_memory(self, kind="VmRSS"):
        """Resident bytes; `VmHWM` is the most that there ever were."""
        for line in pathlib.Path(f"/proc/{self.squid.worker()}/status").read_text().splitlines():
            if line.startswith(f"{kind}:"):
                return int(line.split()[1]) * 1024

    def wait_until(self, condition, seconds=20):
        deadline = time.monotonic() + seconds
        while not condition():
            self.assertLess(time.monotonic(), deadline, "waited in vain")
            time.sleep(0.02)
