"""The command's own help, as what is made from it takes it: one page for the command, for each group
of subcommands and for each subcommand; and what the words of a line can be."""

import json
import re
import subprocess


def ask(command, *words):
    answer = subprocess.run([command, *words], check=True, capture_output=True, text=True)
    return json.loads(answer.stdout)


def pages_of(command):
    """The help of the command and of every subcommand below it, groups before their members."""
    pages, waiting = [], [[]]
    while waiting:
        names = waiting.pop(0)
        page = ask(command, "help", "--json", *names)
        pages.append(page)
        waiting += [names + [row["name"]] for row in page["subcommands"]]
    return pages


def page_name(page):
    return page["command"].replace(" ", "-")


def words_of(value):
    """The words of "smtp|smtps" and "error,entry,detail"; none of "FILE", which is a kind."""
    words = re.split(r"[|,]", value)
    return words if len(words) > 1 and all(re.fullmatch(r"[a-z0-9-]+", w) for w in words) else []


# Kinds of values that a shell has to ask for, by the word that stands for the value in the help.
LEVELS = ["error", "warning", "information"]
KINDS = [
    # word, start of the text, kind
    (r"SUBCOMMAND", "", "path"),
    (r"OLD|NEW", "Status", "statuses"),
    (r"LOG", "", "logs"),
    (r"DISK", "", "disks"),
    (r"DEVICE", "Path", "devices"),
    (r"EVENT", "Event code", "numbers"),
    (r"TEXT", "Event code or name", "events"),
    (r"CODE\|NAME", "", "names"),
    (r"FILE|PATH", "", "files"),
]


def kind_of(word, text):
    """A list of words, or the name of the kind of a value; "any" when nothing is known of it."""
    if words_of(word):
        return words_of(word)
    if text.startswith("error, warning, information"):
        return LEVELS
    for pattern, start, kind in KINDS:
        if re.fullmatch(pattern, word) and text.startswith(start):
            return kind
    return "any"


def argument_kinds(page):
    """What stands at each place of a line; of the last one also at every later place when it may be
    repeated. A program's own line is the program's."""
    if page["usage"].endswith("PROGRAM [ARGUMENT]..."):
        return ["programs", "files"]
    kinds = []
    for row in page["arguments"]:
        # "pd|ld: ..." says more of the value than the argument's name.
        label = re.match(r"([^ ]+): (.*)", row["text"])
        kind, text = label.groups() if label else ("", row["text"])
        kinds.append(kind_of(kind if words_of(kind) else row["name"], text))
    return kinds


def options_of(rows):
    """(names, kind of the value or None, text) of each option in rows."""
    options = []
    for row in rows:
        parts = row["name"].split(", ") if row["name"].startswith("-") else [row["name"]]
        last, _, value = parts[-1].partition(" ")
        options.append((parts[:-1] + [last], kind_of(value, row["text"]) if value else None,
                        row["text"]))
    return options
