"""The watch service over real arrays and NVMe drives: what happens to them becomes events and mails."""

import sys
import time
import unittest

from machine import PATIENCE
from watch_machine import WatchTestCase, watch_machine


class WatchTest(WatchTestCase):
    machine_arguments = watch_machine(
        10, programs=["mdadm", "sqlite3"],
        modules=["virtio_pci", "virtio_net", "raid0", "raid1", "raid10", "raid456"])

    def test_a_failed_member_reaches_log_and_mail_and_a_hot_spare_takes_its_place(self):
        after = self.last_event()
        self.create("md1", 1, 0, 1, 2, spares=1)
        self.wait_for_events(after, (10454, 2, "SN0"), (10452, 2, "SN2"))
        after = self.last_event()
        with self.held("md1"):
            self.machine.check(f"mdadm /dev/md1 --fail {self.node(1)}")
            seconds = self.server.wait_for("admin@example.com", "SN1 ")
            print(f"\na failed member was mailed after {seconds:.2f} s", file=sys.stderr)
            self.server.wait_for("second@example.com", "SN1 ")
            self.wait_for_events(after, (10471, 4, "SN1"), (10412, 4), (10055, 2))
        self.wait_for_events(after, (10056, 2), (10415, 2), (10469, 2, "SN2"))
        drives, arrays = self.status()
        self.assertEqual("FAILED", drives["SN1"])
        self.assertEqual("OPERATIONAL", drives["SN2"])
        self.assertEqual("OPERATIONAL", arrays["md1"])
        # Removed it stays failed, silently; added again it is a spare.
        after = self.last_event()
        self.machine.check(f"mdadm /dev/md1 --remove {self.node(1)}")
        time.sleep(3)
        self.assertEqual([], self.events(after))
        self.assertEqual("FAILED", self.status()[0]["SN1"])
        self.machine.check(f"mdadm --zero-superblock {self.node(1)}; "
                           f"mdadm /dev/md1 --add {self.node(1)}")
        self.wait_for_events(after, (10457, 2, "SN1"))

    def test_b_member_that_is_replaced_on_request_is_available(self):
        self.create("md2", 1, 3, 4)
        after = self.last_event()
        with self.held("md2"):
            self.machine.check(f"mdadm /dev/md2 --add-spare {self.node(5)}; "
                               f"mdadm /dev/md2 --replace {self.node(4)} --with {self.node(5)}")
            self.wait_for_events(after, (10055, 2))
        self.wait_for_events(after, (10056, 2), (10470, 2, "SN4"))
        self.assertEqual("AVAILABLE", self.status()[0]["SN4"])

    def test_c_checks_end_are_cancelled_and_find_differences(self):
        self.create("md3", 1, 3, 4)
        check = "echo check >/sys/block/md3/md/sync_action"
        after = self.last_event()
        with self.held("md3"):
            self.machine.check(check)
            self.wait_for_events(after, (10060, 2))
        self.wait_for_events(after, (10061, 2))
        after = self.last_event()
        with self.held("md3"):
            self.machine.check(check)
            self.wait_for_events(after, (10060, 2))
            # It can be distinguished from a finished one when the kernel has noted how far it came.
            self.machine.wait_for('[ "$(cut -d" " -f1 /sys/block/md3/md/sync_completed)" -gt 0 ]')
            self.machine.check("echo idle >/sys/block/md3/md/sync_action")
        self.wait_for_events(after, (10063, 2))
        after = self.last_event()
        self.machine.check(f"dd if=/dev/urandom of={self.node(4)} bs=1M seek=20 count=1 conv=fsync; "
                           "echo 0 >/sys/block/md3/md/sync_min")
        with self.held("md3"):
            self.machine.check(check)
            self.wait_for_events(after, (10060, 2))
        self.wait_for_events(after, (10066, 3))

    def test_d_every_level_has_its_statuses(self):
        for level, numbers, steps in (
                ("6", (0, 1, 2, 3), ("PARTIALLY_DEGRADED", "DEGRADED")),
                ("5", (0, 1, 2), ("DEGRADED",)),
                ("10", (0, 1, 2, 3), ("DEGRADED",)),
                ("1", (0, 1, 2), ("PARTIALLY_DEGRADED", "DEGRADED"))):
            with self.subTest(level):
                self.create("md4", level, *numbers)
                self.idle("md4")
                for number, expected in zip(numbers, steps):
                    after = self.last_event()
                    self.machine.check(f"mdadm /dev/md4 --fail {self.node(number)}")
                    self.wait_for_events(after, (10471, 4, f"SN{number}"))
                    self.assertEqual(expected, self.status()[1]["md4"])
                after = self.last_event()
                self.machine.check("mdadm --stop /dev/md4")
                self.wait_for_events(after, (10809, 3))
                for number in numbers:
                    self.machine.check(f"mdadm --zero-superblock {self.node(number)}")

    def test_e_an_array_that_is_stopped_and_assembled(self):
        self.create("md5", 1, 3, 4)
        after = self.last_event()
        self.machine.check("mdadm --stop /dev/md5")
        self.wait_for_events(after, (10809, 3))
        after = self.last_event()
        self.machine.check(f"mdadm --assemble /dev/md5 {self.node(3)} {self.node(4)}")
        self.wait_for_events(after, (10454, 2, "SN3"), (10454, 2, "SN4"))

    def test_f_a_health_warning_that_is_set_while_running(self):
        after = self.last_event()
        self.machine.monitor("qom-set", path="/machine/peripheral/n6",
                             property="smart_critical_warning", value=4)
        self.wait_for_events(after, (10045, 4, "SN6"))
        self.assertEqual("AVAILABLE_SMART", self.status()[0]["SN6"])
        self.machine.monitor("qom-set", path="/machine/peripheral/n6",
                             property="smart_critical_warning", value=0)

    def test_g_the_service_is_killed_at_any_moment_and_loses_nothing(self):
        self.create("md7", 1, 3, 4, 5)
        self.idle("md7")
        after = self.last_event()
        for turn in range(4):
            self.machine.check(f"mdadm /dev/md7 --fail {self.node(5)}")
            self.machine.check(f"usleep {150000 + 130000 * turn}; kill -9 $(cat /root/pid); "
                               "rm -f /root/watch.prom")
            self.start()
            self.wait_for_events(after, (10471, 4, "SN5"))
            self.machine.check(f"mdadm /dev/md7 --remove {self.node(5)}; "
                               f"mdadm --zero-superblock {self.node(5)}; "
                               f"mdadm /dev/md7 --add {self.node(5)}")
            self.wait_until_working("md7", 3, 4, 5)
            after = self.last_event()
        deadline = time.monotonic() + PATIENCE
        while self.query("SELECT count(*) FROM mails WHERE state < 2") != ["0"]:
            self.assertLess(time.monotonic(), deadline, "mails are left")
            time.sleep(0.5)
        sent = [message for _, _, message in self.server.mails()]
        wanted = [f"<{line}>" for line in self.query("SELECT message_id FROM mails")]
        for message in wanted:
            self.assertIn(sent.count(message), (1, 2), message)

    def test_h_a_disk_that_is_pulled_from_an_idle_array(self):
        self.create("md8", 1, 7, 8)
        after = self.last_event()
        self.machine.remove_device("n8")
        self.wait_for_events(after, (10033, 3, "SN8"), (10471, 4, "SN8"), (10412, 4))
        drives, arrays = self.status()
        self.assertEqual("FAILED", drives["SN8"])
        self.assertEqual("DEGRADED", arrays["md8"])

        self.machine.check("mdadm --stop /dev/md8")
        self.create("md9", 0, 7, 9)
        after = self.last_event()
        self.machine.remove_device("n9")
        self.wait_for_events(after, (10033, 3, "SN9"), (10471, 4, "SN9"), (10414, 4))
        self.assertEqual("FAILED", self.status()[1]["md9"])

    def test_i_at_rest_it_takes_little(self):
        pid = self.machine.check("cat /root/pid").strip()
        # The default interval: the test's own asks for health more often.
        self.machine.check("cp /root/watch.conf /root/fast.conf; "
                           "sed -i s/interval=5/interval=60/ /root/watch.conf; "
                           f"kill -HUP {pid}; sleep 4")

        def ticks(process):
            stat = self.machine.check(f"cat /proc/{process}/stat")
            return sum(map(int, stat.rsplit(")", 1)[1].split()[11:13]))

        def wakes():
            return int(self.machine.check(
                f"grep ^voluntary_ctxt_switches /proc/{pid}/status").split()[1])

        spent, woken = [], []
        # A host that is busy with other work adds to what an emulated processor counts: the least
        # of some spans is nearest to what the service takes.
        while len(spent) < 4 and (min(spent, default=6) > 5 or min(woken) > 15):
            before = ticks(pid), wakes()
            time.sleep(10)
            spent.append(ticks(pid) - before[0])
            woken.append(wakes() - before[1])
        # What the machine takes to look four times, as a program of its own each time.
        times = self.machine.check("for i in 1 2 3 4; do ondrel watch --once >/dev/null; done; "
                                   "cat /proc/$$/stat").rsplit(")", 1)[1].split()
        looks = int(times[13]) + int(times[14])
        resident = int(self.machine.check(f"grep VmRSS /proc/{pid}/status").split()[1])
        print(f"\nat rest: {spent} ticks in 10 s, {woken} times awake, {resident} kB resident; "
              f"four looks by hand take {looks} ticks", file=sys.stderr)
        self.machine.check(f"cp /root/fast.conf /root/watch.conf; kill -HUP {pid}")
        self.assertLessEqual(min(woken), 15)
        # On a host too busy for that, still no more than one look by hand takes at the machine's own speed.
        self.assertLessEqual(min(spent), max(5, looks // 4))
        self.assertLessEqual(resident, 16 * 1024)

    def test_j_it_ends_in_time_with_everything_kept(self):
        after = self.last_event()
        self.create("md9", 1, 3, 4)
        self.wait_for_events(after, (10454, 2, "SN4"))
        # It is gone when the machine's time is not over: how long that takes without a mail that
        # hangs depends on the host.
        self.machine.check("kill $(cat /root/pid); "
                           "while kill -0 $(cat /root/pid) 2>/dev/null; do usleep 20000; done")
        after = self.last_event()
        self.machine.check(f"mdadm /dev/md9 --fail {self.node(4)}; rm -f /root/watch.prom")
        self.start()
        # What happened while it was down is reported once.
        self.wait_for_events(after, (10471, 4, "SN4"), (10412, 4))
        time.sleep(2)
        codes = [code for code, _, name in self.events(after) if code == "10471" and name == "SN4"]
        self.assertEqual(1, len(codes))


if __name__ == "__main__":
    unittest.main(verbosity=2)
