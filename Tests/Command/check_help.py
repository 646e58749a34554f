#!/usr/bin/python3
"""Reads all of the command's help: of itself, of its groups and of every subcommand.

Usage: check_help.py [--expected FILE [--write]] COMMAND...

No line may be wider than 80 columns or end early, and 'help X', 'X --help' and 'X -h' have to show the same.
FILE has all pages to the letter; --write puts those of this command there.
"""

import argparse
import difflib
import pathlib
import subprocess
import sys

WIDEST = 80
LEAST_PAGES = 25


def help_of(command, words):
    texts = set()
    for line in (["help", *words], [*words, "--help"], [*words, "-h"]):
        result = subprocess.run([*command, *line], stdout=subprocess.PIPE, text=True, timeout=60,
                                check=True)
        texts.add(result.stdout)
    if len(texts) != 1:
        sys.exit(f"help of {words} differs with the way to it")
    return texts.pop()


def members_of(text):
    if "\nSubcommands:\n" not in text:
        return []
    rows = text.split("\nSubcommands:\n")[1].split("\n\n")[0].splitlines()
    return [row.split()[0] for row in rows if row.startswith("  ") and row[2] != " "]


def wrapped_twice(text):
    """Lines after which the next one's first word would have had room: the text was cut twice."""
    lines = text.splitlines()
    return [line for line, following in zip(lines, lines[1:])
            if line and following and line[-1] not in ".:;" and following[0].islower()
            and not line.startswith(" ") and len(line) + 1 + len(following.split()[0]) <= WIDEST]


def compare(expected, pages):
    difference = list(difflib.unified_diff(expected.read_text().splitlines(), pages.splitlines(),
                                           str(expected), "the command", lineterm=""))
    if difference:
        print(*difference, sep="\n")
        sys.exit(f"the help has changed; when it should: {sys.argv[0]} --expected {expected} --write COMMAND")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--expected", type=pathlib.Path)
    parser.add_argument("--write", action="store_true")
    parser.add_argument("command", nargs=argparse.REMAINDER)
    arguments = parser.parse_args()
    pages, queue, whole = 0, [[]], []
    while queue:
        words = queue.pop()
        text = help_of(arguments.command, words)
        whole.append(f"== {' '.join(['ondrel', *words])}\n{text}")
        pages += 1
        wide = [line for line in text.splitlines() if len(line) > WIDEST]
        if wide or "Usage: ondrel" not in text:
            sys.exit(f"help of {words} is too wide or has no usage: {wide}")
        if wrapped_twice(text):
            sys.exit(f"help of {words} is wrapped twice: {wrapped_twice(text)}")
        queue += [[*words, name] for name in members_of(text)]
    print(f"{pages} pages")
    if pages < LEAST_PAGES:
        sys.exit("too few pages")
    if arguments.write:
        arguments.expected.write_text("".join(sorted(whole)))
    elif arguments.expected:
        compare(arguments.expected, "".join(sorted(whole)))


main()
