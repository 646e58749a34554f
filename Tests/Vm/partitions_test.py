"""Disks with all kinds of volumes: what the command lists agrees with the system's own tools in the
same machine, extent by extent."""

import json
import re
import unittest

from machine import MachineTestCase

SECTOR = 512

# Without a device manager the tools of the volume manager make their nodes themselves.
LVM = ("lvm {} --config 'devices{{use_devicesfile=0}} activation{{udev_sync=0 udev_rules=0}} "
       "global{{locking_type=0}}' {}")

READY = """
for disk in sda sdb sr0 nvme0n1 nvme1n1 nvme2n1 nvme3n1; do
  until [ -e /dev/$disk ]; do usleep 50000; done
done
"""

PREPARE = r"""
set -e
settle() { until [ -e "$1" ]; do usleep 50000; done; }
printf 'label: gpt\nsize=40M\nsize=64M\nsize=320M\nsize=16M\n' | sfdisk -q /dev/$GPT
printf 'label: dos\nsize=30M, type=83\ntype=5\nsize=20M, type=c\nsize=10M, type=83\n' |
  sfdisk -q /dev/$DOS
printf 'label: gpt\nsize=50M\n' | sfdisk -q /dev/nvme1n1
for disk in nvme2n1 nvme3n1; do
  printf 'label: gpt\nsize=64M\nsize=32M\nsize=48M\n' | sfdisk -q /dev/$disk
  settle /dev/${disk}p3
done
settle /dev/${GPT}4
settle /dev/${DOS}6
settle /dev/nvme1n1p1

mkfs.fat -n 'EFI DISK' /dev/${GPT}1
/usr/sbin/mke2fs -q -t ext4 -L 'Grüße Daten' /dev/${GPT}2
mkfs.xfs -q -L 'Größe' /dev/${GPT}3
/usr/sbin/mkswap -L 'Tausch' /dev/${GPT}4
/usr/sbin/mke2fs -q -t ext4 -L 'primary' /dev/${DOS}1
mkfs.fat -n 'LOGICAL' /dev/${DOS}5
/usr/sbin/mke2fs -q -t ext4 -L 'whole disk' /dev/nvme0n1
/usr/sbin/mke2fs -q -t ext4 -L 'large sectors' /dev/nvme1n1p1

mkdir -p '/mnt/große Daten' /mnt/second /mnt/fat /mnt/whole
mount -t ext4 /dev/${GPT}2 '/mnt/große Daten'
mount -t ext4 /dev/${GPT}2 /mnt/second
mount -t vfat /dev/${GPT}1 /mnt/fat
mount -t ext4 /dev/nvme0n1 /mnt/whole
"""

MIRROR = r"""
set -e
echo y | mdadm --create /dev/md0 --level=1 --raid-devices=2 --metadata=1.2 --assume-clean --run \
  /dev/nvme2n1p2 /dev/nvme3n1p2
until [ -e /dev/md0 ]; do usleep 50000; done
/usr/sbin/mke2fs -q -t ext4 -L mirror /dev/md0
"""

SECRET = r"""
set -e
printf secret | cryptsetup luksFormat -q --type luks2 --pbkdf pbkdf2 --pbkdf-force-iterations 1000 \
  --luks2-metadata-size 16k --luks2-keyslots-size 4032k /dev/nvme2n1p3 -
printf secret | cryptsetup open --disable-external-tokens /dev/nvme2n1p3 secret -
/usr/sbin/mke2fs -q -t ext4 -L 'under lock' /dev/mapper/secret
"""


