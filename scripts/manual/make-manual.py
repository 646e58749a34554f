#!/usr/bin/python3
"""Writes the command's manual pages and completions from its own help.

Usage: scripts/manual/make-manual.py COMMAND FOLDER VERSION

COMMAND is the built command. FOLDER gets man1/ondrel.1 and one page for each subcommand
(man1/ondrel-log-report.1), and completions/ondrel (bash), _ondrel (zsh) and ondrel.fish. Nothing but
the help's own words stands in them.
"""

import pathlib
import re
import sys

import completions
from help_pages import ask, page_name, pages_of
from roff import roff

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent


def heading(title):
    return f'.SH "{title.upper()}"'


def rows(title, items):
    lines = [heading(title)] if items else []
    for item in items:
        lines += [".TP", f"\\fB{roff(item['name'])}\\fR", roff(item["text"])]
    return lines


def notes(text):
    """A line is a paragraph; lines that begin with a space stay as they are."""
    lines, is_fixed = [heading("Notes")] if text.strip() else [], False
    for paragraph in text.splitlines():
        if paragraph.startswith(" ") != is_fixed:
            is_fixed = not is_fixed
            lines += [".PP", ".nf"] if is_fixed else [".fi"]
        if paragraph:
            lines += [roff(paragraph)] if is_fixed else [".PP", roff(paragraph)]
    return lines + ([".fi"] if is_fixed else [])


def related(title, names):
    """A page's group and members; a page without either belongs to the command's own."""
    return [other for other in names
            if other.startswith(title + "-") or title.startswith(other + "-")]


def manual_page(page, names, version):
    title = page_name(page)
    summary = page["summary"].rstrip(".")
    usage = page["usage"][len(page["command"]):].strip()
    lines = [
        f'.TH "{title.upper()}" "1" "" "ondrel {version}" "User Commands"',
        ".nh",
        heading("Name"),
        f"{roff(title)} \\- {roff(summary[0].lower() + summary[1:])}",
        heading("Synopsis"),
        f"\\fB{roff(page['command'])}\\fR {roff(usage)}",
        *rows("Arguments", page["arguments"]),
        *rows("Subcommands", page["subcommands"]),
        *rows("Options", page["options"]),
        *rows("Options of every subcommand", page["globalOptions"]),
        *notes(page["notes"]),
        heading("See also"),
        ",\n".join(f"\\fB{roff(other)}\\fR(1)" for other in related(title, names)),
    ]
    return "\n".join(lines) + "\n"


def status_names(command):
    """The names of the statuses that the status tables know."""
    header = (ROOT / "Include/Ondrel/StatusTransition.h").read_text()
    numbers = [int(number) for number in re.findall(r"kStatus\w+ = (\d+)", header)]
    names = {row["code"]: row["name"] for row in ask(command, "codes", "value", "--json")["codes"]}
    return [names[number] for number in numbers]


def main():
    command, folder, version = sys.argv[1], pathlib.Path(sys.argv[2]), sys.argv[3]
    pages = pages_of(command)
    names = [page_name(page) for page in pages]
    manual, completion = folder / "man1", folder / "completions"
    for place in manual, completion:
        place.mkdir(parents=True, exist_ok=True)
        for old in place.iterdir():
            old.unlink()
    for page in pages:
        (manual / f"{page_name(page)}.1").write_text(manual_page(page, names, version))
    statuses = status_names(command)
    (completion / "ondrel").write_text(completions.bash(pages, statuses))
    (completion / "_ondrel").write_text(completions.zsh(pages, statuses))
    (completion / "ondrel.fish").write_text(completions.fish(pages, statuses))


if __name__ == "__main__":
    main()
