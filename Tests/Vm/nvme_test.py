"""The command's answers about NVMe devices, held against other tools in the same machine."""

import re
import unittest

from machine import MachineTestCase

ONE = "/dev/nvme0"
TWO = "/dev/nvme1"

DEVICES = [
    # Two namespaces, blocks of 512 and 4096 bytes.
    "-drive", "file={folder}/first,format=raw,if=none,id=first",
    "-drive", "file={folder}/second,format=raw,if=none,id=second",
    "-device", "nvme,id=one,serial=ONDREL-0001",
    "-device", "nvme-ns,drive=first,bus=one,nsid=1,logical_block_size=512,physical_block_size=512",
    "-device", "nvme-ns,drive=second,bus=one,nsid=2,logical_block_size=4096,physical_block_size=4096",
    # One namespace, blocks of 4096 bytes with metadata at their end; a serial number of odd characters.
    "-drive", "file={folder}/third,format=raw,if=none,id=third",
    "-device", 'nvme,id=two,serial=ODD "2" x,mdts=5,aerl=6,smart_critical_warning=4',
    "-device", "nvme-ns,drive=third,bus=two,nsid=1,logical_block_size=4096,physical_block_size=4096,"
               "ms=8,mset=1,eui64=0x0123456789abcdef",
    "-drive", "file={folder}/sata,format=raw,if=ide",
]

# Fields of the command under the names that nvme-cli gives them.
CONTROLLER_NUMBERS = """VID SSVID RAB IEEE MDTS CNTLID VER RTD3R RTD3E ACL AERL ELPE NPSS WCTEMP CCTEMP
    MTFA HMPRE HMMIN EDSTT FWUG KAS MNTMT MXTMT MAXCMD NN AWUN AWUPF ACWU""".split()
CONTROLLER_BITS = """CMIC OAES CTRATT MEC OACS FRMW LPA AVSCC APSTA RPMBS DSTO HCTMA SANICAP SQES CQES
    ONCS FUSES FNA VWC SGLS""".split()
CONTROLLER_WIDE = "TNVMCAP UNVMCAP".split()
POWER_STATE = {"MP": "max_power", "ENLAT": "entry_lat", "EXLAT": "exit_lat", "RRT": "read_tput",
               "RRL": "read_lat", "RWT": "write_tput", "RWL": "write_lat", "IDLP": "idle_power",
               "IPS": "idle_scale", "ACTP": "active_power", "APW": "active_power_work",
               "APS": "active_scale"}
NAMESPACE_NUMBERS = """NSZE NCAP NUSE NSFEAT NLBAF MC DPC DPS NMIC RESCAP DLFEAT NAWUN NAWUPF NACWU NABSN
    NABO NABSPF NOIOB NVMCAP NGUID EUI64""".split()
HEALTH = {"CompositeTemperature": "temperature", "AvailableSpare": "avail_spare",
          "AvailableSpareThreshold": "spare_thresh", "PercentageUsed": "percent_used",
          "DataUnitsRead": "data_units_read", "DataUnitsWritten": "data_units_written",
          "HostReadCommands": "host_read_commands", "HostWriteCommands": "host_write_commands",
          "ControllerBusyTime": "controller_busy_time", "PowerCycles": "power_cycles",
          "PowerOnHours": "power_on_hours", "UnsafeShutdowns": "unsafe_shutdowns",
          "MediaErrors": "media_errors", "ErrorLogEntries": "num_err_log_entries",
          "WarningTemperatureTime": "warning_temp_time",
          "CriticalTemperatureTime": "critical_comp_time",
          "ThermalManagement1TransitionCount": "thm_temp1_trans_count",
          "ThermalManagement2TransitionCount": "thm_temp2_trans_count",
          "ThermalManagement1TotalTime": "thm_temp1_total_time",
          "ThermalManagement2TotalTime": "thm_temp2_total_time"}
