"""Storage adapters on a machine's PCI buses, against what lspci reports in the same machine."""

import re
import unittest

from machine import MachineTestCase

MASS_STORAGE = "01"


def location_of(adapter):
    return (adapter["segment"], adapter["bus"], adapter["device"], adapter["function"])


class AdaptersTest(MachineTestCase):
    # The chipset has an AHCI controller of its own, 8086:2922.
    machine_arguments = {
        "chipset": "q35",
        "disks": {"first": 1 << 20, "second": 1 << 20},
        "devices": [
            "-device", "megasas,addr=0x9",
            "-device", "megasas-gen2,addr=0x5",
            "-device", "megasas,addr=0x3",
            "-device", "pcie-root-port,id=bridge,chassis=1,addr=0x7",
            "-drive", "file={folder}/first,format=raw,if=none,id=first",
            "-drive", "file={folder}/second,format=raw,if=none,id=second",
            "-device", "nvme,serial=A1,drive=first,bus=bridge,addr=0x0.0x1",
            "-device", "nvme,serial=A2,drive=second,bus=bridge,addr=0x0.0x0,multifunction=on",
        ],
        "programs": ["lspci"],
        # The list of names that lspci and the command both read.
        "files": {"/usr/share/misc/pci.ids": "/usr/share/misc/pci.ids"},
    }

    def expected(self):
        """The storage adapters as lspci has them, by location."""
        rows = []
        for line in self.machine.check("lspci -Dnn").splitlines():
            segment, bus, device, function = (
                int(part, 16) for part in re.match(r"(\w+):(\w+):(\w+)\.(\w)", line).groups())
            ids = re.findall(r"\[(\w{4})(?::(\w{4}))?\]", line)
            vendor, kind = next(pair for pair in ids if pair[1])
            if ids[0][0].startswith(MASS_STORAGE):
                rows.append({"vendorId": vendor, "deviceId": kind, "segment": segment, "bus": bus,
                             "device": device, "function": function})
        return sorted(rows, key=location_of)

    def locate(self, *arguments):
        result = self.machine.run(["ondrel", "--json", "locate", *arguments])
        answer = result.json()
        self.assertEqual(0 if answer["found"] else 1, result.exit_status)
        return location_of(answer) if answer["found"] else None

    def test_the_machine_has_the_adapters_that_it_was_given(self):
        self.assertEqual(
            ["8086:2922"] + ["1000:0060"] * 2 + ["1000:0079"] + ["1b36:0010"] * 2,
            sorted((f"{row['vendorId']}:{row['deviceId']}" for row in self.expected()),
                   key=["8086:2922", "1000:0060", "1000:0079", "1b36:0010"].index))

    def test_the_list_is_that_of_lspci(self):
        expected = self.expected()
        listed = self.machine.run("ondrel --json adapters").json()["adapters"]
        for row in listed:
            row["vendorId"] = row["vendorId"].lower()
            row["deviceId"] = row["deviceId"].lower()
        self.assertEqual(expected, [{name: row[name] for name in expected[0]} for row in listed])

    def test_drivers_are_those_of_lspci(self):
        for row in self.machine.run("ondrel --json adapters").json()["adapters"]:
            reported = re.search("Kernel driver in use: (.*)",
                             self.machine.check(f"lspci -Dk -s {row['location']}"))
            self.assertEqual(reported.group(1) if reported else None, row["driver"], row)

    def test_names_are_those_of_lspci(self):
        for row in self.machine.run("ondrel --json adapters").json()["adapters"]:
            reported = dict(line.split(":\t", 1) for line in self.machine.check(
                f"lspci -Dvmm -s {row['location']}").splitlines() if ":\t" in line)
            self.assertEqual(reported["Vendor"], row["vendorName"], row)
            self.assertEqual(reported["Device"], row["deviceName"], row)

    def test_each_nvme_controller_has_its_disk(self):
        disks = [row["disks"] for row in self.machine.run("ondrel --json adapters").json()["adapters"]
                 if row["vendorId"] == "1B36"]
        self.assertEqual([["/dev/nvme0n1"], ["/dev/nvme1n1"]], sorted(disks))

    def test_what_is_listed_is_located(self):
        for line in self.machine.check("ondrel adapters").splitlines():
            location, kind = line.split("  ")[:2]
            self.assertEqual(location + "\n", self.machine.check(f"ondrel locate {location}"))
            self.assertEqual(0, self.machine.run(f"ondrel locate {kind}").exit_status)

    def test_the_nvme_controllers_are_behind_the_bridge(self):
        buses = {row["bus"] for row in self.expected() if row["vendorId"] == "1b36"}
        self.assertNotIn(0, buses)

    def test_each_type_is_ranked_by_location(self):
        expected = self.expected()
        for vendor, kind in {(row["vendorId"], row["deviceId"]) for row in expected}:
            places = [location_of(row) for row in expected
                      if (row["vendorId"], row["deviceId"]) == (vendor, kind)]
            for form in ((vendor, kind), ("--id", vendor + kind)):
                with self.subTest(form=form):
                    found = [self.locate(*form, "--index", str(rank))
                             for rank in range(len(places) + 2)]
                    self.assertEqual([None, *places, None], found)

    def test_a_rank_runs_across_several_types(self):
        ids = ["1b360010", "10000060"]
        places = [location_of(row) for row in self.expected()
                  if row["vendorId"] + row["deviceId"] in ids]
        self.assertEqual(4, len(places))
        arguments = [argument for identifier in ids for argument in ("--id", identifier)]
        found = [self.locate(*arguments, "--index", str(rank)) for rank in range(1, 6)]
        self.assertEqual([*places, None], found)

    def test_a_machine_without_the_bus_has_no_adapters(self):
        # The folder of the devices is hidden for one process.
        result = self.machine.run("mount -t tmpfs none /sys/bus/pci && ondrel --json adapters; "
                                  "umount /sys/bus/pci")
        self.assertEqual([], result.json()["adapters"], result)


if __name__ == "__main__":
    unittest.main(verbosity=2)
