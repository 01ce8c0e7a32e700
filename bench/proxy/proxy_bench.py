"""What filtering costs in a proxy: plain Squid, a do-nothing adapter, Velmora, and Privoxy.

    proxy_bench.py PAGE [--modules build/release] [--rounds 7] [--seconds 2]

A page of one's own is served by nginx and fetched by wrk (8 connections) and curl, on one machine;
the subjects take turns, and every figure is the median over the rounds, with the least and the most
in brackets. Needs the packages nginx-light, wrk and privoxy.
"""

import argparse
import json
import os
import pathlib
import shutil
import statistics
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path[:0] = [str(ROOT / folder) for folder in ("tools/proxy", "bench")]

from engine import User, free_port, is_listening  # noqa: E402
from folder import working_folder  # noqa: E402
from nginx import write_configuration  # noqa: E402
from squid import Squid  # noqa: E402

TICKS = os.sysconf("SC_CLK_TCK")

ORIGIN = """\
listen 127.0.0.1:{port}; root {folder}/pages; default_type text/html;
    location /slow {{ alias {folder}/pages/page; limit_rate 200k; }}"""

PRIVOXY = """\
confdir /etc/privoxy
logdir {folder}
actionsfile match-all.action
actionsfile default.action
actionsfile user.action
filterfile default.filter
filterfile user.filter
listen-address 127.0.0.1:{port}
buffer-limit 4096
keep-alive-timeout 5
tolerate-pipelining 1
socket-timeout 300
"""

WRK = """\
request = function() return wrk.format("GET", "{url}") end
done = function(summary)
  io.stderr:write(string.format("%d %f %d\\n", summary.requests, summary.duration / 1e6,
    summary.errors.status + summary.errors.read + summary.errors.connect + summary.errors.timeout))
end
"""


class Server:
    """A program that listens on a port of its own until the end."""

    def __init__(self, folder, port, *command):
        self.port = port
        self.process = subprocess.Popen(
            User().command(*command), cwd=folder, stderr=subprocess.DEVNULL
        )
        while not is_listening(port):
            if self.process.poll() is not None:
                sys.exit(f"{command[0]} does not start")
            time.sleep(0.05)

    def pid(self):
        return self.process.pid

    def stop(self):
        self.process.terminate()
        self.process.wait()


class Subject:
    def __init__(self, name, server):
        self.name = name
        self.server = server
        self.pid = server.worker() if isinstance(server, Squid) else server.pid()
        self.rounds = []

    def cpu_seconds(self):
        fields = pathlib.Path(f"/proc/{self.pid}/stat").read_text().rpartition(")")[2].split()
        return (int(fields[11]) + int(fields[12])) / TICKS

    def first_byte(self, url, count):
        times = []
        for _ in range(count):
            run = subprocess.run(
                ["curl", "-s", "-o", "/dev/null", "-w", "%{time_starttransfer}"]
                + ["-x", f"http://127.0.0.1:{self.server.port}", url],
                capture_output=True,
                check=True,
            )
            times.append(float(run.stdout) * 1000)
        return statistics.median(times)

    def measure(self, origin, script, seconds):
        cpu = self.cpu_seconds()
        run = subprocess.run(
            ["wrk", "-t1", "-c8", f"-d{seconds}s", "-s", script]
            + [f"http://127.0.0.1:{self.server.port}"],
            capture_output=True,
            text=True,
            check=True,
        )
        requests, duration, errors = map(float, run.stderr.split())
        if errors:
            sys.exit(f"{self.name}: {errors:.0f} of {requests:.0f} requests failed")
        self.rounds.append(
            {
                "requests a second": requests / duration,
                "CPU ms a page": (self.cpu_seconds() - cpu) / requests * 1000,
                "first byte, ms": self.first_byte(f"{origin}/page", 15),
                "first byte of a slow page, ms": self.first_byte(f"{origin}/slow", 3),
            }
        )


def spread(values):
    return f"{statistics.median(values):9.2f} [{min(values):.2f} {max(values):.2f}]"


def report(subjects):
    plain = subjects[0]
    for figure in plain.rounds[0]:
        print(f"\n{figure:<34}{'median [least most]':<30}to plain Squid, round by round")
        for subject in subjects:
            values = [one[figure] for one in subject.rounds]
            ratios = [v / one[figure] for v, one in zip(values, plain.rounds)]
            print(f"  {subject.name:<24}{spread(values):<36}{spread(ratios)}")


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("page", type=pathlib.Path)
    parser.add_argument("--modules", type=pathlib.Path, default=ROOT / "build" / "release")
    parser.add_argument("--block", default="calm", help="presets and categories")
    parser.add_argument("--rounds", type=int, default=7)
    parser.add_argument("--seconds", type=int, default=2)
    parser.add_argument("--json", type=pathlib.Path, help="file for the figures of every round")
    options = parser.parse_args()
    with working_folder() as folder:
        (folder / "pages").mkdir()
        shutil.copy(options.page, folder / "pages" / "page")
        (folder / "pages" / "page").chmod(0o644)
        idle = folder / "ecap_idle.so"
        shutil.copy(options.modules / idle.name, idle)
        started = []
        try:
            origin_port, privoxy_port = free_port(), free_port()
            nginx = write_configuration(folder, ORIGIN.format(folder=folder, port=origin_port))
            (folder / "privoxy").write_text(PRIVOXY.format(folder=folder, port=privoxy_port))
            started.append(Server(folder, origin_port, "/usr/sbin/nginx", "-c", nginx))
            origin = f"http://127.0.0.1:{origin_port}"
            privoxy = Server(
                folder, privoxy_port, "/usr/sbin/privoxy", "--no-daemon", folder / "privoxy"
            )
            started.append(privoxy)
            squids = {
                "plain Squid": Squid(folder / "plain", None),
                "do-nothing adapter": Squid(
                    folder / "idle", None, adapter=(idle, "ecap://velmora.bench/idle")
                ),
                "Velmora": Squid(folder / "velmora", options.modules, f'[filter]\nblock = "{options.block}"\n'),
            }
            for squid in squids.values():
                started.append(squid)
                squid.start()
            subjects = [Subject(name, squid) for name, squid in squids.items()]
            subjects.append(Subject("Privoxy", privoxy))
            script = folder / "wrk.lua"
            script.write_text(WRK.format(url=f"{origin}/page"))
            for _ in range(options.rounds):
                for subject in subjects:
                    subject.measure(origin, script, options.seconds)
        finally:
            for server in reversed(started):
                server.stop()
    print(f"{options.page.name}, {options.page.stat().st_size} bytes, {options.rounds} rounds")
    report(subjects)
    if options.json:
        options.json.write_text(json.dumps({s.name: s.rounds for s in subjects}, indent=1))


if __name__ == "__main__":
    main()
