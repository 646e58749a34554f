"""NVMe as drives alone seldom show it, from the kernel's own target over TCP on loopback: errors that
really happened, two controllers that lead to one namespace, namespaces 2 and 200 without a first, a
controller without any, resets and a removal under load."""

import json
import unittest

from machine import MachineTestCase

HOST = "nqn.2014-08.org.nvmexpress:uuid:5b0c46f5-3f0a-4b3a-9a3e-0c7d8f1e2a3b"

TARGET = """
ip link set lo up
mount -t configfs none /sys/kernel/config
cd /sys/kernel/config/nvmet
for name in shared empty; do
  mkdir subsystems/$name
  echo 1 >subsystems/$name/attr_allow_any_host
  echo serial-$name >subsystems/$name/attr_serial
done
for id in 2 200; do
  truncate -s 8M /tmp/namespace$id
  mkdir subsystems/shared/namespaces/$id
  echo 1 >subsystems/shared/namespaces/$id/buffered_io
  echo -n /tmp/namespace$id >subsystems/shared/namespaces/$id/device_path
  echo 1 >subsystems/shared/namespaces/$id/enable
done
for port in 1 2; do
  mkdir ports/$port
  echo tcp >ports/$port/addr_trtype
  echo ipv4 >ports/$port/addr_adrfam
  echo 127.0.0.1 >ports/$port/addr_traddr
  echo $((4419 + port)) >ports/$port/addr_trsvcid
  ln -s /sys/kernel/config/nvmet/subsystems/shared ports/$port/subsystems/shared
done
ln -s /sys/kernel/config/nvmet/subsystems/empty ports/1/subsystems/empty
"""


