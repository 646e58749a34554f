"""Disks that only facts tell apart, in a machine with a device manager: what the command lists agrees
with the system's own tools in the same machine."""

import json
import pathlib
import re
import unittest

from machine import MachineTestCase

SECTOR = 512
RULES = pathlib.Path("/usr/lib/udev/rules.d")

# Found by their serial numbers: what the kernel calls them depends on what it finds first.
DISKS = {"tiny": 16 << 20, "extended": 32 << 20, "many": 64 << 20, "pool": 64 << 20,
         "left": 160 << 20, "right": 160 << 20, "data": 64 << 20, "cache": 128 << 20}
# One disk by two ways.
DRIVES = {**{name: name for name in DISKS}, "many-too": "many"}


def drives():
    for serial, file in DRIVES.items():
        yield "-drive"
        yield f"file={{folder}}/{file},format=raw,file.locking=off,if=none,id={serial}"
        yield "-device"
        yield f"nvme,serial={serial},drive={serial}"


DEVICE_MANAGER = r"""
set -e
/usr/lib/systemd/systemd-udevd --daemon
udevadm trigger --type=subsystems
udevadm trigger --type=devices
udevadm settle --timeout=900
"""

# Partitions of eight sectors, more than an old table has room for without an extended one.
TINY = r"""
set -e
{ echo 'label: gpt'
  for number in 0 1 2 3 4 5; do echo "start=$((2048 + number * 8)), size=8, name=\"数据 $number\""; done
} | sfdisk -q /dev/TINY
printf 'label: dos\nsize=10M, type=83\ntype=5\n' | sfdisk -q /dev/EXTENDED
udevadm settle --timeout=900
/usr/sbin/mke2fs -q -t ext4 -L '数据 é' /dev/EXTENDEDp1
udevadm settle --timeout=900
mkdir -p /mnt/數據 /mnt/named
mount -t ext4 /dev/EXTENDEDp1 /mnt/數據
mount -t tmpfs /dev/TINYp1 /mnt/named
"""

MULTIPATH = r"""
set -e
printf 'label: gpt\nstart=4096, size=40M\n' | sfdisk -q /dev/MANY
udevadm settle --timeout=900
number() { cat /sys/block/$1/dev; }
sectors=$(cat /sys/block/MANY/size)
echo "0 $sectors multipath 0 0 1 1 round-robin 0 2 1 $(number MANY) 1000 $(number MANYTOO) 1000" |
  dmsetup create mpatha --uuid mpath-many
echo "0 81920 linear /dev/mapper/mpatha 4096" |
  dmsetup create mpatha-part1 --uuid part1-mpath-many
udevadm settle --timeout=900
/usr/sbin/mke2fs -q -t ext4 -L 'two ways' /dev/mapper/mpatha-part1
"""

POOL = r"""
set -e
printf 'label: gpt\nsize=4M\nsize=40M\n' | sfdisk -q /dev/POOL
udevadm settle --timeout=900
dd if=/dev/zero of=/dev/POOLp1 bs=4096 count=1
echo "0 81920 thin-pool /dev/POOLp1 /dev/POOLp2 128 0" | dmsetup create pool
dmsetup message pool 0 'create_thin 0'
echo '0 204800 thin /dev/mapper/pool 0' | dmsetup create thin
udevadm settle --timeout=900
/usr/sbin/mke2fs -q -t ext4 -L 'promised' /dev/mapper/thin
"""

SEVERAL = r"""
set -e
printf 'label: gpt\nsize=150M\n' | sfdisk -q /dev/LEFT
udevadm settle --timeout=900
mkfs.btrfs -q -f -L 'both' -d raid1 -m raid1 /dev/LEFTp1 /dev/RIGHT
udevadm settle --timeout=900
btrfs device scan
mkdir -p /mnt/both
mount -t btrfs /dev/RIGHT /mnt/both
"""

