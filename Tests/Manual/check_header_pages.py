#!/usr/bin/python3
"""Holds the manual pages of the public headers against the headers: a page for each, without a warning
of the formatter, that shows every comment of what is public, and a link for each exported name.

Usage: check_header_pages.py INCLUDE FOLDER LIST...

A LIST holds the exported names of a library.
"""

import pathlib
import re
import sys

from formatted import formatted, squeezed

# They have no page: all others are built on them.
WITHOUT_PAGE = {"Ondrel/Export.h", "Pirsk/Export.h"}
LEAST_COMMENTS = 700


def public_lines(text):
    """The lines of a header without what is private or nobody's to use."""
    depth, hidden = None, False
    for line in text.splitlines():
        opened = re.match(r"( *)(private|protected|public):", line)
        if re.match(r"namespace .*Detail \{", line):
            hidden = True
        elif hidden and line.startswith("}"):
            hidden = False
        elif opened and opened[2] != "public":
            depth = len(opened[1])
        elif opened or (depth is not None and re.match(rf" {{0,{depth}}}\}}", line)):
            depth = None
        if not hidden and depth is None:
            yield line


def paragraphs(text):
    """The paragraphs of the comments that explain what is public, without marks."""
    current, kind = [], ""
    for line in [*public_lines(text), ""]:
        match = re.match(r"(.*?)(///<?) ?(.*)", line)
        words = match[3].strip() if match else ""
        item = re.match(r"(-|\d+\.) ", words)
        # A comment goes on in lines that have nothing but a comment of its kind.
        if current and (not words or item or match[1].strip() or match[2] != kind):
            yield " ".join(current)
            current = []
        if words:
            current.append(words[item.end():] if item else words)
            kind = match[2]


def functions_of(list_file):
    """Exported functions that belong to no class, and classes, by their full names."""
    for line in pathlib.Path(list_file).read_text().splitlines():
        match = re.fullmatch(r"(?:vtable for )?((?:\w+::)+\w+)(?:\[abi:cxx11\])?(\(.*)?", line)
        if match and "::Detail::" not in match[1]:
            yield match[1]


def main(include, folder, *lists):
    include, folder = pathlib.Path(include), pathlib.Path(folder)
    faults, count, named = [], 0, set()
    for file in sorted(include.glob("*/*.h")):
        header = str(file.relative_to(include))
        page = folder / (header.replace("/", "_") + ".3")
        if header in WITHOUT_PAGE:
            continue
        if not page.is_file():
            faults.append(f"{header} has no page")
            continue
        source = page.read_text()
        said = re.search(r'^\.SH "NAME"\n[^\n]+ \\- ([^\n]{4,})\n\.SH', source, re.MULTILINE)
        # Lines of other pages stand around it: a few words, without a capital but that of an abbreviation.
        if not said or re.match(r"[A-Z][a-z]", said[1]) or len(said[1]) > 80 or said[1].endswith("."):
            faults.append(f"{page}: no line that says what it is: {said and said[1]}")
        if not re.search(r'^\.TH "[^"]+" "3" "\d{4}-\d\d-\d\d" ', source, re.MULTILINE):
            faults.append(f"{page}: no date")
        shown = formatted(page)
        for words in paragraphs(file.read_text()):
            count += 1
            if squeezed(words.replace("`", "")) not in shown:
                faults.append(f"{page} does not show: {words}")
    classes = {link.name[:-2] for link in folder.iterdir() if link.is_symlink() and link.is_file()}
    for list_file in lists:
        for name in functions_of(list_file):
            if name not in classes and name.rpartition("::")[0] not in classes:
                named.add(name)
    faults += [f"no page is found by the name {name}" for name in sorted(named)]
    if count < LEAST_COMMENTS:
        faults.append(f"only {count} comments were found in {include}")
    print("\n".join(faults) or f"{count} comments, {len(classes)} names")
    return 1 if faults else 0


sys.exit(main(*sys.argv[1:]))
