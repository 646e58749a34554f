#!/usr/bin/python3
"""Holds the manual pages against the command's help: a page for the command and for every subcommand,
without a warning of the formatter, that shows every word of the help.

Usage: check_pages.py COMMAND FOLDER
"""

import json
import pathlib
import subprocess
import sys

from formatted import formatted, squeezed

LEAST_PAGES = 41


def help_pages(command):
    waiting = [[]]
    while waiting:
        names = waiting.pop()
        page = json.loads(subprocess.run([command, "help", "--json", *names], check=True,
                                         stdout=subprocess.PIPE, text=True).stdout)
        yield page
        waiting += [names + [row["name"]] for row in page["subcommands"]]


def words_of(page):
    for group in ("arguments", "subcommands", "options", "globalOptions"):
        for row in page[group]:
            yield row["name"]
            yield row["text"]
    yield page["usage"]
    yield page["summary"][1:].rstrip(".")
    yield from page["notes"].splitlines()


def main(command, folder):
    manual = pathlib.Path(folder) / "man1"
    expected = set()
    for page in help_pages(command):
        file = manual / (page["command"].replace(" ", "-") + ".1")
        expected.add(file)
        shown = formatted(file)
        for words in words_of(page):
            if squeezed(words) not in shown:
                sys.exit(f"{file} does not show: {words}")
    found = set(manual.iterdir())
    if found != expected or len(found) < LEAST_PAGES:
        sys.exit(f"{len(expected)} pages expected, {len(found)} found: {found ^ expected}")
    print(f"{len(found)} pages")


main(*sys.argv[1:])
