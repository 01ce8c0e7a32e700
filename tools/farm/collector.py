"""The event logs of all members in one file, by rsyslog: what cannot be sent waits on disk."""

import pathlib
import random
import subprocess
import time

from engine import ProxyError, is_free, is_listening
from packaged import FOLDER, filled_in

RSYSLOG = "/usr/sbin/rsyslogd"


def steady_port():
    """One that no connection gets by chance while nobody listens on it: below those for connections."""
    return next(port for port in random.sample(range(20000, 32000), 1000) if is_free(port))


class Syslog:
    """One rsyslog with a configuration and a folder of its own; a context that stops it. When it has started
    it listens on the port, if it has one.
    """

    def __init__(self, folder, configuration, listens_on=None, **values):
        self.listens_on = listens_on
        self.folder = pathlib.Path(folder)
        self.folder.mkdir(parents=True, exist_ok=True)
        self.file = self.folder / "rsyslog.conf"
        self.file.write_text(
            filled_in(configuration, folder=self.folder, address="127.0.0.1", **values)
        )
        self.process = None

    def start(self):
        with (self.folder / "rsyslog.log").open("a") as log:
            self.process = subprocess.Popen(
                ["setpriv", "--pdeathsig", "TERM", RSYSLOG, "-n", "-f", self.file]
                + ["-i", self.folder / "rsyslog.pid"],
                stdin=subprocess.DEVNULL,
                stdout=log,
                stderr=log,
            )
        deadline = time.monotonic() + 30
        while self.listens_on is not None and not is_listening(self.listens_on):
            if self.process.poll() is not None or time.monotonic() > deadline:
                self.stop()
                raise ProxyError(f"rsyslog does not start: {log.name}")
            time.sleep(0.05)
        return self

    def stop(self):
        if self.process is not None:
            self.process.terminate()
            self.process.wait()
            self.process = None

    def kill(self):
        """As a crash would: nothing is said to anybody."""
        self.process.kill()
        self.process.wait()
        self.process = None

    def __enter__(self):
        return self.start()

    def __exit__(self, *_):
        self.stop()


def collector(folder, port):
    gather = FOLDER / "gather.py"
    return Syslog(folder, "rsyslog-collector.conf", listens_on=port, port=port, gather=gather)


def sender(folder, port, events):
    return Syslog(folder, "rsyslog-member.conf", port=port, events=events)
