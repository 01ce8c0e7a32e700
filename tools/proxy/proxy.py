"""`./run proxy`: the filtering proxy in the foreground, until Ctrl-C."""

import argparse
import json
import pathlib
import signal
import sys

import events
from squid import ProxyError, Squid

ROOT = pathlib.Path(__file__).resolve().parents[2]


def stop(*_):
    raise KeyboardInterrupt


def main():
    parser = argparse.ArgumentParser(prog="./run proxy", description=__doc__)
    parser.add_argument("--port", type=int, default=3128, help="port on 127.0.0.1 (default: 3128)")
    what = parser.add_mutually_exclusive_group()
    what.add_argument(
        "--block",
        default="default",
        metavar="LIST",
        help="categories to block (default: %(default)s; what there is: ./run categories)",
    )
    what.add_argument(
        "--policy",
        type=pathlib.Path,
        metavar="FILE",
        help="a policy file instead; its event log stays unused (examples: docs/policy.md)",
    )
    parser.add_argument(
        "--https",
        action="store_true",
        help="look into encrypted traffic, for clients that trust the proxy's own certificate",
    )
    parser.add_argument(
        "--workers",
        type=int,
        default=1,
        metavar="N",
        help="processes that share the work (default: %(default)s)",
    )
    parser.add_argument(
        "--modules",
        default=ROOT / "build" / "release",
        metavar="DIR",
        help="folder with the built libraries (default: build/release)",
    )
    options = parser.parse_args()
    for number in (signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, stop)
    try:
        squid = Squid(
            ROOT / "build" / "proxy",
            options.modules,
            options.policy or f"[filter]\nblock = {json.dumps(options.block)}\n",
            port=options.port,
            https=options.https,
            workers=options.workers,
        )
        with squid:
            if options.https:
                print(f"Proxy for HTTP and HTTPS on 127.0.0.1:{squid.port}.")
                print(squid.interception.authority.how_to_trust())
            else:
                print(f"Proxy for HTTP on 127.0.0.1:{squid.port}; encrypted traffic passes as it is.")
            print(f"Blocking {options.policy or options.block}")
            print(f"Its files: {squid.folder}   Ctrl-C stops it.", flush=True)
            for event in events.follow(squid.events):
                if event is not None:
                    print(events.line(event), flush=True)
                elif squid.process.poll() is not None:
                    raise ProxyError("the proxy has ended:\n" + squid.complaints())
                else:
                    events.wait()
    except KeyboardInterrupt:
        print("\nStopped.")
    except ProxyError as error:
        hint = "; ./run proxy --port N takes another one" if "in use" in str(error) else ""
        sys.exit(f"{error}{hint}")


if __name__ == "__main__":
    main()
