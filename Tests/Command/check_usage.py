#!/usr/bin/python3
"""Asks every subcommand, by its own help, for what it has to refuse.

Usage: check_usage.py --host linux|wine -- COMMAND...

Each option without its value, with an empty one and, if it is a flag, with one; an option and a word
that do not exist: all are wrong usage, which ends with 2, one object under --json, and else with words
and a pointer to the help. What the parser's library says of itself is not among the words.

Of some ten thousand starts under Wine on a busy machine two ended before the program's first line, with 1
and without a word of either. There such a line is asked once more; each is shown, and the third of a run
counts as wrong like any on Linux.
"""

import argparse
import concurrent.futures
import json
import subprocess
import sys
import threading

# Not even a line that is to be refused comes near a restart of the machine.
LEFT_OUT = [["reboot"]]

# Their value is checked when the event is in the log.
CHECKED_LATER = [["alert"]]

MAY_BE_EMPTY = {"--subject"}

GLOBALS_OF = ["status"]

RAW_WORDS = ("required but", "Could not", "not in {", "not convert", "disallowed", "1 required",
             "At Most", "arguments were not expected", "following argument")

LEAST_LINES = 200

MOST_ENDS_WITHOUT_A_WORD = {"linux": 0, "wine": 2}


class Command:
    """The command on its host; several threads may run it."""

    def __init__(self, words, host):
        self._words = words
        self._lock = threading.Lock()
        self._repeats_left = MOST_ENDS_WITHOUT_A_WORD[host]

    def run(self, words):
        result = self._start(words)
        if result.stdout or result.stderr or not self._may_repeat():
            return result
        print(f"{words}: ended with {result.returncode} and no word; asked once more", flush=True)
        return self._start(words)

    def help_of(self, words):
        return json.loads(self.run(["--json", "help", *words]).stdout)

    def _start(self, words):
        return subprocess.run([*self._words, *words], stdin=subprocess.DEVNULL, capture_output=True,
                              timeout=120, check=False)

    def _may_repeat(self):
        with self._lock:
            self._repeats_left -= 1
            return self._repeats_left >= 0


def pages(command):
    queue = [[]]
    while queue:
        words = queue.pop()
        page = command.help_of(words)
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
    text = command.run(line)
    if text.returncode != 2:
        yield f"exit status {text.returncode}: {text.stderr}"
        return
    words = text.stderr.decode().replace("\r\n", "\n")
    if text.stdout or not words.startswith("ondrel: ") or "--help' for its usage.\n" not in words:
        yield f"said {text.stdout} and {words}"
    yield from (f"says {words}" for raw in RAW_WORDS if raw in words)
    answer = command.run(["--json", *line])
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
    parser.add_argument("--host", choices=MOST_ENDS_WITHOUT_A_WORD, required=True)
    parser.add_argument("command", nargs="+")
    options = parser.parse_args()
    command = Command(options.command, options.host)

    lines = [line for words, page in pages(command) for line in lines_of(words, page)]
    wrong = 0
    with concurrent.futures.ThreadPoolExecutor(2) as pool:
        for line, complaints in zip(lines, pool.map(
                lambda line: list(complaints_about(command, line)), lines)):
            for complaint in complaints:
                wrong += 1
                print(f"FAILED {line}: {complaint}")
    print(f"{len(lines)} lines, {wrong} wrong")
    return 1 if wrong or len(lines) < LEAST_LINES else 0


sys.exit(main())
