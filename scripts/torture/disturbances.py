"""What happens to an event store while it is written and read."""

import contextlib
import os
import time

from events import common_rows, print_rows

PAGE = 4096


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


class ChangingStore:
    """Removes a store again and again while it is used, every other time after it was damaged, and
    compares what was in it with what its writers were told."""

    def __init__(self, trial, store, dice):
        self._trial, self._store, self._dice = trial, store, dice
        self._since = time.monotonic()
        self.replaced = self.damaged = 0
        self.checked = self.missing_with_words = self.missing = self.removed = 0

    def __call__(self, end):
        while not end.wait(2 + 2 * self._dice.random()):
            if not self._store.exists():
                continue
            is_damaged = (self.replaced + self.damaged) % 2 == 1
            if is_damaged:
                self._damage()
                end.wait(0.5 + self._dice.random())
            self._check()
            # Writers that still have the file write into what is no more.
            for suffix in ("", "-wal", "-shm") if is_damaged else ("",):
                with contextlib.suppress(FileNotFoundError):
                    os.unlink(f"{self._store}{suffix}")
            self._since = time.monotonic()
            if is_damaged:
                self.damaged += 1
            else:
                self.replaced += 1

    def _damage(self):
        with open(self._store, "r+b", buffering=0) as file:
            size = os.fstat(file.fileno()).st_size
            pages = size // PAGE
            kind = self._dice.choice(("page", "bytes", "half", "header"))
            if kind == "half" and pages > 1:
                file.truncate(size // 2)
            elif kind == "header":
                file.write(self._dice.randbytes(100))
            elif pages > 1:
                start = self._dice.randrange(1, pages) * PAGE
                file.seek(start + (self._dice.randrange(PAGE - 64) if kind == "bytes" else 0))
                file.write(self._dice.randbytes(64) if kind == "bytes" else b"\0" * PAGE)

    def _check(self):
        """Counts what is missing of the events that were said to be kept since the store was made."""
        before = time.monotonic()
        kept = [text for text, (began, ended) in list(self._trial.outcomes.acknowledged.items())
                if began > self._since and ended < before]
        records, words = self._trial.show()
        there = set(records)
        missing = sum(text not in there for text in kept)
        self.checked += len(kept)
        if words:
            self.missing_with_words += missing
        else:
            self.missing += missing

    def verdict(self, name):
        trial, outcomes = self._trial, self._trial.outcomes
        self._check()
        records, words = trial.show()
        trial.catch_up()
        last = [text for text, (began, _) in outcomes.acknowledged.items()
                if began > self._since and text in set(records)]
        known = {*outcomes.acknowledged, *outcomes.killed, *outcomes.refused, *outcomes.silent}
        return print_rows(name, common_rows(trial) + [
            ("times that it was removed", self.replaced, False),
            ("times that it was damaged", self.damaged, False),
            ("compared before a removal", self.checked, False),
            ("missing, and damage was named", self.missing_with_words, False),
            ("missing, and nothing was said", self.missing, True),
            ("there and never written", sum(text not in known for text in records), True),
            ("kept and not seen by a reader", 0 if words else len(trial.missed(last)), True),
        ], outcomes)
