#!/usr/bin/python3
"""Has the command name real systems, and compares with what their facts have to give.

Usage: check_systems.py FILE COMMAND...

A line of FILE has the facts of a system as the command takes them, its name as "system", and the texts
that it has to get as "names".
"""

import json
import pathlib
import subprocess
import sys

LEAST = 40


def main(file, command):
    lines = pathlib.Path(file).read_text().splitlines()
    systems = [json.loads(line) for line in lines]
    # What is not a fact of a system is said about it, which the command would refuse.
    facts = [{name: value for name, value in system.items() if name not in ("system", "sources", "names")}
             for system in systems]
    result = subprocess.run([*command, "os", "--from", "-"],
                            input="".join(json.dumps(record) + "\n" for record in facts), text=True,
                            stdout=subprocess.PIPE, check=True, timeout=300)
    answers = [json.loads(line) for line in result.stdout.splitlines()]
    for answer in answers:
        del answer["jsonVersion"], answer["kind"]
    wrong = [f"{system['system']}: {answer}, not {system['names']}"
             for system, answer in zip(systems, answers, strict=True) if answer != system["names"]]
    print(f"{len(systems)} systems, {len(wrong)} with other names")
    print("\n".join(wrong))
    if wrong or len(systems) < LEAST:
        sys.exit(1)


main(sys.argv[1], sys.argv[2:])
