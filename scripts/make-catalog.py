#!/usr/bin/python3
"""Writes the journal's catalogue of the events of the status tables to standard output.

Usage: scripts/make-catalog.py COMMAND [--check FILE]

COMMAND is the built command, which is asked for the event of every pair of statuses. With --check
nothing is written: FILE has to be what would be.
"""

import itertools
import json
import pathlib
import re
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor

ROOT = pathlib.Path(__file__).resolve().parent.parent
# The first 24 digits of an event's MESSAGE_ID; its full id follows. As in JournalFields.h.
PREFIX = re.search(r'kMessageIdPrefix\[\] = "([0-9a-f]{24})"',
                   (ROOT / "Src/Host/Linux/EventLog/JournalFields.h").read_text())[1]
KINDS = {"pd": "physical drive", "ld": "logical drive"}
SEVERITIES = {2: "information", 3: "warning", 4: "error"}
ADVICE = {
    "FAILED": "Replace the drive; what is redundant is rebuilt on the new one.",
    "DEGRADED": "A further failure may lose data. Replace the failed drive, or wait for the rebuild.",
    "PARTIALLY_DEGRADED": "A part of the redundancy is lost. Replace the failed drive.",
    "OFFLINE": "The drive takes no part until it is brought back.",
    "REBUILDING": "Nothing is to be done; the drive is filled with what it has to hold.",
}
SMART_ADVICE = "The drive predicts its own failure (SMART). Save its data and plan its replacement."


def statuses():
    text = (ROOT / "Include/Ondrel/StatusTransition.h").read_text()
    return [int(number) for number in re.findall(r"kStatus\w+ = (\d+)", text)]


def words(name):
    return name.replace("_", " ").lower().replace("smart", "with a SMART warning")


def ask(command, kind, old, new):
    answer = subprocess.run([command, "status", kind, str(old), str(new), "--json"],
                            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
    return json.loads(answer.stdout) if answer.returncode in (0, 1) and answer.stdout else {}


def events(command):
    pairs = [(kind, old, new) for kind in KINDS
             for old, new in itertools.product(statuses(), repeat=2)]
    with ThreadPoolExecutor(4) as pool:
        answers = list(pool.map(lambda pair: ask(command, *pair), pairs))
    found = {}
    for answer in answers:
        if answer.get("event"):
            found.setdefault((answer["event"], answer["eventName"], answer["severity"]),
                             []).append(answer)
    return dict(sorted(found.items()))


def advice(changes):
    new = {change["newName"] for change in changes}
    lines = [ADVICE[name] for name in ADVICE if new == {name}]
    if all("SMART" in name for name in new):
        lines.append(SMART_ADVICE)
    return lines


def entry(event, name, severity, changes):
    kinds = sorted({KINDS[change["kind"]] for change in changes}, reverse=True)
    text = [f"-- {PREFIX}{0x20000000 | event:08x}",
            f"Subject: {name}: the status of a {' or '.join(kinds)} has changed",
            "Defined-By: ondrel",
            "",
            f"Event {event} ({name}), severity {SEVERITIES[severity]}. It is reported for"
            f" {'this change' if len(changes) == 1 else 'these changes'} of a"
            f" {' or '.join(kinds)}:"]
    text += [f"  from {words(change['oldName'])} to {words(change['newName'])}"
             for change in changes]
    text += advice(changes)
    return "\n".join(text) + "\n"


def main():
    command = sys.argv[1]
    catalog = "".join(entry(*key, changes) + "\n" for key, changes in events(command).items())
    if len(sys.argv) > 3 and sys.argv[2] == "--check":
        if pathlib.Path(sys.argv[3]).read_text() != catalog:
            sys.exit(f"{sys.argv[3]} is not what {sys.argv[0]} writes: write it anew")
        print(catalog.count("\nSubject: "), "events of the status tables have their entry")
    else:
        sys.stdout.write(catalog)


main()
