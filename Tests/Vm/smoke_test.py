"""The machine itself, and the built command in it."""

import unittest

from machine import MachineTestCase


class SmokeTest(MachineTestCase):
    machine_arguments = {
        "chipset": "pc",
        "disks": {"disk": 64 << 20},
        "devices": ["-drive", "file={folder}/disk,format=raw,if=ide"],
        "modules": ["ata_piix", "sd_mod"],
        "programs": ["lsblk"],
        "files": {"/root/note": b"from the host\n"},
    }

    def test_the_command_tells_its_version(self):
        result = self.machine.run("ondrel --version")
        self.assertEqual(
            (result.exit_status, result.stdout),
            (0, "ondrel 7.10.2 (ondrel P:7.10.2 F:7.10.2)\n"), result)

    def test_status_and_both_streams_of_a_command_come_back_whole(self):
        result = self.machine.run("printf '\\000\\377'; echo trouble >&2; exit 7")
        self.assertEqual((7, b"\x00\xff", b"trouble\n"),
                         (result.exit_status, result.output, result.error))

    def test_files_go_in_and_come_out(self):
        content = bytes(range(256))
        self.machine.write("/root/bytes", content)
        self.assertEqual(content, self.machine.read("/root/bytes"))
        self.assertEqual(b"from the host\n", self.machine.read("/root/note"))

    def test_commands_come_whole_while_processes_left_behind_end(self):
        text = "x" * 900
        for _ in range(20):
            self.machine.check("for n in 0 1 2 3 4 5 6 7 8 9; do usleep ${n}0000 & done")
            result = self.machine.run(f"echo {text}")
            self.assertEqual((0, f"{text}\n"), (result.exit_status, result.stdout), result)

    def test_a_disk_shows_with_the_modules_that_drive_it(self):
        self.machine.wait_for("[ -e /dev/sda ]")
        self.assertEqual("sda 67108864 disk\n",
                         self.machine.check("lsblk --noheadings --bytes --raw -o NAME,SIZE,TYPE /dev/sda"))


if __name__ == "__main__":
    unittest.main(verbosity=2)
