"""The adapter's event file, one JSON object a line, for people."""

import json
import time
from collections import Counter


def read(path):
    """All events but those that only count, once the log's writer has come to rest."""
    size, before = -1, None
    while size != before:
        before = size
        wait()
        size = path.stat().st_size if path.exists() else 0
    events = [json.loads(line) for line in path.read_text().splitlines()] if size else []
    return [event for event in events if event["event"] != "counters"]


def follow(path):
    """Yields events as they are written, and None whenever there are none for now."""
    while not path.exists():
        yield None
    with path.open() as file:
        rest = ""
        while True:
            rest += file.read()
            *lines, rest = rest.split("\n")
            for event in map(json.loads, lines):
                if event["event"] != "counters":
                    yield event
            yield None


def printable(text):
    """Without control characters: the texts come from pages."""
    return "".join(c if c.isprintable() else f"\\x{ord(c):02X}" for c in text)


def shortened(text, most=60):
    return text if len(text) <= most else text[: most - 1] + "…"


def line(event):
    clock = event["time"][11:19]
    if event["event"] == "filtered":
        return f"{clock}  {event['items']} items and {event['saved']} bytes less: {printable(event['url'])}"
    if event["event"] == "guarded":
        return f"{clock}  guarded from {event['category']}: {printable(event['url'])}"
    if event["event"] in ("left-out", "opened", "allowed"):
        return f"{clock}  {event['event']} {event.get('category', '')}: {printable(event['url'])}"
    if event["event"] != "blocked":
        return f"{clock}  ! {event.get('reason', event['event'])}  {printable(event.get('url', ''))}"
    what = shortened(printable(event.get("type", event["item"]) + "  " + event["detail"]).strip())
    return f"{clock}  {event['category']:<20} {what:<60} {printable(event['url'])}"


def by_category(events):
    return Counter(event["category"] for event in events if event["event"] == "blocked")


def wait():
    time.sleep(0.1)
