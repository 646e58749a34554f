#!/usr/bin/python3
"""Runs the command through the cases that hold on every host, and compares what it says.

Usage: run_cases.py --host linux|wine --cases FILE --mail-server FILE -- COMMAND...

A case is a command line with the exit status, the JSON and, where it mails, the mail that a real
server has to receive. "zone" is the zone of local time, "input" what standard input has, in which
{nest} and {mebibyte} stand for what is too large for the file; "failure" is the kind and a part of the
words of a failure, which stands in place of "output". What a host is known to answer otherwise stands
under "byHost". In arguments {port} is the port of the case's server, {body} and {password} are files
with those texts, {printer} is a program that writes what it is asked for. In what is expected {store} is
the path of the case's event store, {any} whatever there is.
"""

import argparse
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile

PLACEHOLDERS = {
    "{date}": r"[A-Z][a-z]{2},\t\d\d [A-Z][a-z]{2} \d{4} \d\d:\d\d:\d\d [+-]\d{4}",
    "{identifier}": r"[0-9a-f]{8}(-[0-9a-f]{4}){3}-[0-9a-f]{12}",
}

LARGE_INPUTS = {"{nest}": "[" * 400_000 + "]" * 400_000, "{mebibyte}": "x" * (1 << 20)}


class MailServer:
    """The tests' SMTP server in a process of its own."""

    def __init__(self, script, store, options):
        self.store = store
        self.process = subprocess.Popen(
            ["/usr/bin/python3", script, "--store", store, *options],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        self.port = self.process.stdout.readline().split()[1]

    def mails(self):
        return sorted(self.store.glob("*.eml"))

    def close(self):
        # Closing its input ends the server.
        self.process.communicate(timeout=60)


def envelope_of(mail):
    fields = {"to": []}
    for line in mail.with_suffix(".envelope").read_text().splitlines():
        name, value = line.split(": ", 1)
        if name == "to":
            fields["to"].append(value)
        elif name != "connections":
            fields[name] = value
    return fields


def agree(expected, said):
    """Whether a value is the expected one; "{any}" stands for whatever there is."""
    if expected == "{any}":
        return said is not None
    if isinstance(expected, dict) and isinstance(said, dict):
        return expected.keys() == said.keys() and all(
            agree(value, said[name]) for name, value in expected.items())
    return expected == said


def line_matches(pattern, line):
    expression = re.escape(pattern)
    for placeholder, meaning in PLACEHOLDERS.items():
        expression = expression.replace(re.escape(placeholder), meaning)
    return re.fullmatch(expression, line) is not None


def check_mail(expected, server, complain):
    mails = server.mails() if server else []
    if expected is None:
        if mails:
            complain(f"{len(mails)} mails came, none was to come")
        return
    if len(mails) != 1:
        complain(f"{len(mails)} mails came, one was to come")
        return
    envelope = envelope_of(mails[0])
    wanted = {name: value for name, value in expected.items() if name != "lines"}
    if envelope != wanted:
        complain(f"the envelope is {envelope}, not {wanted}")
    if "lines" not in expected:
        return
    text = mails[0].read_bytes().decode()
    lines = text.removesuffix("\r\n").split("\r\n")
    matches = len(lines) == len(expected["lines"]) and all(
        map(line_matches, expected["lines"], lines))
    if not matches:
        complain(f"the mail is\n{text}\nnot\n" + "\n".join(expected["lines"]))


def parse(output, complain):
    """The JSON that the command printed, without the version that every object begins with."""
    if not output.strip():
        return None
    value = json.loads(output)
    if next(iter(value), None) != "jsonVersion" or value.pop("jsonVersion") != 1:
        complain("the output does not begin with jsonVersion 1")
    return value


def check_failure(expected, value, exit_status, complain):
    """A failure has its number, name and words, and the exit status that the command ends with."""
    error = (value or {}).get("error", {})
    if not {"kind", "number", "name", "text"} <= set(error) or value.get("exitStatus") != exit_status:
        complain(f"the failure is {value}")
        return
    if expected["kind"] != error["kind"] or expected["words"] not in error["text"]:
        complain(f"the failure is {error}, not {expected}")


def expectation(case, host):
    own = case.get("byHost", {}).get(host, {})
    output = case.get("output")
    if "output" in own:
        output = {**output, **own["output"]}
    return own.get("exitStatus", case.get("exitStatus")), output, own.get("failure", case.get("failure"))


def input_of(case):
    text = case.get("input", "")
    for placeholder, meaning in LARGE_INPUTS.items():
        text = text.replace(placeholder, meaning)
    return text.encode()


def run_case(case, options, folder, complain):
    (folder / "mails").mkdir()
    server = None
    if "server" in case:
        server = MailServer(options.mail_server, folder / "mails", case["server"])
    values = {"{port}": server.port if server else "", "{printer}": options.printer}
    for name in ("body", "password"):
        file = folder / name
        file.write_text(case.get(name, ""))
        values["{" + name + "}"] = ("Z:" if options.host == "wine" else "") + str(file)

    # Linux keeps events in a store of this case's own; Windows has one log for all.
    host_arguments = ["--store", str(folder / "events.db")] if options.host == "linux" else []
    arguments = [values.get(argument, argument) for argument in case["arguments"]]
    try:
        environment = {**os.environ, "TZ": case["zone"]} if "zone" in case else None
        result = subprocess.run([*options.command, *host_arguments, *arguments],
                                input=input_of(case), env=environment,
                                capture_output=True, timeout=300)
    finally:
        if server:
            server.close()

    exit_status, output, failure = expectation(case, options.host)
    if output and isinstance(output.get("reason"), str):
        output["reason"] = output["reason"].replace("{printer}", options.printer)
    output = json.loads(json.dumps(output).replace("{store}", str(folder / "events.db")))
    said = result.stdout.decode()
    if result.returncode != exit_status:
        complain(f"the exit status is {result.returncode}, not {exit_status}: "
                 f"{result.stderr.decode()}")
    try:
        value = parse(said, complain)
        if failure:
            check_failure(failure, value, exit_status, complain)
        elif not agree(output, value):
            complain(f"the output is {said}, not {json.dumps(output)}")
    except json.JSONDecodeError:
        complain(f"the output is not JSON: {said}")
    check_mail(case.get("mail"), server, complain)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--host", choices=["linux", "wine"], required=True)
    parser.add_argument("--cases", type=pathlib.Path, required=True)
    parser.add_argument("--mail-server", required=True)
    parser.add_argument("--printer", required=True)
    parser.add_argument("command", nargs="+")
    options = parser.parse_args()

    cases = json.loads(options.cases.read_text())
    failed = 0
    for case in cases:
        complaints = []
        with tempfile.TemporaryDirectory() as folder:
            run_case(case, options, pathlib.Path(folder), complaints.append)
        print("FAILED" if complaints else "ok", case["name"], flush=True)
        for complaint in complaints:
            print("    " + complaint)
        failed += bool(complaints)
    print(f"{len(cases) - failed} of {len(cases)} cases passed")
    return 1 if failed or not cases else 0


if __name__ == "__main__":
    sys.exit(main())
