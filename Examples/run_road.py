#!/usr/bin/python3
"""Runs README's program, with a mail server on the loopback address and without. It has to read its event
back either way, and ends with 0 only when its mail was sent.

Usage: run_road.py PROGRAM SOURCE-FOLDER
"""

import pathlib
import socket
import subprocess
import sys
import tempfile

from mail_server import mail_server

EVENT = "PD 3: status changed from OPERATIONAL to FAILED"


def run(program, port):
    with tempfile.TemporaryDirectory() as folder:
        result = subprocess.run([program, str(port)], cwd=folder, capture_output=True, text=True, timeout=120,
                                check=False)
    return result.returncode, result.stdout, result.stderr


def main(program, source):
    with tempfile.TemporaryDirectory() as name:
        mails = pathlib.Path(name) / "mails"
        with mail_server(pathlib.Path(source), mails) as port:
            status, shown, said = run(program, port)
        if status != 0 or EVENT not in shown or said:
            sys.exit(f"with a mail server it ended with {status}:\n{shown}{said}")
        if "Subject: PD 3 failed" not in (mails / "1.eml").read_text():
            sys.exit("the mail says something else")
    # Taken at every address, and nobody listens there.
    family = socket.AF_INET6 if socket.has_dualstack_ipv6() else socket.AF_INET
    with socket.socket(family) as taken:
        if family == socket.AF_INET6:
            taken.setsockopt(socket.IPPROTO_IPV6, socket.IPV6_V6ONLY, 0)
        taken.bind(("", 0))
        status, shown, said = run(program, taken.getsockname()[1])
    if status != 1 or EVENT not in shown or not said.startswith("Mail not sent: error "):
        sys.exit(f"without a mail server it ended with {status}:\n{shown}{said}")


main(*sys.argv[1:])
