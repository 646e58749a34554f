"""Writers and readers of an event log that are killed at any moment, and what became of each event."""

import contextlib
import json
import os
import random
import signal
import subprocess
import threading
import time

LOG = "torture"
WRITERS = 4
READERS = 2
# Of the reports, those whose writer is killed; and how long it may live, in seconds.
KILLED = 0.15
LONGEST_LIFE = 0.15
# Of the reports, those whose writer has another time than the machine, and by how many seconds at most.
OTHER_CLOCK = 0.15
CLOCK_OFFSET = 2 * 86400
CLOCK_LIBRARY = "/usr/lib/x86_64-linux-gnu/faketime/libfaketime.so.1"


class Outcomes:
    """What became of each event: by its text, the last word of its writer."""

    def __init__(self):
        self._lock = threading.Lock()
        # Of an acknowledged event, when its writer began and ended.
        self.acknowledged, self.refused, self.killed, self.silent = {}, {}, set(), []
        self.other_clocks = 0

    def note(self, kind, text, began, words=""):
        with self._lock:
            if kind == "acknowledged":
                self.acknowledged[text] = (began, time.monotonic())
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

    def __init__(self, command, place, seed, folder, with_other_clocks=False):
        self.command, self.place, self.seed, self.folder = command, place, seed, folder
        self.outcomes = Outcomes()
        self.seen = [set() for _ in range(READERS)]
        self.reader_kills = 0
        self.silent_readers = []
        self._end = threading.Event()
        if with_other_clocks and not os.path.exists(CLOCK_LIBRARY):
            raise SystemExit(f"torture: there is no {CLOCK_LIBRARY} (package libfaketime)")
        self._with_other_clocks = with_other_clocks

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

    def _environment(self, dice):
        if not self._with_other_clocks or dice.random() >= OTHER_CLOCK:
            return None
        self.outcomes.other_clocks += 1
        return {**os.environ, "LD_PRELOAD": CLOCK_LIBRARY,
                "FAKETIME": f"{dice.randint(-CLOCK_OFFSET, CLOCK_OFFSET):+d}s"}

    def _write(self, writer):
        dice = random.Random(f"{self.seed} writer {writer}")
        number = 0
        while not self._end.is_set():
            number += 1
            text = f"{writer} {number} " + "x" * dice.choice((0, 10, 100, 3000))
            began = time.monotonic()
            process = subprocess.Popen(
                [self.command, "log", "report", LOG, "10471", "error", text, *self.place],
                stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True,
                env=self._environment(dice))
            if dice.random() < KILLED:
                with contextlib.suppress(subprocess.TimeoutExpired):
                    process.wait(dice.random() * LONGEST_LIFE)
                process.kill()
            words = process.communicate()[1]
            if process.returncode == 0:
                self.outcomes.note("acknowledged", text, began)
            elif process.returncode == -signal.SIGKILL:
                self.outcomes.note("killed", text, began)
            elif process.returncode > 0 and words.strip():
                self.outcomes.note("refused", text, began, words.strip())
            else:
                self.outcomes.note("silent", text, began)

    def follow(self, reader, *options):
        """A reader that goes on where its state says."""
        return subprocess.Popen(
            [self.command, "log", "follow", LOG, "--from-start", "--json",
             "--state", str(self.folder / f"reader{reader}"), *options, *self.place],
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE)

    def _take(self, reader, output):
        """Notes the records that a reader has printed; whether it has printed a failure too."""
        failed = False
        for line in output.splitlines():
            # The line during which a reader was killed may be cut.
            with contextlib.suppress(ValueError):
                item = json.loads(line)
                self.seen[reader].update(item.get("args", []))
                failed = failed or "error" in item
        return failed

    def _read(self, reader):
        dice = random.Random(f"{self.seed} reader {reader}")
        while not self._end.is_set():
            process = self.follow(reader)
            killer = threading.Timer(0.5 + 3 * dice.random(), process.kill)
            killer.start()
            output, words = process.communicate()
            killer.cancel()
            has_words = self._take(reader, output) or words.strip()
            if process.returncode == -signal.SIGKILL:
                self.reader_kills += 1
            elif process.returncode != 0 and not has_words:
                self.silent_readers.append(process.returncode)

    def catch_up(self):
        """Lets each reader read to the end, as long as it sees more."""
        for reader in range(READERS):
            idle = 0
            while idle < 2:
                before = len(self.seen[reader])
                output, _ = self.follow(reader, "--timeout", "5s").communicate()
                self._take(reader, output)
                idle = idle + 1 if len(self.seen[reader]) == before else 0

    def missed(self, texts):
        """(reader, text) for each of these events that a reader has not seen."""
        return [(reader, text) for reader in range(READERS) for text in texts if text not in self.seen[reader]]

    def show(self):
        """The texts of the log's records, and the words beside them: of what is damaged, or of why there
        are none."""
        show = subprocess.run([self.command, "log", "show", LOG, "--json", *self.place],
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, check=False)
        lines = [json.loads(line) for line in show.stdout.splitlines()]
        texts = [line["args"][0] for line in lines if "args" in line]
        # A failure, and on standard error what is damaged or missing, beside what the command is doing.
        words = [str(line) for line in lines if "args" not in line]
        words += [line for line in show.stderr.decode().splitlines() if line.startswith("{")]
        if show.returncode != 0 and not words:
            self.silent_readers.append(show.returncode)
        return texts, words


def print_rows(name, rows, outcomes=None):
    """Prints the table of a trial from (what, count, whether it may not be); the sum of those that may
    not."""
    print(f"\n{name}")
    for what, count, _ in rows:
        print(f"  {what:36}{count:>9}")
    if outcomes:
        for words in sorted({words.split(": ")[-1] for words in outcomes.refused.values()}):
            print(f"  refused because: {words}")
    return sum(count for _, count, is_wrong in rows if is_wrong)


def common_rows(trial):
    outcomes = trial.outcomes
    return [
        ("events tried", outcomes.tried(), False),
        ("writers with another clock", outcomes.other_clocks, False),
        ("said to be kept", len(outcomes.acknowledged), False),
        ("refused with words", len(outcomes.refused), False),
        ("writers killed", len(outcomes.killed), False),
        ("readers killed", trial.reader_kills, False),
        ("ended without words", len(outcomes.silent) + len(trial.silent_readers), True),
    ]


def verdict(name, trial):
    """Prints the table of a trial whose log was left alone; the number of things that were lost or wrong
    in silence."""
    outcomes = trial.outcomes
    records, words = trial.show()
    if words:
        raise SystemExit(f"torture: the log cannot be read: {words}")
    counts = {}
    for text in records:
        counts[text] = counts.get(text, 0) + 1
    trial.catch_up()
    known = {*outcomes.acknowledged, *outcomes.killed, *outcomes.refused, *outcomes.silent}
    return print_rows(name, common_rows(trial) + [
        ("of killed writers, kept", sum(text in counts for text in outcomes.killed), False),
        ("said to be kept and not there", sum(text not in counts for text in outcomes.acknowledged), True),
        ("refused and yet there", sum(text in counts for text in outcomes.refused), True),
        ("there twice", sum(count > 1 for count in counts.values()), True),
        ("there and never written", sum(text not in known for text in counts), True),
        ("kept and not seen by a reader", len(trial.missed(outcomes.acknowledged)), True),
    ], outcomes)
