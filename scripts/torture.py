#!/usr/bin/env python3
"""The work of torture.sh, in a mount namespace of its own."""

import argparse
import contextlib
import json
import os
import pathlib
import random
import signal
import sqlite3
import subprocess
import sys
import tempfile
import threading
import time

LOG = "torture"
WRITERS = 4
READERS = 2
# Of the reports, those whose writer is killed; and how long it may live, in seconds.
KILLED = 0.15
LONGEST_LIFE = 0.15


class Outcomes:
    """What became of each event: by its text, the last word of its writer."""

    def __init__(self):
        self._lock = threading.Lock()
        self.acknowledged, self.refused, self.killed, self.silent = set(), {}, set(), []

    def note(self, kind, text, words=""):
        with self._lock:
            if kind == "acknowledged":
                self.acknowledged.add(text)
            elif kind == "refused":
                self.refused[text] = words
            elif kind == "killed":
                self.killed.add(text)
            else:
                self.silent.append(text)

    def tried(self):
        return len(self.acknowledged) + len(self.refused) + len(self.killed) + len(self.silent)


class Trial:
    """Writers and readers of one place for some time."""

    def __init__(self, command, place, seed, folder):
        self.command, self.place, self.seed, self.folder = command, place, seed, folder
        self.outcomes = Outcomes()
        self.seen = [set() for _ in range(READERS)]
        self.reader_kills = 0
        self.silent_readers = []
        self._end = threading.Event()

    def run(self, seconds, *disturbances):
        threads = [threading.Thread(target=self._write, args=(i,)) for i in range(WRITERS)]
        threads += [threading.Thread(target=self._read, args=(i,)) for i in range(READERS)]
        threads += [threading.Thread(target=disturb, args=(self._end,)) for disturb in disturbances]
        for thread in threads:
            thread.start()
        time.sleep(seconds)
        self._end.set()
        for thread in threads:
            thread.join()

    def _write(self, writer):
        dice = random.Random(f"{self.seed} writer {writer}")
        number = 0
        while not self._end.is_set():
            number += 1
            text = f"{writer} {number} " + "x" * dice.choice((0, 10, 100, 3000))
            process = subprocess.Popen(
                [self.command, "log", "report", LOG, "10471", "error", text, *self.place],
                stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
            if dice.random() < KILLED:
                with contextlib.suppress(subprocess.TimeoutExpired):
                    process.wait(dice.random() * LONGEST_LIFE)
                process.kill()
            words = process.communicate()[1]
            if process.returncode == 0:
                self.outcomes.note("acknowledged", text)
            elif process.returncode == -signal.SIGKILL:
                self.outcomes.note("killed", text)
            elif process.returncode > 0 and words.strip():
                self.outcomes.note("refused", text, words.strip())
            else:
                self.outcomes.note("silent", text)

    def follow(self, reader, *options):
        """A reader that goes on where its state says."""
        return subprocess.Popen(
            [self.command, "log", "follow", LOG, "--from-start", "--json",
             "--state", str(self.folder / f"reader{reader}"), *options, *self.place],
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE)

    def _take(self, reader, output):
        for line in output.splitlines():
            # The line during which a reader was killed may be cut.
            with contextlib.suppress(ValueError):
                self.seen[reader].update(json.loads(line).get("args", []))

    def _read(self, reader):
        dice = random.Random(f"{self.seed} reader {reader}")
        while not self._end.is_set():
            process = self.follow(reader)
            killer = threading.Timer(0.5 + 3 * dice.random(), process.kill)
            killer.start()
            output, words = process.communicate()
            killer.cancel()
            self._take(reader, output)
            if process.returncode == -signal.SIGKILL:
                self.reader_kills += 1
            elif process.returncode != 0 and not words.strip():
                self.silent_readers.append(process.returncode)

    def catch_up(self):
        """Lets each reader read to the end, and yields what it has not seen of what was kept."""
        missed = []
        for reader in range(READERS):
            idle = 0
            while idle < 2:
                before = len(self.seen[reader])
                output, _ = self.follow(reader, "--timeout", "5s").communicate()
                self._take(reader, output)
                idle = idle + 1 if len(self.seen[reader]) == before else 0
            missed += [(reader, text) for text in self.outcomes.acknowledged - self.seen[reader]]
        return missed

    def records(self):
        show = subprocess.run([self.command, "log", "show", LOG, "--json", *self.place],
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, check=False)
        if show.returncode != 0:
            raise SystemExit(f"torture: the log cannot be read: {show.stderr.decode()}")
        return [json.loads(line)["args"][0] for line in show.stdout.splitlines()]


class FullDisk:
    """Fills a file system again and again, and frees it."""

    def __init__(self, folder, dice):
        self._path, self._dice, self.count = folder / "filler", dice, 0

    def __call__(self, end):
        while not end.wait(2 + 2 * self._dice.random()):
            with open(self._path, "wb", buffering=0) as filler:
                for size in (1 << 20, 1 << 12, 1 << 9):
                    with contextlib.suppress(OSError):
                        while filler.write(b"\0" * size) == size:
                            pass
            self.count += 1
            end.wait(0.3 + self._dice.random())
            self._path.unlink()


def verdict(name, trial, duplicates_allowed=False):
    """Prints the table of a trial; the number of things that were lost or wrong in silence."""
    outcomes = trial.outcomes
    records = trial.records()
    counts = {}
    for text in records:
        counts[text] = counts.get(text, 0) + 1
    missed = trial.catch_up()
    known = outcomes.acknowledged | outcomes.killed | set(outcomes.refused) | set(outcomes.silent)
    rows = [
        ("events tried", outcomes.tried(), False),
        ("said to be kept", len(outcomes.acknowledged), False),
        ("refused with words", len(outcomes.refused), False),
        ("writers killed", len(outcomes.killed), False),
        ("of their events, kept", sum(text in counts for text in outcomes.killed), False),
        ("readers killed", trial.reader_kills, False),
        ("ended without words", len(outcomes.silent) + len(trial.silent_readers), True),
        ("said to be kept and not there", sum(text not in counts for text in outcomes.acknowledged), True),
        ("refused and yet there", sum(text in counts for text in outcomes.refused), True),
        ("there twice", sum(count > 1 for count in counts.values()), not duplicates_allowed),
        ("there and never written", sum(text not in known for text in counts), True),
        ("kept and not seen by a reader", len(missed), True),
    ]
    print(f"\n{name}")
    for what, count, _ in rows:
        print(f"  {what:32}{count:>9}")
    for words in sorted({words.split(": ")[-1] for words in outcomes.refused.values()}):
        print(f"  refused because: {words}")
    return sum(count for _, count, is_wrong in rows if is_wrong)


def mount(folder, *options):
    folder.mkdir(parents=True, exist_ok=True)
    subprocess.run(["mount", "-t", "tmpfs", *options, "tmpfs", str(folder)], check=True)


def torture_store(arguments, folder, seconds):
    disk = folder / "disk"
    mount(disk, "-o", "size=256m")
    store = disk / "events.db"
    place = ["--store", str(store), "--store-capacity", "200000000"]
    trial = Trial(arguments.command, place, f"{arguments.seed} store", folder)
    full = FullDisk(disk, random.Random(f"{arguments.seed} disk"))
    trial.run(seconds, full)
    wrong = verdict(f"Store, {seconds:.0f} s, disk full {full.count} times", trial)
    with contextlib.closing(sqlite3.connect(store)) as database:
        answer = database.execute("PRAGMA integrity_check").fetchone()[0]
    print(f"  the file's own check: {answer}")
    return wrong + (answer != "ok")


def torture_journal(arguments, folder, seconds):
    daemon_path = "/lib/systemd/systemd-journald"
    if not os.path.exists(daemon_path):
        print("\nJournal: not tried, there is no systemd-journald")
        return 0
    for path in ("/run/systemd/journal", "/run/log/journal", "/var/log/journal"):
        mount(pathlib.Path(path), "-o", "size=256m")
    daemon = subprocess.Popen([daemon_path], stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                              stderr=subprocess.DEVNULL)
    try:
        while not os.path.exists("/run/systemd/journal/socket"):
            if daemon.poll() is not None:
                raise SystemExit("torture: the journal daemon ended")
            time.sleep(0.05)
        state = folder / "journal"
        state.mkdir()
        trial = Trial(arguments.command, ["--journal"], f"{arguments.seed} journal", state)
        trial.run(seconds)
        return verdict(f"Journal, {seconds:.0f} s", trial)
    finally:
        daemon.terminate()
        daemon.wait()


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--command", required=True, help=argparse.SUPPRESS)
    parser.add_argument("--minutes", type=float, default=3)
    parser.add_argument("--store-only", action="store_true")
    parser.add_argument("--seed", default="1")
    arguments = parser.parse_args()
    seconds = arguments.minutes * 60
    with tempfile.TemporaryDirectory(prefix="ondrel-torture-") as name:
        folder = pathlib.Path(name)
        try:
            wrong = torture_store(arguments, folder, seconds if arguments.store_only else seconds * 2 / 3)
            if not arguments.store_only:
                wrong += torture_journal(arguments, folder, seconds / 3)
        finally:
            subprocess.run(["umount", "-l", str(folder / "disk")], check=False)
    print(f"\n{wrong} lost or wrong in silence")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
