#!/usr/bin/env python3
"""Compares the ad library with open engines, and with another build of itself: one run, one table.

compare.py BUILD ENGINES PAGES SCRIPTS LIST... [--old LIBRARY] [--rounds N] [--cpu]

BUILD is the folder with the programs, ENGINES what get_engines.sh made, PAGES a folder of saved
pages, SCRIPTS one with "plain" and "minified". Rows and ratios are those of ../side_by_side.
"""

import argparse
import pathlib
import re
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).parent
sys.path.insert(0, str(HERE.parent / "side_by_side"))
from compare import Comparison, Contender, HEAD, measure, report, spread  # noqa: E402

COMPARISONS = [
    Comparison("questions about URLs in pages", "library: questions", "ubo-core: questions", 20),
    Comparison("", "library: questions", "adblock-rust: questions"),
    Comparison("the same, its requests made before", "library: questions", "adblock-rust: questions prepared", 15),
    Comparison("", "library: questions", "ghostery: questions"),
    Comparison("", "library: questions", "old: questions"),
    Comparison("questions with a type", "library: typed questions", "ubo-core: questions"),
    Comparison("", "library: typed questions", "library: questions"),
    Comparison("lists from text", "no cache: load", "ubo-core: load"),
    Comparison("", "no cache: load", "adblock-rust: load"),
    Comparison("", "no cache: load", "ghostery: load"),
    Comparison("", "no cache: load", "old, no cache: load", 1 / 0.45),
    Comparison("script text, asked at every byte", "library: script text", "library: script text, calls alone"),
    Comparison("", "library: script text", "old: script text"),
]
MOST_CACHE_MS = 2
MOST_MEMORY_MB = 12

TYPES = {"js": "script", "png": "image", "jpg": "image", "gif": "image", "css": "stylesheet", "woff2": "font",
         "mp4": "media", "html": "subdocument", "php": "xmlhttprequest", "json": "xmlhttprequest"}


def question(line):
    """A line of `adblock_bench --urls` with the type that the URL suggests before it."""
    path = line.split("\t")[1].split("://", 1)[-1].partition("/")[2]
    name = re.search(r"\.([a-z0-9]+)(?:[?#]|$)", path.lower())
    return TYPES.get(name and name[1], "other") + "\t" + line


def memory_of(process):
    """Bytes of its memory that are resident."""
    with open(f"/proc/{process.pid}/smaps_rollup", encoding="ascii") as rollup:
        return next(int(line.split()[1]) for line in rollup if line.startswith("Rss:")) << 10


def figure(work, values, most, unit):
    met = "met" if max(values) <= most else "MISSED"
    print(f"| {work} | library | {spread(values, 2)} {unit} | | | | at most {most} {met} |", flush=True)


def count_different(ours, theirs):
    ours, theirs = (subprocess.run(command, capture_output=True, check=True).stdout.splitlines()
                    for command in (ours, theirs))
    different = sum(a != b for a, b in zip(ours, theirs)) + abs(len(ours) - len(theirs))
    print(f"\n{len(ours)} answers with their reasons, {different} of them not as the old library's")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("engines", type=pathlib.Path)
    parser.add_argument("pages", type=pathlib.Path)
    parser.add_argument("scripts", type=pathlib.Path)
    parser.add_argument("lists", type=pathlib.Path, nargs="+")
    parser.add_argument("--old", type=pathlib.Path, help="another build of the library")
    parser.add_argument("--rounds", type=int, default=7)
    parser.add_argument("--cpu", action="store_true", help="processor time, for a machine that is busy")
    arguments = parser.parse_args()

    with tempfile.TemporaryDirectory() as folder:
        questions = pathlib.Path(folder) / "questions"
        urls = subprocess.run([arguments.build / "adblock_bench", "--urls", arguments.pages],
                                   capture_output=True, check=True).stdout.decode("latin-1")
        questions.write_text("".join(question(line) + "\n" for line in urls.splitlines()), "latin-1")

        def library(file, cache):
            return [arguments.build / "bench_ad_library", file.resolve(), questions, arguments.scripts,
                    "/dev/null/none" if cache is None else f"{folder}/{cache}", *arguments.lists]

        def engine(name):
            return ["node", HERE / "engine_peer.mjs", name, arguments.engines, questions, *arguments.lists]

        ours = arguments.build / "libvexlar.so"
        commands = {
            "library": library(ours, "cache"),
            "no cache": library(ours, None),
            "ubo-core": engine("@gorhill/ubo-core"),
            "ghostery": engine("@ghostery/adblocker"),
        }
        rust = arguments.engines / "adblock_rust/target/release/adblock_contender"
        if rust.exists():
            commands["adblock-rust"] = [rust, questions, *arguments.lists]
        if arguments.old:
            commands["old"] = library(arguments.old, "old cache")
            commands["old, no cache"] = library(arguments.old, None)

        contenders = {name: Contender(command) for name, command in commands.items()}
        print(HEAD)
        for comparison in COMPARISONS:
            if all(row.split(": ", 1)[0] in contenders for row in (comparison.ours, comparison.theirs)):
                report(comparison, measure(comparison, contenders, arguments.rounds, arguments.cpu))
        list_bytes = sum(file.stat().st_size for file in arguments.lists)
        loads = [contenders["library"].run("load") for _ in range(arguments.rounds)]
        figure("lists from the cache", [row[2 if arguments.cpu else 1] / row[0] * list_bytes * 1e3 for row in loads],
               MOST_CACHE_MS, "ms")
        for contender in contenders.values():
            contender.close()

        # Without scripts: what is read for other rows would count.
        for kind in ("plain", "minified"):
            (pathlib.Path(folder) / "scripts" / kind).mkdir(parents=True)
        command = [folder + "/scripts" if part == arguments.scripts else part for part in commands["library"]]
        added = []
        for _ in range(arguments.rounds):
            contender = Contender(command)
            contender.run("nothing")
            before = memory_of(contender.process)
            contender.run("questions")
            added.append((memory_of(contender.process) - before) / 1e6)
            contender.close()
        figure("memory added, lists read and asked", added, MOST_MEMORY_MB, "MB")
        if arguments.old:
            count_different(*([command[0], "--answers", *command[1:]]
                              for command in (commands["library"], commands["old"])))


if __name__ == "__main__":
    main()
