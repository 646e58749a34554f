#!/usr/bin/python3
"""Boots the machine of nvme_test.py, runs commands in it and shows them with what they print.

Usage: run.py COMMAND...      for example: run.py "ondrel nvme smart /dev/nvme0"

The quoted output in Docs/nvme.md comes from here.
"""

import sys

from machine import Machine
from nvme_test import ONE, TWO, NVMeTestCase


def main():
    with Machine(**NVMeTestCase.machine_arguments) as machine:
        for node in (ONE + "n1", ONE + "n2", TWO + "n1"):
            machine.wait_for(f"[ -e {node} ]")
        machine.check(f"dd if={ONE}n1 of=/dev/null bs=1M count=8")
        machine.check(f"dd if=/dev/zero of={ONE}n2 bs=1M count=4 && sync")
        for command in sys.argv[1:]:
            result = machine.run(command)
            print(f"$ {command}\n{result.stdout}{result.stderr}", end="")
            if result.exit_status != 0:
                print(f"(exit status {result.exit_status})")


if __name__ == "__main__":
    main()
