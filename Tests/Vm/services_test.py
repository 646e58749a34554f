"""Services of the host that only a machine of the tests' own may be asked for."""

import json
import unittest

from machine import Machine, MachineTestCase


class ModuleVersionTest(MachineTestCase):
    machine_arguments = {"modules": ["8021q"]}

    def version(self, name):
        result = self.machine.run(f"ondrel --json module-version {name}")
        answer = json.loads(result.stdout)
        self.assertEqual(0 if answer["version"] else 1, result.exit_status, result)
        return answer["version"]

    def test_a_loaded_module_has_the_version_that_the_kernel_tells(self):
        told = self.machine.check("cat /sys/module/8021q/version").strip()
        self.assertNotEqual("", told)
        self.assertEqual(told, self.version("8021q"))
        self.assertEqual(told, self.version("8021Q"))

    def test_a_name_with_its_extension_is_not_found(self):
        self.assertEqual("", self.version("8021q.sys"))

    def test_a_module_that_is_not_loaded_has_no_version(self):
        self.assertEqual("", self.version("vmw_balloon"))


class RestartTest(unittest.TestCase):
    def test_the_machine_restarts(self):
        with Machine() as machine:
            # It runs until a restart ends it: QEMU is told not to boot again.
            machine.check("(sleep 1; ondrel reboot --yes) >/dev/null 2>&1 &")
            event = machine.wait_for_event("SHUTDOWN")
            self.assertEqual("guest-reset", event["data"]["reason"])

    def test_who_has_no_right_to_restart_finds_the_machine_running(self):
        with Machine() as machine:
            result = machine.run('su nobody -s /bin/sh -c "ondrel reboot --yes"')
            self.assertEqual(0, result.exit_status, result)
            self.assertEqual("here\n", machine.check("sleep 1; echo here"))


if __name__ == "__main__":
    unittest.main(verbosity=2)
