"""The watch service over real arrays and NVMe drives: what happens to them becomes events and mails."""

import json
import pathlib
import subprocess
import sys
import tempfile
import time
import unittest

from machine import SOURCE_FOLDER, Machine, MachineTestCase

DRIVES = 10
DISK_SIZE = 40 << 20
MAIL_SERVER = SOURCE_FOLDER / "Tests" / "Support" / "smtp_server.py"

DEVICES = ["-netdev", "user,id=net", "-device", "virtio-net-pci,netdev=net"]
for number in range(DRIVES):
    DEVICES += ["-device", f"pcie-root-port,id=slot{number},chassis={number + 1}",
                "-drive", f"file={{folder}}/d{number},format=raw,if=none,id=d{number}",
                "-device", f"nvme,id=n{number},bus=slot{number},serial=SN{number},drive=d{number}"]

CONFIGURATION = """[log]
name=RAID
store=/root/events.db
[mail]
server=10.0.2.2
port={port}
from=raid@example.com
to=admin@example.com, second@example.com
[health]
interval=1
[metrics]
file=/root/watch.prom
[state]
file=/root/watch.db
"""


class MailServer:
    """An SMTP server on loopback that keeps what it receives."""

    def __enter__(self):
        self._folder = tempfile.TemporaryDirectory(prefix="ondrel-mails-")
        self.folder = pathlib.Path(self._folder.name)
        self._process = subprocess.Popen(
            [sys.executable, str(MAIL_SERVER), "--store", str(self.folder)],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        self.port = int(self._process.stdout.readline().split()[1])
        return self

    def __exit__(self, *_):
        self._process.stdin.close()
        self._process.wait()
        self._process.stdout.close()
        self._folder.cleanup()

    def mails(self):
        """(recipient, subject, Message-ID) of each mail."""
        found = []
        for path in self.folder.glob("*.envelope"):
            envelope = dict(line.split(": ", 1) for line in path.read_text().splitlines()
                            if ": " in line)
            head = dict(line.split(": ", 1)
                        for line in path.with_suffix(".eml").read_text().split("\n\n")[0].splitlines()
                        if ": " in line)
            found.append((envelope["to"], head["Subject"], head["Message-ID"]))
        return found

    def wait_for(self, recipient, words, limit=60):
        """Waits for a mail to a recipient whose subject holds the words; yields the seconds."""
        start = time.monotonic()
        while time.monotonic() - start < limit:
            if any(to == recipient and words in subject for to, subject, _ in self.mails()):
                return time.monotonic() - start
            time.sleep(0.02)
        raise AssertionError(f"no mail to {recipient} about {words!r} in {self.mails()}")


class WatchTest(MachineTestCase):
    machine_arguments = {
        "disks": {f"d{number}": DISK_SIZE for number in range(DRIVES)},
        "devices": DEVICES,
        "programs": ["mdadm", "sqlite3"],
        "modules": ["virtio_pci", "virtio_net", "raid0", "raid1", "raid10", "raid456"],
        "memory": "512M",
        "time_limit": 540,
    }

    @classmethod
    def setUpClass(cls):
        cls.server = MailServer()
        cls.server.__enter__()
        cls.addClassCleanup(cls.server.__exit__)
        super().setUpClass()
        cls.machine.wait_for(f"[ -e /dev/nvme{DRIVES - 1}n1 ]")
        cls.machine.wait_for("[ -e /sys/class/net/eth0 ]")
        cls.machine.check("ip link set lo up; ip link set eth0 up; "
                          "ip addr add 10.0.2.15/24 dev eth0; mkdir -p /run/mdadm")
        cls.machine.write("/root/watch.conf", CONFIGURATION.format(port=cls.server.port).encode())
        # The kernel numbers controllers in the order in which they answer.
        serials = cls.machine.check("cat /sys/class/nvme/nvme*/serial").split()
        cls.nodes = {serial: f"/dev/nvme{index}n1" for index, serial in enumerate(serials)}
        cls.start()

    @classmethod
    def start(cls):
        cls.machine.check("setsid ondrel watch --config /root/watch.conf "
                          ">>/root/watch.log 2>&1 </dev/null & echo $! >/root/pid")
        cls.machine.wait_for("[ -e /root/watch.prom ]")

    def tearDown(self):
        self.machine.run("for md in /dev/md[0-9]*; do mdadm --stop $md; done")

    def node(self, number):
        return self.nodes[f"SN{number}"]

    def query(self, sql):
        return self.machine.check(["sqlite3", "-readonly", "-cmd", ".timeout 2000",
                                   "/root/watch.db", sql]).split("\n")[:-1]

    def last_event(self):
        return int(self.query("SELECT coalesce(max(id), 0) FROM events")[0])

    def events(self, after):
        return [tuple(line.split("|")) for line in self.query(
            f"SELECT code, severity, object_id FROM events WHERE id > {after} ORDER BY id")]

    def wait_for_events(self, after, *wanted, limit=90):
        """Waits until the events (code, severity[, part of the object]) are in the event log."""
        start = time.monotonic()
        while True:
            seen = [tuple(line.split("|")) for line in self.query(
                "SELECT code, severity, object_id FROM events "
                f"WHERE id > {after} AND log_state = 2 ORDER BY id")]
            missing = [want for want in wanted if not any(
                int(code) == want[0] and int(severity) == want[1] and
                (len(want) < 3 or want[2] in name) for code, severity, name in seen)]
            if not missing:
                return seen
            if time.monotonic() - start > limit:
                log = self.machine.run("tail -n 40 /root/watch.log; cat /proc/mdstat").stdout
                raise AssertionError(f"missing {missing} in {seen}\n{log}")
            time.sleep(0.2)

    def create(self, name, level, *numbers, spares=0):
        nodes = " ".join(self.node(number) for number in numbers)
        self.machine.check(
            f"mdadm --create /dev/{name} --run {'' if level == 0 else '--assume-clean '}"
            f"--metadata=1.2 --homehost=any "
            f"--level={level} --raid-devices={len(numbers) - spares} "
            f"{f'--spare-devices={spares} ' if spares else ''}{nodes}")

    def idle(self, name):
        self.machine.wait_for(f"grep -q idle /sys/block/{name}/md/sync_action")

    def status(self):
        result = self.machine.run("ondrel --json watch --status --config /root/watch.conf")
        answer = result.json()
        return ({drive["id"]: drive["statusName"] for drive in answer["drives"]},
                {array["name"]: array["statusName"] for array in answer["arrays"]
                 if not array["stopped"]})

    def test_a_failed_member_reaches_log_and_mail_and_a_hot_spare_takes_its_place(self):
        after = self.last_event()
        self.create("md1", 1, 0, 1, 2, spares=1)
        self.wait_for_events(after, (10454, 2, "SN0"), (10452, 2, "SN2"))
        after = self.last_event()
        self.machine.check(f"mdadm /dev/md1 --fail {self.node(1)}")
        seconds = self.server.wait_for("admin@example.com", "SN1 ")
        print(f"\na failed member was mailed after {seconds:.2f} s", file=sys.stderr)
        self.server.wait_for("second@example.com", "SN1 ")
        self.wait_for_events(after, (10471, 4, "SN1"), (10412, 4), (10055, 2), (10056, 2),
                             (10415, 2), (10469, 2, "SN2"))
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
        self.machine.check(f"mdadm /dev/md2 --add-spare {self.node(5)}; "
                           f"mdadm /dev/md2 --replace {self.node(4)} --with {self.node(5)}")
        self.wait_for_events(after, (10055, 2), (10056, 2), (10470, 2, "SN4"))
        self.assertEqual("AVAILABLE", self.status()[0]["SN4"])

    def test_c_checks_end_are_cancelled_and_find_differences(self):
        self.create("md3", 1, 3, 4)
        # A check that is over before the service looks cannot be told from the one before it.
        self.machine.check("echo 10000 >/sys/block/md3/md/sync_speed_max")
        after = self.last_event()
        self.machine.check("echo check >/sys/block/md3/md/sync_action")
        self.wait_for_events(after, (10060, 2), (10061, 2))
        after = self.last_event()
        self.machine.check("echo 10000 >/sys/block/md3/md/sync_speed_max; "
                           "echo check >/sys/block/md3/md/sync_action")
        self.wait_for_events(after, (10060, 2))
        self.machine.check("usleep 1800000; echo idle >/sys/block/md3/md/sync_action; "
                           "echo 10000 >/sys/block/md3/md/sync_speed_max")
        self.wait_for_events(after, (10063, 2))
        after = self.last_event()
        self.machine.check(f"dd if=/dev/urandom of={self.node(4)} bs=1M seek=20 count=1 conv=fsync; "
                           "echo 0 >/sys/block/md3/md/sync_min; "
                           "echo check >/sys/block/md3/md/sync_action")
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
            self.wait_for_events(after, (10459, 2, "SN5")) if turn == -1 else self.idle("md7")
            time.sleep(1.5)
            after = self.last_event()
        deadline = time.monotonic() + 60
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
        # The default interval: the test's own asks for health every second.
        self.machine.check("cp /root/watch.conf /root/fast.conf; "
                           "sed -i s/interval=1/interval=60/ /root/watch.conf; "
                           f"kill -HUP {pid}; sleep 4")

        def ticks():
            stat = self.machine.check(f"cat /proc/{pid}/stat")
            return sum(map(int, stat.rsplit(")", 1)[1].split()[11:13]))

        before = ticks()
        time.sleep(10)
        resident = int(self.machine.check(f"grep VmRSS /proc/{pid}/status").split()[1])
        spent = ticks() - before
        print(f"\nat rest: {spent} ticks in 10 s, {resident} kB resident", file=sys.stderr)
        self.machine.check(f"cp /root/fast.conf /root/watch.conf; kill -HUP {pid}")
        # Emulation on a busy host counts more than the five ticks of a real machine.
        self.assertLessEqual(spent, 10)
        self.assertLessEqual(resident, 16 * 1024)

    def test_j_it_ends_in_time_with_everything_kept(self):
        after = self.last_event()
        self.create("md9", 1, 3, 4)
        self.wait_for_events(after, (10454, 2, "SN4"))
        start = time.monotonic()
        self.machine.check("kill $(cat /root/pid); "
                           "while kill -0 $(cat /root/pid) 2>/dev/null; do usleep 20000; done")
        self.assertLess(time.monotonic() - start, 10)
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
