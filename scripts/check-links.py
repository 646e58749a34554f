#!/usr/bin/python3
"""Follows the relative links of Markdown pages, and ends with 1 where one leads to nothing.

Usage: scripts/check-links.py PAGE|FOLDER...      (of a FOLDER, all pages below it)

A link that leads out of the FOLDER it was found in leads to nothing.
"""

import pathlib
import re
import sys

LINK = re.compile(r"\[[^][]*\]\(([^()\s]+)\)")


def without_blocks(page):
    return re.sub(r"^```.*?^```$", "", page.read_text(), flags=re.MULTILINE | re.DOTALL)


def anchors(page):
    """The places that a page's headings are found by."""
    return {re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-")
            for heading in re.findall(r"^#+ (.*)$", without_blocks(page), re.MULTILINE)}


def faults_of(page, top):
    for link in LINK.findall(re.sub(r"`[^`\n]+`", "", without_blocks(page))):
        if re.match(r"[a-z]+:", link):
            continue
        path, _, anchor = link.partition("#")
        found = (page.parent / path).resolve() if path else page
        if not found.exists() or (top and not found.is_relative_to(top)):
            yield f"{page}: {link} leads to nothing"
        elif anchor and anchor not in anchors(found):
            yield f"{page}: {link} leads to no heading"


def main(places):
    count, faults = 0, []
    for place in map(pathlib.Path, places):
        top = place.resolve() if place.is_dir() else None
        for page in sorted(top.rglob("*.md")) if top else [place]:
            count += 1
            faults += faults_of(page, top)
    if not count:
        faults.append("no pages were found")
    print("\n".join(faults) or f"{count} pages")
    return 1 if faults else 0


sys.exit(main(sys.argv[1:]))
