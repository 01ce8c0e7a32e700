#!/usr/bin/env python3
"""Appends lines to a file, each once, and says of each when it is there: rsyslog's omprog starts it.

    gather.py FILE

A member sends a line again when it does not know whether it arrived, and a log that has got another name from
its beginning. No two events have the same line, so one that was written before came again. What was written is
remembered for some days in FILE.keys. When FILE has got another name, the next line begins a new one.
"""

import hashlib
import os
import pathlib
import sqlite3
import sys
import time

KEPT_DAYS = 3
SECONDS_A_DAY = 86_400
# At a start the file's end is looked at: its last line may not have been remembered any more.
LOOKED_AT = 1 << 20


def key(line):
    return hashlib.blake2b(line, digest_size=16).digest()


class Gathered:
    def __init__(self, path):
        self.path = path
        # What a killed process has done stays done; a machine that loses its power loses a little of both files.
        self.keys = sqlite3.connect(path.with_name(f"{path.name}.keys"), isolation_level=None)
        self.keys.execute("PRAGMA journal_mode = WAL")
        self.keys.execute("PRAGMA synchronous = OFF")
        self.keys.execute(
            "CREATE TABLE IF NOT EXISTS lines (key BLOB PRIMARY KEY, day INTEGER) WITHOUT ROWID"
        )
        self._open()
        end = os.fstat(self.file).st_size
        for line in os.pread(self.file, LOOKED_AT, max(0, end - LOOKED_AT)).splitlines(keepends=True):
            self._remember(line)

    def _open(self):
        # What users visit is nobody else's business.
        self.file = os.open(self.path, os.O_RDWR | os.O_APPEND | os.O_CREAT, 0o640)
        self._cut(self._end_of_last_line())
        self.keys.execute("DELETE FROM lines WHERE day < ?", (self._today() - KEPT_DAYS,))

    @staticmethod
    def _today():
        return int(time.time()) // SECONDS_A_DAY

    def _remember(self, line):
        self.keys.execute("INSERT OR IGNORE INTO lines VALUES (?, ?)", (key(line), self._today()))

    def _is_known(self, line):
        return self.keys.execute("SELECT 1 FROM lines WHERE key = ?", (key(line),)).fetchone() is not None

    def _end_of_last_line(self):
        """A line that was not written to its end was not said to be there, and comes again."""
        end = os.fstat(self.file).st_size
        while end > 0 and os.pread(self.file, 1, end - 1) != b"\n":
            end -= 1
        return end

    def _cut(self, end):
        if os.fstat(self.file).st_size != end:
            os.ftruncate(self.file, end)

    def _has_another_name(self):
        try:
            return not os.path.samestat(os.stat(self.path), os.fstat(self.file))
        except FileNotFoundError:
            return True

    def add(self, line):
        if self._is_known(line):
            return
        if self._has_another_name():
            os.close(self.file)
            self._open()
        end = os.fstat(self.file).st_size
        if os.write(self.file, line) != len(line):
            self._cut(end)
            raise OSError(f"{self.path} does not take any more")
        self._remember(line)


def main():
    gathered = Gathered(pathlib.Path(sys.argv[1]))
    answer = "OK"
    while True:
        print(answer, flush=True)
        line = sys.stdin.buffer.readline()
        # One without an end was cut off by the end of who sent it.
        if not line.endswith(b"\n"):
            return
        try:
            gathered.add(line)
            answer = "OK"
        except (OSError, sqlite3.Error) as error:
            answer = f"{error}"


if __name__ == "__main__":
    main()
