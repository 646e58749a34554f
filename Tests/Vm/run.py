#!/usr/bin/python3
"""Boots the machine of nvme_test.py, runs commands in it and shows them with what they print.

Usage: run.py [--target] COMMAND...      for example: run.py "ondrel nvme smart /dev/nvme0"
--target takes the machine of nvme_target_test.py, whose errors really happened.

The quoted output in Docs/nvme.md comes from here.
"""

import sys

from nvme_target_test import NVMeTargetTest
from nvme_test import NVMeTestCase


def main(arguments):
    tests = NVMeTargetTest if arguments[:1] == ["--target"] else NVMeTestCase
    try:
        tests.setUpClass()
        for command in arguments[1:] if tests is NVMeTargetTest else arguments:
            result = tests.machine.run(command)
            print(f"$ {command}\n{result.stdout}{result.stderr}", end="")
            if result.exit_status != 0:
                print(f"(exit status {result.exit_status})")
    finally:
        tests.doClassCleanups()


main(sys.argv[1:])
