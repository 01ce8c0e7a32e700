#!/usr/bin/python3
"""How many instructions Squid takes for a request and its answer, and how many are some functions'.

    instructions.py [--modules build/release] [--page FILE] [--count 500] [--functions REGEX]

Squid runs under callgrind, with Velmora in `calm`; what is counted begins when lists are read and
connections are there. Without a page, each answer is a script of 300 bytes from an address of its
own. The figures are nearly the same in each run, however busy the machine is. Needs the packages
nginx-light and valgrind.
"""

import argparse
import http.client
import os
import pathlib
import re
import shutil
import subprocess
import sys

from proxy_bench import ROOT, Server
from request_bench import KEEP_MEMORY, copied

from engine import User, free_port
from folder import working_folder
from nginx import write_configuration
from squid import SQUID, Squid

ORIGIN = """\
listen 127.0.0.1:{port};
    location = /page.html {{ root {folder}; types {{ }} default_type text/html; }}
    location / {{ default_type text/javascript; return 200 "{body}"; }}"""
HEADERS = {
    "Accept": "*/*",
    "Accept-Language": "en-GB,en;q=0.9",
    "User-Agent": "Mozilla/5.0 (X11; Linux x86_64) AppleWebKit/537.36",
    "Sec-Fetch-Dest": "script",
    "Sec-Fetch-Mode": "no-cors",
    "Sec-Fetch-Site": "same-origin",
}
COUNTING = r"velmora::host::Count\w*\("


class Counted:
    """A Squid under callgrind."""

    def __init__(self, folder, modules):
        self.squid = Squid(folder, modules, '[filter]\nblock = "calm"\n')
        self.output = self.squid.folder / "callgrind.out"
        at = self.squid.command.index(SQUID)
        callgrind = ["valgrind", "--quiet", "--tool=callgrind", "--instr-atstart=no"]
        callgrind += [f"--callgrind-out-file={self.output}", SQUID, "-N"]
        self.squid.command[at : at + 1] = callgrind

    def switch(self, state):
        pid = (self.squid.folder / "squid.pid").read_text().strip()
        command = User().command("callgrind_control", "-i", state, pid)
        subprocess.run(command, check=True, timeout=60, stdout=subprocess.DEVNULL)

    def figures(self, functions):
        """All instructions, and those of each function with what it calls."""
        command = ["callgrind_annotate", "--inclusive=yes", "--threshold=100", "--auto=no", self.output]
        lines = subprocess.run(command, capture_output=True, text=True, check=True).stdout.splitlines()
        total, of_functions = 0, {}
        for line in lines:
            found = re.match(r" *([0-9,]+) \([^)]*\)  (.*)", line)
            if not found:
                continue
            number = int(found[1].replace(",", ""))
            if found[2] == "PROGRAM TOTALS":
                total = number
            elif re.search(functions, found[2]):
                of_functions[found[2].partition(":")[2].partition(" [")[0]] = number
        return total, of_functions


def ask(proxy_port, origin, first, count, page):
    connection = http.client.HTTPConnection("127.0.0.1", proxy_port)
    for number in range(first, first + count):
        path = "/page.html" if page else f"/static/app-{number}/news.js?v={number * 7919 % 100003}"
        headers = HEADERS | {"Referer": f"{origin}/page-{number % 40}.html"}
        connection.request("GET", origin + path, headers=headers)
        answer = connection.getresponse()
        answer.read()
        if answer.status != 200:
            sys.exit(f"{path}: {answer.status}")
    connection.close()


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--modules", type=pathlib.Path, default=ROOT / "build" / "release")
    parser.add_argument("--page", type=pathlib.Path)
    parser.add_argument("--count", type=int, default=500)
    parser.add_argument("--functions", default=COUNTING, help="of which figures stand alone too")
    options = parser.parse_args()
    os.environ.update(KEEP_MEMORY)
    with working_folder() as folder:
        if options.page:
            shutil.copy(options.page, folder / "page.html")
        modules = copied(options.modules, folder / "modules", "ecap_velmora.so", "libvelmora.so", "libvexlar.so")
        port = free_port()
        nginx = write_configuration(folder, ORIGIN.format(port=port, folder=folder, body="x" * 300))
        origin = Server(folder, port, "/usr/sbin/nginx", "-c", nginx)
        counted = Counted(folder / "squid", modules)
        try:
            with counted.squid as squid:
                ask(squid.port, f"http://127.0.0.1:{port}", 0, 100, options.page)
                counted.switch("on")
                ask(squid.port, f"http://127.0.0.1:{port}", 100, options.count, options.page)
                counted.switch("off")
        finally:
            origin.stop()
        total, functions = counted.figures(options.functions)
    print(f"{total / options.count:12,.0f} instructions a request")
    for function, number in functions.items():
        print(f"{number / options.count:12,.0f} {number / total:8.3%}  {function}")


if __name__ == "__main__":
    main()
