"""Headless Chromium, driven over the pipe of its own debugging protocol.

One process serves all visits: each gets a context of its own, with its own proxy, cache and cookies.
"""

import json
import os
import select
import shutil
import subprocess
import time

ARGUMENTS = (
    "--headless=new",
    # The sandbox asks for rights that not every machine gives; what is visited is served from here.
    "--no-sandbox",
    "--disable-dev-shm-usage",
    "--disable-gpu",
    "--mute-audio",
    "--no-first-run",
    "--disable-background-networking",
    "--disable-component-update",
    "--disable-sync",
    "--disable-extensions",
    # Pages are visited by the address that they were saved from, be it without TLS. A process for each
    # site of their frames would make most of the work.
    "--disable-features=HttpsUpgrades,HttpsFirstBalancedModeAutoEnable,OptimizationHints,Translate,"
    "IsolateOrigins,site-per-process",
    "--disable-site-isolation-trials",
    "--window-size=1200,900",
    "--remote-debugging-pipe",
)
# The program reads commands from the first of these descriptors, and writes to the second.
COMMANDS, ANSWERS = 3, 4


class BrowserError(Exception):
    """The browser is not there, or is gone; or a command failed."""


class Chromium:
    """Answers go to those who `call`; events to `listener(session, method, parameters)`."""

    def __init__(self, home, *arguments):
        self.listener = None
        self._program = shutil.which("chromium")
        if not self._program:
            raise BrowserError("Chromium is needed: apt-get install chromium")
        home.mkdir()
        profile = f"--user-data-dir={home}/profile"
        self._start(home, [self._program, *ARGUMENTS, *arguments, profile, "about:blank"])
        self._number = 0
        self._answers = {}
        self._rest = b""

    def _start(self, home, command):
        read_commands, self._commands = os.pipe()
        self._incoming, write_answers = os.pipe()
        # The shell gives both the numbers that the program asks for, whatever they are here.
        redirect = f'exec "$@" {COMMANDS}<&{read_commands} {ANSWERS}>&{write_answers}'
        with (home / "log").open("w") as log:
            self.process = subprocess.Popen(
                ["setpriv", "--pdeathsig", "TERM", "bash", "-c", redirect, "bash", *command],
                stdin=subprocess.DEVNULL,
                stdout=log,
                stderr=log,
                env={**os.environ, "HOME": str(home), "XDG_CONFIG_HOME": "", "XDG_CACHE_HOME": ""},
                pass_fds=(read_commands, write_answers),
            )
        os.close(read_commands)
        os.close(write_answers)

    def post(self, method, session=None, **parameters):
        """Sends a command whose answer nobody waits for; returns its number."""
        self._number += 1
        message = {"id": self._number, "method": method, "params": parameters}
        if session:
            message["sessionId"] = session
        data = json.dumps(message).encode() + b"\0"
        while data:
            data = data[os.write(self._commands, data) :]
        return self._number

    def call(self, method, session=None, seconds=60, **parameters):
        """The result of a command."""
        number = self.post(method, session, **parameters)
        self._answers[number] = None
        deadline = time.monotonic() + seconds
        while self._answers[number] is None:
            if time.monotonic() > deadline:
                raise BrowserError(f"{method}: no answer within {seconds} seconds")
            self.listen(0.5)
        answer = self._answers.pop(number)
        if "error" in answer:
            raise BrowserError(f"{method}: {answer['error']['message']}")
        return answer["result"]

    def listen(self, seconds):
        """Takes what the browser has to say, waiting for at most so long until it says something."""
        if not select.select([self._incoming], [], [], seconds)[0]:
            return
        data = os.read(self._incoming, 1 << 20)
        if not data:
            raise BrowserError("the browser has ended")
        *messages, self._rest = (self._rest + data).split(b"\0")
        for message in messages:
            self._take(json.loads(message))

    def _take(self, message):
        number = message.get("id")
        if number is None:
            if self.listener:
                self.listener(message.get("sessionId"), message["method"], message["params"])
        elif number in self._answers:
            self._answers[number] = message

    def stop(self):
        try:
            self.call("Browser.close", seconds=5)
            self.process.wait(timeout=10)
        except (BrowserError, OSError, subprocess.TimeoutExpired):
            self.process.kill()
            self.process.wait()
        os.close(self._commands)
        os.close(self._incoming)
