#!/usr/bin/env python3
"""Holds the guide's entries against what they describe: each thing has one entry, each entry tells of one thing.

    check_entries.py log-lines CATALOGUE PAGE
    check_entries.py status-codes HEADER PAGE
    check_entries.py view-statuses HEADER PAGE
"""
import re
import sys
from pathlib import Path

LEVELS = ("trace", "info", "notice", "warning", "error")
ENTRY = re.compile(r"^### (.+?) \{#(\w+)\}\n(.*?)(?=^##|\Z)", re.MULTILINE | re.DOTALL)


def parts_missing(title, body, parts):
    """Complaints about the parts of an entry that are not there, or have no words."""
    for part in parts:
        if not re.search(rf"^\*\*{part}:\*\*\s+[\w`|\[/*]", body, re.MULTILINE):
            yield f"{title}: it does not say: {part}"


def differences(wanted, found, page):
    """Both are lists: something may be there twice."""
    for thing in sorted(set(wanted) | set(found)):
        if wanted.count(thing) > found.count(thing):
            yield f"{page} has no entry for: {thing}"
        elif found.count(thing) > wanted.count(thing):
            yield f"{page} has an entry too many: {thing}"


def catalogue_lines(path):
    for line in path.read_text(encoding="utf-8").splitlines():
        if re.match(r"[0-4]\t", line):
            level, function, number, text = line.split("\t")
            text = text.removeprefix("[%s@%d]%s ").removeprefix("[%s@%d]").replace(r"\r\n", "").rstrip()
            yield f"{function}@{number} {level} {text}"


def log_lines(catalogue, page):
    found = []
    for title, anchor, body in ENTRY.findall(page.read_text(encoding="utf-8")):
        place = title.split()[0]
        shown = re.match(r"\n    ([0-4]) (\w+) +(\S.*)\n", body)
        if not shown:
            yield f"{title}: no line is shown"
            continue
        level, word, text = shown.groups()
        if word != LEVELS[int(level)]:
            yield f"{title}: level {level} is not {word}"
        if not anchor.startswith("log_" + place.replace("@", "_")):
            yield f"{title}: its place in the page is called {anchor}"
        yield from parts_missing(title, body, ("What happened", "What to do"))
        found.append(f"{place} {level} {text}")
    yield from differences(list(catalogue_lines(catalogue)), found, page)


def status_codes(header, page):
    defined = re.findall(r"^#define (ZTK_SUCCESS|ERR_\w+) UINT32_C\((\w+)\)$", header.read_text(), re.MULTILINE)
    found = []
    for title, anchor, body in ENTRY.findall(page.read_text(encoding="utf-8")):
        value = re.match(r"\n    (\w+)\n", body)
        found.append(f"{title} {value[1] if value else '(no value)'}")
        if anchor != f"status_{title}":
            yield f"{title}: its place in the page is called {anchor}"
        yield from parts_missing(title, body, ("What it means", "Which calls", "What to do"))
    yield from differences([f"{name} {value}" for name, value in defined], found, page)


def view_statuses(header, page):
    text = header.read_text(encoding="utf-8")
    names = re.findall(r"^    (ZTK_VIEW_\w+)(?: = 0)?,?\s*(?:/\*\*.*)?$", text, re.MULTILINE)
    texts = dict(re.findall(r'case (ZTK_VIEW_\w+):\n\s+return "(.*)";', text))
    rows = re.findall(r"^\| `(ZTK_VIEW_\w+)` \| (.+?) \| \S.* \|$", page.read_text(encoding="utf-8"), re.MULTILINE)
    yield from differences([f"{name}: {texts.get(name)}" for name in names], [": ".join(row) for row in rows], page)
    if [name for name, _ in rows] != names:
        yield f"{page}: not in the order of the checks"


CHECKS = {"log-lines": log_lines, "status-codes": status_codes, "view-statuses": view_statuses}


def main(what, source, page):
    complaints = list(CHECKS[what](Path(source), Path(page)))
    for complaint in complaints:
        print(complaint, file=sys.stderr)
    return 1 if complaints else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
