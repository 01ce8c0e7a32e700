"""A day of a household's event log, made up, and the web page about it: for pictures."""

import datetime
import json
import math
import pathlib
import random
import subprocess

POLICY = """\
[filter]
block = "calm"
[ads]
lists = "ads.txt"
[event-log]
file = "events.jsonl"
"""
AD_LIST = "! Title: House list\n||ads.example^\n"
SITES = ("harbour-gazette.example", "weather.example", "recipes.example", "football.example")
SITES += ("forum.example", "holidays.example", "radio.example", "school.example")
ADVERTISERS = ("ads.example", "banners.example", "metrics.example", "pixel.example")
DEVICES = ("192.168.1.20", "192.168.1.21", "192.168.1.33", "192.168.1.34")


def moment(time):
    return time.strftime("%Y-%m-%dT%H:%M:%S.") + f"{time.microsecond // 1000:03}Z"


def blocked(chance, time, number):
    site = chance.choices(SITES, weights=(30, 18, 14, 11, 9, 7, 5, 3))[0]
    advertiser = chance.choices(ADVERTISERS, weights=(9, 6, 4, 2))[0]
    event = {"time": moment(time), "pid": 1, "event": "blocked"}
    event["client"] = chance.choices(DEVICES, weights=(8, 5, 4, 2))[0]
    url = f"https://{advertiser}/{chance.choice(('a.js', 'unit.js', 'b.gif', 'frame'))}"
    page = f"https://{site}/"
    if chance.random() < 0.85:
        event |= {"url": url, "page": page, "type": chance.choice(("script", "image", "frame"))}
        event |= {"category": "requests", "code": 500, "item": ""}
    else:
        event |= {"url": page, "category": "ad-elements", "code": 501, "item": f'IMG src="{url}"'}
    return event | {"detail": f'"||{advertiser}^"', "list": "house.txt:12", "id": f"{number:010}"}


def day(now):
    """The events of the day before `now`, more of them in the evening."""
    chance = random.Random(7)
    minutes = [now - datetime.timedelta(minutes=minute) for minute in range(24 * 60)]
    busy = [1.25 - math.cos((time.hour + time.minute / 60 - 5) * math.pi / 12) for time in minutes]
    times = sorted(chance.choices(minutes, weights=busy, k=4200))
    for number, time in enumerate(times):
        yield blocked(chance, time, number)
        if number % 9 == 0:
            filtered = {"time": moment(time), "pid": 1, "event": "filtered", "client": DEVICES[0]}
            filtered |= {"url": f"https://{SITES[0]}/", "id": f"f{number:09}", "items": 3}
            yield filtered | {"saved": chance.randrange(2_000, 40_000)}
        if number % 12 == 0:
            guarded = {"time": moment(time), "pid": 1, "event": "guarded", "client": DEVICES[1]}
            yield guarded | {"url": f"https://{SITES[1]}/", "category": "popups", "code": 307}


class WebServer:
    def __init__(self, folder, modules):
        folder = pathlib.Path(folder)
        (folder / "velmora.toml").write_text(POLICY)
        (folder / "ads.txt").write_text(AD_LIST)
        now = datetime.datetime.now(datetime.timezone.utc)
        lines = (json.dumps(event, separators=(",", ":")) + "\n" for event in day(now))
        (folder / "events.jsonl").write_text("".join(lines))
        self.command = [modules / "velmora", "web", "--policy", folder / "velmora.toml"]

    def __enter__(self):
        command = ["setpriv", "--pdeathsig", "TERM", *map(str, self.command)]
        self.process = subprocess.Popen(command, stderr=subprocess.PIPE, text=True)
        self.start_link = next(line.strip() for line in self.process.stderr if "start?" in line)
        return self

    def __exit__(self, *_):
        self.process.terminate()
        self.process.wait()
        self.process.stderr.close()
