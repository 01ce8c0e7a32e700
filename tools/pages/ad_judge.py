"""The ad lists' verdict on requests, asked of a command that stays at work for it."""

import functools
import subprocess
import threading


class AdJudge:
    """`command` speaks as `velmora ads --batch` does. A question raises OSError once it is no more."""

    def __init__(self, command):
        self._process = subprocess.Popen(
            ["setpriv", "--pdeathsig", "TERM", *command],
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            text=True,
        )
        self._lock = threading.Lock()
        self.is_ad_host = functools.cache(self._is_ad_host)

    def blocks(self, kind, page, url):
        with self._lock:
            self._process.stdin.write(f"{kind}\t{page}\t{url}\n")
            self._process.stdin.flush()
            answer = self._process.stdout.readline()
        if not answer:
            raise OSError("what judges ads ended")
        return answer.startswith("blocked\t")

    def _is_ad_host(self, host):
        """Whatever is asked for there by another site is an advertisement's."""
        return self.blocks("script", "https://somewhere-else.example/", f"https://{host}/")

    def stop(self):
        self._process.stdin.close()
        self._process.wait()
