"""The watch service in trouble: full disks, lost notices, drives that are reset, memory over time."""

import sys
import time
import unittest

from machine import BUILD_FOLDER, PATIENCE, MachineTestCase
from watch_machine import CONFIGURATION, WatchTestCase, watch_machine

HEALTH_POLLS = BUILD_FOLDER / "Tests" / "Support" / "ondrel-test-health-polls"
POLLS = 1000


class WatchFaultsTest(WatchTestCase):
    machine_arguments = watch_machine(
        4, programs=["mdadm", "sqlite3", "nvme"],
        modules=["virtio_pci", "virtio_net", "raid1"])
    configuration = CONFIGURATION.replace("/root/events.db", "/root/log/events.db").replace(
        "/root/watch.db", "/root/state/watch.db")
    database = "/root/state/watch.db"

    @classmethod
    def prepare(cls):
        for folder in ("log", "state"):
            cls.machine.check(f"mkdir /root/{folder}; "
                              f"mount -t tmpfs -o size=4m tmpfs /root/{folder}")

    def create_quietly(self, name, *numbers):
        """Makes a mirror, and waits until the service has nothing left to write about it."""
        self.create(name, 1, *numbers)
        self.idle(name)
        self.wait_for_rows("SELECT (SELECT count(*) FROM events WHERE log_state < 2) + "
                           "(SELECT count(*) FROM mails WHERE state < 2)", "0")

    def wait_for_rows(self, sql, *wanted, limit=PATIENCE):
        deadline = time.monotonic() + limit
        while (rows := self.query(sql)) != list(wanted):
            self.assertLess(time.monotonic(), deadline, f"{sql}: {rows}")
            time.sleep(0.2)

    def fill(self, folder):
        self.addCleanup(self.drain, folder)
        # A database that is closed meanwhile gives its write-ahead log's room back.
        self.machine.check(f"cd /root/{folder}; n=0; while dd if=/dev/zero of=filler$n bs=4k; "
                           "[ -s filler$n ]; do n=$((n+1)); done")

    def drain(self, folder):
        self.machine.check(f"rm -f /root/{folder}/filler*")

    def wait_for_words(self, words):
        self.machine.wait_for(f"grep -q '{words}' /root/watch.log")

    def test_a_an_event_on_a_full_disk_reaches_the_log_when_there_is_room(self):
        self.create_quietly("md1", 0, 1)
        self.fill("log")
        after = self.last_event()
        self.machine.check(f"mdadm /dev/md1 --fail {self.node(1)}")
        # The mail does not wait for the log.
        self.server.wait_for("admin@example.com", "SN1 ")
        self.wait_for_words("event log: ")
        self.assertNotEqual(["0"], self.query(
            f"SELECT count(*) FROM events WHERE id > {after} AND log_state < 2"))
        self.drain("log")
        start = time.monotonic()
        self.wait_for_events(after, (10471, 4, "SN1"))
        print(f"\nin the log {time.monotonic() - start:.1f} s after there was room",
              file=sys.stderr)
        self.wait_for_words("event log: works again")
        shown = self.machine.check("ondrel --store /root/log/events.db log show RAID")
        self.assertEqual(1, sum("10471 " in line and "SN1" in line for line in shown.splitlines()))

    def test_b_an_event_that_the_full_state_file_does_not_take_comes_later(self):
        self.create_quietly("md2", 2, 3)
        self.fill("state")
        after = self.last_event()
        self.machine.check(f"mdadm /dev/md2 --fail {self.node(3)}")
        self.wait_for_words("state file: ")
        self.assertEqual([], self.events(after))
        self.drain("state")
        self.wait_for_events(after, (10471, 4, "SN3"))
        self.wait_for_words("state file: works again")

    def feature(self, number):
        controller = self.node(number).removesuffix("n1")
        said = self.machine.check(f"nvme get-feature {controller} -f 0x0b")
        return int(said.strip().rsplit(":", 1)[1], 16)

    def test_c_an_armed_drive_says_itself_that_its_health_is_bad(self):
        self.assertNotEqual(0x1F, self.feature(0) & 0x1F)
        controller = self.node(0).removesuffix("n1").removeprefix("/dev/")
        self.machine.check("cp /root/watch.conf /root/fast.conf; sed -i "
                           "'s/interval=5/interval=3600\\narm-events=yes/' /root/watch.conf; "
                           "kill -HUP $(cat /root/pid)")
        deadline = time.monotonic() + PATIENCE
        while self.feature(0) & 0x1F != 0x1F:
            self.assertLess(time.monotonic(), deadline, "the drive is not armed")
            time.sleep(0.2)
        after = self.last_event()
        self.machine.monitor("qom-set", path="/machine/peripheral/n0",
                             property="smart_critical_warning", value=4)
        # The next question for health is an hour away.
        self.wait_for_events(after, (10045, 4, "SN0"))
        self.machine.monitor("qom-set", path="/machine/peripheral/n0",
                             property="smart_critical_warning", value=0)

        # A reset undoes it; the next question for health does it again.
        self.machine.check("sed -i s/interval=3600/interval=5/ /root/watch.conf; "
                           f"echo 1 >/sys/class/nvme/{controller}/reset_controller; "
                           "kill -HUP $(cat /root/pid)")
        deadline = time.monotonic() + PATIENCE
        while self.feature(0) & 0x1F != 0x1F:
            self.assertLess(time.monotonic(), deadline, "the drive is not armed again")
            time.sleep(0.2)
        self.machine.check("cp /root/fast.conf /root/watch.conf; kill -HUP $(cat /root/pid)")

    def test_d_after_lost_notices_everything_is_looked_at(self):
        after = self.last_event()
        self.machine.check("kill -STOP $(cat /root/pid)")
        self.machine.remove_device("n3")
        # More notices than the kernel keeps for one who does not read them.
        self.machine.check("i=0; while [ $i -lt 4000 ]; do "
                           "echo change >/sys/class/block/nvme0n1/uevent; i=$((i+1)); done; "
                           "kill -CONT $(cat /root/pid)")
        self.wait_for_words("notices of the kernel were lost")
        self.wait_for_events(after, (10033, 3, "SN3"))
        # And it hears of what comes later.
        after = self.last_event()
        self.machine.remove_device("n2")
        self.wait_for_events(after, (10033, 3, "SN2"))


class HealthPollsTest(MachineTestCase):
    machine_arguments = watch_machine(1, programs=[str(HEALTH_POLLS)])

    def test_memory_is_flat_over_a_thousand_questions_for_health(self):
        self.machine.wait_for("[ -e /dev/nvme0n1 ]")
        said = self.machine.check([HEALTH_POLLS.name, "100", str(POLLS)])
        drives, first, last = map(int, said.split())
        print(f"\n{POLLS} polls of {drives} drive: {first} kB, then {last} kB resident",
              file=sys.stderr)
        self.assertEqual(1, drives)
        # An answer that is kept for each question would be 4 MB.
        self.assertLessEqual(last - first, 256)


if __name__ == "__main__":
    unittest.main(verbosity=2)
