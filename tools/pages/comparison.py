"""What a proxy did to a page: a visit through it, held against two visits without it.

What differs between those two (a clock, a random offer) is not held against the proxy.
"""

import statistics
from collections import Counter
from dataclasses import asdict, dataclass


@dataclass
class Row:
    """A page, or the total of several."""

    page: str
    subject: str
    requests: int  # without the proxy
    requests_saved: int  # not made any more: blocked, or not even asked for
    blocked: int  # asked for, and answered by the proxy
    ads: int  # without the proxy, by the lists
    ads_left: int
    bytes: int  # as they come to the browser
    bytes_saved: int
    items: dict  # removed or guarded against, by category
    text_lost: int  # words
    text_added: int  # words that stand in neither visit without the proxy
    pictures_lost: int
    new_errors: int
    load_ms: float  # the mean of both visits
    load_ms_filtered: float
    details: dict

    def is_changed(self):
        """More than that pop-ups are guarded against."""
        return bool(self.blocked or any(not name.startswith("guarded") for name in self.items))

    def is_harmed(self):
        return bool(self.text_lost or self.text_added or self.pictures_lost or self.new_errors)


def compare(page, subject, without, through, items, is_ad):
    """`without` are two visits, `through` is one; `is_ad(request)` asks the lists."""
    first, second = without
    text_lost = (first.words & second.words) - through.words
    text_added = through.words - (first.words | second.words)
    shown = (first.images & second.images) - through.images
    of_ads = {r.url for r in first.requests if r.type == "image" and is_ad(r)}
    pictures = {url: count for url, count in shown.items() if url not in of_ads}
    errors = [text for text in through.errors if text not in first.errors | second.errors]
    left = [request for request in through.made if is_ad(request)]
    return Row(
        page=page,
        subject=subject,
        requests=len(first.made),
        requests_saved=len(first.made) - len(through.made),
        blocked=len(through.blocked),
        ads=sum(map(is_ad, first.made)),
        ads_left=len(left),
        bytes=first.bytes,
        bytes_saved=first.bytes - through.bytes,
        items=dict(items),
        text_lost=text_lost.total(),
        text_added=text_added.total(),
        pictures_lost=sum(pictures.values()),
        new_errors=len(errors),
        load_ms=statistics.mean((first.load_ms, second.load_ms)),
        load_ms_filtered=through.load_ms,
        details={
            "text lost": " ".join(text_lost.elements())[:500],
            "text added": " ".join(text_added.elements())[:500],
            "pictures lost": list(pictures)[:20],
            "new errors": errors[:20],
            "ads left": [f"{r.type} {r.url} of {r.page}"[:300] for r in left[:20]],
            "trouble": "; ".join(filter(None, (first.trouble, second.trouble, through.trouble))),
        },
    )


def total(rows):
    """All pages of one subject."""
    items = Counter()
    for row in rows:
        items.update(row.items)
    sums = {
        name: sum(getattr(row, name) for row in rows)
        for name, kind in Row.__annotations__.items()
        if kind in (int, float)
    }
    return Row(page="total", subject=rows[0].subject, items=dict(items), details={}, **sums)


def as_json(rows):
    pages = [asdict(row) for row in rows]
    by_subject = {row.subject: [r for r in rows if r.subject == row.subject] for row in rows}
    totals = {subject: asdict(total(some)) | summary(some) for subject, some in by_subject.items()}
    return {"pages": pages, "totals": totals}


def summary(rows):
    """How many pages: changed, harmed and in which way; and how load times compare."""
    ratios = [row.load_ms_filtered / row.load_ms for row in rows if row.load_ms]
    return {
        "pages": len(rows),
        "pages changed": sum(row.is_changed() for row in rows),
        "with text lost": sum(row.text_lost > 0 for row in rows),
        "with text added": sum(row.text_added > 0 for row in rows),
        "with pictures lost": sum(row.pictures_lost > 0 for row in rows),
        "with new errors": sum(row.new_errors > 0 for row in rows),
        "with ads left": sum(row.ads_left > 0 for row in rows),
        "load time, median of ratios": round(statistics.median(ratios), 2) if ratios else None,
    }
