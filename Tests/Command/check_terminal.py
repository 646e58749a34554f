#!/usr/bin/python3
"""Runs the command on a terminal of its own: colours and progress stand there and nowhere else. Readers and
writers at the command's other ends go away.

Usage: check_terminal.py COMMAND...
"""

import os
import pty
import re
import socket
import struct
import subprocess
import sys
import tempfile

# No machine searches this through in the time that it is given.
LONG_SEARCH = ["match", "(a*)(a*)(a*)(a*)(a*)[bc]", "a" * 1000, "--limit", "3s"]
FAILED_DRIVE = ["status", "pd", "OPERATIONAL", "FAILED"]


def read_all(terminal):
    """What was written to a terminal whose other end is closed."""
    content = b""
    while True:
        try:
            part = os.read(terminal, 65536)
        except OSError:  # The last writer has gone.
            return content.decode()
        if not part:
            return content.decode()
        content += part


def run(command, words, terminals, **environment):
    """Runs a line with these streams on terminals; yields all streams as text, by name."""
    streams, terminal_ends = {}, {}
    for name in ("stdout", "stderr"):
        if name in terminals:
            terminal_ends[name], streams[name] = pty.openpty()
        else:
            streams[name] = subprocess.PIPE
    own = {name: value for name, value in os.environ.items() if name not in ("NO_COLOR", "TERM")}
    process = subprocess.Popen([*command, *words], stdin=subprocess.DEVNULL, **streams,
                               env={**own, **environment})
    for name in terminals:
        os.close(streams[name])
    texts = {name: read_all(end) for name, end in terminal_ends.items()}
    output, errors = process.communicate(timeout=120)
    texts.setdefault("stdout", output.decode() if output is not None else "")
    texts.setdefault("stderr", errors.decode() if errors is not None else "")
    for end in terminal_ends.values():
        os.close(end)
    return texts


def status_without_reader(command, reader, output):
    """The exit status of a line that waits for questions while the reader of its answers goes."""
    process = subprocess.Popen([*command, "match", "--jsonl"], stdin=subprocess.PIPE, stdout=output)
    os.close(output)
    os.close(reader)
    try:
        return process.wait(timeout=60)
    except subprocess.TimeoutExpired:
        process.kill()
        return process.wait()
    finally:
        process.stdin.close()


def import_that_is_cut_off(command):
    """A log's import from a connection that is reset behind a whole line."""
    with tempfile.TemporaryDirectory() as folder, socket.create_server(("127.0.0.1", 0)) as server:
        store = [*command, "--store", os.path.join(folder, "events.db"), "log"]
        subprocess.run([*store, "report", "Demo", "10471", "error", "words"], check=True,
                       stdout=subprocess.DEVNULL)
        line = subprocess.run([*store, "export", "Demo"], capture_output=True, check=True).stdout
        reader = socket.create_connection(server.getsockname())
        writer = server.accept()[0]
        process = subprocess.Popen([*store, "import", "--renumber", "-"], stdin=reader,
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        writer.sendall(line)
        reader.close()
        writer.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        writer.close()
        return *process.communicate(timeout=60), process.returncode


def main(command):
    wrong = []

    def expect(holds, what):
        print("ok" if holds else "FAILED", what)
        if not holds:
            wrong.append(what)

    red = "\033[31mevent 10471"
    coloured = run(command, FAILED_DRIVE, ["stdout"], TERM="xterm")["stdout"]
    plain = run(command, FAILED_DRIVE, [], TERM="xterm")["stdout"]
    expect(red in coloured and "\033[0m" in coloured, "a terminal shows colours")
    expect("\033" not in plain and "event 10471" in plain, "a pipe has none")
    for name, words, environment in (
            ("NO_COLOR", FAILED_DRIVE, {"TERM": "xterm", "NO_COLOR": "1"}),
            ("a terminal without colours", FAILED_DRIVE, {"TERM": "dumb"}),
            ("a terminal of no type", FAILED_DRIVE, {}),
            ("JSON", ["--json", *FAILED_DRIVE], {"TERM": "xterm"})):
        shown = run(command, words, ["stdout"], **environment)["stdout"]
        expect("\033" not in shown and "10471" in shown, f"{name} has no colours")
    empty = run(command, FAILED_DRIVE, ["stdout"], TERM="xterm", NO_COLOR="")["stdout"]
    expect(red in empty, "an empty NO_COLOR asks for nothing")
    doctor = run(command, ["doctor", "messageTable"], ["stdout"], TERM="xterm")["stdout"]
    expect("\033[3" in doctor, "the doctor's states are coloured")

    progress = run(command, LONG_SEARCH, ["stderr"], TERM="xterm")
    expect(re.search(r"ondrel: searching, \d+ s", progress["stderr"]), "a terminal shows progress")
    last = progress["stderr"].rstrip("\r\n").split("\r")[-1]
    expect("ondrel: cannot answer: the limit" in progress["stderr"].split(" s\r")[-1],
           "progress goes before the failure is shown: " + repr(last))
    expect(progress["stdout"] == "", "progress stays away from standard output")
    piped = run(command, LONG_SEARCH, ["stdout"], TERM="xterm")["stderr"]
    expect("searching" not in piped and "cannot answer" in piped, "a pipe shows no progress")
    # What takes a second on a busy machine is not quick there.
    expect(any(run(command, ["match", "a", "a"], ["stderr"], TERM="xterm")["stderr"] == ""
               for _ in range(3)), "quick work shows no progress")

    ends = [end.detach() for end in socket.socketpair()]
    expect(status_without_reader(command, *ends) == 141, "a socket without a reader is noticed")
    expect(status_without_reader(command, *pty.openpty()) == 141, "so is a terminal without one")

    cut = import_that_is_cut_off(command)
    expect(cut == ("", "ondrel: cannot read standard input after line 1; 1 records before it were "
                   "kept: Connection reset by peer\n", 3), f"a cut import says what it kept: {cut}")
    return 1 if wrong else 0


sys.exit(main(sys.argv[1:]))
