#!/usr/bin/env python3
"""Says which faults the tests do not notice.

    mutate.py [--jobs N] [--keep FOLDER] [NAME...]

Applies each fault of mutants.toml, one at a time, to a clone of this tree (what is committed),
builds the tests that are named beside it and runs them. A fault that they pass with survives. NAMEs
are parts of the names of the faults to try; without any, all are tried. The list grows with every
fault that is found: what was wrong once is put in as a fault, so that a test has to notice it.

Ends with 1 when a fault survives, and with 2 when one fits the sources no more.
"""

import argparse
import os
import pathlib
import subprocess
import sys
import tempfile
import time
import tomllib

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parent.parent
MOST_SECONDS = 300


def run(command, folder, most_seconds=MOST_SECONDS):
    """Did the command do its work?"""
    try:
        done = subprocess.run(
            command, cwd=folder, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
            timeout=most_seconds, check=False)
    except subprocess.TimeoutExpired:
        return False
    return done.returncode == 0


class Clone:
    def __init__(self, folder, jobs):
        self.tree = pathlib.Path(folder) / "tree"
        self.build = pathlib.Path(folder) / "build"
        self.jobs = jobs
        if not self.tree.exists():
            subprocess.run(["git", "clone", "-q", "--shared", ROOT, self.tree], check=True)
        for step in (["fetch", "-q", ROOT, "HEAD"], ["reset", "-q", "--hard", "FETCH_HEAD"]):
            subprocess.run(["git", "-C", self.tree, *step], check=True)
        # Fetched parts are those of this tree.
        options = ["-DCMAKE_BUILD_TYPE=Debug", "-DVELMORA_BENCH=OFF",
                   f"-DVELMORA_DEPS_DIR={ROOT / 'build' / 'deps'}"]
        subprocess.run(["cmake", "-S", self.tree, "-B", self.build, "-G", "Ninja", *options],
                       stdout=subprocess.DEVNULL, check=True)

    def builds(self, tests, most_seconds=MOST_SECONDS):
        return run(["cmake", "--build", self.build, "--parallel", str(self.jobs), "--target",
                    *tests], self.build, most_seconds)

    def passes(self, tests):
        programs = [next(path for path in self.build.rglob(test) if path.is_file()
                         and os.access(path, os.X_OK)) for test in tests]
        return all(run([program, "--gtest_brief=1"], program.parent) for program in programs)


def try_mutant(clone, mutant):
    """One of "killed", "SURVIVES", "does not build" and "fits no more"."""
    path = clone.tree / mutant["file"]
    sound = path.read_text()
    if sound.count(mutant["old"]) != 1:
        return "fits no more"
    path.write_text(sound.replace(mutant["old"], mutant["new"]))
    try:
        if not clone.builds(mutant["tests"]):
            return "does not build"
        return "SURVIVES" if clone.passes(mutant["tests"]) else "killed"
    finally:
        path.write_text(sound)


def main():
    parser = argparse.ArgumentParser(description="Say which faults the tests do not notice.")
    parser.add_argument("--jobs", type=int, default=2)
    parser.add_argument("--keep", help="a folder for the clone, to be used again")
    parser.add_argument("names", nargs="*")
    arguments = parser.parse_args()
    mutants = tomllib.loads((HERE / "mutants.toml").read_text())["mutant"]
    if arguments.names:
        mutants = [m for m in mutants if any(name in m["name"] for name in arguments.names)]

    with tempfile.TemporaryDirectory(prefix="velmora-mutants-") as own:
        clone = Clone(arguments.keep or own, arguments.jobs)
        # The tests must pass without a fault, or they tell nothing.
        tests = sorted({test for mutant in mutants for test in mutant["tests"]})
        if not clone.builds(tests, None) or not clone.passes(tests):
            sys.exit("the tests do not pass as they are")
        results = []
        for mutant in mutants:
            begin = time.monotonic()
            results.append(try_mutant(clone, mutant))
            print(f"{results[-1]:14} {mutant['name']}  ({time.monotonic() - begin:.0f} s)",
                  flush=True)
    print(", ".join(f"{results.count(result)} {result}" for result in sorted(set(results))))
    if "fits no more" in results or "does not build" in results:
        sys.exit(2)
    sys.exit(1 if "SURVIVES" in results else 0)


if __name__ == "__main__":
    main()
