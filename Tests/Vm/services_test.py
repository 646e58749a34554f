"""Services of the host that only a machine of the tests' own may be asked for."""

import array
import json
import struct
import time
import unittest

from machine import PATIENCE, Machine, MachineTestCase


class ModuleVersionTest(MachineTestCase):
    machine_arguments = {"modules": ["8021q"]}

    def version(self, name):
        result = self.machine.run(f"ondrel --json module-version {name}")
        answer = json.loads(result.stdout)
        self.assertEqual(0 if answer["version"] else 1, result.exit_status, result)
        return answer["version"] or ""

    def test_a_loaded_module_has_the_version_that_the_kernel_tells(self):
        reported = self.machine.check("cat /sys/module/8021q/version").strip()
        self.assertNotEqual("", reported)
        self.assertEqual(reported, self.version("8021q"))
        self.assertEqual(reported, self.version("8021Q"))

    def test_a_name_with_its_extension_is_not_found(self):
        self.assertEqual("", self.version("8021q.sys"))

    def test_a_module_that_is_not_loaded_has_no_version(self):
        self.assertEqual("", self.version("vmw_balloon"))

    def test_what_is_in_the_kernel_is_told_from_what_is_not(self):
        def state(name):
            return json.loads(self.machine.run(f"ondrel --json module-version {name}").stdout)["state"]

        self.assertEqual("loaded", state("8021q"))
        self.assertEqual("builtIn", state("printk"))
        self.assertEqual("unknown", state("no-such-module"))


class RestartTest(unittest.TestCase):
    def test_the_machine_restarts(self):
        with Machine() as machine:
            # It runs until a restart ends it: QEMU is set not to boot again.
            # There is no login manager here.
            machine.check("(sleep 5; ondrel reboot --yes --force) >/dev/null 2>&1 &")
            event = machine.wait_for_event("SHUTDOWN")
            self.assertEqual("guest-reset", event["data"]["reason"])


class RefusedRestartTest(MachineTestCase):
    def tearDown(self):
        self.assertEqual("here\n", self.machine.check("sleep 1; echo here"))

    def test_without_a_login_manager_and_force_the_machine_goes_on_and_it_is_said(self):
        result = self.machine.run("ondrel --json reboot --yes")
        self.assertEqual(3, result.exit_status, result)
        self.assertIn("the login manager cannot be reached", result.stdout)
        self.assertIn("--force", result.stdout)

    def test_who_has_no_right_to_restart_is_told_so(self):
        result = self.machine.run('su nobody -s /bin/sh -c "ondrel --json reboot --yes --force"')
        self.assertEqual(3, result.exit_status, result)
        self.assertIn("CAP_SYS_BOOT", result.stdout)

    def test_nothing_restarts_without_yes(self):
        for line in ("reboot", "reboot --force", "run echo reboot --yes", "help reboot --yes"):
            self.machine.run(f"ondrel {line}")


class NoSpeakerTest(MachineTestCase):
    def test_a_machine_without_a_speaker_says_so(self):
        result = self.machine.run("ondrel beep 440 10")
        self.assertEqual(3, result.exit_status, result)
        self.assertEqual("", result.stdout)
        self.assertIn("cannot sound the speaker: there is no speaker", result.stderr)
        self.assertEqual(1, self.machine.run("ondrel doctor speaker").exit_status)


class BeepTest(MachineTestCase):
    machine_arguments = {
        # What the speaker sounds goes to a file.
        "chipset": "pc,pcspk-audiodev=sound",
        "devices": ["-audiodev", "wav,id=sound,path={folder}/sound.wav"],
        # The smaller kernel has no driver of the speaker.
        "kernel": "amd64",
        "modules": ["pcspkr"],
    }

    def recorded(self):
        """Rate and samples of the left channel so far; lengths in the file's head are not yet true."""
        content = (self.machine.folder / "sound.wav").read_bytes()
        if len(content) < 44:  # The head is written with the first sound.
            return 0, []
        channels, rate = struct.unpack_from("<HI", content, 22)
        samples = array.array("h", content[44:44 + (len(content) - 44) // 4 * 4])
        return rate, samples[::channels]

    def test_the_speaker_sounds_with_its_pitch_for_its_time(self):
        # What a busy host does not record of a tone makes it shorter.
        for _ in range(5):
            before = len(self.recorded()[1])
            self.machine.check("ondrel beep 1000 500; sleep 1")
            rate, samples = self.recorded()
            samples = samples[before:]
            level = max(samples) // 2
            sounding = [i for i, sample in enumerate(samples) if abs(sample) > level]
            seconds = (sounding[-1] - sounding[0]) / rate
            if seconds > 0.35:
                break
        rises = [i for i in range(1, len(samples)) if samples[i - 1] < 0 <= samples[i]]
        periods = sorted(later - earlier for earlier, later in zip(rises, rises[1:]))

        # The pitch is the sound card's: most periods have it, whatever gaps a busy host leaves.
        self.assertAlmostEqual(1000, rate / periods[len(periods) // 2], delta=30)
        # The machine ends the tone when it gets to it: never early, on a busy host late.
        self.assertGreater(seconds, 0.35)
        self.assertLess(seconds, 30)

    def test_who_may_not_use_the_speaker_is_told_so(self):
        before = len(self.recorded()[1])
        result = self.machine.run('su nobody -c "ondrel --json beep 440 100"')
        self.assertEqual(3, result.exit_status, result)
        self.assertIn("it may not be used", result.stdout)
        self.assertEqual(before, len(self.recorded()[1]))

    def test_an_interrupt_ends_the_tone(self):
        before = len(self.recorded()[1])
        self.machine.check("ondrel beep 1000 120000 >/dev/null 2>&1 & echo $! >/run/tone")
        deadline = time.monotonic() + PATIENCE
        while not any(self.recorded()[1][before:]):
            self.assertLess(time.monotonic(), deadline, "there is no tone")
            time.sleep(0.1)
        self.machine.check("tone=$(cat /run/tone); kill -INT $tone; "
                           "while kill -0 $tone 2>/dev/null; do usleep 20000; done; sleep 1")
        rate, samples = self.recorded()
        level = max(samples[before:]) // 2
        sounding = [i for i, sample in enumerate(samples[before:]) if abs(sample) > level]
        # Without the interrupt it would sound for two minutes.
        self.assertLess((sounding[-1] - sounding[0]) / rate, 60)
        after = len(samples)
        self.machine.check("sleep 2")
        self.assertFalse(any(self.recorded()[1][after:]))

    def test_a_machine_with_a_speaker_has_one_for_the_doctor(self):
        self.assertEqual(0, self.machine.run("ondrel doctor speaker").exit_status)


if __name__ == "__main__":
    unittest.main(verbosity=2)
