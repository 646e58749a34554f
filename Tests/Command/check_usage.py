#!/usr/bin/python3
"""Asks every subcommand, by its own help, for what it has to refuse.

Usage: check_usage.py [--every N] COMMAND...

Each option without its value, with an empty one and, if it is a flag, with one; an option and a word
that do not exist: all are wrong usage, which ends with 2, one object under --json, and else with words
and a pointer to the help. What the parser's library says of itself is not among the words. With --every,
where a start takes long, only each Nth line is asked, and each subcommand's first.
"""

import argparse
import concurrent.futures
import json
import subprocess
import sys

# Not even a line that is to be refused comes near a restart of the machine.
LEFT_OUT = [["reboot"]]

# Their value is checked when the event is in the log.
CHECKED_LATER = [["alert"]]

MAY_BE_EMPTY = {"--subject"}

GLOBALS_OF = ["status"]

RAW_WORDS = ("required but", "Could not", "not in {", "not convert", "disallowed", "1 required",
             "At Most", "arguments were not expected", "following argument")

LEAST_LINES = 200


def run(command, words):
    return subprocess.run([*command, *words], stdin=subprocess.DEVNULL, capture_output=True,
                          timeout=120, check=False)


def help_of(command, words):
    return json.loads(run(command, ["--json", "help", *words]).stdout)


def pages(command):
    queue = [[]]
    while queue:
        words = queue.pop()
        page = help_of(command, words)
        queue += [[*words, row["name"]] for row in page["subcommands"]]
        if not page["subcommands"] and words not in LEFT_OUT:
            yield words, page


def lines_of(words, page):
    """Lines that the subcommand has to refuse."""
    yield [*words, "--no-such-option"]
    # The last argument may stand several times, or the words are another program's.
    if not page["usage"].endswith("..."):
        yield [*words, *["word"] * (len(page["arguments"]) + 1)]
    # The global options are the same everywhere.
    for row in page["options"] + (page["globalOptions"] if words == GLOBALS_OF else []):
        label = row["name"].split()
        name = next(part.rstrip(",") for part in label if part.startswith("--"))
        takes_value = not label[-1].startswith("-")
        if name == "--help":
            continue
        if not takes_value:
            yield [*words, f"{name}=x"]
            yield [*words, f"{name}="]
        elif words not in CHECKED_LATER:
            yield [*words, name]
            if name not in MAY_BE_EMPTY:
                yield [*words, name, ""]
                yield [*words, f"{name}="]


def complaints_about(command, line):
    text = run(command, line)
    if text.returncode != 2:
        yield f"exit status {text.returncode}: {text.stderr}"
        return
    words = text.stderr.decode().replace("\r\n", "\n")
    if text.stdout or not words.startswith("ondrel: ") or "--help' for its usage.\n" not in words:
        yield f"said {text.stdout} and {words}"
    yield from (f"says {words}" for raw in RAW_WORDS if raw in words)
    answer = run(command, ["--json", *line])
    try:
        value = json.loads(answer.stdout)
        error = value["error"]
        if (answer.returncode, value["exitStatus"], error["kind"], error["number"],
                error["name"]) != (2, 2, "usage", 2, "WRONG_USAGE") or not error["text"]:
            yield f"answered {value}"
    except (ValueError, KeyError):
        yield f"answered {answer.stdout} and {answer.stderr}, exit status {answer.returncode}"


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--every", type=int, default=1)
    parser.add_argument("command", nargs=argparse.REMAINDER)
    arguments = parser.parse_args()
    command = arguments.command
    known = [(line, place == 0) for words, page in pages(command)
             for place, line in enumerate(lines_of(words, page))]
    lines = [line for place, (line, is_first) in enumerate(known)
             if is_first or place % arguments.every == 0]
    wrong = 0
    with concurrent.futures.ThreadPoolExecutor(2) as pool:
        for line, complaints in zip(lines, pool.map(
                lambda line: list(complaints_about(command, line)), lines)):
            for complaint in complaints:
                wrong += 1
                print(f"FAILED {line}: {complaint}")
    print(f"{len(lines)} of {len(known)} lines, {wrong} wrong")
    return 1 if wrong or len(known) < LEAST_LINES else 0


sys.exit(main())
