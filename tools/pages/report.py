"""The figures as tables, for people."""

from comparison import summary, total

COLUMNS = (
    ("requests", lambda row: row.requests),
    ("saved", lambda row: row.requests_saved),
    ("blocked", lambda row: row.blocked),
    ("ads", lambda row: row.ads),
    ("ads left", lambda row: row.ads_left),
    ("KB", lambda row: f"{row.bytes / 1000:.1f}"),
    ("KB saved", lambda row: f"{row.bytes_saved / 1000:.1f}"),
    ("words lost", lambda row: row.text_lost),
    ("added", lambda row: row.text_added),
    ("pictures lost", lambda row: row.pictures_lost),
    ("new errors", lambda row: row.new_errors),
    ("load ms", lambda row: f"{row.load_ms:.0f}"),
    ("filtered", lambda row: f"{row.load_ms_filtered:.0f}"),
)
NAMES = 34
has_head = False


def line(name, subject, cells):
    widths = [max(len(title), 7) + 2 for title, _ in COLUMNS]
    return f"{name[:NAMES]:<{NAMES + 2}}{subject:<9}" + "".join(
        f"{cell:>{width}}" for cell, width in zip(cells, widths)
    )


def print_head():
    print(line("page", "policy", [title for title, _ in COLUMNS]))


def print_row(row):
    global has_head
    if not has_head:
        print_head()
        has_head = True
    print(line(row.page, row.subject, [value(row) for _, value in COLUMNS]), flush=True)
    for title, detail in row.details.items():
        for text in [detail] if isinstance(detail, str) else detail:
            if text:
                print(f"    {title}: {text[:200]}", flush=True)


def print_totals(rows):
    print()
    print_head()
    subjects = dict.fromkeys(row.subject for row in rows)
    by_subject = {name: [row for row in rows if row.subject == name] for name in subjects}
    for name, some in by_subject.items():
        print(line("total", name, [value(total(some)) for _, value in COLUMNS]))
    print()
    summaries = {name: summary(some) for name, some in by_subject.items()}
    print(f"{'':<32}" + "".join(f"{name:>9}" for name in summaries))
    for title in next(iter(summaries.values())):
        print(f"{title:<32}" + "".join(f"{s[title]!s:>9}" for s in summaries.values()))
