#!/usr/bin/env python3
"""Compares the plug-in with its peers, side by side: one run, one table. See README.md.

compare.py BENCH PEERS PAGES [--rounds N] [--cpu] [--only TEXT]
"""

import argparse
import dataclasses
import pathlib
import statistics
import subprocess

HERE = pathlib.Path(__file__).parent


@dataclasses.dataclass
class Comparison:
    """A row of the table: a row of one contender against a row of another (or the same)."""

    work: str
    ours: str
    theirs: str
    target: float = None


# Each row is named "CONTENDER: ROW".
COMPARISONS = [
    Comparison("HTML, every category off", "plugin: off", "bun: lol-html", 1.2),
    Comparison("", "plugin: off", "plugin: memchr"),
    Comparison("", "plugin: off", "plugin: memcpy"),
    Comparison("HTML, 303 to 307 and 400, a library", "plugin: ads", "bun: lol-html no match", 1.1),
    Comparison("HTML, 300 to 308, scripts not examined", "plugin: all", "bun: lol-html no match", 0.9),
    Comparison("", "plugin: all", "plugin: libxml2", 8),
    Comparison("the same, debug log on", "log: all", "plugin: libxml2"),
    Comparison("HTML, off, debug log on", "log: off", "plugin: off"),
    Comparison("windows-1251", "plugin: off 1251", "plugin: off latin1", 0.95),
    Comparison("UTF-8", "plugin: off utf8", "plugin: off latin1", 0.95),
    Comparison("UTF-8 full of other letters", "plugin: off utf8 letters", "plugin: off latin1", 0.95),
    Comparison("Shift_JIS", "plugin: off shift_jis", "plugin: off latin1", 0.8),
    Comparison("GBK", "plugin: off gbk", "plugin: off latin1", 0.8),
    Comparison("Big5", "plugin: off big5", "plugin: off latin1", 0.8),
    Comparison("EUC-JP", "plugin: off euc-jp", "plugin: off latin1", 0.8),
    Comparison("UTF-16", "plugin: off utf16", "plugin: off latin1", 0.35),
    Comparison("a page of 2 KB", "plugin: off small", "bun: lol-html small", 1),
    Comparison("JavaScript, 101 to 103", "plugin: plain", "node: es-module-lexer plain", 1.5),
    Comparison("", "plugin: plain", "node: acorn plain"),
    Comparison("", "plugin: plain", "plugin: plain by the table"),
    Comparison("the same with a library", "plugin: plain asking", "node: es-module-lexer plain", 1.2),
    Comparison("JavaScript, minified", "plugin: minified", "node: es-module-lexer minified", 1.5),
    Comparison("", "plugin: minified", "node: acorn minified"),
    Comparison("", "plugin: minified", "plugin: minified by the table"),
    Comparison("the same with a library", "plugin: minified asking", "node: es-module-lexer minified", 1.2),
    Comparison("VBScript, 201 to 203", "plugin: vbs", "plugin: plain", 1),
    Comparison("", "plugin: vbs", "plugin: vbs by the table"),
    Comparison("the same with a library", "plugin: vbs asking", "plugin: plain asking", 1),
    Comparison("scripts of which nothing can come", "plugin: plain off", "plugin: plain"),
    Comparison("a byte of string, asking", "plugin: strings asking", "plugin: questions"),
]


HEAD = "| work | ours | M/s | against | M/s | ratio | target |\n|---|---|---|---|---|---|---|"


class Contender:
    """A process that runs rows."""

    def __init__(self, command):
        self.process = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)

    def run(self, row):
        """What was gone over (bytes, mostly), the seconds by the clock, and those of processor time."""
        self.process.stdin.write(row + "\n")
        self.process.stdin.flush()
        answer = self.process.stdout.readline()
        try:
            size, wall, cpu = map(float, answer.split())
        except ValueError:
            raise SystemExit(f"{row}: {answer.strip() or 'the contender has gone'}") from None
        return size, wall, cpu

    def close(self):
        self.process.stdin.close()
        self.process.wait()


def spread(values, digits=None):
    if digits is None:
        digits = 0 if min(values) >= 20 else 2
    return f"{statistics.median(values):.{digits}f} ({min(values):.{digits}f}–{max(values):.{digits}f})"


def measure(comparison, contenders, rounds, by_cpu):
    """The millions (of bytes, mostly) a second of both rows, round by round; the first round only warms up."""
    speeds = ([], [])
    for number in range(rounds + 1):
        for which, name in enumerate((comparison.ours, comparison.theirs)):
            contender, row = name.split(": ", 1)
            size, wall, cpu = contenders[contender].run(row)
            if number:
                speeds[which].append(size / 1e6 / (cpu if by_cpu else wall))
    return speeds


def report(comparison, speeds):
    ratios = [ours / theirs for ours, theirs in zip(*speeds)]
    met = ""
    if comparison.target is not None:
        met = f"{comparison.target:.3g} {'met' if min(ratios) >= comparison.target else 'MISSED'}"
    cells = (comparison.work, comparison.ours, spread(speeds[0]), comparison.theirs, spread(speeds[1]),
             spread(ratios, 2), met)
    print("| " + " | ".join(cells) + " |", flush=True)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("bench", type=pathlib.Path)
    parser.add_argument("peers", type=pathlib.Path)
    parser.add_argument("pages", type=pathlib.Path)
    parser.add_argument("--rounds", type=int, default=7)
    parser.add_argument("--cpu", action="store_true", help="processor time, for a machine that is busy")
    parser.add_argument("--only", default="", help="rows of work or contenders that contain this text")
    arguments = parser.parse_args()

    scripts = arguments.peers / "scripts"
    bun = next(arguments.peers.glob("node_modules/@oven/*/bin/bun"))
    contenders = {
        "plugin": Contender([arguments.bench, arguments.pages, scripts]),
        "log": Contender([arguments.bench, arguments.pages, scripts, "log"]),
        "bun": Contender([bun, HERE / "peers.mjs", arguments.pages]),
        "node": Contender(["node", HERE / "script_peers.mjs", arguments.peers, scripts]),
    }
    print(HEAD)
    for comparison in COMPARISONS:
        if arguments.only in comparison.work + comparison.ours + comparison.theirs:
            report(comparison, measure(comparison, contenders, arguments.rounds, arguments.cpu))
    for contender in contenders.values():
        contender.close()


if __name__ == "__main__":
    main()
