"""`./run farm`: HAProxy before several filtering proxies, on loopback, with their event logs in one file.

It sends traffic through, kills a member, brings it back, renews all of them one by one, and says what
clients saw of it. Then it goes on until Ctrl-C, or for `--seconds`.
"""

import argparse
import collections
import http.client
import http.server
import pathlib
import shutil
import signal
import sys
import tempfile
import threading
import time

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tools" / "proxy"))

import collector  # noqa: E402
from balancer import Balancer  # noqa: E402
from engine import ProxyError, User, free_port, keep_earlier  # noqa: E402
from exporter import Exporter  # noqa: E402
from proxy import count, port  # noqa: E402
from squid import Squid  # noqa: E402
from traffic_server import TrafficServer  # noqa: E402

ENGINES = {"squid": Squid, "trafficserver": TrafficServer}
FOLDER = ROOT / "build" / "farm"
PAGE = b"<html><body>%s<script>alert(1)</script><p>last</p></body></html>" % (b"<p>text</p>" * 2000)
# One client has another policy: so it shows when a member does not know who asks.
CLIENTS = ("127.0.0.1", "127.0.0.2", "127.0.0.3", "127.0.0.9")
UNTOUCHED = "127.0.0.9"
SITES = tuple(f"127.0.0.{number}" for number in range(1, 17))
POLICY = f"""\
[filter]
block = "scripts"
[allow]
clients = ["{UNTOUCHED}"]
"""


class Origin(http.server.ThreadingHTTPServer):
    """One page, at an address of this machine's loopback."""

    daemon_threads = True
    request_queue_size = 256

    class Handler(http.server.BaseHTTPRequestHandler):
        protocol_version = "HTTP/1.1"

        def do_GET(self):
            self.send_response(200)
            self.send_header("Content-Type", "text/html")
            self.send_header("Content-Length", str(len(PAGE)))
            self.end_headers()
            self.wfile.write(PAGE)

        def log_message(self, *_):
            pass

    def __init__(self, address, port=0):
        super().__init__((address, port), self.Handler)
        threading.Thread(target=self.serve_forever, daemon=True).start()

    def handle_error(self, *_):
        """A proxy that is killed is no news."""


class Load:
    """Clients that fetch one page after the other through the balancer, and look at each."""

    def __init__(self, balancer_port, origin_port, threads=8):
        self.balancer_port = balancer_port
        self.origin_port = origin_port
        self.seen = collections.Counter()
        self.is_over = threading.Event()
        self.lock = threading.Lock()
        self.threads = [
            threading.Thread(target=self._run, args=(number,), daemon=True) for number in range(threads)
        ]

    def _run(self, number):
        client = CLIENTS[number % len(CLIENTS)]
        connection = None
        turn = 0
        while not self.is_over.is_set():
            turn += 1
            connection = connection or http.client.HTTPConnection(
                "127.0.0.1", self.balancer_port, timeout=30, source_address=(client, 0)
            )
            host = f"{SITES[(number + turn) % len(SITES)]}:{self.origin_port}"
            outcome = self._fetch(connection, f"http://{host}/{turn}", host, client)
            if outcome != "right":
                connection.close()
                connection = None
            with self.lock:
                self.seen[outcome] += 1

    def _fetch(self, connection, url, host, client):
        try:
            connection.request("GET", url, headers={"Host": host})
            answer = connection.getresponse()
            body = answer.read()
        except (OSError, http.client.HTTPException):
            return "broken off"
        if answer.status >= 500:
            return f"status {answer.status}"
        has_script = b"<script>" in body
        is_right = body.endswith(b"<p>last</p></body></html>") and has_script == (client == UNTOUCHED)
        return "right" if is_right else "WRONG"

    def __enter__(self):
        for thread in self.threads:
            thread.start()
        return self

    def __exit__(self, *_):
        self.is_over.set()
        for thread in self.threads:
            thread.join()

    def count(self):
        with self.lock:
            return collections.Counter(self.seen)


def described(seen):
    total = seen.total()
    others = ", ".join(f"{number} {what}" for what, number in seen.items() if what != "right")
    return f"{total} answers, {others or 'all right'}"


def reachable(folder):
    """An empty folder in which the members can work: this one, or one that stands in for it."""
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir(parents=True)
    user = User()
    if not user.can_read(folder):
        folder = pathlib.Path(tempfile.mkdtemp(prefix="velmora-farm-"))
        user.make_folder(folder)
    return folder