class NVMeTargetTest(MachineTestCase):
    machine_arguments = {
        "modules": ["nvmet-tcp", "nvme-tcp"],
        "programs": ["nvme"],
        "disks": {"disk": 8 << 20},
        "devices": ["-drive", "file={folder}/disk,format=raw,if=none,id=d",
                    "-device", "nvme,serial=PLAIN,drive=d"],
    }

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.machine.check(TARGET)
        cls.connect("shared", 4420)
        cls.connect("shared", 4421)
        cls.connect("empty", 4420)
        cls.machine.wait_for("[ $(ondrel --json nvme list | grep -o '\"id\":' | wc -l) = 3 ]")

    @classmethod
    def connect(cls, subsystem, port):
        cls.machine.check(f"echo 'transport=tcp,traddr=127.0.0.1,trsvcid={port},nqn={subsystem},"
                          f"hostnqn={HOST},nr_io_queues=1,keep_alive_tmo=600' >/dev/nvme-fabrics")

    def ondrel(self, arguments, status=0):
        result = self.machine.run(f"ondrel --json nvme {arguments}")
        self.assertEqual(status, result.exit_status, result)
        return result.json()

    def controllers(self, subsystem):
        return [controller for controller in self.ondrel("list")["controllers"]
                if controller["subsystem"] == subsystem]

    def namespace(self, identifier):
        found = [namespace for namespace in self.ondrel("list")["namespaces"]
                 if namespace["id"] == identifier]
        self.assertEqual(1, len(found))
        return found[0]

    def make_error(self, controller):
        """A log page that the target does not have is an entry of its error log."""
        result = self.machine.run(f"ondrel --json nvme log-page {controller} --log-id 0xC0")
        self.assertEqual(3, result.exit_status, result)
        return result.json()["error"]

    def test_list_has_every_controller_and_each_namespace_once(self):
        listed = self.ondrel("list")
        shared = self.controllers("shared")
        self.assertEqual(4, len(listed["controllers"]))
        self.assertEqual(["serial-shared"] * 2, [one["serial"] for one in shared])
        self.assertEqual([("tcp", "live")] * 2, [(one["transport"], one["state"]) for one in shared])
        self.assertEqual([], self.controllers("empty")[0]["namespaces"])
        names = [one["name"] for one in shared]
        for identifier in (2, 200):
            namespace = self.namespace(identifier)
            self.assertEqual(names, namespace["controllers"])
            self.assertEqual((8 << 20, 4096, 0),
                             (namespace["size"], namespace["blockSize"], namespace["metadataSize"]))
            self.assertIsNone(namespace["error"])
        shown = self.machine.check("ondrel nvme list")
        for word in ("serial-empty", "serial-shared", "PLAIN", "200", names[0]):
            self.assertIn(word, shown)

    def test_list_agrees_with_nvme_cli(self):
        theirs = {one["DevicePath"]: one
                  for one in json.loads(self.machine.check("nvme list -o json"))["Devices"]}
        ours = self.ondrel("list")["namespaces"]
        self.assertEqual(set(theirs), {one["device"] for one in ours})
        for one in ours:
            other = theirs[one["device"]]
            self.assertEqual((other["PhysicalSize"], other["SectorSize"], other["UsedBytes"]),
                             (one["size"], one["blockSize"], one["used"]))

    def test_list_without_rights_has_all_but_what_takes_them(self):
        result = self.machine.run("su nobody -s /bin/sh -c 'ondrel --json nvme list'")
        self.assertEqual(0, result.exit_status, result)
        for namespace in result.json()["namespaces"]:
            self.assertEqual(5, namespace["error"]["number"])
            self.assertIsNone(namespace["used"])
            self.assertEqual(8 << 20, namespace["size"])
        shown = self.machine.run("su nobody -s /bin/sh -c 'ondrel nvme list'")
        self.assertIn("for its use and metadata: Access is denied.", shown.stderr)

    def test_namespace_of_a_node_is_the_one_that_is_shown(self):
        for identifier in (2, 200):
            device = self.namespace(identifier)["device"]
            ours = self.ondrel(f"id-ns {device}")
            theirs = json.loads(self.machine.check(f"nvme id-ns {device} -o json"))
            self.assertEqual(identifier, ours["namespaceId"])
            self.assertEqual((theirs["nsze"], theirs["nguid"]),
                             (ours["namespace"]["NSZE"], ours["namespace"]["NGUID"]))
            self.assertEqual(f"namespace {identifier} of {device}",
                             self.machine.check(f"ondrel nvme id-ns {device}").splitlines()[0])
        other = self.ondrel(f"id-ns {self.namespace(2)['device']} --namespace 200")
        self.assertEqual(200, other["namespaceId"])
        self.assertEqual(self.ondrel(f"id-ns {self.namespace(200)['device']}")["namespace"],
                         other["namespace"])

    def test_first_namespace_that_is_not_there_is_said(self):
        controller = self.controllers("shared")[0]["device"]
        shown = self.ondrel(f"id-ns {controller}", status=1)
        self.assertEqual((1, None, [2, 200]),
                         (shown["namespaceId"], shown["namespace"], shown["namespaces"]))
        text = self.machine.run(f"ondrel nvme id-ns {controller}")
        self.assertEqual(f"namespace 1 of {controller} is not there; there are 2, 200\n", text.stdout)
        empty = self.controllers("empty")[0]["device"]
        self.assertEqual(f"namespace 1 of {empty} is not there\n",
                         self.machine.run(f"ondrel nvme id-ns {empty}").stdout)

    def test_errors_are_those_that_happened(self):
        controller = self.controllers("shared")[0]["device"]
        refusal = self.make_error(controller)
        status = refusal["nvmeStatus"]
        self.assertIn(f"(type {status['SCT']}, code 0x{status['SC']:02X}", refusal["hint"])
        # A block after the end, which the target refuses on any way that leads to it.
        device = self.namespace(2)["device"]
        read = self.machine.run(f"nvme read {device} -s 100000 -c 0 -z 4096 -d /tmp/block")
        self.assertNotEqual(0, read.exit_status)

        found = []
        for one in self.controllers("shared"):
            ours = self.ondrel(f"error-log {one['device']}")["errors"]
            theirs = json.loads(self.machine.check(f"nvme error-log {one['device']} -e 64 -o json"))
            theirs = [error for error in theirs["errors"] if error["error_count"] != 0]
            for our_error, their_error in zip(ours, theirs):
                value = our_error["StatusField"]["value"]
                self.assertEqual(
                    (their_error["error_count"], their_error["sqid"], their_error["cmdid"],
                     their_error["status_field"], their_error["lba"] % (1 << 64),
                     their_error["nsid"] % (1 << 32)),
                    (our_error["ErrorCount"], our_error["SubmissionQueueId"],
                     our_error["CommandId"], value >> 1, our_error["LogicalBlockAddress"],
                     our_error["Namespace"]))
            self.assertEqual(len(theirs), len(ours))
            found += ours
        self.assertIn(2, [error["Namespace"] for error in found])
        self.assertIn((status["SCT"], status["SC"], status["DNR"]),
                      [(error["StatusField"]["SCT"], error["StatusField"]["SC"],
                        error["StatusField"]["DNR"]) for error in found])
        text = self.machine.check(f"ondrel nvme error-log {controller}")
        self.assertIn(f"(type {status['SCT']}, code 0x{status['SC']:02X}", text)

    def test_image_of_nvme_cli_is_read_whatever_its_count_of_entries(self):
        controller = self.controllers("shared")[0]["device"]
        self.make_error(controller)
        for count in (1, 4, 64):
            image = f"nvme error-log {controller} -e {count} -o binary"
            shown = self.machine.run(f"{image} | ondrel --json nvme error-log --raw -")
            self.assertEqual(0, shown.exit_status, shown)
            self.assertGreater(len(shown.json()["errors"]), 0)
            self.assertLessEqual(len(shown.json()["errors"]), count)

    def test_check_notices_that_the_error_log_grows(self):
        controller = self.controllers("empty")[0]["device"]
        arguments = f"check {controller} --state /tmp/state"
        self.assertEqual("well", self.ondrel(arguments)["devices"][0]["verdict"])
        self.make_error(controller)
        grown = self.ondrel(arguments, status=64)["devices"][0]
        self.assertIn("entries of the error log grew from", grown["findings"][0]["text"])
        self.ondrel(arguments)

    def test_check_of_all_reaches_every_controller(self):
        checked = self.machine.run("ondrel --json nvme check")
        self.assertEqual({one["device"] for one in self.ondrel("list")["controllers"]},
                         {one["device"] for one in checked.json()["devices"]})

    def test_two_devices_in_one_call_are_shown_one_after_the_other(self):
        first, second = (one["device"] for one in self.controllers("shared"))
        shown = self.ondrel(f"id-ctrl {first} {second}")["devices"]
        self.assertEqual([first, second], [one["device"] for one in shown])
        self.assertNotEqual(shown[0]["controller"]["CNTLID"], shown[1]["controller"]["CNTLID"])

    def test_reset_and_removal_under_load_end_in_words(self):
        controller = self.controllers("empty")[0]
        device, name = controller["device"], controller["name"]
        self.addCleanup(self.connect, "empty", 4420)
        self.machine.check(
            f"(while [ -e {device} ]; do nvme id-ctrl {device} >/dev/null 2>&1; done) "
            ">/dev/null 2>&1 & echo $! >/tmp/load")
        for _ in range(3):
            self.machine.check(f"echo 1 >/sys/class/nvme/{name}/reset_controller &")
            for command in ("smart", "error-log", "id-ctrl"):
                result = self.machine.run(f"ondrel nvme {command} {device}")
                self.assertIn(result.exit_status, (0, 3), result)
                self.assertEqual(result.exit_status == 3, "cannot read" in result.stderr, result)
        self.machine.wait_for(f"[ $(cat /sys/class/nvme/{name}/state) = live ]")
        self.ondrel(f"smart {device}")

        self.machine.check(f"echo 1 >/sys/class/nvme/{name}/delete_controller")
        self.machine.wait_for(f"[ ! -e {device} ]")
        gone = self.machine.run(f"ondrel nvme smart {device}")
        self.assertEqual(3, gone.exit_status)
        self.assertIn("cannot find the file", gone.stderr)
        self.assertEqual("cannot be read",
                         self.ondrel(f"check {device}", status=2)["devices"][0]["verdict"])


if __name__ == "__main__":
    unittest.main(verbosity=2)
