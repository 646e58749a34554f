#!/usr/bin/python3
"""Runs the program that Docs/embed.md shows, with a mail server on the loopback address. It has to
print what the page says, and its mail has to arrive.

Usage: run_embed.py PROGRAM SOURCE-FOLDER
"""

import pathlib
import re
import subprocess
import sys
import tempfile

from mail_server import mail_server


def without_lines(text):
    """Numbers of lines in the library's sources change with every edit there."""
    return re.sub(r"\.cpp:\d+", ".cpp", text)


def main(program, source):
    source = pathlib.Path(source)
    page = (source / "Docs/embed.md").read_text()
    expected = re.search(r"<!-- output of Embed -->\n```\n(.*?)```\n", page, re.DOTALL)[1]
    with tempfile.TemporaryDirectory() as name:
        mails = pathlib.Path(name) / "mails"
        with mail_server(source, mails) as port:
            result = subprocess.run([program, port], cwd=name, stdout=subprocess.PIPE, text=True,
                                    timeout=240, check=False)
        if result.returncode != 0 or without_lines(result.stdout) != without_lines(expected):
            sys.exit(f"ended with {result.returncode} and printed:\n{result.stdout}")
        if "PD 3: status changed" not in (mails / "1.eml").read_text():
            sys.exit("the mail says something else")


main(*sys.argv[1:])