SMARTCTL_HEALTH = {"AvailableSpare": "available_spare",
                   "AvailableSpareThreshold": "available_spare_threshold",
                   "PercentageUsed": "percentage_used", "DataUnitsRead": "data_units_read",
                   "DataUnitsWritten": "data_units_written", "HostReadCommands": "host_reads",
                   "HostWriteCommands": "host_writes",
                   "ControllerBusyTime": "controller_busy_time", "PowerCycles": "power_cycles",
                   "PowerOnHours": "power_on_hours", "UnsafeShutdowns": "unsafe_shutdowns",
                   "MediaErrors": "media_errors", "ErrorLogEntries": "num_err_log_entries",
                   "WarningTemperatureTime": "warning_temp_time",
                   "CriticalTemperatureTime": "critical_comp_time"}


def lines_of(text):
    """The trace's levels and messages."""
    found = re.findall(r"^\S+ \S+ (entry|error|detail) ondrel \[\d+\] \S+ (.*)$", text, re.MULTILINE)
    return [f"{level} {message}" for level, message in found]


class NVMeTestCase(MachineTestCase):
    machine_arguments = {
        "chipset": "pc",
        "disks": {"first": 64 << 20, "second": 32 << 20, "third": 16 << 20, "sata": 8 << 20},
        "devices": DEVICES,
        "modules": ["ata_piix", "sd_mod"],
        "programs": ["nvme", "smartctl"],
    }

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        for node in (ONE + "n1", ONE + "n2", TWO + "n1", "/dev/sda"):
            cls.machine.wait_for(f"[ -e {node} ]")
        # Counters that are not zero.
        cls.machine.check(f"dd if={ONE}n1 of=/dev/null bs=1M count=8")
        cls.machine.check(f"dd if=/dev/zero of={ONE}n2 bs=1M count=4 && sync")

    def ondrel(self, arguments):
        result = self.machine.run(f"ondrel --json nvme {arguments}")
        self.assertEqual(0, result.exit_status, result)
        return result.json()

    def nvme(self, arguments):
        result = self.machine.run(f"nvme {arguments} -o json")
        self.assertEqual(0, result.exit_status, result)
        return result.json()

    def refused(self, arguments, user="root"):
        """The number of the error and the trace of a command that the device does not answer."""
        command = f"ondrel --json --trace error,entry,detail nvme {arguments}"
        result = self.machine.run(f'su {user} -s /bin/sh -c "{command}"')
        self.assertEqual(3, result.exit_status, result)
        return result.json()["error"]["number"], lines_of(result.stderr)


