#!/usr/bin/python3
"""Makes a school's week up, and prints the report of it.

    school_report.py VELMORA FOLDER [--pupils 300]

FOLDER gets the event log, a policy that names it, and the report as text, as a page and by the
device. Every name and number is made up, by the same chances each time: five days of lessons, some
sites and rules far busier than others.
"""

import argparse
import datetime
import itertools
import json
import pathlib
import random
import subprocess
import sys
import time

KINDS = ("maps", "news", "wiki", "lexicon", "video", "recipes", "weather", "museum", "forum")
KINDS += ("sports", "science", "music")
PLACES = ("harbour", "meadow", "north", "river", "hill", "lantern", "orchard", "station", "bridge")
PLACES += ("mill",)
SITES = [f"{place}-{kind}.example" for kind, place in itertools.product(KINDS, PLACES)]
GAMES = [f"{place}-games.example" for place in PLACES]
SERVERS = ("tag", "cdn", "pixel", "sync")
ADVERTISERS = [f"{server}.{place}-ads.example" for place in PLACES for server in SERVERS]
NOT_MADE = {"category": "requests", "code": 500, "item": "GET"}
# Begin of a lesson, and how much is looked up in it, against the busiest.
LESSONS = {"08:00": 5, "08:50": 8, "09:50": 9, "10:40": 7, "11:40": 8}
LESSONS |= {"12:30": 4, "14:00": 6, "14:50": 3}
LESSON = 45 * 60
PAGES_OF_A_PUPIL = 55
POLICY = '[filter]\nblock = "calm"\n[ads]\nenabled = false\n[event-log]\nfile = "events.jsonl"\n'


def ranks(names, chance):
    """The names with weights, of which the first has the most."""
    names = chance.sample(names, len(names))
    return names, [1 / (rank + 1) for rank in range(len(names))]


def days(now):
    """The days of lessons among the seven before `now`."""
    midnight = now.replace(hour=0, minute=0, second=0, microsecond=0)
    for back in range(7, 0, -1):
        day = midnight - datetime.timedelta(days=back)
        if day.weekday() < 5:
            yield day


def visits(pupils, chance, now):
    """When, which device: of all lessons, in order of time."""
    for day in days(now):
        moments = []
        for begin, share in LESSONS.items():
            hour, minute = map(int, begin.split(":"))
            start = day.replace(hour=hour, minute=minute).timestamp()
            pages = round(pupils * PAGES_OF_A_PUPIL * share / sum(LESSONS.values()))
            moments += [start + chance.random() * LESSON for _ in range(pages)]
        for moment in sorted(moments):
            yield moment, int(pupils * chance.random() ** 1.3)


class Week:
    def __init__(self, chance):
        self.chance = chance
        self.sites, self.site_weights = ranks(SITES, chance)
        self.advertisers, self.advertiser_weights = ranks(ADVERTISERS, chance)

    def id(self):
        return "".join(self.chance.choices("abcdefghjkmnpqrstuvwxyz23456789", k=10))

    def page(self):
        """The events of a page."""
        site = self.chance.choices(self.sites, self.site_weights)[0]
        url = f"https://{site}/{self.chance.randrange(400)}.html"
        if self.chance.random() < 0.012:
            game = self.chance.choice(GAMES)
            yield {"event": "blocked", "url": f"https://{game}/", "type": "document", **NOT_MADE,
                   "detail": f'"{game}"', "list": "[[category]] games.txt:3"}
            return
        for _ in range(self.chance.choice((0, 0, 1, 2, 4, 7, 9))):
            yield self.advertisement(url)
        saved = 0
        for _ in range(self.chance.choice((0, 0, 0, 1, 2))):
            saved += self.chance.randrange(200, 9000)
            yield {"event": "blocked", "url": url, "category": "ad-elements", "code": 501,
                   "item": "IMG", "detail": '"/banner^"'}
        if saved:
            yield {"event": "filtered", "url": url, "items": 2, "saved": saved}
        if self.chance.random() < 0.05:
            yield {"event": "guarded", "url": url, "category": "popups", "code": 307}

    def advertisement(self, page):
        host = self.chance.choices(self.advertisers, self.advertiser_weights)[0]
        kind = self.chance.choice(("script", "script", "image", "frame", "ping"))
        url = f"https://{host}/{kind}?n={self.chance.randrange(10**6)}"
        rule = f'"||{host.partition(".")[2]}^"'
        return {"event": "blocked", "url": url, "page": page, "type": kind, **NOT_MADE,
                "detail": rule, "list": "easylist.txt:12"}


def write(log, pupils, now):
    chance = random.Random(7)
    week = Week(chance)
    lines = 0
    with log.open("w") as file:
        for moment, pupil in visits(pupils, chance, now):
            at = datetime.datetime.fromtimestamp(moment, datetime.timezone.utc)
            begin = {"time": f"{at:%Y-%m-%dT%H:%M:%S}.{at.microsecond // 1000:03}Z", "pid": 1}
            begin["client"] = f"10.8.{pupil // 100}.{pupil % 100 + 1}"
            for event in week.page():
                event = begin | event | {"id": week.id()}
                file.write(json.dumps(event, separators=(",", ":")) + "\n")
                lines += 1
    return lines


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("velmora", type=pathlib.Path)
    parser.add_argument("folder", type=pathlib.Path)
    parser.add_argument("--pupils", type=int, default=300)
    arguments = parser.parse_args()
    arguments.folder.mkdir(exist_ok=True)
    policy = arguments.folder / "velmora.toml"
    policy.write_text(POLICY)
    log = arguments.folder / "events.jsonl"
    lines = write(log, arguments.pupils, datetime.datetime.now())
    size = log.stat().st_size / 1e6
    print(f"{lines:,} events of {arguments.pupils} devices, {size:.0f} MB", file=sys.stderr)
    for name, options in (
        ("report.txt", ("--most", "8", "--rebuild")),
        ("report.html", ("--html", "--most", "10")),
        ("clients.txt", ("--by", "client", "--most", "12")),
    ):
        command = [arguments.velmora, "report", "--week", "--policy", policy, *options]
        begin = time.perf_counter()
        subprocess.run([*command, "-o", arguments.folder / name], check=True)
        print(f"{name}: {time.perf_counter() - begin:.2f} s", file=sys.stderr)


if __name__ == "__main__":
    main()
