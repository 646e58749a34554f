"""Arrays that fail and heal again and again while the watch service is killed and its mail server fails.

ONDREL_TORTURE_SECONDS says for how long, ONDREL_TORTURE_SEED what is drawn.
"""

import json
import os
import random
import sys
import threading
import time
import unittest

from machine import PATIENCE, SOURCE_FOLDER
from watch_machine import WatchTestCase, watch_machine

sys.path.insert(0, str(SOURCE_FOLDER / "scripts" / "torture"))
from events import print_rows
from mails import Server

SECONDS = float(os.environ.get("ONDREL_TORTURE_SECONDS", "30"))
SEED = os.environ.get("ONDREL_TORTURE_SEED", "1")
DRIVES = 3
# Beside the time for the torture: the start, what is left at the end, a busy machine.
MORE_SECONDS = 1500


class FailingMailServer:
    def __enter__(self):
        self._server = Server(SEED, field="Message-ID", failing=0.3)
        self.port = self._server.server_address[1]
        self.taken = self._server.taken
        threading.Thread(target=self._server.serve_forever, daemon=True).start()
        return self

    def __exit__(self, *_):
        self._server.shutdown()
        self._server.server_close()

    def failures(self):
        return self._server.failures


class WatchTortureTest(WatchTestCase):
    machine_arguments = watch_machine(
        DRIVES, programs=["mdadm", "sqlite3"], modules=["virtio_pci", "virtio_net", "raid1"],
        time_limit=SECONDS + MORE_SECONDS)
    mail_server = FailingMailServer

    def test_nothing_is_lost(self):
        dice = random.Random(f"{SEED} machine")
        self.create("md1", 1, *range(DRIVES))
        self.idle("md1")
        first = self.last_event()
        faults = kills = 0
        end = time.monotonic() + SECONDS
        while faults == 0 or time.monotonic() < end:
            number = dice.randrange(DRIVES)
            after = self.last_event()
            self.machine.check(f"mdadm /dev/md1 --fail {self.node(number)}")
            faults += 1
            while dice.random() < 0.5:
                self.machine.check(f"usleep {dice.randrange(1500000)}; kill -9 $(cat /root/pid); "
                                   "rm -f /root/watch.prom")
                self.start()
                kills += 1
            self.wait_for_events(after, (10471, 4, f"SN{number}"))
            self.machine.check(f"mdadm /dev/md1 --remove {self.node(number)}; "
                               f"mdadm --zero-superblock {self.node(number)}; "
                               f"mdadm /dev/md1 --add {self.node(number)}")
            self.wait_until_working("md1", *range(DRIVES))
        self.send_the_rest()
        wrong = self.print_table(first, faults, kills)
        self.assertEqual(0, wrong)

    def send_the_rest(self, limit=2 * PATIENCE):
        """Waits until the queue is empty, without the service's patience."""
        deadline = time.monotonic() + limit
        while self.query("SELECT count(*) FROM mails WHERE state < 2") != ["0"]:
            self.assertLess(time.monotonic(), deadline, "mails are left")
            self.machine.run("ondrel watch --queue retry --config /root/watch.conf")
            time.sleep(1)

    def print_table(self, first, faults, kills):
        """What there is wrong in silence, after the table."""
        events = self.query(f"SELECT code, log_state FROM events WHERE id > {first}")
        failed = sum(line.startswith("10471|") for line in events)
        mails = [f"<{line}>" for line in self.query("SELECT message_id FROM mails")]
        shown = self.machine.check("ondrel --json --store /root/events.db log show RAID").splitlines()
        logged = sum(json.loads(line).get("eventID") == 10471 for line in shown)
        taken = self.server.taken
        return print_rows(f"Watch service, {SECONDS:.0f} s", [
            ("drives that failed", faults, False),
            ("times that it was killed", kills, False),
            ("events", len(events), False),
            ("mails", len(mails), False),
            ("dialogues that the server failed", self.server.failures(), False),
            ("mails that came more than once", sum(taken.get(mail, 0) > 1 for mail in mails), False),
            ("failures without an event", max(0, faults - failed), True),
            ("failures that are events twice", max(0, failed - faults), True),
            ("events that did not reach the log", sum(not line.endswith("|2") for line in events), True),
            ("failures that the log has not", max(0, faults - logged), True),
            ("failures that it has more than once", max(0, logged - faults), False),
            ("mails that did not come", sum(mail not in taken for mail in mails), True),
        ])


if __name__ == "__main__":
    unittest.main(verbosity=2)
