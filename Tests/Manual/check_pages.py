#!/usr/bin/python3
"""Holds the manual pages against the command's help: a page for the command and for every subcommand,
without a warning of the formatter, that shows every word of the help, with its exit statuses under a
heading of their own. The page of the configuration has every key that its reader knows, and its keys make
a configuration that the command takes.

Usage: check_pages.py COMMAND FOLDER SOURCE
"""

import json
import pathlib
import re
import subprocess
import sys
import tempfile

from formatted import formatted, squeezed

LEAST_PAGES = 41
LEAST_KEYS = 21
DATE = r'^\.TH "[^"]+" "\d" "\d{4}-\d\d-\d\d" "ondrel [0-9.]+" '


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
    for line in page["notes"].splitlines():
        # Each status is shown by itself.
        if line.startswith("Exit status: "):
            yield from re.split(r"[,;] (?:else the sum of )?(?=\d+ )", line.removeprefix("Exit status: ").rstrip("."))
        else:
            yield line


def part(source, title):
    """What stands under a heading of a page's source."""
    return source.split(f'.SH "{title}"\n', 1)[-1].split(".SH ", 1)[0] if f'.SH "{title}"' in source else ""


def faults_of(file, page, pages):
    source, shown = file.read_text(), formatted(file)
    for words in words_of(page):
        if squeezed(words) not in shown:
            yield f"does not show: {words}"
    if not re.search(DATE, source, re.MULTILINE):
        yield "has no date"
    if re.search(r"^[A-Z]+: ", part(source, "ARGUMENTS"), re.MULTILINE):
        yield "has an argument's kind in front of its text"
    if not part(source, "EXIT STATUS") or "Exit status" in part(source, "NOTES"):
        yield "has no exit status of its own"
    for other in re.findall(r"\\fB(.+?)\\fR\((\d)\)", part(source, "SEE ALSO")):
        name = ".".join(other).replace("\\-", "-")
        if name not in pages and name != "systemctl.1":
            yield f"refers to {name}"


def known_keys(source):
    """(section, key) of each that the reader of configurations knows."""
    text = (source / "Tool/Watch/Settings.cpp").read_text()
    return set(re.findall(r'^ *\{"(\w+)", "([\w-]+)",', text, re.MULTILINE))


def settings_faults(command, file, source):
    text, shown = file.read_text(), formatted(file)
    if not re.search(DATE, text, re.MULTILINE):
        yield "has no date"
    found, lines, section = set(), [], ""
    for head, key, value in re.findall(r'^\.SS "\[(.+)\]"$|^\\fB([a-z\\-]+)=(.*)\\fR$', text, re.MULTILINE):
        if head:
            section = head
            lines.append(f"[{section}]")
            continue
        key = key.replace("\\-", "-")
        found.add((section, key))
        lines.append(f"{key}={value}".replace("\\-", "-"))
    if found != known_keys(source) or len(found) < LEAST_KEYS:
        yield f"has other keys than the reader: {found ^ known_keys(source)}"
    for place in ("/etc/ondrel/watch.conf", "share/ondrel/watch.conf", "systemctl enable --now ondrel-watch"):
        if squeezed(place) not in shown:
            yield f"does not name {place}"
    with tempfile.TemporaryDirectory() as name:
        # Paths that are there, and one of the two that exclude each other.
        folder = pathlib.Path(name)
        (folder / "password").write_text("secret")
        kept = [re.sub(r"^program=.*", "program=/bin/true", re.sub(
            r"^(store|file)=.*", rf"\1={folder}/\1", re.sub(
                r"^password-file=.*", f"password-file={folder}/password", line)))
                for line in lines]
        (folder / "watch.conf").write_text("\n".join(kept) + "\n")
        answer = subprocess.run([command, "watch", "--check-config", "--config", folder / "watch.conf"],
                                capture_output=True, text=True, check=False)
        if answer.returncode != 0:
            yield f"has keys that the command refuses: {answer.stdout}{answer.stderr}"


def main(command, folder, source):
    folder = pathlib.Path(folder)
    pages = {file.name: file for kind in ("man1", "man5") for file in (folder / kind).iterdir()}
    expected, faults = {"watch.conf.5"}, []
    for page in help_pages(command):
        name = page["command"].replace(" ", "-") + ".1"
        expected.add(name)
        if name in pages:
            faults += [f"{name} {fault}" for fault in faults_of(pages[name], page, pages)]
    if set(pages) != expected or len(pages) < LEAST_PAGES + 1:
        faults.append(f"{len(expected)} pages expected, {len(pages)} found: {set(pages) ^ expected}")
    if "watch.conf.5" in pages:
        faults += [f"watch.conf.5 {fault}"
                   for fault in settings_faults(command, pages["watch.conf.5"], pathlib.Path(source))]
    for name, titles in (("ondrel.1", ["FILES"]), ("ondrel-watch.1", ["FILES"])):
        faults += [f"{name} has no part {title}" for title in titles if not part(pages[name].read_text(), title)]
    if "\\fB141\\fR" not in part(pages["ondrel.1"].read_text(), "EXIT STATUS"):
        faults.append("ondrel.1 has no exit status 141")
    print("\n".join(faults) or f"{len(pages)} pages")
    return 1 if faults else 0


sys.exit(main(*sys.argv[1:]))
