"""Times the command's five NVMe queries against nvme-cli's, each a process on the same emulated device
in the virtual machine of the tests. Prints lines for scripts/bench-table.py."""

import pathlib
import re
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "Tests" / "Vm"))

from machine import Machine  # noqa: E402

CALLS = 5
ROUNDS = 9
QUERIES = {
    "id-ctrl": ("nvme id-ctrl /dev/nvme0", "id-ctrl /dev/nvme0"),
    "id-ns": ("nvme id-ns /dev/nvme0n1", "id-ns /dev/nvme0n1"),
    "smart": ("nvme smart /dev/nvme0", "smart-log /dev/nvme0"),
    "error-log": ("nvme error-log /dev/nvme0", "error-log /dev/nvme0"),
    "log-page": ("nvme log-page /dev/nvme0 --log-id 3", "fw-log /dev/nvme0"),
}


def seconds(machine, command):
    """What the calls of a command take together, by the clock of the machine's shell."""
    loop = f"time sh -c 'for i in $(seq {CALLS}); do {command} >/dev/null || exit 1; done'"
    found = re.search(r"real\s+(\d+)m ?([\d.]+)s", machine.check(loop + " 2>&1"))
    return int(found[1]) * 60 + float(found[2])


def main():
    with Machine(disks={"disk": 64 << 20}, chipset="pc", programs=["nvme"],
                 devices=["-drive", "file={folder}/disk,format=raw,if=none,id=disk",
                          "-device", "nvme,serial=ONDREL-0001,drive=disk"]) as machine:
        machine.wait_for("[ -e /dev/nvme0n1 ]")
        for query, (ours, theirs) in QUERIES.items():
            for _ in range(ROUNDS):
                for contender, command in (("ondrel", ours), ("nvme-cli", theirs)):
                    program = "nvme" if contender == "nvme-cli" else "ondrel"
                    nanoseconds = seconds(machine, f"{program} {command}") / CALLS * 1e9
                    print(f"NVMe in the virtual machine/{query}, process/{contender}\t"
                          f"{nanoseconds:.0f}\tns")


main()
