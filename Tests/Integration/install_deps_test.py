#!/usr/bin/python3
"""Tries what scripts/install-deps.sh says before it changes a machine: it runs with commands that only
write down how they were called, on a machine that seems to have nothing.

Usage: install_deps_test.py SCRIPT
"""

import os
import pathlib
import pty
import re
import subprocess
import sys
import tempfile

PURPOSES = ["build", "demo", "test", "bench", "windows", "vm", "package"]
# Whatever changes the machine; apt-cache and dpkg-query answer that there is nothing.
RECORDED = ["apt-get", "apt-cache", "dpkg-query", "dpkg-deb", "debconf-set-selections", "sudo", "install", "tar", "tee"]
STAND_IN = """#!/bin/sh
echo "${0##*/} $*" >>"$CALLS"
case ${0##*/} in
  sudo) exec "$@" ;;
  dpkg-query) [ -n "$INSTALLED" ] || exit 1; echo installed ;;
  apt-cache) [ -n "$INSTALLED" ] || { [ -e "$CALLS.sources" ]; } ;;
  debconf-set-selections | tar) cat >/dev/null ;;
  tee) cat >/dev/null; : >"$CALLS.sources" ;;
esac
"""
# Commands of the system that the script uses besides.
SYSTEM = ["bash", "sh", "id", "sed", "mktemp", "chmod", "rm", "cat", "env", "uname"]


def machine(folder):
    """A folder of commands and nothing else: not even those of /usr/bin and /usr/local/bin."""
    commands = folder / "commands"
    commands.mkdir()
    for name in RECORDED:
        (commands / name).write_text(STAND_IN)
        (commands / name).chmod(0o755)
    for name in SYSTEM:
        (commands / name).symlink_to(f"/usr/bin/{name}")
    return commands


def run(script, folder, purpose, answer=None, **more):
    """Exit status, output and recorded calls; with an answer somebody sits in front of the script."""
    calls = folder / "calls"
    for old in (calls, folder / "calls.sources"):
        old.unlink(missing_ok=True)
    environment = {"PATH": str(folder / "commands"), "CALLS": str(calls), "INSTALLED": "", "HOME": str(folder),
                   "TMPDIR": str(folder), **more}
    end, terminal = None, subprocess.DEVNULL
    if answer is not None:
        end, terminal = pty.openpty()
        os.write(end, answer.encode() + b"\n")
    try:
        result = subprocess.run(["/usr/bin/bash", script, purpose], env=environment, stdin=terminal, text=True,
                                stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=60)
    finally:
        if end is not None:
            os.close(end)
            os.close(terminal)
    return result.returncode, result.stdout, calls.read_text() if calls.exists() else ""


def changes(calls):
    return [line for line in calls.splitlines() if not line.startswith(("dpkg-query ", "apt-cache "))]


def main(script):
    faults = []

    def expect(holds, what, shown=""):
        if not holds:
            faults.append(f"{what}: {shown}" if shown else what)

    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        machine(folder)
        for purpose in PURPOSES:
            status, said, calls = run(script, folder, purpose, ONDREL_INSTALL="yes")
            expect("apt-get install" in calls, f"{purpose}: nothing is installed", said)
            # What goes beyond packages is named before it is done, each with its place.
            for changed, words in [("install -m 755", "/usr/local/bin/promtool"),
                                   ("tee /etc/apt/sources.list.d/", "/etc/apt/sources.list.d/ondrel-deb-src"),
                                   (" postfix", "postfix is a mail server"),
                                   (" linux-image-cloud-amd64", "linux-image-cloud-amd64 is a kernel"),
                                   (" smartmontools", "smartmontools starts a service"),
                                   (" lvm2", "lvm2 starts a service"),
                                   (" mdadm", "mdadm puts the arrays together")]:
                done = any(changed in line for line in changes(calls))
                expect(done == (words in said), f"{purpose}: {changed!r} and {words!r} differ", said + calls)
            listed = re.search(r"^To install with apt, and what they take: (.*)$", said, re.MULTILINE)
            installed = re.search(r"^apt-get install -y -q --no-install-recommends (.*)$", calls, re.MULTILINE)
            expect(listed and installed and listed[1] == installed[1], f"{purpose}: other packages than announced",
                   said + calls)
            expect(status == 0, f"{purpose}: status {status}", said)

            asks = "This changes more than packages" in said
            status, said, calls = run(script, folder, purpose, answer="n")
            expect(not asks or (status == 3 and "nothing was installed" in said and not changes(calls)),
                   f"{purpose}: installs although the answer is no", said + calls)
            # Where nobody can be asked, only packages are installed that change nothing else.
            status, said, calls = run(script, folder, purpose)
            expect("Go on?" not in said, f"{purpose}: asks nobody", said)
            if asks:
                expect(status == 3 and "ONDREL_INSTALL=yes agrees to it" in said and not changes(calls),
                       f"{purpose}: installs although nobody has agreed", said + calls)
            else:
                expect(status == 0 and "apt-get install" in calls, f"{purpose}: nothing is installed", said)
        status, said, calls = run(script, folder, "vm", answer="y")
        expect("apt-get install" in calls, "vm: nothing is installed although the answer is yes", said)
        status, said, calls = run(script, folder, "vm", answer="", ONDREL_INSTALL="yes")
        expect("Go on?" not in said and "apt-get install" in calls, "vm: asks although ONDREL_INSTALL is yes", said)
        for consent in ({"ONDREL_INSTALL": "yes"}, {"CI": "true"}):
            status, said, calls = run(script, folder, "demo", **consent)
            expect(status == 0 and "apt-get install" in calls, f"demo: nothing is installed with {consent}", said)
        status, said, calls = run(script, folder, "demo", ONDREL_INSTALL="no", CI="true")
        expect(status == 3 and "nothing was installed" in said and not changes(calls),
               "demo: installs although ONDREL_INSTALL is no", said + calls)
        # The end of the input.
        status, said, calls = run(script, folder, "vm", answer="\x04")
        expect(status == 3 and "nothing was installed" in said and not changes(calls),
               "vm: installs although nothing was answered", said + calls)
        # Nothing is missing: nothing is said or done.
        status, said, calls = run(script, folder, "build", INSTALLED="yes")
        expect(status == 0 and not said and not changes(calls), "build: says or does something", said + calls)
    print("\n".join(faults) or f"{len(PURPOSES)} purposes")
    return 1 if faults else 0


sys.exit(main(*sys.argv[1:]))
