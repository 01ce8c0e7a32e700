"""The ad lists' verdict on requests, asked of commands that stay at work for it."""

import contextlib
import functools
import subprocess
import threading

VERDICTS = ("blocked", "allowed", "none")


class AdJudge:
    """`command` speaks as `velmora ads --batch` does. A question raises OSError where it does not."""

    def __init__(self, command):
        self._name = " ".join(map(str, command))[:120]
        self._process = subprocess.Popen(
            ["setpriv", "--pdeathsig", "TERM", *command],
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            text=True,
        )
        self._lock = threading.Lock()

    def blocks(self, kind, page, url):
        with self._lock:
            answer = self._ask(f"{kind}\t{page}\t{url}\n")
        verdict = answer.rstrip("\n").partition("\t")[0]
        if verdict not in VERDICTS:
            told = f'said "{answer.strip()[:80]}"' if answer else "ended"
            raise OSError(f"what judges ads {told}: {self._name}")
        return verdict == "blocked"

    def _ask(self, line):
        """The answer's line; empty when there is none."""
        try:
            self._process.stdin.write(line)
            self._process.stdin.flush()
            return self._process.stdout.readline()
        except BrokenPipeError:
            return ""

    def stop(self):
        with contextlib.suppress(BrokenPipeError):
            self._process.stdin.close()
        self._process.stdout.close()
        self._process.wait()


class AdJudges:
    """Of several, one that blocks a request is enough."""

    def __init__(self, commands):
        self._judges = [AdJudge(command) for command in commands]
        self.is_ad_host = functools.cache(self._is_ad_host)

    def blocks(self, kind, page, url):
        return any(judge.blocks(kind, page, url) for judge in self._judges)

    def _is_ad_host(self, host):
        """Whatever is asked for there by another site is an advertisement's."""
        return self.blocks("script", "https://somewhere-else.example/", f"https://{host}/")

    def stop(self):
        for judge in self._judges:
            judge.stop()
