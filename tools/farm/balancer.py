"""HAProxy before the members of a farm, each of which sees the client's own address."""

import pathlib
import socket
import subprocess
import time

from engine import ProxyError
from packaged import filled_in

HAPROXY = "/usr/sbin/haproxy"


class Balancer:
    """Started and stopped as a context. `members` are engines by name, that have a balanced port."""

    def __init__(self, folder, port, counters_port, members, address="127.0.0.1"):
        self.folder = pathlib.Path(folder)
        self.port = port
        self.counters_port = counters_port
        servers = "\n".join(
            f"  server {name} 127.0.0.1:{member.balanced_port} check port {member.port}"
            for name, member in members.items()
        )
        text = filled_in(
            "haproxy.cfg",
            folder=self.folder,
            address=address,
            port=port,
            counters_port=counters_port,
            check=next(iter(members.values())).CHECK,
            servers=servers,
        )
        self.configuration = self.folder / "haproxy.cfg"
        self.configuration.write_text(text)

    def __enter__(self):
        with (self.folder / "haproxy.log").open("w") as log:
            self.process = subprocess.Popen(
                ["setpriv", "--pdeathsig", "TERM", HAPROXY, "-db", "-f", self.configuration],
                stdin=subprocess.DEVNULL,
                stdout=log,
                stderr=log,
            )
        deadline = time.monotonic() + 30
        while not self._all_are_up():
            if self.process.poll() is not None or time.monotonic() > deadline:
                self.__exit__()
                raise ProxyError(f"HAProxy does not start: {self.folder}/haproxy.log")
            time.sleep(0.1)
        return self

    def _all_are_up(self):
        try:
            return all(state == "UP" for state, _ in self.states().values())
        except OSError:
            return False

    def __exit__(self, *_):
        self.process.terminate()
        self.process.wait()

    def ask(self, command):
        """A command of HAProxy's run-time interface, and what it answers."""
        with socket.socket(socket.AF_UNIX) as connection:
            connection.settimeout(5)
            connection.connect(str(self.folder / "haproxy.sock"))
            connection.sendall(command.encode() + b"\n")
            answer = b""
            while piece := connection.recv(65536):
                answer += piece
        return answer.decode()

    def states(self):
        """Of each member: what HAProxy holds of it, and how many requests it is at work on."""
        header, *lines = self.ask("show stat").removeprefix("# ").strip().splitlines()
        names = header.split(",")
        rows = [dict(zip(names, line.split(","))) for line in lines]
        return {
            row["svname"]: (row["status"], int(row["scur"] or 0))
            for row in rows
            if row["pxname"] == "members" and row["svname"] != "BACKEND"
        }

    def wait_for(self, name, condition, seconds=30):
        """Until the condition holds of a member's state and load; false when it never does."""
        deadline = time.monotonic() + seconds
        while time.monotonic() < deadline:
            if condition(*self.states()[name]):
                return True
            time.sleep(0.1)
        return False

    def drain(self, name):
        """Sends the member nothing new, and waits until it has answered what it has."""
        self.ask(f"set server members/{name} state drain")
        # A request that had its member by then counts a moment later.
        for _ in range(3):
            self.wait_for(name, lambda _, load: load == 0)
            time.sleep(0.1)

    def use(self, name):
        self.ask(f"set server members/{name} state ready")
        self.wait_for(name, lambda state, _: state == "UP")