class PartitionsTest(MachineTestCase):
    machine_arguments = {
        "chipset": "pc",
        "disks": {"gpt": 512 << 20, "dos": 128 << 20, "cd": 4 << 20, "whole": 64 << 20,
                  "large": 128 << 20, "first": 192 << 20, "second": 192 << 20},
        "devices": [
            "-drive", "file={folder}/gpt,format=raw,if=none,id=gpt",
            "-device", "ide-hd,bus=ide.0,unit=0,serial=gpt,drive=gpt",
            "-drive", "file={folder}/dos,format=raw,if=none,id=dos",
            "-device", "ide-hd,bus=ide.0,unit=1,serial=dos,drive=dos",
            "-drive", "file={folder}/cd,format=raw,if=ide,index=2,media=cdrom",
            "-drive", "file={folder}/whole,format=raw,if=none,id=whole",
            "-device", "nvme,serial=whole,drive=whole",
            "-drive", "file={folder}/large,format=raw,if=none,id=large",
            "-device", "nvme,serial=large,drive=large,logical_block_size=4096,"
                       "physical_block_size=4096",
            "-drive", "file={folder}/first,format=raw,if=none,id=first",
            "-device", "nvme,serial=first,drive=first",
            "-drive", "file={folder}/second,format=raw,if=none,id=second",
            "-device", "nvme,serial=second,drive=second",
        ],
        "programs": ["lsblk", "blkid", "sfdisk", "mke2fs", "mkfs.fat", "mkfs.xfs", "mkswap", "lvm",
                     "mdadm", "cryptsetup", "dmsetup"],
        "modules": ["ata_piix", "sd_mod", "sr_mod", "ext4", "vfat", "nls_cp437", "nls_ascii",
                    "nls_iso8859-1", "dm_mod", "raid1", "dm_crypt", "aes_generic", "ecb", "xts", "algif_skcipher"],
        "memory": "768M",
    }

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.machine.check(READY)
        # The kernel looks at the two at the same time: either may become sda.
        serials = {cls.machine.check(f"tail -c +5 /sys/block/{name}/device/vpd_pg80").strip(): name
                   for name in ("sda", "sdb")}
        cls.gpt, cls.dos = serials["gpt"], serials["dos"]
        cls.machine.check(f"GPT={cls.gpt} DOS={cls.dos}\n{PREPARE}")
        cls.machine.check(LVM.format("pvcreate -q -y", "/dev/nvme2n1p1 /dev/nvme3n1p1"))
        cls.machine.check(LVM.format("vgcreate -q -y", "vg0 /dev/nvme2n1p1 /dev/nvme3n1p1"))
        cls.machine.check(LVM.format("lvcreate -q -y -Zn -Wn -i 2 -I 64 -n striped -L 16M", "vg0"))
        cls.machine.check(LVM.format("lvcreate -q -y -Zn -Wn -n my-data -l 20", "vg0"))
        cls.machine.check("/usr/sbin/mke2fs -q -t ext4 -L spanned /dev/mapper/vg0-my--data")
        cls.machine.check("mkdir -p /mnt/spanned; "
                          "mount -t ext4 /dev/mapper/vg0-my--data /mnt/spanned")
        cls.machine.check(MIRROR)
        cls.machine.check(SECRET)
        cls.disks = cls.machine.run("ondrel --json disks").json()["disks"]

    def partitions(self, device):
        [disk] = [disk["disk"] for disk in self.disks if disk["device"] == f"/dev/{device}"]
        return self.machine.run(["ondrel", "--json", "partitions", disk]).json()["partitions"]

    def extents(self, device):
        return [(part["volumeName"], part["startSector"], part["sectorCount"])
                for part in self.partitions(device)]

    def block_devices(self, columns="NAME,MAJ:MIN,TYPE,SIZE,START,LABEL,MOUNTPOINTS"):
        output = self.machine.check(f"lsblk --bytes --json --list -o {columns}")
        return {device["name"]: device for device in json.loads(output)["blockdevices"]}

    def test_disks_are_numbered_by_their_device_numbers_the_removable_ones_last(self):
        columns = "NAME,MAJ:MIN,TYPE,SIZE,RM,RO,ROTA,LOG-SEC,PHY-SEC,MODEL,SERIAL"
        devices = [device for device in self.block_devices(columns).values()
                   if device["type"] in ("disk", "rom")]
        devices.sort(key=lambda device: [device["rm"]] + [int(number) for number in
                                                          device["maj:min"].split(":")])
        kinds = {"rom": lambda device: "optical",
                 "disk": lambda device: "hard disk" if device["rota"] else "solid state"}
        expected = [{"disk": f"Disk {number}", "number": number,
                     "device": "/dev/" + device["name"], "size": device["size"],
                     "removable": device["rm"], "readOnly": device["ro"],
                     "kind": kinds[device["type"]](device),
                     "model": (device["model"] or "").strip(),
                     "logicalSectorSize": device["log-sec"],
                     "physicalSectorSize": device["phy-sec"]}
                    for number, device in enumerate(devices)]
        self.assertEqual(expected, [{key: disk[key] for key in expected[0]} for disk in self.disks])
        self.assertEqual(7, len(self.disks))
        self.assertEqual("sr0", devices[-1]["name"])
        self.assertEqual({f"/dev/{self.gpt}": "ata", "/dev/nvme0n1": "nvme"},
                         {disk["device"]: disk["transport"] for disk in self.disks
                          if disk["device"] in (f"/dev/{self.gpt}", "/dev/nvme0n1")})

    def test_what_holds_a_disk_is_named_with_its_partition(self):
        holders = {disk["device"]: [(holder["on"], holder["node"]) for holder in disk["holders"]]
                   for disk in self.disks}
        self.assertEqual([], holders[f"/dev/{self.gpt}"])
        self.assertEqual({("/dev/nvme2n1p1", "/dev/mapper/vg0-striped"),
                          ("/dev/nvme2n1p1", "/dev/mapper/vg0-my--data"),
                          ("/dev/nvme2n1p2", "/dev/md0"),
                          ("/dev/nvme2n1p3", "/dev/mapper/secret")}, set(holders["/dev/nvme2n1"]))

    def plain_partitions(self, disk, numbers):
        names = [f"{disk}p{number}" if disk[-1].isdigit() else f"{disk}{number}" for number in numbers]
        devices = self.block_devices()
        return [(f"\\\\?\\{name}\\", int(devices[name]["start"]),
                 int(devices[name]["size"]) // SECTOR) for name in names]

    def test_partitions_of_a_gpt_disk_lie_where_the_system_says(self):
        self.assertEqual(self.plain_partitions(self.gpt, [1, 2, 3, 4]), self.extents(self.gpt))

    def test_an_extended_partition_is_no_volume_and_logical_ones_are(self):
        self.assertEqual(self.plain_partitions(self.dos, [1, 5, 6]), self.extents(self.dos))

    def test_sectors_of_4096_bytes_are_counted_in_units_of_512(self):
        self.assertEqual("4096\n", self.machine.check("cat /sys/block/nvme1n1/queue/logical_block_size"))
        self.assertEqual(self.plain_partitions("nvme1n1", [1]), self.extents("nvme1n1"))

    def test_a_file_system_on_a_whole_disk_is_one_volume_from_its_beginning(self):
        self.assertEqual([("\\\\?\\nvme0n1\\", 0, (64 << 20) // SECTOR)], self.extents("nvme0n1"))

    def test_an_optical_drive_gives_no_record(self):
        self.assertEqual([], self.partitions("sr0"))

    def label(self, name):
        probed = self.machine.run(["/usr/sbin/blkid", "-p", "-o", "udev", f"/dev/{name}"]).stdout
        encoded = re.search(r"^ID_FS_LABEL_ENC=(.*)$", probed, re.MULTILINE)
        return re.sub(r"\\x([0-9a-f]{2})", lambda code: chr(int(code[1], 16)),
                      encoded[1] if encoded else "")

    def test_labels_are_those_that_blkid_reads(self):
        seen = set()
        for disk in self.disks:
            for part in self.partitions(disk["device"].removeprefix("/dev/")):
                name = part["volumeName"].removeprefix("\\\\?\\").rstrip("\\").replace("\\", "/")
                self.assertEqual(self.label(name), part["volumeLabel"], name)
                seen.add(part["volumeLabel"])
        self.assertLessEqual({"EFI DISK", "Grüße Daten", "Größe", "Tausch", "primary", "LOGICAL",
                              "whole disk", "large sectors", "spanned", "mirror", "under lock"},
                             seen)

    def test_mount_paths_are_the_first_of_the_mount_table(self):
        mounts = {}
        for line in self.machine.check("cat /proc/self/mountinfo").splitlines():
            fields = line.split(" ")
            path = re.sub(r"\\([0-7]{3})", lambda code: chr(int(code[1], 8)), fields[4])
            mounts.setdefault(fields[2], path)
        numbers = {name: device["maj:min"] for name, device in self.block_devices().items()}
        seen = set()
        for disk in self.disks:
            for part in self.partitions(disk["device"].removeprefix("/dev/")):
                name = part["volumeName"].rstrip("\\").rpartition("\\")[2]
                self.assertEqual(mounts.get(numbers[name], ""), part["mountPath"], name)
                seen.add(part["mountPath"])
        self.assertLessEqual({"/mnt/große Daten", "/mnt/fat", "/mnt/whole", "/mnt/spanned", ""}, seen)
        self.assertNotIn("/mnt/second", seen)

    # Extents of a mapped volume on a disk, from the device mapper's own tool.
    def mapped(self, name, disk):
        numbers = {device["maj:min"]: device for device in self.block_devices().values()}
        expected = []
        for line in self.machine.check(["dmsetup", "table", name]).splitlines():
            words = line.split()
            length, kind, parameters = int(words[1]), words[2], words[3:]
            if kind == "striped":
                stripes = int(parameters[0])
                length //= stripes
                pairs = [parameters[2 + 2 * stripe:4 + 2 * stripe] for stripe in range(stripes)]
            else:
                pairs = [parameters[3:5] if kind == "crypt" else parameters[:2]]
            for device, offset in pairs:
                beneath = numbers[device]
                if beneath["name"].startswith(disk):
                    expected.append((f"\\\\?\\mapper\\{name}\\",
                                     int(beneath["start"]) + int(offset), length))
        return expected

    def mirrored(self, part):
        examined = self.machine.check(["mdadm", "--examine", f"/dev/{part}"])
        offset = int(re.search(r"Data Offset : (\d+) sectors", examined)[1])
        devices = self.block_devices()
        return [("\\\\?\\md0\\", int(devices[part]["start"]) + offset,
                 int(devices["md0"]["size"]) // SECTOR)]

    def test_volumes_over_two_disks_lie_on_both(self):
        first = self.extents("nvme2n1")
        second = self.extents("nvme3n1")
        for name in ("vg0-striped", "vg0-my--data"):
            on_first, on_second = self.mapped(name, "nvme2n1"), self.mapped(name, "nvme3n1")
            self.assertTrue(on_first and on_second, name)
            volume = f"\\\\?\\mapper\\{name}\\"
            self.assertEqual(on_first, [extent for extent in first if extent[0] == volume])
            self.assertEqual(on_second, [extent for extent in second if extent[0] == volume])

    def test_a_mirror_lies_on_both_disks_behind_its_own_data(self):
        for disk in ("nvme2n1", "nvme3n1"):
            found = [extent for extent in self.extents(disk) if extent[0] == "\\\\?\\md0\\"]
            self.assertEqual(self.mirrored(disk + "p2"), found)

    def test_an_encrypted_volume_lies_behind_its_header(self):
        expected = self.mapped("secret", "nvme2n1")
        self.assertEqual(expected, [extent for extent in self.extents("nvme2n1")
                                    if extent[0] == "\\\\?\\mapper\\secret\\"])
        self.assertEqual(1, len(expected))

    def test_what_others_are_built_on_is_no_volume_of_its_own(self):
        names = {extent[0] for disk in ("nvme2n1", "nvme3n1") for extent in self.extents(disk)}
        self.assertEqual({"\\\\?\\nvme3n1p3\\", "\\\\?\\md0\\", "\\\\?\\mapper\\vg0-striped\\",
                          "\\\\?\\mapper\\vg0-my--data\\", "\\\\?\\mapper\\secret\\"}, names)

    def as_user(self, *arguments):
        return self.machine.run(["su", "nobody", "-s", "/bin/sh", "-c",
                                 "ondrel " + " ".join(arguments)])

    def test_an_ordinary_user_sees_the_partitions_and_hears_what_only_root_may_read(self):
        as_root = self.partitions(self.gpt)
        result = self.as_user(f"--json partitions /dev/{self.gpt}")
        found = result.json()["partitions"]
        self.assertEqual({5}, {part["contentError"]["number"] for part in found}, result)
        hidden = {"volumeLabel": "", "fileSystem": None, "uuid": None, "partitionType": "",
                  "partitionName": "", "contentError": None}
        self.assertEqual([{**part, **hidden} for part in as_root],
                         [{**part, "contentError": None} for part in found])
        self.assertEqual(f"ondrel: cannot read what is in /dev/{self.gpt}1 and 3 more: Access is denied. "
                         "(error 5, ERROR_ACCESS_DENIED)\n", result.stderr)
        self.assertEqual(0, result.exit_status)

    def test_an_ordinary_user_hears_which_volumes_cannot_be_seen(self):
        result = self.as_user("--json partitions /dev/nvme2n1")
        self.assertEqual(3, result.exit_status, result)
        self.assertEqual(["\\\\?\\md0\\"],
                         [part["volumeName"] for part in result.json()["partitions"]])
        self.assertEqual({"/dev/mapper/vg0-striped", "/dev/mapper/vg0-my--data",
                          "/dev/mapper/secret"},
                         {unseen["node"] for unseen in result.json()["unseen"]})
        self.assertEqual({5}, {unseen["error"]["number"] for unseen in result.json()["unseen"]})
        self.assertRegex(result.stderr, r"(?m)^ondrel: cannot see what lies on Disk \d+: "
                                        r"/dev/mapper/secret: Access is denied\. ")
        # It may hold a file system, and nobody is there who would know.
        result = self.as_user("partitions /dev/nvme0n1")
        self.assertEqual(0, result.exit_status, "it is mounted")
        self.machine.check("umount /mnt/whole")
        result = self.as_user("partitions /dev/nvme0n1")
        self.machine.check("mount -t ext4 /dev/nvme0n1 /mnt/whole")
        self.assertEqual(3, result.exit_status, result)
        self.assertNotIn("no partitions", result.stdout)

    def test_a_disk_that_is_not_there_is_not_an_empty_one(self):
        result = self.machine.run("ondrel --json partitions 'Disk 7'")
        self.assertEqual((1, False, []), (result.exit_status, result.json()["found"],
                                          result.json()["partitions"]))
        self.assertEqual("there is no Disk 7\n",
                         self.machine.run("ondrel partitions 'Disk 7'").stdout)

    def test_all_disks_are_shown_in_one_call(self):
        listed = self.machine.run("ondrel --json partitions --all").json()["disks"]
        self.assertEqual([disk["device"] for disk in self.disks], [disk["node"] for disk in listed])
        for disk in listed:
            self.assertEqual(self.partitions(disk["node"].removeprefix("/dev/")),
                             disk["partitions"])

    def test_all_mount_paths_are_shown(self):
        [part] = [part for part in self.partitions(self.gpt) if part["node"] == f"/dev/{self.gpt}2"]
        self.assertEqual("/mnt/große Daten", part["mountPath"])
        self.assertEqual(["/mnt/große Daten", "/mnt/second"], part["mountPaths"])

    def test_file_systems_and_types_are_those_that_blkid_reads(self):
        for disk in self.disks:
            for part in self.partitions(disk["device"].removeprefix("/dev/")):
                probed = self.machine.run(["blkid", "-p", "-o", "export", part["node"]]).stdout
                values = dict(line.split("=", 1) for line in probed.splitlines())
                self.assertEqual(values.get("TYPE", ""), part["fileSystem"], part)
                self.assertEqual(values.get("UUID", ""), part["uuid"], part)
                self.assertEqual(values.get("PART_ENTRY_TYPE", ""), part["partitionType"], part)

    def test_the_picture_of_a_disk(self):
        number = next(disk["number"] for disk in self.disks if disk["device"] == f"/dev/{self.gpt}")
        picture = self.machine.run(["ondrel", "partitions", f"Disk {number}"]).stdout
        rows = [line.split() for line in picture.splitlines()]
        self.assertEqual(["Disk", str(number) + ",", "512", "MiB,", f"/dev/{self.gpt},", "gpt"], rows[0])
        self.assertRegex(picture, r"\n\[\|=+1=+\|=+2=+\|=+3=+\|=*4=*\.+\]\n")
        [row] = [row for row in rows if row[:1] == ["2"]]
        self.assertEqual(["2", "41", "MiB", "64", "MiB", f"/dev/{self.gpt}2", "part", "ext4", "Grüße",
                          "Daten"], row[:10])
        self.assertEqual(["/mnt/große", "Daten,", "/mnt/second"], row[11:])


if __name__ == "__main__":
    unittest.main(verbosity=2)
