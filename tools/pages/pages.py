"""What the filter does to saved pages, as headless Chromium sees it.

Each page is visited twice without the proxy and once through it with each preset. docs/pages.md says what
is measured, and how.
"""

import argparse
import base64
import hashlib
import json
import os
import pathlib
import shlex
import subprocess
import sys
import tempfile
import time
from collections import Counter
from contextlib import ExitStack

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.append(str(ROOT / "tools" / "proxy"))

from ad_judge import AdJudges  # noqa: E402
from chromium import BrowserError, Chromium  # noqa: E402
from comparison import as_json, compare  # noqa: E402
from engine import ProxyError  # noqa: E402
from local_web import LocalWeb  # noqa: E402
from report import print_row, print_totals  # noqa: E402
from saved_pages import SavedPages  # noqa: E402
from squid import Squid  # noqa: E402
from visit import Visitor  # noqa: E402

# The event log's writer is at rest after so long.
LOG_SECONDS = 0.2


def parse_arguments(arguments=None):
    parser = argparse.ArgumentParser(prog="./run pages", description=__doc__.split("\n")[0])
    parser.add_argument("folders", nargs="+", type=pathlib.Path, metavar="FOLDER",
                        help="saved pages, with their files where there are any")  # fmt: skip
    parser.add_argument("--preset", metavar="LIST",
                        help="presets or categories, one after the other: calm,strict,classic,still,none "
                        "(default: calm, where there is no --policy)")  # fmt: skip
    parser.add_argument("--policy", type=pathlib.Path, metavar="FILE", help="a policy file, after the presets")
    parser.add_argument("--ad-lists", type=pathlib.Path, nargs="+", default=[], metavar="LIST",
                        help="ad lists (default: those of the system)")  # fmt: skip
    parser.add_argument("--judge", action="append", metavar="COMMAND",
                        help="says what is an ad, in the lines of 'velmora ads --batch' (default: that; of "
                        "several, any)")  # fmt: skip
    parser.add_argument("--only", nargs="+", metavar="PAGE", help="these pages alone, by name")
    parser.add_argument("--no-https", action="store_true",
                        help="encrypted traffic passes the proxy as it is")  # fmt: skip
    parser.add_argument("--json", action="store_true", help="print all figures as JSON")
    parser.add_argument("--modules", type=pathlib.Path, default=ROOT / "build" / "release",
                        metavar="DIR", help="folder with what was built (default: build/release)")  # fmt: skip
    return parser.parse_args(arguments)


def fingerprint(certificate):
    """Of its key, as Chromium wants to be told whom to trust."""
    command = ["openssl", "x509", "-in", certificate, "-pubkey", "-noout"]
    pem = subprocess.run(command, capture_output=True, text=True, check=True).stdout
    key = base64.b64decode("".join(line for line in pem.splitlines() if "-----" not in line))
    return base64.b64encode(hashlib.sha256(key).digest()).decode()


class Subject:
    """A proxy with a policy of its own; what it removes is read in its event log."""

    def __init__(self, name, squid):
        self.name = name
        self.squid = squid
        self.proxy = f"http://127.0.0.1:{squid.port}"
        self._read = 0

    def news(self):
        """What went since the last question: items of pages by category, and URLs that were asked for."""
        time.sleep(LOG_SECONDS)
        items, urls = Counter(), set()
        for event in self._events():
            if event["event"] == "guarded":
                items["guarded: " + event["category"]] += 1
            elif event["event"] == "blocked" and event["category"] == "requests":
                urls.add(event["url"])
            elif event["event"] == "blocked":
                items[event["category"]] += 1
        return items, urls

    def _events(self):
        if not self.squid.events.exists():
            return
        with self.squid.events.open("rb") as log:
            log.seek(self._read)
            for line in log:
                if line.endswith(b"\n"):
                    self._read += len(line)
                    yield json.loads(line)


class Measurement:
    """The local web, the proxies and the browser, for as long as the context lasts."""

    def __init__(self, options):
        self.options = options
        self.pages = SavedPages(options.folders)
        self.subjects = []

    def __enter__(self):
        self._stack = ExitStack()
        with self._stack as stack:
            folder = pathlib.Path(
                stack.enter_context(
                    tempfile.TemporaryDirectory(prefix="velmora-pages-", ignore_cleanup_errors=True)
                )
            )
            os.chmod(folder, 0o755)
            lists = [file.resolve() for file in self.options.ad_lists]
            self.judge = AdJudges(self._judging_commands(lists))
            stack.callback(self.judge.stop)
            self.web = LocalWeb(folder, self.pages, self.judge.is_ad_host)
            stack.callback(self.web.stop)
            for name, policy in self._policies(lists):
                squid = self._squid(folder / f"squid-{name}", policy)
                self.subjects.append(Subject(name, stack.enter_context(squid)))
            self.browser = Chromium(folder / "browser", self._whom_to_trust())
            stack.callback(self.browser.stop)
            self._stack = stack.pop_all()
        return self

    def __exit__(self, *what):
        return self._stack.__exit__(*what)

    def _judging_commands(self, lists):
        if self.options.judge:
            return list(map(shlex.split, self.options.judge))
        command = [self.options.modules / "velmora", "ads", "--batch"]
        return [[*command, "--ad-lists", *lists] if lists else command]

    def _policies(self, lists):
        ads = f"[ads]\nlists = {json.dumps(list(map(str, lists)))}\n" if lists else ""
        presets = self.options.preset or ("" if self.options.policy else "calm")
        for word in filter(None, presets.split(",")):
            yield word, f"[filter]\nblock = {json.dumps(word)}\n{ads}"
        if self.options.policy:
            yield "policy", self.options.policy

    def _squid(self, folder, policy):
        https = not self.options.no_https
        extra = self.web.squid_configuration(https)
        return Squid(folder, self.options.modules, policy, extra=extra, https=https)

    def _whom_to_trust(self):
        authorities = [s.squid.authority for s in self.subjects if s.squid.authority]
        certificates = [self.web.certificate, *(authority.certificate for authority in authorities)]
        keys = ",".join(map(fingerprint, certificates))
        return f"--ignore-certificate-errors-spki-list={keys}"

    def is_ad(self, request):
        return self.judge.blocks(*request.question())

    def rows(self, page):
        """One for each subject; the visits without it stand around those with it."""
        web = f"http://127.0.0.1:{self.web.server_port}"
        first = Visitor(self.browser).look(page.url, web)
        through = []
        for subject in self.subjects:
            visit = Visitor(self.browser).look(page.url, subject.proxy)
            items, blocked = subject.news()
            visit.know_blocked(blocked)
            through.append((subject.name, visit, items))
        without = first, Visitor(self.browser).look(page.url, web)
        return [compare(page.name, name, without, v, items, self.is_ad) for name, v, items in through]


def measure(options, tell=lambda row: None):
    """All rows; `tell` hears of each as it comes."""
    rows = []
    with Measurement(options) as measurement:
        for page in measurement.pages.pages:
            if not options.only or page.name in options.only:
                for row in measurement.rows(page):
                    rows.append(row)
                    tell(row)
    return rows


def main():
    options = parse_arguments()
    try:
        rows = measure(options, (lambda row: None) if options.json else print_row)
    except (BrowserError, ProxyError, OSError) as error:
        sys.exit(str(error))
    except KeyboardInterrupt:
        sys.exit("\nStopped.")
    if not rows:
        sys.exit("no such pages")
    if options.json:
        json.dump(as_json(rows), sys.stdout, indent=1)
        print()
    else:
        print_totals(rows)


if __name__ == "__main__":
    main()