class Farm:
    def __init__(self, options):
        make = ENGINES[options.engine]
        folder = self.folder = reachable(FOLDER)
        self.members = {
            f"member{number}": make(
                folder / f"member{number}", options.modules, POLICY, balanced=True
            )
            for number in range(1, options.members + 1)
        }
        self.counters_port = free_port()
        self.balancer = Balancer(folder, options.port, self.counters_port, self.members)
        log_port = collector.steady_port()
        self.gathered = folder / "log" / "events"
        self.exporters = {name: Exporter(member) for name, member in self.members.items()}
        self.collector = collector.collector(folder / "log", log_port)
        self.senders = [
            collector.sender(folder / f"{name}-log", log_port, member.events)
            for name, member in self.members.items()
        ]

    def __enter__(self):
        self.started = []
        try:
            parts = [*self.members.values(), *self.exporters.values(), self.balancer]
            for part in [*parts, self.collector, *self.senders]:
                part.__enter__()
                self.started.append(part)
        except BaseException:
            self.__exit__()
            raise
        return self

    def __exit__(self, *_):
        for part in reversed(self.started):
            part.__exit__(None, None, None)
        self._bring_home()

    def _bring_home(self):
        """Of a folder that stood in for the farm's the logs are kept."""
        if self.folder == FOLDER:
            return
        for logs in [*self.folder.glob("log"), *self.folder.glob("*/log")]:
            shutil.copytree(logs, FOLDER / logs.relative_to(self.folder), dirs_exist_ok=True)
        shutil.rmtree(self.folder)

    def kill(self, name):
        """As a crash of the machine would: everything of the member is gone at once."""
        self.members[name].kill()

    def bring_back(self, name):
        self.members[name].start()
        self.balancer.use(name)

    def renew(self, name):
        self.balancer.drain(name)
        self.members[name].stop()
        self.bring_back(name)

    def rotate(self, name):
        """The member's event log gets another name, and the member begins a new one."""
        log = self.members[name].events
        keep_earlier(log)
        self.members[name].reconfigure()

    def lines(self):
        """Of all members' logs, and of the file in which they are gathered: each, and how often."""
        logs = [log for member in self.members.values() for log in member.events.parent.glob("events*")]
        own = [line for log in logs for line in log.read_text().splitlines()]
        gathered = self.gathered.read_text().splitlines() if self.gathered.exists() else []
        return collections.Counter(own), collections.Counter(gathered)


def show(title, load, before):
    print(f"{title:<44} {described(load.count() - before)}", flush=True)
    return load.count()


def renew_all(farm, load, seen, answers):
    """One after the other, and again until clients have got so many answers meanwhile; how often."""
    turns = 0
    while turns == 0 or (load.count() - seen).total() < answers:
        for name in farm.members:
            farm.renew(name)
        turns += 1
    return turns


def do_without_collector(farm, end):
    """For 5 s, in which all logs are rotated."""
    end()
    time.sleep(2)
    for name in farm.members:
        farm.rotate(name)
    time.sleep(3)
    farm.collector.start()


def demonstrate(farm, load, answers):
    seen = load.count()
    time.sleep(4)
    seen = show("All members at work:", load, seen)
    first = next(iter(farm.members))
    farm.kill(first)
    time.sleep(4)
    seen = show(f"{first} killed:", load, seen)
    farm.bring_back(first)
    time.sleep(2)
    seen = show(f"{first} brought back:", load, seen)
    turns = renew_all(farm, load, seen, answers)
    again = f", {turns} times" if turns > 1 else ""
    seen = show(f"All renewed, one after the other{again}:", load, seen)
    do_without_collector(farm, farm.collector.stop)
    seen = show("No collector for 5 s, all logs rotated:", load, seen)
    do_without_collector(farm, farm.collector.kill)
    show("The same with one that was killed:", load, seen)


def compare_logs(farm):
    """Waits until the gathered log has what the members' have."""
    deadline = time.monotonic() + 60
    while True:
        own, gathered = farm.lines()
        if own <= gathered or time.monotonic() > deadline:
            break
        time.sleep(0.5)
    print(
        f"Events in the members' logs: {own.total()}; in the log that gathers them "
        f"{(own - gathered).total()} missing, {(gathered - own).total()} twice, "
        f"{len(gathered.keys() - own.keys())} unknown."
    )


def show_counters(farm):
    told = [
        f"{name} {exporter.counters()[exporter.requests]:.0f}" for name, exporter in farm.exporters.items()
    ]
    print(f"Requests by the members' own counters, each since its last start: {', '.join(told)}.", flush=True)


def stop(*_):
    raise KeyboardInterrupt


def parse_arguments():
    parser = argparse.ArgumentParser(prog="./run farm", description=__doc__)
    parser.add_argument("--members", type=count, default=3, metavar="N", help="(default: %(default)s)")
    parser.add_argument("--engine", choices=ENGINES, default="trafficserver", help="(default: %(default)s)")
    parser.add_argument("--port", type=port, default=3128, help="HAProxy's (default: %(default)s)")
    parser.add_argument("--seconds", type=int, metavar="N", help="ends by itself so long after the demonstration")
    parser.add_argument(
        "--answers", type=int, default=0, metavar="N", help="members are renewed until clients have got so many"
    )
    parser.add_argument("--modules", default=ROOT / "build" / "release", metavar="DIR", help=argparse.SUPPRESS)
    # For ./run, which looks at what it is asked for before it builds anything.
    parser.add_argument("--check-arguments", action="store_true", help=argparse.SUPPRESS)
    return parser.parse_args()


def main():
    options = parse_arguments()
    if options.check_arguments:
        return
    for number in (signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, stop)
    try:
        with Farm(options) as farm:
            print(f"HAProxy on 127.0.0.1:{options.port}, {options.members} members of {options.engine}.")
            print(f"Counters: http://127.0.0.1:{farm.counters_port}/metrics   Files: {farm.folder}")
            for name, exporter in farm.exporters.items():
                print(f"  of {name}: {exporter.url}", flush=True)
            origin_port = Origin(SITES[0]).server_port
            for site in SITES[1:]:
                Origin(site, origin_port)
            with Load(options.port, origin_port) as load:
                demonstrate(farm, load, options.answers)
            compare_logs(farm)
            show_counters(farm)
            if options.seconds is None:
                print("Ctrl-C stops it.", flush=True)
                signal.pause()
            time.sleep(options.seconds)
    except KeyboardInterrupt:
        print("\nStopped.")
    except ProxyError as error:
        sys.exit(str(error))


if __name__ == "__main__":
    main()
