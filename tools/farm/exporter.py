"""A member's counters in the form that Prometheus reads, by the exporter that Debian has for its engine."""

import os
import pathlib
import re
import subprocess
import time
import urllib.request

from engine import ProxyError, free_port
from packaged import FOLDER
from squid import Squid

OF_TRAFFIC_SERVER = pathlib.Path("/usr/lib/python3/dist-packages/trafficserver_exporter/metrics.yaml")


def squid_command(member, port):
    command = ["prometheus-squid-exporter", "-listen", f"127.0.0.1:{port}"]
    return [*command, "-squid-hostname", "127.0.0.1", "-squid-port", str(member.port)]


def traffic_server_command(member, port):
    metrics = member.folder / "metrics.yaml"
    metrics.write_text(
        OF_TRAFFIC_SERVER.read_text() + (FOLDER / "trafficserver-metrics.yaml").read_text()
    )
    command = ["prometheus-trafficserver-exporter", "--addr", "127.0.0.1", "--port", str(port)]
    command += ["--endpoint", f"http://127.0.0.1:{member.port}/_stats", "--metrics-file", metrics]
    # It cannot start with the process's own figures beside the engine's.
    return [*command, "--no-procstats"]


class Exporter:
    """Of a running member; a context that stops it."""

    def __init__(self, member):
        self.member = member
        self.port = free_port()
        is_squid = isinstance(member, Squid)
        self.command = (squid_command if is_squid else traffic_server_command)(member, self.port)
        # What clients have asked for so far.
        self.requests = (
            "squid_client_http_requests_total" if is_squid else 'velmora_requests_total{outcome="judged"}'
        )

    @property
    def url(self):
        return f"http://127.0.0.1:{self.port}/metrics"

    def counters(self):
        """By their names with labels; none while they cannot be had."""
        direct = urllib.request.build_opener(urllib.request.ProxyHandler({}))
        try:
            with direct.open(self.url, timeout=10) as answer:
                text = answer.read().decode()
        except OSError:
            return {}
        return {name: float(value) for name, value in re.findall(r"(?m)^([^#\n]+) (\S+)$", text)}

    def __enter__(self):
        with (self.member.folder / "log" / "exporter.log").open("w") as log:
            self.process = subprocess.Popen(
                ["setpriv", "--pdeathsig", "TERM", *self.command],
                stdin=subprocess.DEVNULL,
                stdout=log,
                stderr=log,
                env={**os.environ, "no_proxy": "*"},
            )
        deadline = time.monotonic() + 30
        while self.requests not in self.counters():
            if self.process.poll() is not None or time.monotonic() > deadline:
                self.__exit__()
                raise ProxyError(f"no counters: {log.name}")
            time.sleep(0.1)
        return self

    def __exit__(self, *_):
        self.process.terminate()
        self.process.wait()
