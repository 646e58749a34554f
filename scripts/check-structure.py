#!/usr/bin/python3
"""Holds the tree against Docs/architecture.md: its table of folders, its picture, and the rule that
the rooms of Src/Host/Linux ignore each other; and the headers against each other: a type is defined
in one of them. Reports what differs, and ends with 1 then.

Usage: scripts/check-structure.py [--draw]
--draw draws Docs/architecture.svg from Docs/architecture.dot first.
"""

import hashlib
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
PAGE = ROOT / "Docs/architecture.md"
TEXT = ROOT / "Docs/architecture.dot"
PICTURE = ROOT / "Docs/architecture.svg"

# Folders that the table and the picture show, and how many levels of those in them.
ALL = 99
SHOWN = {
    "Src": ALL, "Tool": ALL, "Include": 1, "Tests": 1, "Pirsk": 0, "Bench": 0, "Fuzz": 0,
    "Examples": 0, "scripts": 0, "cmake": 0, "Docs": 0,
}
# Folders that hold nothing but folders.
GROUPS = {"Include", "Tests"}

ROOMS = "Src/Host/Linux"
MAY_USE = {("EventLog", "Messages")}


def tracked_files():
    # Files that are not committed yet count too.
    listed = subprocess.run(
        ["git", "ls-files", "--cached", "--others", "--exclude-standard"],
        cwd=ROOT, check=True, capture_output=True, text=True).stdout
    return [name for name in listed.splitlines() if (ROOT / name).exists()]


def folders(files):
    found = set()
    for name in files:
        parts = pathlib.PurePosixPath(name).parent.parts
        if parts and parts[0] in SHOWN:
            found.update("/".join(parts[:count])
                         for count in range(1, min(len(parts), SHOWN[parts[0]] + 1) + 1))
    return sorted(found - GROUPS)


def table_names():
    section = PAGE.read_text().split("## Where things are", 1)[1].split("\n## ", 1)[0]
    names = []
    for line in section.splitlines():
        if line.startswith("| `"):
            names += re.findall(r"`([^`]+)`", line.split("|")[1])
    return names


def table_faults(shown):
    names = table_names()
    for folder in shown:
        if folder not in names:
            yield f"Docs/architecture.md: the table lacks the folder {folder}"
    for name in names:
        if not list(ROOT.glob(name)):
            yield f"Docs/architecture.md: the table has {name}, which is not there"
        if names.count(name) > 1:
            yield f"Docs/architecture.md: the table has {name} more than once"


def digest():
    return "Drawn from architecture.dot, SHA-256 " + hashlib.sha256(TEXT.read_bytes()).hexdigest()


def draw():
    drawn = subprocess.run(["dot", "-Tsvg", str(TEXT)], check=True, capture_output=True, text=True)
    PICTURE.write_text(drawn.stdout.rstrip() + f"\n<!-- {digest()} -->\n")


def picture_faults(shown):
    text = TEXT.read_text()
    for folder in shown:
        if f'"{folder}"' not in text:
            yield f"Docs/architecture.dot: the picture lacks the folder {folder}"
    for folder in re.findall(r'^\s*"([^"]+)" \[', text, re.MULTILINE):
        if not (ROOT / folder).is_dir():
            yield f"Docs/architecture.dot: the picture has {folder}, which is not a folder"
    if not PICTURE.exists() or digest() not in PICTURE.read_text():
        yield "Docs/architecture.svg is not drawn from this architecture.dot: run scripts/check-structure.py --draw"


def room_faults(files):
    for name in files:
        match = re.fullmatch(rf"{ROOMS}/(\w+)/.*\.(?:cpp|h)", name)
        if not match:
            continue
        included = re.findall(r'#include "Host/Linux/(\w+)/', (ROOT / name).read_text())
        for other in included:
            if other != match[1] and (match[1], other) not in MAY_USE:
                yield f"{name}: the room {match[1]} uses the room {other}"


def type_faults(files):
    # The linker merges two types of one name without a word.
    places = {}
    for name in files:
        if not re.fullmatch(r"(Include|Src|Pirsk|Tool)/.*\.h", name):
            continue
        space = ""
        for line in (ROOT / name).read_text().splitlines():
            opened = re.match(r"namespace ([\w:]+) \{", line)
            defined = re.match(r"(?:struct|class|union|enum class|enum) (?:[A-Z]+_API )?([\w:]+)[^;<]*\{", line)
            if opened:
                space = opened[1]
            elif defined:
                places.setdefault(f"{space}::{defined[1]}", []).append(name)
    for type_name, headers in places.items():
        # A class that each host has its own of stands in files of one name.
        if len({pathlib.PurePosixPath(header).name for header in headers}) > 1:
            yield f"{type_name} is defined in {' and '.join(headers)}"


def main():
    if sys.argv[1:] == ["--draw"]:
        draw()
    elif sys.argv[1:]:
        print(__doc__, file=sys.stderr)
        return 2
    files = tracked_files()
    shown = folders(files)
    faults = [*table_faults(shown), *picture_faults(shown), *room_faults(files), *type_faults(files)]
    for fault in faults:
        print(fault, file=sys.stderr)
    return 1 if faults else 0


sys.exit(main())