class AgreementTest(NVMeTestCase):
    def test_controllers_agree_with_nvme_cli(self):
        for device in (ONE, TWO):
            with self.subTest(device):
                ours, theirs = self.ondrel(f"id-ctrl {device}")["controller"], self.nvme(
                    f"id-ctrl {device}")
                for name in CONTROLLER_NUMBERS + CONTROLLER_WIDE:
                    self.assertEqual(theirs[name.lower()], ours[name], name)
                for name in CONTROLLER_BITS:
                    self.assertEqual(theirs[name.lower()], ours[name]["value"], name)
                self.assertEqual(theirs["icsvscc"], ours["NVSCC"]["value"])
                self.assertEqual(theirs["subnqn"].replace('"', "_"), ours["SUBNQN"])
                self.assertEqual(theirs["sn"].rstrip().replace('"', "_"), ours["SN"])
                self.assertEqual(theirs["mn"].rstrip(), ours["MN"])
                self.assertEqual(theirs["fr"].rstrip(), ours["FR"])
                self.assertEqual(len(theirs["psds"]), len(ours["PSD"]))
                for their_state, our_state in zip(theirs["psds"], ours["PSD"]):
                    for name, their_name in POWER_STATE.items():
                        self.assertEqual(their_state[their_name], our_state[name], name)
                    self.assertEqual(their_state["flags"], our_state["MPS"] | our_state["NOPS"] << 1)

    def test_controllers_are_told_apart(self):
        self.assertEqual("ONDREL-0001", self.ondrel(f"id-ctrl {ONE}")["controller"]["SN"])
        self.assertEqual("ODD _2_ x", self.ondrel(f"id-ctrl {TWO}")["controller"]["SN"])

    def test_first_namespaces_agree_with_nvme_cli(self):
        for device in (ONE, TWO):
            with self.subTest(device):
                ours = self.ondrel(f"id-ns {device}n1")["namespace"]
                theirs = self.nvme(f"id-ns {device}n1 -n 1")
                for name in NAMESPACE_NUMBERS:
                    self.assertEqual(theirs[name.lower()], ours[name], name)
                for name in ("FLBAS", "FPI"):
                    self.assertEqual(theirs[name.lower()], ours[name]["value"], name)
                self.assertEqual([(f["ms"], f["ds"], f["rp"]) for f in theirs["lbafs"]],
                                 [(f["MS"], f["LBADS"], f["RP"]) for f in ours["LBAF"]])

    def test_sizes_are_those_of_the_disks(self):
        first = self.ondrel(f"id-ns {ONE}n1")["namespace"]
        self.assertEqual((512, 64 << 20), (first["LBASize"], first["Capacity"]))
        third = self.ondrel(f"id-ns {TWO}n1")["namespace"]
        self.assertEqual(4096, third["LBASize"])
        self.assertEqual(third["NSZE"] * 4096, third["Capacity"])
        self.assertTrue(third["FLBAS"]["MetadataAtEnd"])
        self.assertEqual("0123456789abcdef", third["EUI64"])

    def test_controller_shows_its_first_namespace_and_a_namespace_itself(self):
        first = self.ondrel(f"id-ns {ONE}")
        self.assertEqual(1, first["namespaceId"])
        self.assertEqual(first["namespace"], self.ondrel(f"id-ns {ONE}n1")["namespace"])
        second = self.ondrel(f"id-ns {ONE}n2")
        self.assertEqual((2, 4096), (second["namespaceId"], second["namespace"]["LBASize"]))
        self.assertEqual(second["namespace"],
                         self.ondrel(f"id-ns {ONE} --namespace 2")["namespace"])
        theirs = self.nvme(f"id-ns {ONE}n2")
        self.assertEqual((theirs["nsze"], theirs["flbas"]),
                         (second["namespace"]["NSZE"], second["namespace"]["FLBAS"]["value"]))

    def test_list_agrees_with_nvme_cli(self):
        listed = self.ondrel("list")
        self.assertEqual([(ONE, "ONDREL-0001", "live"), (TWO, 'ODD "2" x', "live")],
                         [(one["device"], one["serial"], one["state"])
                          for one in listed["controllers"]])
        theirs = {one["DevicePath"]: one for one in self.nvme("list")["Devices"]}
        for one in listed["namespaces"]:
            other = theirs[one["device"]]
            self.assertEqual((other["PhysicalSize"], other["SectorSize"], other["UsedBytes"]),
                             (one["size"], one["blockSize"], one["used"]))
        self.assertEqual([(1, 512, 0), (2, 4096, 0), (1, 4096, 8)],
                         [(one["id"], one["blockSize"], one["metadataSize"])
                          for one in listed["namespaces"]])
        self.assertEqual([False, False, True],
                         [one["metadataAtEnd"] for one in listed["namespaces"]])
        # The kernel makes no disk of a format with metadata that it does not know.
        self.assertEqual([64 << 20, 32 << 20, 0],
                         [one["diskSize"] for one in listed["namespaces"]])
        self.assertIn("4096 bytes + 8 of metadata, no disk", self.machine.check("ondrel nvme list"))

    def test_one_namespace_of_several_that_is_not_there_is_a_negative_answer(self):
        for devices in (f"{ONE} {TWO}", f"{TWO} {ONE}"):
            with self.subTest(devices):
                result = self.machine.run(f"ondrel nvme id-ns {devices} --namespace 2")
                self.assertEqual(1, result.exit_status, result)

    def test_check_fails_what_smartctl_fails(self):
        for device, failing in ((ONE, 0), (TWO, 8)):
            with self.subTest(device):
                checked = self.machine.run(f"ondrel --json nvme check {device}")
                theirs = self.machine.run(f"smartctl -H {device}")
                self.assertEqual((failing, failing),
                                 (checked.exit_status & 8, theirs.exit_status & 8))
        self.assertEqual("failing", checked.json()["devices"][0]["verdict"])
        self.assertIn("FAILED", theirs.stdout)

    def test_check_is_an_event_in_the_log(self):
        store = "--store /tmp/check.db"
        result = self.machine.run(f"ondrel {store} nvme check {TWO} --log Demo --state /tmp/check")
        self.assertEqual(8, result.exit_status, result)
        self.assertIn("failing\n  reliability is degraded\n", result.stdout)
        # Not news the second time.
        again = self.machine.run(f"ondrel {store} nvme check {TWO} --log Demo --state /tmp/check")
        self.assertEqual(8, again.exit_status, again)
        lines = self.machine.check(f"ondrel {store} log show Demo").splitlines()
        self.assertEqual(1, len(lines), lines)
        self.assertIn("10045 SMART_ERROR: Drive ODD _2_ x (nvme1): reliability is degraded", lines[0])

    def test_health_agrees_with_nvme_cli(self):
        for device in (ONE, TWO):
            with self.subTest(device):
                ours = self.ondrel(f"smart {device}")["health"]
                theirs = self.nvme(f"smart-log {device}")
                for name, their_name in HEALTH.items():
                    self.assertEqual(theirs[their_name], ours[name], name)
                self.assertEqual(theirs["critical_warning"], ours["CriticalWarning"]["value"])
                for number in range(1, 9):
                    self.assertEqual(theirs.get(f"temperature_sensor_{number}", 0),
                                     ours[f"TemperatureSensor{number}"])

    def test_health_agrees_with_smartctl(self):
        for device in (ONE, TWO):
            with self.subTest(device):
                ours = self.ondrel(f"smart {device}")["health"]
                # Its exit status reports the drive's health.
                report = self.machine.run(f"smartctl -j -a {device}").json()
                theirs = report["nvme_smart_health_information_log"]
                for name, their_name in SMARTCTL_HEALTH.items():
                    self.assertEqual(theirs[their_name], int(ours[name]), name)
                self.assertEqual(theirs["temperature"], ours["CompositeTemperature"] - 273)
                self.assertEqual(theirs["critical_warning"], ours["CriticalWarning"]["value"])
                controller = self.ondrel(f"id-ctrl {device}")["controller"]
                self.assertEqual(report["model_name"], controller["MN"])
                self.assertEqual(report["firmware_version"], controller["FR"])
                self.assertEqual(report["nvme_version"]["value"], controller["VER"])

    def test_health_tells_what_happened(self):
        self.assertGreater(int(self.ondrel(f"smart {ONE}")["health"]["DataUnitsRead"]), 0)
        self.assertGreater(int(self.ondrel(f"smart {ONE}")["health"]["HostWriteCommands"]), 0)
        warning = self.ondrel(f"smart {TWO}")["health"]["CriticalWarning"]
        self.assertEqual(4, warning["value"])
        self.assertTrue(warning["ReliabilityDegraded"])

    def test_error_log_without_errors_has_no_entries(self):
        """The entries of one with errors are those of the controllers in nvme_target_test.py."""
        for device in (ONE, TWO):
            with self.subTest(device):
                theirs = self.nvme(f"error-log {device}")["errors"]
                self.assertGreater(len(theirs), 0)
                self.assertEqual({0}, {error["error_count"] for error in theirs})
                self.assertEqual([], self.ondrel(f"error-log {device}")["errors"])

    def test_images_are_byte_for_byte_those_of_nvme_cli(self):
        rows = [("id-ctrl", "", "id-ctrl {} -o binary", 4096),
                ("id-ns", "", "id-ns {} -n 1 -o binary", 4096),
                ("smart", "", "get-log {} --log-id=2 --log-len=512 -b", 512),
                ("error-log", "", "get-log {} --log-id=1 --log-len=4096 -b", 4096),
                ("log-page", "--log-id 3", "get-log {} --log-id=3 --log-len=512 -b", 512)]
        for name, options, theirs, size in rows:
            for device in (ONE, TWO):
                with self.subTest(name, device=device):
                    self.machine.check(f"ondrel nvme {name} {device} {options} --save /tmp/image")
                    expected = self.machine.run(f"nvme {theirs.format(device)}").output
                    self.assertEqual(size, len(expected))
                    self.assertEqual(expected, self.machine.read("/tmp/image"))

    def test_saved_image_is_shown_as_its_device(self):
        for name in ("id-ctrl", "id-ns", "smart", "error-log"):
            with self.subTest(name):
                shown = self.machine.check(f"ondrel nvme {name} {TWO} --save /tmp/image")
                # An image does not know which namespace it is of.
                shown = shown.removeprefix(f"namespace 1 of {TWO}\n")
                self.assertEqual(shown, self.machine.check(f"ondrel nvme {name} --raw /tmp/image"))


