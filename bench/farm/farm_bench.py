"""What each kind of traffic costs in each engine, and in HAProxy before it.

    farm_bench.py PAGE [--modules build/release] [--rounds 7] [--scale 1] [--only page]

A page of one's own and made-up files are served by nginx and fetched through the engines, which take
turns, all on one machine. What is measured is the processor time of an engine's processes alone, as the
system counts it: so a machine that has other things to do makes it larger, but not by much what one engine
takes against another. Every figure is the median over the rounds, every ratio that of the ratios in
each round. docs/capacity.md says what to make of it. Needs the packages nginx-light and haproxy.
"""

import argparse
import contextlib
import http.client
import math
import os
import pathlib
import shutil
import ssl
import statistics
import subprocess
import sys
import threading
import time
import typing

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path[:0] = [str(ROOT / folder) for folder in ("tools/proxy", "tools/farm", "tests/proxy", "bench")]

from balancer import Balancer  # noqa: E402
from certificates import Certificate  # noqa: E402
from engine import User, free_port, is_listening  # noqa: E402
from folder import working_folder  # noqa: E402
from nginx import write_configuration  # noqa: E402
from squid import Squid  # noqa: E402
from traffic_server import TrafficServer  # noqa: E402

CLIENTS = 8
FILE_SIZE = 1 << 20
SMALL_SIZE = 1 << 10
INSPECTED, SPLICED = "127.0.0.1", "127.0.0.2"
POLICY = f'[filter]\nblock = "calm"\n[https]\nsplice = ["{SPLICED}"]\n'

ORIGIN = """\
ssl_certificate {certificate.file}; ssl_certificate_key {certificate.key};
    listen {plain}; listen {secure} ssl; root {folder}/pages;
    default_type text/html; types {{ application/octet-stream bin; }}"""


class Kind(typing.NamedTuple):
    name: str
    path: str
    # By TLS, to a site at this address.
    site: str | None = None
    # Each answer over a connection of its own: its cost is the connection's.
    is_new: bool = False
    answers: int = 200


PAGE = Kind("a page by TLS, filtered", "/page", INSPECTED)
FILE = Kind("a file by TLS, passed", "/file.bin", INSPECTED, answers=80)
CONNECTION = Kind("a connection by TLS, looked into", "/small.bin", INSPECTED, is_new=True, answers=120)
KINDS = (
    Kind("a page, filtered", "/page"),
    Kind("a file, passed", "/file.bin", answers=80),
    Kind("a file in a tunnel, passed", "/file.bin", SPLICED, answers=80),
    PAGE,
    FILE,
    CONNECTION,
)

# What machines are worked out with: assumed, not measured. All traffic is looked into.
FILTERED_PART = 0.2
CONNECTIONS_A_GBIT = 250
CORES_IN_USE = 16
RATES = (1, 10, 100, 1000)
BITS_A_GBIT = 1e9


class Origin:
    def __init__(self, folder, page):
        pages = folder / "pages"
        pages.mkdir()
        shutil.copy(page, pages / "page")
        (pages / "page").chmod(0o644)
        (pages / "file.bin").write_bytes(os.urandom(FILE_SIZE))
        (pages / "small.bin").write_bytes(os.urandom(SMALL_SIZE))
        self.pages = pages
        self.root = Certificate(folder, "root", is_authority=True)
        certificate = Certificate(folder, INSPECTED, self.root)
        certificate.key.chmod(0o644)
        self.plain, self.secure = free_port(), free_port()
        configuration = write_configuration(
            folder,
            ORIGIN.format(folder=folder, certificate=certificate, plain=self.plain, secure=self.secure),
        )
        self.command = User().command("/usr/sbin/nginx", "-c", configuration)

    def size(self, kind):
        return (self.pages / kind.path[1:]).stat().st_size

    def __enter__(self):
        self.process = subprocess.Popen(self.command, stderr=subprocess.DEVNULL)
        while not is_listening(self.plain):
            if self.process.poll() is not None:
                sys.exit("nginx does not start")
            time.sleep(0.05)
        return self

    def __exit__(self, *_):
        self.process.terminate()
        self.process.wait()


class Subject:
    """What is measured: the processes of a session, or one of them."""

    def __init__(self, name, port, processes, can_inspect=True):
        self.name = name
        self.port = port
        self.processes = processes
        self.can_inspect = can_inspect
        self.seconds = {kind: [] for kind in KINDS}

    def takes(self, kind):
        return self.can_inspect or kind.site is None

    def processor_seconds(self):
        # The clock that the system keeps for each process, in nanoseconds.
        return sum(time.clock_gettime((~process << 3) | 2) for process in self.processes())

    def measure(self, kind, origin, answers):
        before = self.processor_seconds()
        failed = fetch(self.port, kind, origin, answers)
        if failed:
            sys.exit(f"{self.name}, {kind.name}: {failed[0]}")
        return (self.processor_seconds() - before) / answers


def session(leader):
    """The living processes of an engine that was started in a session of its own."""
    found = []
    for status in pathlib.Path("/proc").glob("[0-9]*/stat"):
        with contextlib.suppress(OSError):
            if int(status.read_text().rpartition(")")[2].split()[3]) == leader:
                found.append(int(status.parent.name))
    return found


