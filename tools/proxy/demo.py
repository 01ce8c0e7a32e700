"""`./run`: the examples fetched through the filtering proxy; what was blocked, before and after.

An argument is the folder with the built libraries, if it is not build/release.
"""

import pathlib
import shutil
import subprocess
import sys
import time

import events
from engine import ProxyError, free_port, is_listening
from squid import Squid

ROOT = pathlib.Path(__file__).resolve().parents[2]
EXAMPLES = ROOT / "examples"
RESULTS = ROOT / "build" / "run"
MODULES = pathlib.Path(sys.argv[1]) if len(sys.argv) > 1 else ROOT / "build" / "release"
SUFFIXES = {".html", ".js", ".vbs", ".gif"}


class ExampleServer:
    def __enter__(self):
        port = free_port()
        self.address = f"http://127.0.0.1:{port}"
        server = pathlib.Path(__file__).with_name("example_server.py")
        self.process = subprocess.Popen(
            ["setpriv", "--pdeathsig", "TERM", sys.executable, "-B", server, str(port), EXAMPLES]
        )
        deadline = time.monotonic() + 30
        while not is_listening(port):
            if self.process.poll() is not None or time.monotonic() > deadline:
                raise ProxyError("the server of the examples does not start")
            time.sleep(0.02)
        return self

    def __exit__(self, *_):
        self.process.terminate()
        self.process.wait()


def fetch(url, file, proxy=None):
    through = ["--proxy", proxy] if proxy else ["--noproxy", "*"]
    command = ["curl", "-sS", "--fail", "--max-time", "20", *through, "-o", file, url]
    subprocess.run(command, check=True)


def fetch_all(origin, squid):
    for name in ("before", "after"):
        shutil.rmtree(RESULTS / name, ignore_errors=True)
        (RESULTS / name).mkdir(parents=True)
    print(f"Fetched through the proxy on 127.0.0.1:{squid.port}, bytes before and after:")
    for example in sorted(EXAMPLES.iterdir()):
        if example.suffix not in SUFFIXES:
            continue
        before, after = RESULTS / "before" / example.name, RESULTS / "after" / example.name
        url = f"{origin.address}/{example.name}"
        fetch(url, before)
        fetch(url, after, f"http://127.0.0.1:{squid.port}")
        print(f"  {example.name:<28}{before.stat().st_size:>8}{after.stat().st_size:>8}")


def show_blocked(blocked):
    print("\nBlocked, by category:")
    counts = events.by_category(blocked)
    for category, count in counts.most_common():
        print(f"  {category:<28}{count:>8}")
    print(f"  {'total':<28}{counts.total():>8}")
    if not counts:
        raise ProxyError("nothing was blocked: the filter is not at work")


def main():
    try:
        with ExampleServer() as origin, Squid(
            ROOT / "build" / "proxy", MODULES, '[filter]\nblock = "all"\n'
        ) as squid:
            fetch_all(origin, squid)
        show_blocked(events.read(squid.events))
        print(f"\nThe files: {RESULTS}/before/ and {RESULTS}/after/")
        print(f"Each blocked item: {squid.events}")
        print("The same proxy for a browser: ./run proxy")
    except (ProxyError, subprocess.CalledProcessError) as error:
        sys.exit(str(error))


if __name__ == "__main__":
    main()
