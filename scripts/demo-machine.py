"""The watch service over a real array, in a virtual machine: a member fails and somebody hears of it.

Usage: demo-machine.py MAIL_PORT MAIL_FOLDER

Boots the machine of the tests with three NVMe drives, builds a mirror with a hot spare, starts
`ondrel watch` and fails a member. Mails go to the server on this host's loopback address, which
keeps them in the folder. ONDREL_BUILD names the build folder with the command.
"""

import pathlib
import sys
import time

sys.dont_write_bytecode = True
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "Tests" / "Vm"))

from machine import PATIENCE, Machine  # noqa: E402

DRIVES = 3
SERIALS = ["A1001", "A1002", "A1003"]
CONFIGURATION = """[log]
store=/root/events.db
[mail]
server=10.0.2.2
port={port}
from=raid@example.com
to=admin@example.com
[state]
file=/root/watch.db
"""


def devices():
    arguments = ["-netdev", "user,id=net", "-device", "virtio-net-pci,netdev=net"]
    for number, serial in enumerate(SERIALS):
        arguments += ["-drive", f"file={{folder}}/d{number},format=raw,if=none,id=d{number}",
                      "-device", f"nvme,serial={serial},drive=d{number}"]
    return arguments


def show(machine, command):
    print(f"# {command}\n{machine.run(command).stdout}", flush=True)


def wait_for_mail(folder, words, seen):
    deadline = time.monotonic() + PATIENCE
    while time.monotonic() < deadline:
        for path in sorted(folder.glob("*.eml")):
            text = path.read_bytes().decode(errors="replace").replace("\r", "")
            if path.name not in seen and words in text:
                return text
        time.sleep(0.05)
    sys.exit(f"demo: no mail about {words} arrived")


def main():
    port, folder = int(sys.argv[1]), pathlib.Path(sys.argv[2])
    seen = {path.name for path in folder.glob("*.eml")}
    with Machine(disks={f"d{number}": 64 << 20 for number in range(DRIVES)}, devices=devices(),
                 programs=["mdadm"], modules=["virtio_pci", "virtio_net", "raid1"]) as machine:
        machine.wait_for(f"[ -e /dev/nvme{DRIVES - 1}n1 ]")
        machine.wait_for("[ -e /sys/class/net/eth0 ]")
        machine.check("hostname storage; ip link set eth0 up; ip addr add 10.0.2.15/24 dev eth0; "
                      "mkdir -p /run/mdadm")
        machine.write("/root/watch.conf", CONFIGURATION.format(port=port).encode())
        machine.check("mdadm --create /dev/md0 --run --assume-clean --metadata=1.2 --level=1 "
                      "--raid-devices=2 --spare-devices=1 "
                      "/dev/nvme0n1 /dev/nvme1n1 /dev/nvme2n1 2>/dev/null")
        show(machine, "ondrel watch --once")
        machine.check("setsid ondrel watch --config /root/watch.conf 2>/root/said </dev/null &")
        machine.wait_for("[ -s /root/watch.db.lock ]")
        print("# mdadm /dev/md0 --fail /dev/nvme1n1", flush=True)
        start = time.monotonic()
        # Where a rebuild is over before the service looks, the array was never degraded to it.
        machine.check("echo 1000 >/sys/block/md0/md/sync_speed_max")
        machine.check("mdadm /dev/md0 --fail /dev/nvme1n1 2>/dev/null")
        mail = wait_for_mail(folder, "to FAILED", seen)
        print(f"\nThe mail arrived after {time.monotonic() - start:.1f} s:\n\n{mail}", flush=True)
        machine.check("echo 200000 >/sys/block/md0/md/sync_speed_max")
        machine.wait_for("grep -q LD_STATE_CHANGE_DEG_TO_OP /root/said")
        print("The service says:\n", flush=True)
        print(machine.check("cat /root/said"), flush=True)
        show(machine, "ondrel watch --status --config /root/watch.conf")


if __name__ == "__main__":
    main()
