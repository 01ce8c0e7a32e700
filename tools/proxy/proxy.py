"""`./run proxy`: the filtering proxy in the foreground, until Ctrl-C."""

import argparse
import ipaddress
import json
import pathlib
import signal
import sys
import tomllib

import events
from engine import LOOPBACK, ProxyError
from squid import Squid
from traffic_server import TrafficServer

ROOT = pathlib.Path(__file__).resolve().parents[2]


def stop(*_):
    raise KeyboardInterrupt


def port(text):
    if not text.isdecimal() or not 1 <= int(text) <= 65535:
        raise argparse.ArgumentTypeError(f"{text!r} is no port: 1 to 65535")
    return int(text)


def address(text):
    try:
        return ipaddress.ip_address(text)
    except ValueError:
        raise argparse.ArgumentTypeError(f"{text!r} is no IP address") from None


def count(text):
    if not text.isdecimal() or int(text) == 0:
        raise argparse.ArgumentTypeError(f"{text!r} is no number from 1 on")
    return int(text)


def parse_arguments():
    parser = argparse.ArgumentParser(prog="./run proxy", description=__doc__)
    parser.add_argument("--port", type=port, default=3128, help="its port (default: %(default)s)")
    parser.add_argument(
        "--listen",
        type=address,
        default=LOOPBACK,
        metavar="ADDRESS",
        help="the IP address that it listens on; one that is not this machine's own loopback serves "
        "whoever reaches it (default: %(default)s)",
    )
    what = parser.add_mutually_exclusive_group()
    what.add_argument(
        "--block",
        default="calm",
        metavar="LIST",
        help="presets and categories to block (default: %(default)s; what there is: ./run categories)",
    )
    what.add_argument(
        "--policy",
        type=pathlib.Path,
        metavar="FILE",
        help="a policy file instead, read again whenever it or a list that it names changes; its "
        "event log stays unused "
        "(examples: docs/policy.md)",
    )
    parser.add_argument(
        "--engine",
        choices=("squid", "trafficserver"),
        default="squid",
        help="the proxy that Velmora works in (default: %(default)s)",
    )
    parser.add_argument(
        "--https",
        action="store_true",
        help="look into encrypted traffic, for clients that trust the proxy's own certificate",
    )
    parser.add_argument(
        "--workers",
        type=count,
        default=1,
        metavar="N",
        help="processes, or threads of Traffic Server, that share the work (default: %(default)s)",
    )
    parser.add_argument(
        "--modules",
        default=ROOT / "build" / "release",
        metavar="DIR",
        help="folder with the built libraries (default: build/release)",
    )
    # For ./run, which looks at what it is asked for before it builds anything.
    parser.add_argument("--check-arguments", action="store_true", help=argparse.SUPPRESS)
    return parser.parse_args()


def make_engine(options):
    shared = (
        ROOT / "build" / "proxy",
        options.modules,
        options.policy or f"[filter]\nblock = {json.dumps(options.block)}\n",
    )
    how = {"port": options.port, "address": options.listen, "https": options.https}
    if options.engine == "trafficserver":
        return TrafficServer(*shared, threads=options.workers, **how)
    return Squid(*shared, workers=options.workers, **how)


class Watched:
    """A file that somebody may change, or replace by another one of its name."""

    def __init__(self, path):
        self.path = path
        self.state = self._state()

    def _state(self):
        try:
            status = self.path.stat()
            return status.st_mtime_ns, status.st_size, status.st_ino
        except OSError:
            return None

    def has_changed(self):
        """Since the last question. A file that is not there just now has not."""
        state = self._state()
        if state is None or state == self.state:
            return False
        self.state = state
        return True


def files_of(policy):
    """The policy's file and all that it names beside it: lists of ads, also in folders, and of sites.

    A policy that cannot be read names none; the proxy itself says what is wrong with it.
    """
    try:
        settings = tomllib.loads(policy.read_text())
        ads = settings.get("ads", {})
        rules = [settings.get("allow", {}), *settings.get("rule", [])]
        named = [ads.get("lists", []), ads.get("extra-lists", [])]
        named += [rule.get("site-lists", []) for rule in rules]
        names = [name for some in named for name in ([some] if isinstance(some, str) else some)]
        paths = [policy.parent / name for name in names]
    # Texts that are no TOML are a ValueError; the last two come of TOML of another shape.
    except (OSError, ValueError, AttributeError, TypeError):
        return [policy]
    return [policy, *paths, *(file for path in paths if path.is_dir() for file in path.iterdir())]


class WatchedPolicy:
    """A policy with the files that it names."""

    def __init__(self, path):
        self.path = path
        self._watch()

    def _watch(self):
        self.files = [Watched(file) for file in files_of(self.path)]

    def changed(self):
        """The first file that has changed since the last question, if any."""
        changed = next((file.path for file in self.files if file.has_changed()), None)
        if changed:
            self._watch()
        return changed


def say_hello(engine, options):
    if not options.listen.is_loopback:
        print(
            f"WARNING: open to whoever reaches {engine.shown_address}: they browse in this machine's "
            "name, and see what it sees of its networks.",
            file=sys.stderr,
        )
    if options.https:
        print(f"Proxy for HTTP and HTTPS on {engine.shown_address}.")
        print(engine.authority.how_to_trust())
    else:
        print(f"Proxy for HTTP on {engine.shown_address}; encrypted traffic passes as it is.")
    print(f"Blocking {options.policy or options.block}")
    print(f"Its files: {engine.folder}   Ctrl-C stops it.", flush=True)


def serve(engine, policy):
    """Shows what happens, until something stops it."""
    for event in events.follow(engine.events):
        if event is not None:
            print(events.line(event), flush=True)
        elif engine.process.poll() is not None:
            raise ProxyError("the proxy has ended:\n" + engine.complaints())
        elif policy and (changed := policy.changed()):
            print(f"{changed} has changed: it is read again.", flush=True)
            engine.reconfigure()
        else:
            events.wait()


def main():
    options = parse_arguments()
    if options.check_arguments:
        return
    for number in (signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, stop)
    try:
        policy = WatchedPolicy(options.policy) if options.policy else None
        engine = make_engine(options)
        with engine:
            say_hello(engine, options)
            serve(engine, policy)
    except KeyboardInterrupt:
        print("\nStopped.")
    except ProxyError as error:
        hint = "; ./run proxy --port N takes another one" if "in use" in str(error) else ""
        sys.exit(f"{error}{hint}")


if __name__ == "__main__":
    main()
