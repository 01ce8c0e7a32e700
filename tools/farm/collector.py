"""The event logs of all members in one file, by rsyslog: what cannot be sent waits on disk."""

import pathlib
import subprocess

from packaged import filled_in

RSYSLOG = "/usr/sbin/rsyslogd"


class Syslog:
    """One rsyslog with a configuration and a folder of its own; a context that stops it."""

    def __init__(self, folder, configuration, **values):
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
        return self

    def stop(self):
        if self.process is not None:
            self.process.terminate()
            self.process.wait()
            self.process = None

    def __enter__(self):
        return self.start()

    def __exit__(self, *_):
        self.stop()


def collector(folder, port):
    return Syslog(folder, "rsyslog-collector.conf", port=port)


def sender(folder, port, events):
    return Syslog(folder, "rsyslog-member.conf", port=port, events=events)
