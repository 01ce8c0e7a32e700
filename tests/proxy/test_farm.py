"""Several proxies behind a balancer: what clients see when one dies, and when all are renewed."""

import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

from proxy_case import MODULES, ROOT, free_port

PROGRAM = ROOT / "tools" / "farm" / "farm.py"
ROTATIONS = ("No collector for 5 s, all logs rotated", "The same with one that was killed")


def stand_ins():
    """Folders that are used where the farm's own cannot be."""
    return sorted(pathlib.Path(tempfile.gettempdir()).glob("velmora-farm-*"))


class Farm(unittest.TestCase):
    def test_a_member_dies_and_all_are_renewed(self):
        for engine in ("squid", "trafficserver"):
            with self.subTest(engine):
                command = [sys.executable, "-B", PROGRAM, "--seconds", "0", "--engine", engine]
                command += ["--modules", MODULES, "--port", str(free_port())]
                before = stand_ins()
                run = subprocess.run(command, capture_output=True, text=True, timeout=280)
                self.assertEqual(run.returncode, 0, run.stderr)
                print(run.stdout)
                rows = dict(re.findall(r"(?m)^([\w ,]+): +(\d+ answers, .*)$", run.stdout))
                self.assertEqual(len(rows), 6)
                for title, seen in rows.items():
                    # Only answers that were on their way, and visibly: when a member is killed, or when Squid
                    # reads its configuration again, which begins a new log.
                    may_break_off = title == "member1 killed" or engine == "squid" and title in ROTATIONS
                    expected = "(all right|[1-8] broken off)$" if may_break_off else "all right$"
                    self.assertRegex(seen, expected, title)
                self.assertIn(" 0 missing, 0 twice, 0 unknown.", run.stdout)
                counted = re.findall(r"member\d (\d+)", run.stdout)
                self.assertEqual(len(counted), 3)
                self.assertGreater(min(map(int, counted)), 0)
                self.assertEqual(stand_ins(), before)


if __name__ == "__main__":
    unittest.main()
