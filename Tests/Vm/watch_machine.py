"""A machine with NVMe drives in which the watch service runs, and the mail server that it sends to."""

import contextlib
import json
import pathlib
import subprocess
import sys
import tempfile
import time

from machine import PATIENCE, SOURCE_FOLDER, MachineTestCase

# A drive's and an array's status of that name.
OPERATIONAL = 40093

MAIL_SERVER = SOURCE_FOLDER / "Tests" / "Support" / "smtp_server.py"

CONFIGURATION = """[log]
name=RAID
store=/root/events.db
[mail]
server=10.0.2.2
port={port}
from=raid@example.com
to=admin@example.com, second@example.com
[health]
interval=5
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

    def wait_for(self, recipient, words, limit=PATIENCE):
        """Waits for a mail to a recipient whose subject holds the words; yields the seconds."""
        start = time.monotonic()
        while time.monotonic() - start < limit:
            if any(to == recipient and words in subject for to, subject, _ in self.mails()):
                return time.monotonic() - start
            time.sleep(0.02)
        raise AssertionError(f"no mail to {recipient} about {words!r} in {self.mails()}")


def nvme_devices(count):
    """Arguments for a network and drives with the serial numbers SN0, SN1, ..., each in a slot that
    it can be pulled from."""
    devices = ["-netdev", "user,id=net", "-device", "virtio-net-pci,netdev=net"]
    for number in range(count):
        devices += ["-device", f"pcie-root-port,id=slot{number},chassis={number + 1}",
                    "-drive", f"file={{folder}}/d{number},format=raw,if=none,id=d{number}",
                    "-device",
                    f"nvme,id=n{number},bus=slot{number},serial=SN{number},drive=d{number}"]
    return devices


def watch_machine(drives, disk_size=40 << 20, **more):
    """Arguments of a machine for `WatchTestCase`."""
    return {
        "disks": {f"d{number}": disk_size for number in range(drives)},
        "devices": nvme_devices(drives),
        "memory": "512M",
        "time_limit": 1800,
        **more,
    }


def leave_to_the_service(asked):
    """Waits as long as a question took that was asked at `asked`: the machine has one processor, and
    questions without a pause would take it all."""
    time.sleep(max(0.1, time.monotonic() - asked))


class WatchTestCase(MachineTestCase):
    """Tests over a running service. A subclass names its machine by `watch_machine`."""

    configuration = CONFIGURATION
    mail_server = MailServer
    database = "/root/watch.db"

    @classmethod
    def setUpClass(cls):
        cls.server = cls.mail_server()
        cls.server.__enter__()
        cls.addClassCleanup(cls.server.__exit__)
        super().setUpClass()
        drives = len(cls.machine_arguments["disks"])
        cls.machine.wait_for(f"[ -e /dev/nvme{drives - 1}n1 ]")
        cls.machine.wait_for("[ -e /sys/class/net/eth0 ]")
        cls.machine.check("ip link set lo up; ip link set eth0 up; "
                          "ip addr add 10.0.2.15/24 dev eth0; mkdir -p /run/mdadm")
        cls.machine.write("/root/watch.conf", cls.configuration.format(port=cls.server.port).encode())
        # The kernel numbers controllers in the order in which they answer.
        serials = cls.machine.check("cat /sys/class/nvme/nvme*/serial").split()
        cls.nodes = {serial: f"/dev/nvme{index}n1" for index, serial in enumerate(serials)}
        cls.prepare()
        cls.start()

    @classmethod
    def prepare(cls):
        """What a subclass does in the machine before the service starts."""

    @classmethod
    def start(cls):
        cls.machine.check("setsid ondrel watch --config /root/watch.conf "
                          ">>/root/watch.log 2>&1 </dev/null & echo $! >/root/pid")
        cls.machine.check("until [ -e /root/watch.prom ]; do usleep 50000; "
                          "[ -e /proc/$(cat /root/pid)/exe ] || { cat /root/watch.log; exit 1; }; done")

    def tearDown(self):
        self.machine.run("for md in /dev/md[0-9]*; do mdadm --stop $md; done")

    def node(self, number):
        return self.nodes[f"SN{number}"]

    def query(self, sql):
        return self.machine.check(["sqlite3", "-readonly", "-cmd", ".timeout 2000",
                                   self.database, sql]).split("\n")[:-1]

    def last_event(self):
        return int(self.query("SELECT coalesce(max(id), 0) FROM events")[0])

    def events(self, after):
        return [tuple(line.split("|")) for line in self.query(
            f"SELECT code, severity, object_id FROM events WHERE id > {after} ORDER BY id")]

    def wait_for_events(self, after, *wanted, limit=PATIENCE):
        """Waits until the events (code, severity[, part of the object]) are in the event log."""
        start = time.monotonic()
        while True:
            asked = time.monotonic()
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
            leave_to_the_service(asked)

    def create(self, name, level, *numbers, spares=0, limit=PATIENCE):
        """Makes an array, and waits until the service knows it and its members."""
        nodes = " ".join(self.node(number) for number in numbers)
        self.machine.check(
            f"mdadm --create /dev/{name} --run {'' if level == 0 else '--assume-clean '}"
            f"--metadata=1.2 --homehost=any "
            f"--level={level} --raid-devices={len(numbers) - spares} "
            f"{f'--spare-devices={spares} ' if spares else ''}{nodes}")
        self.wait_until_working(name, *numbers[:len(numbers) - spares], limit=limit)

    def wait_until_working(self, name, *numbers, limit=PATIENCE):
        """Waits until the service has kept that the array and these members are operational. `--status`
        looks by itself, and may know more than the service does."""
        members = {f"SN{number}" for number in numbers}
        deadline = time.monotonic() + limit
        while True:
            asked = time.monotonic()
            kept = json.loads("\n".join(self.query("SELECT text FROM state")) or '{"drives":[],"arrays":[]}')
            working = {drive["id"] for drive in kept["drives"] if drive["status"] == OPERATIONAL}
            arrays = {record["array"]["name"] for record in kept["arrays"]
                      if record["array"]["status"] == OPERATIONAL and not record["isStopped"]}
            if name in arrays and members <= working:
                return
            self.assertLess(time.monotonic(), deadline, f"{name}: {kept}")
            leave_to_the_service(asked)

    @contextlib.contextmanager
    def held(self, name):
        """Holds the kernel to more than a minute for a rebuild or a check of the array: what is over before the
        service looks cannot be distinguished from what never was."""
        folder = f"/sys/block/{name}/md"
        self.machine.check(f"echo 500 >{folder}/sync_speed_min; echo 500 >{folder}/sync_speed_max")
        try:
            yield
        finally:
            self.machine.check(f"echo 200000 >{folder}/sync_speed_max; echo 1000 >{folder}/sync_speed_min")

    def idle(self, name):
        self.machine.wait_for(f"grep -q idle /sys/block/{name}/md/sync_action")

    def status(self):
        result = self.machine.run("ondrel --json watch --status --config /root/watch.conf")
        answer = result.json()
        return ({drive["id"]: drive["statusName"] for drive in answer["drives"]},
                {array["name"]: array["statusName"] for array in answer["arrays"]
                 if not array["stopped"]})
