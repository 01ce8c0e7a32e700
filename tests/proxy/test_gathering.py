"""Event logs of several members in one file: each line once, whatever becomes of the collector."""

import collections
import os
import pathlib
import subprocess
import sys
import tempfile
import threading
import time
import unittest

from proxy_case import ROOT

sys.path.insert(0, str(ROOT / "tools" / "farm"))

import collector  # noqa: E402

MEMBERS = 3
LINES_A_SECOND = 500


class Member:
    """A log that grows, its sender, and what was written."""

    def __init__(self, folder, number, port):
        self.log = folder / f"member{number}" / "events"
        self.log.parent.mkdir()
        self.number = number
        self.lines = []
        self.file = self.log.open("w")
        self.sender = collector.sender(folder / f"sender{number}", port, self.log)
        self.lock = threading.Lock()
        self.is_over = threading.Event()
        self.writer = threading.Thread(target=self._write)

    def _write(self):
        while not self.is_over.wait(0.01):
            with self.lock:
                for _ in range(LINES_A_SECOND // 100):
                    line = f'{{"member":{self.number},"number":{len(self.lines)},"text":"{"x" * 200}"}}\n'
                    self.file.write(line)
                    self.lines.append(line)
                self.file.flush()

    def rotate(self):
        with self.lock:
            for older in sorted(self.log.parent.glob("events.*"), reverse=True):
                older.rename(older.with_suffix(f".{int(older.suffix[1:]) + 1}"))
            self.log.rename(self.log.with_name("events.1"))
        # Who writes hears of it later.
        time.sleep(0.2)
        with self.lock:
            self.file.close()
            self.file = self.log.open("w")

    def __enter__(self):
        self.sender.start()
        self.writer.start()
        return self

    def __exit__(self, *_):
        self.is_over.set()
        self.writer.join()
        self.file.close()
        self.sender.stop()


class Program(unittest.TestCase):
    def test_writes_no_line_again(self):
        with tempfile.TemporaryDirectory(prefix="velmora-test-") as folder:
            file = pathlib.Path(folder, "events")

            def gather(text):
                command = [sys.executable, ROOT / "packaging" / "farm" / "gather.py", file]
                run = subprocess.run(command, input=text, capture_output=True, text=True, check=True)
                return run.stdout.split("\n"), file.read_text()

            # It says first that it is ready; the last line came to no end.
            self.assertEqual(gather("1\n2\n1\n3"), (["OK"] * 4 + [""], "1\n2\n"))
            file.write_text("1\n2\n3")
            self.assertEqual(gather("2\n3\n")[1], "1\n2\n3\n")
            file.rename(file.with_name("events.1"))
            self.assertEqual(gather("3\n4\n")[1], "4\n")
            # One was killed before it had remembered what it wrote.
            file.write_text("4\n5\n")
            self.assertEqual(gather("5\n6\n")[1], "4\n5\n6\n")


class Gathering(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="velmora-test-")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        port = collector.steady_port()
        self.collector = collector.collector(self.folder / "log", port)
        self.addCleanup(self.collector.stop)
        self.collector.start()
        self.members = [
            self.enterContext(Member(self.folder, number, port)) for number in range(MEMBERS)
        ]

    def gathered(self):
        logs = (self.folder / "log").glob("events")
        return collections.Counter(
            line for log in logs for line in log.read_text().splitlines(keepends=True)
        )

    def test_each_line_once(self):
        # Who sends has to have seen a log before that gets another name.
        deadline = time.monotonic() + 60
        while not {member.lines[0] for member in self.members if member.lines} <= self.gathered().keys():
            self.assertLess(time.monotonic(), deadline, "nothing is gathered")
            time.sleep(0.2)
        for turn in range(int(os.environ.get("VELMORA_TURNS", "6"))):
            time.sleep(1)
            (self.collector.stop if turn % 2 else self.collector.kill)()
            time.sleep(0.5)
            for member in self.members:
                member.rotate()
            time.sleep(5 if turn < 2 else 0.5)
            self.collector.start()
        for member in self.members:
            member.is_over.set()
            member.writer.join()
        own = collections.Counter(line for member in self.members for line in member.lines)
        deadline = time.monotonic() + 60
        while not own <= (gathered := self.gathered()) and time.monotonic() < deadline:
            time.sleep(0.5)
        missing, twice = own - gathered, gathered - own
        print(f"{own.total()} lines, {missing.total()} missing, {twice.total()} twice or unknown")
        self.assertEqual((missing.total(), twice.total()), (0, 0), next(iter((missing + twice).items()), ""))


if __name__ == "__main__":
    unittest.main()