class RefusalTest(NVMeTestCase):
    CALL = "NVMeStorageQueryPropertyGetLogPageSMARTHealthInfo"
    PAGE_CALL = "NVMeStorageQueryPropertyGetVendorSpecificLogPage"

    def around(self, call, device, result, *between):
        return [f'entry ENTER {call} (sDeviceName="{device}")', *between,
                f'entry LEAVE {call} (sDeviceName="{device}"), return: {result}']

    def test_missing_node(self):
        error, lines = self.refused("smart /dev/nvme9")
        self.assertEqual(2, error)
        self.assertEqual(self.around(
            self.CALL, "/dev/nvme9", 2,
            "error GetLogPageSMARTHealthInfo: allocate device handle failed."), lines)

    def test_missing_node_of_the_family_without_error_lines(self):
        error, lines = self.refused("id-ctrl /dev/nvme9")
        self.assertEqual(2, error)
        self.assertEqual(
            self.around("NVMeStorageQueryPropertyIdentifyController", "/dev/nvme9", 2), lines)

    def test_node_without_the_right(self):
        error, lines = self.refused(f"smart {ONE}", user="nobody")
        self.assertEqual(5, error)
        self.assertEqual(self.around(
            self.CALL, ONE, 5,
            "error GetLogPageSMARTHealthInfo: allocate device handle failed."), lines)

    def test_disk_of_another_kind(self):
        error, lines = self.refused("smart /dev/sda")
        self.assertEqual(1, error)
        self.assertEqual(self.around(
            self.CALL, "/dev/sda", 1,
            "error GetLogPageSMARTHealthInfo: DeviceIoControl failed. Error Code 1."), lines)
        for name in ("id-ctrl", "id-ns", "error-log", "log-page --log-id 2"):
            self.assertEqual(1, self.refused(f"{name} /dev/sda")[0], name)

    def test_refusal_is_worded_with_the_status_of_the_controller(self):
        result = self.machine.run(f"ondrel nvme log-page {ONE} --log-id 0xC0")
        self.assertEqual(3, result.exit_status)
        self.assertIn("(error 87, ERROR_INVALID_PARAMETER); the controller refused it: Generic "
                      "Command Status: Invalid Field in Command: ", result.stderr)
        self.assertRegex(result.stderr, r"\(type 0, code 0x02(, more)?, do not retry\)")
        error = self.machine.run(f"ondrel --json nvme log-page {ONE} --log-id 0xC0").json()["error"]
        self.assertEqual((0, 2), (error["nvmeStatus"]["SCT"], error["nvmeStatus"]["SC"]))
        missing = self.machine.run("ondrel --json nvme smart /dev/nvme9").json()["error"]
        self.assertNotIn("nvmeStatus", missing)

    def test_log_page_that_the_controller_does_not_have(self):
        error, lines = self.refused(f"log-page {ONE} --log-id 0xC0")
        self.assertEqual(87, error)
        self.assertEqual(self.around(
            self.PAGE_CALL, ONE, 87,
            "detail DeviceIoControl(): controller refused the command, status type 0, code 2: Invalid "
            "Field in Command: An invalid or unsupported field specified in the command parameters.",
            "error GetVendorSpecificLogPage: DeviceIoControl failed. Error Code 87."), lines)


class RemovalTest(NVMeTestCase):
    def test_device_removed_between_two_calls_is_missing(self):
        self.ondrel(f"smart {TWO}")

        self.machine.remove_device("two")
        self.machine.wait_for(f"[ ! -e {TWO} ]")

        for name in ("id-ctrl", "id-ns", "smart", "error-log", "log-page --log-id 2"):
            self.assertEqual(2, self.refused(f"{name} {TWO}")[0], name)
        self.assertEqual("ONDREL-0001", self.ondrel(f"id-ctrl {ONE}")["controller"]["SN"])


if __name__ == "__main__":
    unittest.main(verbosity=2)