CACHED = r"""
set -e
make-bcache --bucket 64k -B /dev/DATA -C /dev/CACHE >/dev/null
udevadm settle --timeout=900
for device in /dev/DATA /dev/CACHE; do echo $device >/sys/fs/bcache/register || true; done
until [ -e /dev/bcache0 ]; do usleep 50000; done
udevadm settle --timeout=900
set=$(basename /sys/fs/bcache/*-*-*)
[ -e /sys/block/bcache0/bcache/cache ] || echo $set >/sys/block/bcache0/bcache/attach
/usr/sbin/mke2fs -q -t ext4 -L 'quick' /dev/bcache0
udevadm settle --timeout=900
"""

# What of the library's records does not depend on rights.
RECORD = ("startSector", "sectorCount", "volumeName", "mountPath", "volumeLabel")


class DisksTest(MachineTestCase):
    machine_arguments = {
        "disks": DISKS,
        "devices": list(drives()),
        "programs": ["lsblk", "blkid", "sfdisk", "mke2fs", "dmsetup", "mkfs.btrfs", "btrfs",
                     "make-bcache", "udevadm", "strace"],
        "modules": ["ext4", "btrfs", "dm_mod", "dm_multipath", "dm_round_robin", "dm_thin_pool",
                    "bcache"],
        "files": {**{str(RULES / name): RULES / name for name in (
            "50-udev-default.rules", "60-block.rules", "60-persistent-storage.rules",
            "64-btrfs.rules", "55-dm.rules", "60-persistent-storage-dm.rules",
            "95-dm-notify.rules")},
            "/usr/lib/systemd/systemd-udevd": pathlib.Path("/usr/bin/udevadm"),
            # The widths of characters.
            "/usr/lib/locale/C.utf8/LC_CTYPE": pathlib.Path("/usr/lib/locale/C.utf8/LC_CTYPE")},
        "memory": "768M",
    }

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.machine.check("chmod 755 /usr/lib/systemd/systemd-udevd")
        cls.machine.wait_for(f"[ $(ls -d /sys/block/nvme*n1 | wc -l) = {len(DRIVES)} ]")
        serials = cls.machine.check(
            "for disk in /sys/block/nvme*n1; do echo $(basename $disk) $(cat $disk/device/serial); done")
        cls.names = {serial: name for name, serial in
                     (line.split() for line in serials.splitlines())}
        cls.machine.check(DEVICE_MANAGER)
        for script in (TINY, MULTIPATH, POOL, SEVERAL, CACHED):
            for serial in sorted(cls.names, key=len, reverse=True):
                script = re.sub(rf"\b{serial.replace('-', '').upper()}(?=\b|p\d)",
                                cls.names[serial], script)
            cls.machine.check(script)
        # What is written while udev looks at a device may escape it (mkfs.btrfs writes twice): it looks once more.
        cls.machine.check("udevadm settle --timeout=900; udevadm trigger --action=change --subsystem-match=block; "
                          "udevadm settle --timeout=900")
        cls.disks = cls.machine.run("ondrel --json disks").json()["disks"]
        cls.all = cls.machine.run("ondrel --json partitions --all").json()["disks"]

    def lsblk(self, columns):
        output = self.machine.check(f"lsblk --bytes --json --list -o NAME,PATH,{columns}")
        devices = json.loads(output)["blockdevices"]
        return {device["path"]: device for device in devices}

    def listed(self, serial):
        [disk] = [disk for disk in self.all if disk["node"] == f"/dev/{self.names[serial]}"]
        return disk["partitions"]

    def extents(self, serial):
        return [(part["node"], part["startSector"], part["sectorCount"])
                for part in self.listed(serial)]

    def test_disks_are_those_of_the_system_with_what_it_knows_of_them(self):
        known = self.lsblk("TYPE,SIZE,MODEL,SERIAL,TRAN,RM,RO,ROTA,LOG-SEC,PHY-SEC,PTTYPE")
        expected = {path: device for path, device in known.items() if device["type"] == "disk"
                    and not device["name"].startswith("bcache")}
        self.assertEqual(set(expected), {disk["device"] for disk in self.disks})
        self.assertEqual(list(range(len(DRIVES))), [disk["number"] for disk in self.disks])
        for disk in self.disks:
            device = expected[disk["device"]]
            self.assertEqual(device["size"], disk["size"])
            self.assertEqual(device["model"], disk["model"])
            self.assertEqual(device["serial"], disk["serial"])
            self.assertEqual(device["tran"], disk["transport"])
            self.assertEqual(device["rm"], disk["removable"])
            self.assertEqual(device["ro"], disk["readOnly"])
            self.assertEqual("hard disk" if device["rota"] else "solid state", disk["kind"])
            self.assertEqual(device["log-sec"], disk["logicalSectorSize"])
            self.assertEqual(device["phy-sec"], disk["physicalSectorSize"])
            self.assertEqual(device["pttype"] or "", disk["partitionTable"])

    def test_what_holds_a_disk_is_named(self):
        holders = {disk["serial"]: {(holder["node"], holder["on"].replace(self.names[disk["serial"]], ""))
                                    for holder in disk["holders"]} for disk in self.disks}
        self.assertEqual({("/dev/mapper/mpatha", "/dev/")}, holders["many"])
        self.assertEqual({("/dev/mapper/mpatha", "/dev/")}, holders["many-too"])
        self.assertEqual({("/dev/mapper/pool", "/dev/p1"), ("/dev/mapper/pool", "/dev/p2")},
                         holders["pool"])
        self.assertEqual({("/dev/bcache0", "/dev/")}, holders["data"])
        self.assertEqual(set(), holders["tiny"])

    def test_volumes_hold_what_the_system_says(self):
        known = self.lsblk("FSTYPE,LABEL,UUID,PARTTYPE,PARTLABEL")
        seen = set()
        for disk in self.all:
            for part in disk["partitions"]:
                device = known[part["node"]]
                self.assertEqual(device["fstype"] or "", part["fileSystem"], part)
                self.assertEqual(device["label"] or "", part["volumeLabel"], part)
                self.assertEqual(device["uuid"] or "", part["uuid"], part)
                if part["type"] == "part" and "mapper" not in part["node"]:
                    self.assertEqual(device["parttype"], part["partitionType"], part)
                    self.assertEqual(device["partlabel"] or "", part["partitionName"], part)
                seen.add(part["volumeLabel"])
        self.assertEqual({"", "数据 é", "two ways", "promised", "both", "quick"}, seen)

    def test_partitions_of_eight_sectors_are_volumes_whatever_their_numbers(self):
        disk = self.names["tiny"]
        self.assertEqual([(f"/dev/{disk}p{number + 1}", 2048 + number * 8, 8)
                          for number in range(6)], self.extents("tiny"))

    def test_an_extended_partition_without_logical_ones_is_not_a_volume(self):
        disk = self.names["extended"]
        self.assertEqual("2\n", self.machine.check(f"cat /sys/block/{disk}/{disk}p2/size"))
        self.assertEqual([(f"/dev/{disk}p1", 2048, (10 << 20) // SECTOR)],
                         self.extents("extended"))

    def test_a_partition_of_a_multipath_device_lies_on_both_ways_where_it_is(self):
        expected = [("/dev/mapper/mpatha-part1", 4096, 81920)]
        self.assertEqual(expected, self.extents("many"))
        self.assertEqual(expected, self.extents("many-too"))

    def test_a_thin_volume_lies_in_the_data_of_its_pool(self):
        disk = self.names["pool"]
        start = int(self.machine.check(f"cat /sys/block/{disk}/{disk}p2/start"))
        self.assertEqual([("/dev/mapper/thin", start, 81920)], self.extents("pool"))

    def test_a_device_with_a_cache_lies_after_the_head_of_its_data(self):
        size = int(self.machine.check("cat /sys/block/bcache0/size"))
        whole = (64 << 20) // SECTOR
        self.assertEqual([("/dev/bcache0", whole - size, size)], self.extents("data"))
        # The head of a device with a cache is eight kibibytes long unless asked for otherwise.
        self.assertEqual(16, whole - size)
        self.assertEqual([("/dev/bcache0", 0, (128 << 20) // SECTOR)], self.extents("cache"))
        # The same bytes stand there.
        read = "dd if=/dev/{} bs=512 skip={} count=64 iflag=direct 2>/dev/null | md5sum"
        self.machine.check("sync; echo 1 >/sys/block/bcache0/bcache/detach || true")
        self.machine.wait_for(
            "[ \"$(cat /sys/block/bcache0/bcache/state)\" = 'no cache' ]")
        self.assertEqual(self.machine.check(read.format("bcache0", 2)),
                         self.machine.check(read.format(self.names["data"], 18)))

    def test_a_file_system_over_two_devices_is_mounted_from_both(self):
        for serial in ("left", "right"):
            [part] = self.listed(serial)
            self.assertEqual("/mnt/both", part["mountPath"])
            self.assertEqual(["/mnt/both"], part["mountPaths"])

    def test_a_mount_that_merely_names_a_device_is_not_its_own(self):
        self.assertEqual(["", "", "", "", "", ""],
                         [part["mountPath"] for part in self.listed("tiny")])

    def test_an_ordinary_user_sees_labels_through_the_device_manager(self):
        result = self.machine.run(
            f"su nobody -s /bin/sh -c 'ondrel --json partitions /dev/{self.names['extended']}'")
        self.assertEqual(0, result.exit_status, result)
        self.assertEqual([{key: part[key] for key in RECORD} for part in self.listed("extended")],
                         [{key: part[key] for key in RECORD} for part in result.json()["partitions"]])
        self.assertEqual("", result.stderr)

    def test_an_ordinary_user_hears_what_cannot_be_seen(self):
        disk = self.names["many"]
        result = self.machine.run(f"su nobody -s /bin/sh -c 'ondrel partitions /dev/{disk}'")
        self.assertEqual(3, result.exit_status, result)
        self.assertRegex(result.stdout, r"^nothing that can be listed on Disk \d+\n$")
        self.assertRegex(result.stderr, r"^ondrel: cannot see what lies on Disk \d+: "
                                        r"/dev/mapper/mpatha-part1: Access is denied\. ")

    def test_tables_are_read_as_secret_data(self):
        calls = self.machine.run(
            f"strace -f -e trace=ioctl ondrel partitions /dev/{self.names['many']} 2>&1").stdout
        tables = [line for line in calls.splitlines() if "DM_TABLE_STATUS" in line]
        self.assertTrue(tables, calls)
        for line in tables:
            self.assertIn("DM_SECURE_DATA_FLAG", line)

    def test_a_disk_is_named_in_four_ways_and_what_is_none_is_refused(self):
        disk = self.names["tiny"]
        [number] = [disk["number"] for disk in self.disks if disk["serial"] == "tiny"]
        self.machine.check(f"ln -sf /dev/{disk} /run/link")
        answers = [self.machine.run(["ondrel", "--json", "partitions", name]).output
                   for name in (f"Disk {number}", str(number), f"/dev/{disk}", "/run/link")]
        self.assertEqual(1, len(set(answers)))
        for name in (f"/dev/{disk}p1", "/dev/bcache0", "/dev/null", "disk 0"):
            result = self.machine.run(["ondrel", "partitions", name])
            self.assertEqual((2, ""), (result.exit_status, result.stdout), result)
        result = self.machine.run(["ondrel", "partitions", "Disk 4711"])
        self.assertEqual((1, "there is no Disk 4711\n"), (result.exit_status, result.stdout))

    def test_columns_stay_in_line_with_wide_characters(self):
        table = self.machine.run(["ondrel", "partitions", f"/dev/{self.names['extended']}"]).stdout
        head, row = table.splitlines()[-2:]
        before = row[:row.index("/mnt/數據")]
        wide = sum(1 for character in before if ord(character) > 0x2E80)
        self.assertEqual(head.index("mounted at"), len(before) + wide)

    def test_many_mounts_stay_within_the_room_of_the_librarys_first_question(self):
        self.machine.check("for i in $(seq 200); do mkdir -p /mnt/bound/number-$i; "
                           "mount --bind /mnt/數據 /mnt/bound/number-$i; done")
        [part] = self.machine.run(
            ["ondrel", "--json", "partitions", f"/dev/{self.names['extended']}"]).json()["partitions"]
        self.machine.check("for i in $(seq 200); do umount /mnt/bound/number-$i; done")
        self.assertEqual("/mnt/數據", part["mountPath"])
        self.assertEqual(201, len(part["mountPaths"]))


if __name__ == "__main__":
    unittest.main(verbosity=2)
