"""What judging costs a request that passes: plain Squid, an adapter that looks at no request, Velmora's.

    request_bench.py [--modules build/release] [--rounds 7] [--seconds 2]

wrk (8 connections) asks for 4,000 different addresses in turn, in the name of 40 pages, with a browser's
headers; nginx answers each with the same 300 bytes. Both adapters have a service for responses too, whose
rules Squid looks at and to which none goes; Velmora's has its settings. The subjects take turns; what counts
is the processor time that Squid's worker spends on a request, round by round as a ratio. Velmora judges by
the system's ad lists (`calm`). Needs the packages nginx-light and wrk.
"""

import argparse
import json
import os
import pathlib
import shutil
import statistics
import subprocess
import sys

from proxy_bench import ROOT, Server, Subject, spread

from engine import free_port
from folder import working_folder
from nginx import write_configuration
from squid import ADAPTER, JUDGE, Squid

ORIGIN = 'listen 127.0.0.1:{port}; location / {{ default_type text/javascript; return 200 "{body}"; }}'

WRK = """\
local words = {"static", "assets", "js", "app", "image", "news", "media", "api", "v2", "main", "content"}
local n = 0
request = function()
  n = (n + 1) % 4000
  local a, b, c = words[n % 11 + 1], words[n % 7 + 1], words[n % 5 + 1]
  local path = string.format("/%s/%s-%d/%s.js?v=%d", a, b, n, c, n * 7919 % 100003)
  return wrk.format("GET", "ORIGIN" .. path, {
    ["Referer"] = string.format("ORIGIN/page-%d.html", n % 40), ["Accept"] = "*/*",
    ["User-Agent"] = "Mozilla/5.0 (X11; Linux x86_64) AppleWebKit/537.36", ["Sec-Fetch-Dest"] = "script",
    ["Accept-Encoding"] = "gzip, deflate, br", ["Accept-Language"] = "en-GB,en;q=0.9",
    ["Sec-Fetch-Mode"] = "no-cors", ["Sec-Fetch-Site"] = "same-origin"})
end
done = function(summary)
  io.stderr:write(string.format("%d %d\\n", summary.requests, summary.errors.status + summary.errors.read
    + summary.errors.connect + summary.errors.timeout))
end
"""

# Otherwise the heap of a process that never freed something large shrinks and grows with every request,
# which costs more than all adapters do.
KEEP_MEMORY = {"MALLOC_TRIM_THRESHOLD_": str(1 << 28), "MALLOC_TOP_PAD_": str(1 << 24)}

IDLE = """\
loadable_modules {library}
ecap_enable on
adaptation_send_client_ip on
adaptation_send_username on
ecap_service responses respmod_precache uri=ecap://velmora.bench/idle bypass=off
adaptation_access responses deny all
ecap_service idle reqmod_precache uri=ecap://velmora.bench/idle-requests bypass=off
adaptation_access idle allow all
"""


def judging_alone(modules, folder):
    """The settings come with the service for responses, which has nothing to do."""
    policy = folder / "velmora.toml"
    policy.write_text('[filter]\nblock = "calm"\n')
    adapter = ADAPTER.format(
        library=modules / "ecap_velmora.so",
        uri="ecap://velmora/respmod",
        settings=f"policy={policy} event-log={folder}/events",
    )
    return adapter.replace("adaptation_access filter allow", "adaptation_access filter deny") + (
        JUDGE.format(tunnels="")
    )


def copied(modules, folder, *names):
    """To where the proxy's user can read them."""
    folder.mkdir()
    for name in names:
        shutil.copy(modules / name, folder)
    return folder


def ask(subject, script, seconds):
    before = subject.cpu_seconds()
    run = subprocess.run(
        ["wrk", "-t1", "-c8", f"-d{seconds}s", "-s", script, f"http://127.0.0.1:{subject.server.port}"],
        capture_output=True,
        text=True,
        check=True,
    )
    requests, errors = map(int, run.stderr.split())
    if errors:
        sys.exit(f"{subject.name}: {errors} of {requests} requests failed")
    subject.rounds.append((subject.cpu_seconds() - before) / requests * 1e6)


def report(subjects):
    plain, idle, _ = subjects
    head = f"{'worker CPU a request, µs':<26}{'median [least most]':<30}{'to plain Squid':<28}"
    print(head + "to the do-nothing adapter")
    for subject in subjects:
        ratios = [
            [mine / other for mine, other in zip(subject.rounds, base.rounds)] for base in (plain, idle)
        ]
        print(f"{subject.name:<24}{spread(subject.rounds):<30}{spread(ratios[0]):<28}{spread(ratios[1])}")
    velmora = statistics.median(v / i for v, i in zip(subjects[2].rounds, idle.rounds))
    print(f"a passing request costs {velmora:.2f} times the do-nothing adapter's (target: 1.10 at most)")


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--modules", type=pathlib.Path, default=ROOT / "build" / "release")
    parser.add_argument("--rounds", type=int, default=7)
    parser.add_argument("--seconds", type=int, default=2)
    parser.add_argument("--json", type=pathlib.Path, help="file for the figures of every round")
    options = parser.parse_args()
    os.environ.update(KEEP_MEMORY)
    with working_folder() as folder:
        names = ("ecap_velmora.so", "libvelmora.so", "libvexlar.so", "ecap_idle.so")
        modules = copied(options.modules, folder / "modules", *names)
        port = free_port()
        nginx = write_configuration(folder, ORIGIN.format(port=port, body="x" * 300))
        script = folder / "wrk.lua"
        script.write_text(WRK.replace("ORIGIN", f"http://127.0.0.1:{port}"))
        started = []
        try:
            started.append(Server(folder, port, "/usr/sbin/nginx", "-c", nginx))
            extras = {
                "plain Squid": "",
                "do-nothing adapter": IDLE.format(library=modules / "ecap_idle.so"),
                "Velmora": judging_alone(modules, folder),
            }
            subjects = []
            for title, extra in extras.items():
                started.append(squid := Squid(folder / title.replace(" ", "-"), None, extra=extra))
                subjects.append(Subject(title, squid.start()))
            for subject in subjects:  # lists are read, connections are there
                ask(subject, script, 1)
                subject.rounds.clear()
            for _ in range(options.rounds):
                for subject in subjects:
                    ask(subject, script, options.seconds)
        finally:
            for server in reversed(started):
                server.stop()
    report(subjects)
    if options.json:
        options.json.write_text(json.dumps({s.name: s.rounds for s in subjects}, indent=1))


if __name__ == "__main__":
    main()
