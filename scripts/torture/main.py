#!/usr/bin/env python3
"""The work of torture.sh, in a mount namespace of its own."""

import argparse
import contextlib
import os
import pathlib
import random
import sqlite3
import subprocess
import sys
import tempfile
import time

from disturbances import ChangingStore, FullDisk
from events import Trial, verdict
from mails import torture_mails

MACHINE_TEST = pathlib.Path(__file__).resolve().parents[2] / "Tests" / "Vm" / "watch_torture_test.py"
# Of the time, the share of each trial.
SHARES = {"store": 0.25, "changing": 0.2, "journal": 0.1, "mails": 0.3, "machine": 0.15}


def mount(folder, *options):
    folder.mkdir(parents=True, exist_ok=True)
    subprocess.run(["mount", "-t", "tmpfs", *options, "tmpfs", str(folder)], check=True)


@contextlib.contextmanager
def disk_of(folder, name):
    disk = folder / name
    mount(disk, "-o", "size=256m")
    try:
        yield disk
    finally:
        subprocess.run(["umount", "-l", str(disk)], check=True)


def torture_store(arguments, folder, seconds):
    with disk_of(folder, "disk") as disk:
        store = disk / "events.db"
        place = ["--store", str(store), "--store-capacity", "200000000"]
        trial = Trial(arguments.command, place, f"{arguments.seed} store", folder, with_other_clocks=True)
        full = FullDisk(disk, random.Random(f"{arguments.seed} disk"))
        trial.run(seconds, full)
        wrong = verdict(f"Store, {seconds:.0f} s, disk full {full.count} times", trial)
        with contextlib.closing(sqlite3.connect(store)) as database:
            answer = database.execute("PRAGMA integrity_check").fetchone()[0]
        print(f"  the file's own check: {answer}")
        return wrong + (answer != "ok")


def torture_changing(arguments, folder, seconds):
    with disk_of(folder, "changing") as disk:
        store = disk / "events.db"
        place = ["--store", str(store), "--store-capacity", "50000000"]
        trial = Trial(arguments.command, place, f"{arguments.seed} changing", disk)
        changing = ChangingStore(trial, store, random.Random(f"{arguments.seed} changes"))
        trial.run(seconds, changing)
        return changing.verdict(f"Store that is removed and damaged, {seconds:.0f} s")


def torture_journal(arguments, folder, seconds):
    daemon_path = "/lib/systemd/systemd-journald"
    if not os.path.exists(daemon_path):
        raise SystemExit(f"torture: there is no {daemon_path}")
    for path in ("/run/systemd/journal", "/run/log/journal", "/var/log/journal",
                 "/run/systemd/journald.conf.d"):
        mount(pathlib.Path(path), "-o", "size=2g")
    # A tenth of the disk is what a journal keeps by itself, and the oldest entries make room.
    pathlib.Path("/run/systemd/journald.conf.d/torture.conf").write_text(
        "[Journal]\nStorage=persistent\nSystemMaxUse=1900M\nSystemKeepFree=1M\nRateLimitIntervalSec=0\n",
        encoding="utf-8")
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


def torture_machine(arguments, _, seconds):
    sys.stdout.flush()
    answer = subprocess.run(
        [sys.executable, "-B", str(MACHINE_TEST)], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
        stderr=subprocess.PIPE, text=True, check=False,
        env={**os.environ, "ONDREL_BUILD": str(pathlib.Path(arguments.command).parents[1]),
             "ONDREL_TORTURE_SECONDS": str(seconds), "ONDREL_TORTURE_SEED": arguments.seed})
    print(answer.stdout, end="")
    if answer.returncode != 0:
        print(answer.stderr, end="")
    return int(answer.returncode != 0)


def above_zero(of_type):
    """An argument's type: a number above 0."""
    def number(text):
        value = of_type(text)
        if not 0 < value < float("inf"):
            raise argparse.ArgumentTypeError(f"{text} is not a number above 0")
        return value
    number.__name__ = of_type.__name__
    return number


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--command", required=True, help=argparse.SUPPRESS)
    parser.add_argument("--minutes", type=above_zero(float), default=3)
    parser.add_argument("--only", choices=SHARES, action="append")
    parser.add_argument("--mails", type=above_zero(int), default=10000)
    parser.add_argument("--seed", default="1")
    arguments = parser.parse_args()
    trials = {
        "store": torture_store, "changing": torture_changing, "journal": torture_journal,
        "mails": lambda arguments, _, seconds:
            torture_mails(arguments.command, arguments.seed, seconds, arguments.mails),
        "machine": torture_machine,
    }
    chosen = arguments.only or list(SHARES)
    whole = sum(SHARES[name] for name in chosen)
    wrong = 0
    with tempfile.TemporaryDirectory(prefix="ondrel-torture-") as name:
        for trial in chosen:
            seconds = arguments.minutes * 60 * SHARES[trial] / whole
            wrong += trials[trial](arguments, pathlib.Path(name), seconds)
            sys.stdout.flush()
    print(f"\n{wrong} lost or wrong in silence")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
