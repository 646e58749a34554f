#!/usr/bin/python3
"""Puts the real output of the current build into the documents.

Usage: scripts/refresh-docs.py [BUILD-FOLDER]      (build/linux unless another is given)

In README.md and Docs/*.md, the code block after

    <!-- output of: COMMAND -->

is replaced with COMMAND and what it prints, and the one after

    <!-- demo output -->

with what scripts/demo.sh prints once it has built. The table after

    <!-- systems of: FILE -->

gets a row for each line of FILE, the facts of an operating system, with what the command makes of
them. After

    <!-- meanwhile: COMMAND -->

the next command shown is one that follows a log; COMMAND is run once it does. Commands of one
document run in order, in one empty folder (/tmp/ondrel-docs, so that paths stay the same), with a mail
server on port 2525 that keeps its mails in the folder "mails". Paths of this tree are shown from its
top. "ondrel.exe" is the Windows build's, run by Wine; its build comes first too.
"""

import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
PORT = "2525"
PATIENCE_SECONDS = 60
DEMO_BLOCK = re.compile(r"<!-- demo output -->\n```\n.*?```\n", re.DOTALL)
SYSTEMS_BLOCK = re.compile(r"<!-- systems of: (?P<file>[^\n]*) -->\n(?:\|[^\n]*\n)*")
DEMO_BEGINNING = "== A mail server"
BLOCK = re.compile(
    r"(?:<!-- meanwhile: (?P<meanwhile>[^\n]*) -->\n)?"
    r"<!-- output of: (?P<command>[^\n]*) -->\n```[a-z]*\n.*?```\n",
    re.DOTALL,
)


def start(command, folder, environment):
    return subprocess.Popen(
        ["bash", "-c", command],
        cwd=folder,
        env=environment,
        stdin=subprocess.DEVNULL,
        stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT,
        text=True,
    )


def output_of(command, meanwhile, folder, environment):
    process = start(command, folder, environment)
    shown = ""
    if meanwhile:
        while "following" not in shown:
            line = process.stdout.readline()
            if not line:
                sys.exit(f"does not follow: {command}")
            shown += line
        other = start(meanwhile, folder, environment)
        other.communicate(timeout=PATIENCE_SECONDS)
        if other.returncode != 0:
            sys.exit(f"failed: {meanwhile}")
    shown += process.communicate(timeout=PATIENCE_SECONDS)[0]
    if process.returncode != 0:
        shown += f"(exit status {process.returncode})\n"
    return shown


def output_of_demo():
    demo = subprocess.run([ROOT / "scripts/demo.sh"], stdout=subprocess.PIPE, text=True)
    if demo.returncode != 0:
        sys.exit("the demo failed")
    shown = demo.stdout[demo.stdout.index(DEMO_BEGINNING) :].strip()
    return f"<!-- demo output -->\n```\n{shown}\n```\n"


def table_of_systems(file, environment):
    lines = (ROOT / file).read_text().splitlines()
    # What is not a fact of a system is said about it, which the command would refuse.
    facts = [{name: value for name, value in json.loads(line).items()
              if name not in ("system", "sources", "names")} for line in lines]
    answers = subprocess.run(["ondrel", "os", "--from", "-"],
                             input="".join(json.dumps(record) + "\n" for record in facts),
                             env=environment, check=True, stdout=subprocess.PIPE, text=True)
    rows = [json.loads(line) for line in answers.stdout.splitlines()]
    keys = [key for key in rows[0] if key not in ("jsonVersion", "kind", "vendor")]
    shown = f"<!-- systems of: {file} -->\n| System | " + " | ".join(keys) + " |\n"
    shown += "|---" * (len(keys) + 1) + "|\n"
    for line, row in zip(lines, rows, strict=True):
        cells = [json.loads(line)["system"], *(row[key] for key in keys)]
        shown += "| " + " | ".join(cells) + " |\n"
    return shown


def refresh(document, environment):
    folder = pathlib.Path("/tmp/ondrel-docs")
    folder.mkdir()
    try:
        mails = folder / "mails"
        mails.mkdir()
        server = subprocess.Popen(
            ["/usr/bin/python3", ROOT / "scripts/demo-mail-server.py", mails, PORT],
            stdout=subprocess.PIPE,
        )
        try:
            if not server.stdout.readline():
                sys.exit("cannot start the mail server")

            def replacement(block):
                command, meanwhile = block["command"], block["meanwhile"]
                shown = output_of(command, meanwhile, folder, environment)
                shown = shown.replace("\r\n", "\n").replace(f"{ROOT}/", "")
                head = f"<!-- meanwhile: {meanwhile} -->\n" if meanwhile else ""
                return f"{head}<!-- output of: {command} -->\n```\n$ {command}\n{shown}```\n"

            text = BLOCK.sub(replacement, document.read_text())
            text = SYSTEMS_BLOCK.sub(lambda block: table_of_systems(block["file"], environment), text)
            text = DEMO_BLOCK.sub(lambda block: output_of_demo(), text)
            document.write_text(text)
        finally:
            server.terminate()
            server.wait()
    finally:
        shutil.rmtree(folder)


def windows_command(folder):
    program = ROOT / "build/windows/bin/ondrel.exe"
    if not program.exists():
        sys.exit(f"no {program}: run scripts/test.sh windows first")
    start = pathlib.Path(folder, "ondrel.exe")
    start.write_text(f'#!/bin/sh\nexec "{ROOT}/scripts/run-wine.sh" "{program}" "$@"\n')
    start.chmod(0o755)


def main():
    build = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else ROOT / "build/linux").resolve()
    tool = build / "Tool"
    if not (tool / "ondrel").exists():
        sys.exit(f"no command in {tool}: build it first")
    with tempfile.TemporaryDirectory() as commands:
        windows_command(commands)
        path = f"{tool}:{commands}:{os.environ['PATH']}"
        environment = dict(os.environ, PATH=path, LC_ALL="C.UTF-8")
        for document in [ROOT / "README.md", *sorted((ROOT / "Docs").glob("*.md"))]:
            if BLOCK.search(document.read_text()):
                refresh(document, environment)
                print(f"refreshed {document.relative_to(ROOT)}")


if __name__ == "__main__":
    main()
