#!/usr/bin/python3
"""Uses the command as a monitoring script would, and checks every exit status on the way.

Usage: monitor.py --host linux|wine -- COMMAND...

The script lives by exit statuses: 0 done, 1 the answer is no, 2 wrong usage, 3 a failure. Each line
of STEPS is one that such a script would have, with the status that it relies on.
"""

import argparse
import json
import pathlib
import subprocess
import sys
import tempfile

STATES = ("OPERATIONAL", "FAILED", "REBUILDING", "OPERATIONAL")

STEPS = [
    (0, ["--version"]),
    (0, ["help", "log", "report"]),
    (2, ["help", "lgo"]),
    (0, ["status", "pd", "OPERATIONAL", "FAILED"]),
    (1, ["status", "ld", "FAILED", "FAILED"]),
    (2, ["status", "pd", "OPERATIONAL", "BROKEN"]),
    (2, ["status", "pd", "OPERATIONAL", "4711"]),
    (2, ["status", "pd", "OPERATIONAL"]),
    (0, ["code", "event", "0x200028E7"]),
    (0, ["code", "error", "0x20050003"]),
    (1, ["code", "event", "NO_SUCH_EVENT_AT_ALL"]),
    (2, ["code", "evnt", "10471"]),
    (0, ["codes", "--search", "hotspare", "value"]),
    (1, ["codes", "--search", "no such text"]),
    (0, ["compare", "7.10.2", "7.9.14", "--is", "gt"]),
    (1, ["compare", "7.10.2", "7.9.14", "--is", "lt"]),
    (2, ["compare", "7.10.2", "7.9.14", "--is", "newer"]),
    (0, ["date", "@1648723319"]),
    (2, ["date", "1648723319"]),
    (2, ["date", "99999999999999s"]),
    (0, ["stamp", "2022-03-31T12:41:59Z"]),
    (2, ["stamp", "2022-13-01 00:00:00"]),
    (0, ["week-date", "2022", "3", "0", "5"]),
    (2, ["week-date", "2022", "13", "0", "1"]),
    (0, ["uptime"]),
    (0, ["match", "fail(ed)?", "drive 3 failed"]),
    (1, ["match", "fail(ed)?", "all is well"]),
    (2, ["match", "a(", "b"]),
    (3, ["match", "(a*)(a*)(a*)(a*)(a*)[bc]", "a" * 1000, "--limit", "200ms"]),
    (2, ["partitions", "no such disk"]),
    (1, ["partitions", "Disk 4711"]),
    (2, ["log", "report", "Monitor", "10471", "error", "text", "uptime"]),
    (2, ["log", "report", "Monitor", "10471", "grave", "text"]),
    (2, ["reboot"]),
    (2, ["frobnicate", "reboot", "--yes"]),
]


class Monitor:
    def __init__(self, host, command, folder):
        self.arguments = [*command]
        if host == "linux":
            self.arguments += ["--store", str(pathlib.Path(folder, "events.db"))]
        self.wrong = 0
        self.done = 0

    def expect(self, status, words):
        """Runs a line as text and as JSON; both have to end in the same way."""
        answer = None
        for form in ([], ["--json"]):
            result = subprocess.run([*self.arguments, *form, *words], stdin=subprocess.DEVNULL,
                                    capture_output=True, timeout=120, check=False)
            self.done += 1
            complaint = None
            if result.returncode != status:
                complaint = f"exit status {result.returncode}, not {status}: {result.stderr}"
            elif form and words[0] != "help":
                answer = json.loads(result.stdout)
                if answer["jsonVersion"] != 1 or ("error" in answer) != (status > 1):
                    complaint = f"answered {answer}"
                elif status > 1 and answer["exitStatus"] != status:
                    complaint = f"names another exit status in {answer}"
            elif not form and status > 1 and not result.stderr.startswith(b"ondrel: "):
                complaint = "failed without a word"
            if complaint:
                self.wrong += 1
                print(f"FAILED {' '.join(words)}: {complaint}")
        return answer

    def watch(self):
        """The main job: each change of a drive becomes an event, and the event is reported."""
        for before, after in zip(STATES, STATES[1:]):
            change = self.expect(0, ["status", "pd", before, after])
            severity = {2: "information", 3: "warning", 4: "error"}[change["severity"]]
            self.expect(0, ["log", "report", "Monitor", str(change["event"]), severity,
                            f"PD 3: {before} to {after}"])


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--host", choices=["linux", "wine"], required=True)
    parser.add_argument("command", nargs="+")
    options = parser.parse_args()
    with tempfile.TemporaryDirectory() as folder:
        monitor = Monitor(options.host, options.command, folder)
        for status, words in STEPS:
            monitor.expect(status, words)
        monitor.watch()
    print(f"{monitor.done} lines, {monitor.wrong} wrong")
    return 1 if monitor.wrong or monitor.done < 50 else 0


if __name__ == "__main__":
    sys.exit(main())
