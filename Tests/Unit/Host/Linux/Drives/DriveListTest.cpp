#include "Host/Linux/Drives/DrivePicture.h"
#include "Unit/Host/Linux/Drives/DriveTree.h"

#include <Ondrel/StatusTransition.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace Ondrel::Host {
namespace {

using testing::IsEmpty;

TEST(DriveList, FreeAndUsedDrives) {
  const DriveTree tree;
  tree.AddDisk("sda", "FREE", "8:0");
  tree.AddDisk("sdb", "MOUNTED", "8:16");
  tree.AddPartition("sdb", "sdb1", 1, "8:17");
  tree.AddDisk("sdc", "PAGED", "8:32");
  tree.AddDisk("sdd", "HELD", "8:48");
  tree.Write(DriveTree::DiskFolder("sdd") + "/holders/dm-0", "");
  tree.AddDisk("sde", "SOURCE", "8:64");
  tree.Write("proc/self/mountinfo",
             "20 1 8:17 / /data rw - ext4 /dev/sdb1 rw\n21 1 0:50 / /b rw - btrfs /dev/sde rw\n");
  tree.Write("proc/swaps", "Filename Type\n/dev/sdc partition 100 0 -2\n");
  const DriveSnapshot snapshot = tree.Read();
  ASSERT_EQ(5u, snapshot.drives.size());
  EXPECT_EQ(kStatusAvailable, DriveOf(snapshot, "FREE").status);
  EXPECT_EQ("Model of disk", DriveOf(snapshot, "FREE").model);
  EXPECT_EQ("/dev/sda", DriveOf(snapshot, "FREE").device);
  EXPECT_EQ(kStatusSystem, DriveOf(snapshot, "MOUNTED").status);
  EXPECT_EQ(kStatusSystem, DriveOf(snapshot, "PAGED").status);
  EXPECT_EQ(kStatusSystem, DriveOf(snapshot, "HELD").status);
  EXPECT_EQ(kStatusSystem, DriveOf(snapshot, "SOURCE").status);
}

TEST(DriveList, DisksThatAreNotHardwareOfTheMachineAreLeftOut) {
  const DriveTree tree;
  for (const char* const name : {"loop0", "ram0", "zram0", "dm-0", "sr0", "nbd0", "md7", "fd0"})
    tree.AddDisk(name, "", "1:0");
  tree.AddDisk("sda", "STICK", "8:0");
  tree.Write(DriveTree::DiskFolder("sda") + "/removable", "1\n");
  tree.AddDisk("sdb", "EMPTY", "8:16");
  tree.Write(DriveTree::DiskFolder("sdb") + "/size", "0\n");
  EXPECT_THAT(tree.Read().drives, IsEmpty());
}

TEST(DriveList, AnEmptyNVMeNamespaceAndAHiddenOneDifferFromOtherDisks) {
  const DriveTree tree;
  tree.AddNVMe("nvme0", "EMPTY", 1);
  tree.Write("sys/devices/pci/nvme0/nvme0n1/size", "0\n");
  tree.AddDisk("sda", "HIDDEN", "8:0");
  tree.Write(DriveTree::DiskFolder("sda") + "/hidden", "1\n");
  tree.AddDisk("md_d0", "OLD ARRAY", "254:0");
  tree.AddDisk("mdisk", "NOT AN ARRAY", "8:16");
  const DriveSnapshot snapshot = tree.Read();
  ASSERT_EQ(2u, snapshot.drives.size());
  EXPECT_EQ("EMPTY", snapshot.drives[0].id);
  EXPECT_EQ("NOT AN ARRAY", snapshot.drives[1].id);
}

TEST(DriveList, TheSourcesOfAnIdentityInTheirOrder) {
  const DriveTree tree;
  // A page that says fewer bytes than there are, and one of another number.
  tree.AddDisk("sda", "", "8:0");
  tree.Write("sys/devices/bus/sda-device/vpd_pg80", std::string("\0\x80\0\x03SHORTENED", 13));
  tree.AddDisk("sdb", "", "8:16");
  tree.Write("sys/devices/bus/sdb-device/vpd_pg80", std::string("\0\x83\0\x03"
                                                                "ABC",
                                                                7));
  tree.Write(DriveTree::DiskFolder("sdb") + "/wwid", "of the disk\n");
  tree.Write("sys/devices/bus/sdb-device/wwid", "of the device\n");
  // A virtual disk has its number itself, and its model in a name.
  tree.AddDisk("vda", "", "253:0");
  tree.Write(DriveTree::DiskFolder("vda") + "/serial", "virtual\n");
  tree.Write("sys/devices/bus/vda-device/model", "");
  tree.Write("sys/devices/bus/vda-device/name", "name of a card\n");
  tree.AddDisk("sdd", "", "8:48");
  const DriveSnapshot snapshot = tree.Read();
  ASSERT_EQ(4u, snapshot.drives.size());
  EXPECT_EQ("SHO", DriveOf(snapshot, "SHO").serial);
  EXPECT_EQ("", DriveOf(snapshot, "of the disk").serial);
  EXPECT_EQ("name of a card", DriveOf(snapshot, "virtual").model);
  const std::string place = "at " + tree.Path("sys/devices/bus/sdd-device");
  EXPECT_EQ("sdd", DriveOf(snapshot, place).name);
}

TEST(DriveList, WhatIsMadeOfAnotherDeviceIsKnownByThat) {
  const DriveTree tree;
  tree.AddArray("md0", "raid1", 2);
  tree.AddDisk("dm-3", "", "252:3");
  tree.Write(DriveTree::DiskFolder("dm-3") + "/dm/uuid", "LVM-abc\n");
  tree.AddDisk("md7", "", "9:7");
  tree.Write(DriveTree::DiskFolder("md7") + "/md/uuid", "0-1-2-3\n");
  tree.AddDiskMember("md0", "dm-3", "in_sync", "0");
  tree.AddDiskMember("md0", "md7", "in_sync", "1");
  const DriveSnapshot snapshot = tree.Read();
  ASSERT_EQ(2u, snapshot.drives.size());
  EXPECT_EQ("dm:LVM-abc", snapshot.drives[0].id);
  EXPECT_EQ("md:0-1-2-3", snapshot.drives[1].id);
}

TEST(DriveList, ADriveWhoseStateIsDeadIsFailed) {
  const DriveTree tree;
  tree.AddDisk("sda", "A", "8:0");
  tree.Write("sys/devices/bus/sda-device/state", "dead\n");
  tree.AddNVMe("nvme0", "N", 0);
  tree.Write("sys/devices/pci/nvme0/state", "dead\n");
  tree.AddNVMe("nvme1", "M", 0);
  const DriveSnapshot snapshot = tree.Read();
  EXPECT_EQ(kStatusFailed, DriveOf(snapshot, "A").status);
  EXPECT_EQ(kStatusFailed, DriveOf(snapshot, "N").status);
  EXPECT_EQ(kStatusAvailable, DriveOf(snapshot, "M").status);
}

TEST(DriveList, ControllersWithoutANamespaceAreDrives) {
  const DriveTree tree;
  tree.AddNVMe("nvme0", "", 0);
  tree.AddNVMe("nvme1", "SERIAL", 0);
  const DriveSnapshot snapshot = tree.Read();
  ASSERT_EQ(2u, snapshot.drives.size());
  const Drive& first = snapshot.drives[1];
  EXPECT_EQ("at " + tree.Path("sys/devices/pci/nvme0"), first.id);
  EXPECT_TRUE(first.isNVMe);
  EXPECT_EQ("nvme0", first.name);
  EXPECT_EQ("/dev/nvme0", first.device);
  EXPECT_EQ("", first.serial);
  EXPECT_EQ("NVMe model", first.model);
  EXPECT_EQ("SERIAL", snapshot.drives[0].serial);
}

TEST(DriveList, TheControllersOfASubsystemAreOneDrive) {
  const DriveTree tree;
  const std::string subsystem = "sys/devices/virtual/nvme-subsys0";
  for (const char* const name : {"nvme0", "nvme1"}) {
    const std::string device = std::string("sys/devices/pci/") + name;
    tree.Write(device + "/state", "live\n");
    tree.Link(std::string("sys/class/nvme/") + name, device);
    tree.Link(subsystem + "/" + name, device);
  }
  tree.Write(subsystem + "/serial", "SHARED\n");
  tree.Write(subsystem + "/nvme0n1/size", "1000\n");
  tree.Link(subsystem + "/nvme0n1/device", subsystem);
  tree.Link("sys/block/nvme0n1", subsystem + "/nvme0n1");
  const DriveSnapshot snapshot = tree.Read();
  ASSERT_EQ(1u, snapshot.drives.size());
  EXPECT_EQ("SHARED", snapshot.drives[0].id);
  EXPECT_EQ("nvme0", snapshot.drives[0].name);
  EXPECT_TRUE(snapshot.drives[0].isNVMe);
}

TEST(DriveList, ADiskWithASlashInItsNode) {
  const DriveTree tree;
  tree.AddDisk("cciss!c0d0", "A", "104:0");
  tree.AddDisk("cciss!c0d1", "B", "104:16");
  tree.Write("proc/swaps", "Filename Type\n/dev/cciss/c0d1 partition 100 0 -2\n");
  const DriveSnapshot snapshot = tree.Read();
  EXPECT_EQ("/dev/cciss/c0d0", DriveOf(snapshot, "A").device);
  EXPECT_EQ("cciss!c0d0", DriveOf(snapshot, "A").name);
  EXPECT_EQ(kStatusAvailable, DriveOf(snapshot, "A").status);
  EXPECT_EQ(kStatusSystem, DriveOf(snapshot, "B").status);
}

TEST(DriveList, LinesOfMountsThatEndEarlyAreSurvived) {
  const DriveTree tree;
  tree.AddDisk("sda", "A", "8:0");
  tree.AddDisk("sdb", "B", "8:16");
  tree.Write("proc/self/mountinfo",
             "20 1\n\n21 1 8:0 / / rw - tmpfs\n22 1 0:5 / / rw x y /dev/sdb\n");
  tree.Write("proc/swaps", "\n\n");
  const DriveSnapshot snapshot = tree.Read();
  EXPECT_EQ(kStatusSystem, DriveOf(snapshot, "A").status);
  EXPECT_EQ(kStatusAvailable, DriveOf(snapshot, "B").status);
}

TEST(DriveList, AnNVMeDriveIsItsControllerWithAllNamespaces) {
  const DriveTree tree;
  tree.AddNVMe("nvme0", "SN-1", 2);
  tree.AddNVMe("nvme1", "SN-2", 0);
  const DriveSnapshot snapshot = tree.Read();
  ASSERT_EQ(2u, snapshot.drives.size());
  EXPECT_EQ("nvme0", DriveOf(snapshot, "SN-1").name);
  EXPECT_EQ("/dev/nvme0", DriveOf(snapshot, "SN-1").device);
  EXPECT_TRUE(DriveOf(snapshot, "SN-1").isNVMe);
  EXPECT_EQ("nvme1", DriveOf(snapshot, "SN-2").name);
}

TEST(DriveList, DrivesOfTheSameSerialNumberAreDistinguished) {
  const DriveTree tree;
  tree.AddDisk("sda", "SAME", "8:0");
  tree.AddDisk("sdb", "SAME", "8:16");
  tree.Write("sys/devices/bus/sda-device/wwid", "naa.1\n");
  tree.Write("sys/devices/bus/sdb-device/wwid", "naa.2\n");
  tree.AddDisk("sdc", "", "8:32");
  tree.Write("sys/devices/bus/sdc-device/wwid", "naa.3\n");
  const DriveSnapshot snapshot = tree.Read();
  ASSERT_EQ(3u, snapshot.drives.size());
  EXPECT_EQ("Model of disk SAME naa.1", snapshot.drives[0].id);
  EXPECT_EQ("Model of disk SAME naa.2", snapshot.drives[1].id);
  EXPECT_EQ("naa.3", snapshot.drives[2].id);
}

TEST(DriveList, DrivesThatNothingElseDistinguishesAreDistinguishedByTheirPlaces) {
  const DriveTree tree;
  tree.AddDisk("sda", "SAME", "8:0");
  tree.AddDisk("sdb", "SAME", "8:16");
  tree.Write("sys/devices/bus/sda-device/model", "");
  tree.Write("sys/devices/bus/sdb-device/model", "");
  const DriveSnapshot snapshot = tree.Read();
  ASSERT_EQ(2u, snapshot.drives.size());
  EXPECT_EQ("SAME at " + tree.Path("sys/devices/bus/sda-device"), snapshot.drives[0].id);
  EXPECT_EQ("SAME at " + tree.Path("sys/devices/bus/sdb-device"), snapshot.drives[1].id);
}

TEST(DriveList, TheModelAloneMayDistinguishTwoDrives) {
  const DriveTree tree;
  tree.AddDisk("sda", "SAME", "8:0");
  tree.AddDisk("sdb", "SAME", "8:16");
  tree.Write("sys/devices/bus/sda-device/model", "Another\n");
  tree.Write("sys/devices/bus/sda-device/wwid", "naa.1\n");
  const DriveSnapshot snapshot = tree.Read();
  ASSERT_EQ(2u, snapshot.drives.size());
  EXPECT_EQ("Another SAME", snapshot.drives[0].id);
  EXPECT_EQ("Model of disk SAME", snapshot.drives[1].id);
}

TEST(DriveList, ControlCharactersOfADeviceAreReplaced) {
  const DriveTree tree;
  tree.AddNVMe("nvme0", "A\x1b[31mB\xc3\xa9", 1);
  EXPECT_EQ("A?[31mB??", tree.Read().drives.at(0).id);
}

TEST(DriveList, AMadeDeviceIsADriveWhereAnArrayTakesIt) {
  const DriveTree tree;
  tree.AddDisk("loop7", "", "7:7");
  tree.Write("sys/devices/bus/loop7-device/block/loop7/loop/backing_file", "/srv/image\n");
  tree.AddArray("md0", "raid1", 1);
  tree.AddDiskMember("md0", "loop7", "in_sync", "0");
  EXPECT_EQ("loop:/srv/image", tree.Read().drives.at(0).id);
}

}  // namespace
}  // namespace Ondrel::Host
