#!/usr/bin/python3
"""Runs the commands that README shows, in their order and in one folder, and ends with 1 where one of
them prints anything else than README shows. Those of the Windows build are left out.

Usage: scripts/check-readme.py FOLDER      (the first `ondrel` of PATH is run)
"""

import pathlib
import re
import subprocess
import sys

README = pathlib.Path(__file__).resolve().parent.parent / "README.md"
BLOCK = re.compile(r"<!-- output of: (ondrel .*) -->\n```\n\$ (.*)\n((?:.*\n)*?)```\n")
LEAST_COMMANDS = 5


def main(folder):
    blocks = BLOCK.findall(README.read_text())
    if len(blocks) < LEAST_COMMANDS:
        sys.exit(f"{README} shows {len(blocks)} commands only")
    for marker, command, shown in blocks:
        answer = subprocess.run(command, shell=True, cwd=folder, text=True, stdin=subprocess.DEVNULL,
                                stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        if command != marker or answer.stdout != shown or answer.returncode != 0:
            sys.exit(f"README shows after {marker}:\n$ {command}\n{shown}"
                     f"It ends with {answer.returncode} and prints:\n{answer.stdout}")


main(*sys.argv[1:])