def fetch(port, kind, origin, answers):
    """Some clients fetch so many answers in all; what went wrong."""
    left = iter(range(answers))
    lock = threading.Lock()
    failed = []
    trusting = ssl.create_default_context()
    trusting.check_hostname = False
    trusting.verify_mode = ssl.CERT_NONE

    def connect():
        if kind.site is None:
            return http.client.HTTPConnection("127.0.0.1", port, timeout=60)
        connection = http.client.HTTPSConnection("127.0.0.1", port, timeout=60, context=trusting)
        connection.set_tunnel(kind.site, origin.secure)
        return connection

    url = kind.path if kind.site else f"http://127.0.0.1:{origin.plain}{kind.path}"

    def run():
        connection = connect()
        buffer = bytearray(1 << 18)
        try:
            while True:
                with lock:
                    if failed or next(left, None) is None:
                        return
                connection.request("GET", url)
                answer = connection.getresponse()
                if answer.status != 200:
                    raise http.client.HTTPException(f"status {answer.status}")
                while answer.readinto(buffer):
                    pass
                if kind.is_new:
                    connection.close()
                    connection = connect()
        except (OSError, http.client.HTTPException) as error:
            failed.append(error)
        finally:
            connection.close()

    threads = [threading.Thread(target=run) for _ in range(CLIENTS)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    return failed


@contextlib.contextmanager
def subjects(folder, modules, origin):
    with contextlib.ExitStack() as stack:
        squid = stack.enter_context(
            Squid(
                folder / "squid", modules, POLICY, https=True, extra=Squid.TRUST.format(file=origin.root.file)
            )
        )
        server = stack.enter_context(
            TrafficServer(
                folder / "server",
                modules,
                POLICY,
                https=True,
                balanced=True,
                extra=TrafficServer.TRUST.format(file=origin.root.file),
            )
        )
        copies = folder / "trafficserver_copy.so"
        shutil.copy(modules / copies.name, copies)
        copier = stack.enter_context(TrafficServer(folder / "copier", None, adapter=[copies]))
        balancer = stack.enter_context(
            Balancer(folder, free_port(), free_port(), {"member": server})
        )

        def engine(name, proxy, **more):
            return Subject(name, proxy.port, lambda: session(proxy.process.pid), **more)

        yield [
            engine("Squid with Velmora", squid),
            engine("Traffic Server with Velmora", server),
            engine("Traffic Server that copies", copier, can_inspect=False),
            Subject("HAProxy alone", balancer.port, lambda: [balancer.process.pid]),
        ]


def cores_a_gbit(subject, kind, origin):
    return statistics.median(subject.seconds[kind]) / (origin.size(kind) * 8) * BITS_A_GBIT


def report_machines(measured, origin):
    print(
        f"\nMachines by Gbit/s, with {CORES_IN_USE} cores in use in each, {FILTERED_PART:.0%} of the bytes filtered,"
        f"\n{CONNECTIONS_A_GBIT} new connections a second for each Gbit/s, all looked into; without spares."
    )
    print(f"{'':<30}{'cores a Gbit/s':>16}" + "".join(f"{rate:>8}" for rate in RATES))
    for subject in filter(lambda one: one.takes(PAGE), measured):
        cores = FILTERED_PART * cores_a_gbit(subject, PAGE, origin)
        cores += (1 - FILTERED_PART) * cores_a_gbit(subject, FILE, origin)
        cores += CONNECTIONS_A_GBIT * statistics.median(subject.seconds[CONNECTION])
        machines = [math.ceil(rate * cores / CORES_IN_USE) for rate in RATES]
        print(f"  {subject.name:<28}{cores:>16.2f}" + "".join(f"{number:>8}" for number in machines))


def ratio(subject, other, kind):
    """Round by round, where the other takes such traffic."""
    if not other.takes(kind):
        return ""
    ratios = [mine / its for mine, its in zip(subject.seconds[kind], other.seconds[kind])]
    return f"{statistics.median(ratios):.2f} [{min(ratios):.2f} {max(ratios):.2f}]"


def report(measured, origin, kinds):
    squid, _, copier, _ = measured
    print(f"{'':<30}{'CPU ms':>9}{'cores a Gbit/s':>16}   {'÷ ' + squid.name:<22}÷ {copier.name}")
    for kind in kinds:
        print(kind.name)
        for subject in filter(lambda one: one.takes(kind), measured):
            seconds = statistics.median(subject.seconds[kind])
            cores = "" if kind.is_new else f"{cores_a_gbit(subject, kind, origin):.2f}"
            ratios = f"{ratio(subject, squid, kind):<22}{ratio(subject, copier, kind)}"
            print(f"  {subject.name:<28}{seconds * 1000:>9.3f}{cores:>16}   {ratios}".rstrip())


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("page", type=pathlib.Path)
    parser.add_argument("--modules", type=pathlib.Path, default=ROOT / "build" / "release")
    parser.add_argument("--rounds", type=int, default=7)
    parser.add_argument("--scale", type=int, default=1, help="so many times the answers of a round")
    parser.add_argument("--only", default="", metavar="TEXT", help="kinds of traffic that have this in their names")
    options = parser.parse_args()
    kinds = [kind for kind in KINDS if options.only in kind.name]
    if not kinds:
        parser.error(f"the kinds of traffic are: {'; '.join(kind.name for kind in KINDS)}")
    with working_folder() as folder:
        with Origin(folder, options.page) as origin:
            with subjects(folder, options.modules, origin) as measured:
                # The first round warms up.
                for turn in range(options.rounds + 1):
                    for kind in kinds:
                        for subject in filter(lambda one: one.takes(kind), measured):
                            seconds = subject.measure(kind, origin, kind.answers * options.scale)
                            if turn > 0:
                                subject.seconds[kind].append(seconds)
                print(f"A page of {origin.size(KINDS[0])} bytes, files of {FILE_SIZE}, {options.rounds} rounds")
                report(measured, origin, kinds)
                if len(kinds) == len(KINDS):
                    report_machines(measured, origin)


if __name__ == "__main__":
    main()
