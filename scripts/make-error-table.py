#!/usr/bin/python3
"""Puts number, constant, text and cause of every error that the library raises into the table of
Docs/errors.md; the remedies stand there.

Usage: scripts/make-error-table.py COMMAND [--check]

COMMAND is the built command, which gives an error's text from the library's catalogue; numbers,
constants and causes are those of Include/Ondrel/ModuleError.h. With --check nothing is written: the
page has to be what would be.
"""

import json
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
HEADER = ROOT / "Include/Ondrel/ModuleError.h"
PAGE = ROOT / "Docs/errors.md"
BLOCK = re.compile(r"(?<=<!-- table of errors -->\n)(?:\|[^\n]*\n)*")
HEAD = "| Number | Constant | Text | Cause | Remedy |\n|---|---|---|---|---|\n"


def text_of(command, number):
    answer = subprocess.run([command, "--json", "code", "error", f"0x{number:08X}"], check=True,
                            stdout=subprocess.PIPE, text=True).stdout
    return json.loads(answer)["codes"][0]["text"]


def main(command, *rest):
    page = PAGE.read_text()
    block = BLOCK.search(page)[0]
    remedies = {row.split("|")[1].strip(): row.split("|")[5].strip()
                for row in block.splitlines() if row.startswith("| 0x")}
    rows = re.findall(r"(k\w+) = 0x([0-9A-F]{8}), +///< (.*)\n", HEADER.read_text())
    numbers = {f"0x{number}" for _, number, _ in rows}
    if len(rows) != HEADER.read_text().count("= 0x2005") or set(remedies) != numbers:
        sys.exit(f"rows without an error or errors without a row: {set(remedies) ^ numbers}")
    if not all(remedies.values()):
        sys.exit(f"errors without a remedy: {[n for n, text in remedies.items() if not text]}")
    table = HEAD + "".join(
        f"| 0x{number} | `{name}` | {text_of(command, int(number, 16))} | {cause}"
        f" | {remedies['0x' + number]} |\n" for name, number, cause in rows)
    if rest != ("--check",):
        PAGE.write_text(page.replace(block, table))
    elif block != table:
        sys.exit(f"{PAGE} is not what scripts/make-error-table.py makes")
    print(f"{len(rows)} errors")


main(*sys.argv[1:])
