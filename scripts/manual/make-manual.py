#!/usr/bin/python3
"""Writes the command's manual pages and completions from its own help.

Usage: scripts/manual/make-manual.py COMMAND FOLDER VERSION PREFIX

COMMAND is the built command, PREFIX the folder that all is installed below. FOLDER gets man1/ondrel.1
and one page for each subcommand (man1/ondrel-log-report.1), man5/watch.conf.5, and completions/ondrel
(bash), _ondrel (zsh) and ondrel.fish. Nothing stands in them but the help's own words and, of files and
settings, those of the documents.
"""

import pathlib
import re
import sys

import completions
from documents import ROOT, date_of
from help_pages import ask, page_name, pages_of
from roff import roff
from settings_page import files, settings_page

# Pages with a table of files in a document, and what they refer to besides their own kind.
FILES_OF = {"ondrel": "Docs/command.md", "ondrel-watch": "Docs/watch.md"}
SEE_ALSO = {"ondrel": ["watch.conf(5)"], "ondrel-watch": ["watch.conf(5)", "systemctl(1)"]}
EXIT_STATUS = re.compile(r"^Exit status: (.*)$", re.MULTILINE)


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


def exit_status(page):
    """What the help says of it, a status each, and what holds for every subcommand."""
    said = EXIT_STATUS.search(page["notes"])
    lines = [heading("Exit status")]
    if said:
        for item in re.split(r"[,;] (?=\d+ |else the sum of \d)", said[1].rstrip(".")):
            if item.startswith("else "):
                lines += [".PP", "Else the sum of"]
            numbered = re.search(r"^(?:else the sum of )?(\d+) (.*)", item)
            lines += [".TP", f"\\fB{numbered[1]}\\fR", roff(numbered[2])] if numbered else [roff(item)]
    if page["command"] != "ondrel":
        lines += [".PP", "\\fBondrel\\fR(1) has those of every subcommand." if said else
                  "As of every subcommand: \\fBondrel\\fR(1)."]
    return lines


def related(title, names):
    """A page's group and members; a page without either belongs to the command's own."""
    return [f"{other}(1)" for other in names
            if other.startswith(title + "-") or title.startswith(other + "-")] + SEE_ALSO.get(title, [])


def reference(name):
    """The name of a page in bold, its part of the manual plain."""
    title, _, part = name.partition("(")
    return f"\\fB{roff(title)}\\fR({part}"


def manual_page(page, names, version, prefix):
    title = page_name(page)
    summary = page["summary"].rstrip(".")
    usage = page["usage"][len(page["command"]):].strip()
    lines = [
        f'.TH "{title.upper()}" "1" "{date_of(version)}" "ondrel {version}" "User Commands"',
        ".nh",
        heading("Name"),
        f"{roff(title)} \\- {roff(summary[0].lower() + summary[1:])}",
        heading("Synopsis"),
        f"\\fB{roff(page['command'])}\\fR {roff(usage)}",
        *rows("Arguments", page["arguments"]),
        *rows("Subcommands", page["subcommands"]),
        *rows("Options", page["options"]),
        *rows("Options of every subcommand", page["globalOptions"]),
        *notes(EXIT_STATUS.sub("", page["notes"])),
        *(files(FILES_OF[title], prefix) if title in FILES_OF else []),
        *exit_status(page),
        heading("See also"),
        ",\n".join(map(reference, related(title, names))),
    ]
    return "\n".join(lines) + "\n"


def status_names(command):
    """The names of the statuses that the status tables know."""
    header = (ROOT / "Include/Ondrel/StatusTransition.h").read_text()
    numbers = [int(number) for number in re.findall(r"kStatus\w+ = (\d+)", header)]
    names = {row["code"]: row["name"] for row in ask(command, "codes", "value", "--json")["codes"]}
    return [names[number] for number in numbers]


def main():
    command, folder, version, prefix = sys.argv[1], pathlib.Path(sys.argv[2]), *sys.argv[3:]
    pages = pages_of(command)
    names = [page_name(page) for page in pages]
    manual, formats, completion = folder / "man1", folder / "man5", folder / "completions"
    for place in manual, formats, completion:
        place.mkdir(parents=True, exist_ok=True)
        for old in place.iterdir():
            old.unlink()
    for page in pages:
        (manual / f"{page_name(page)}.1").write_text(manual_page(page, names, version, prefix))
    (formats / "watch.conf.5").write_text(settings_page(version, prefix))
    statuses = status_names(command)
    (completion / "ondrel").write_text(completions.bash(pages, statuses))
    (completion / "_ondrel").write_text(completions.zsh(pages, statuses))
    (completion / "ondrel.fish").write_text(completions.fish(pages, statuses))


if __name__ == "__main__":
    main()
