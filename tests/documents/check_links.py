"""check_links.py ROOT: every link of the documents to a file of this project, or to a heading in one,
leads somewhere, as does every path of it that they name; no document is without one from another."""

import pathlib
import re
import subprocess
import sys

LINK = re.compile(r"\[[^\]]*\]\(([^)\s]+)\)")
CODE = re.compile(r"^```.*?^```", re.MULTILINE | re.DOTALL)
# Files and folders named in the text, as in `docs/policy.md`; patterns and what is built are none.
NAMED = re.compile(r"`((?:\.\./)*[\w.-]+/[\w./-]+)`")
HEADING = re.compile(r"^#+ +(.*?) *#*$", re.MULTILINE)


def anchors(text):
    """The names that headings get: in small letters, blanks as hyphens, without punctuation."""
    headings = HEADING.findall(CODE.sub("", text))
    plain = [re.sub(r"[`*]|\[|\]\([^)]*\)", "", heading) for heading in headings]
    return {re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-") for heading in plain}


def documents(root):
    # Of a tree without git's records: all that is not built.
    names = subprocess.run(
        ["git", "-C", root, "ls-files", "-co", "--exclude-standard", "*.md"],
        capture_output=True, text=True,
    ).stdout.split()  # fmt: skip
    found = [root / name for name in names]
    found = found or [path for path in root.rglob("*.md") if root / "build" not in path.parents]
    return [path for path in found if path.exists()]


def links(root, document):
    """What it leads to: the file, the heading in it or "", and the words that say so."""
    text = CODE.sub("", document.read_text())
    for link in LINK.findall(text):
        if not re.match(r"[a-z]+:", link):
            name, _, anchor = link.partition("#")
            yield (document.parent / name if name else document), anchor, link
    for name in NAMED.findall(text):
        base = document.parent if name.startswith("../") else root
        if (base / name.split("/")[0]).exists() and not name.startswith("build/"):
            yield base / name, "", name


def complaints(root):
    linked = {root / "README.md"}
    for document in documents(root):
        for target, anchor, link in links(root, document):
            target = target.resolve()
            if target != document:
                linked.add(target)
            if not target.exists():
                yield f"{document.relative_to(root)}: no file {link}"
            elif anchor and anchor not in anchors(target.read_text()):
                yield f"{document.relative_to(root)}: no heading {link}"
    for document in documents(root):
        if document not in linked and document.parent == root / "docs":
            yield f"{document.relative_to(root)}: no document leads here"


def main():
    root = pathlib.Path(sys.argv[1]).resolve()
    found = list(complaints(root))
    print("\n".join(found))
    return 1 if found or not documents(root) else 0


if __name__ == "__main__":
    sys.exit(main())
