#include "Host/Linux/Drives/DriveFiles.h"
#include "Host/Linux/Drives/DrivePicture.h"
#include "Support/TemporaryFolder.h"

#include <Ondrel/StatusTransition.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>

namespace Ondrel::Host {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Testing::TemporaryFolder;
using testing::UnorderedElementsAre;

/// A sysfs and a proc as the kernel lays them out: devices in folders, links to them in block.
class Tree {
public:
  Tree() {
    std::filesystem::create_directories(Path("sys/block"));
    Write("proc/self/mountinfo", "20 1 0:1 / / rw - tmpfs tmpfs rw\n");
    Write("proc/swaps", "Filename\tType\tSize\n");
  }

  std::string Path(const std::string& name) const { return m_folder.Path(name); }

  void Write(const std::string& name, const std::string& text) const {
    std::filesystem::create_directories(std::filesystem::path(Path(name)).parent_path());
    m_folder.Write(name, text);
  }

  void Link(const std::string& name, const std::string& target) const {
    std::filesystem::create_directories(std::filesystem::path(Path(name)).parent_path());
    std::filesystem::remove(Path(name));
    std::filesystem::create_symlink(Path(target), Path(name));
  }

  /// A disk of a bus, with a serial number in its page 0x80.
  void AddDisk(const std::string& name, const std::string& serial,
               const std::string& number) const {
    const std::string device = "sys/devices/bus/" + name + "-device";
    const std::string disk = device + "/block/" + name;
    Write(disk + "/size", "204800\n");
    Write(disk + "/removable", "0\n");
    Write(disk + "/dev", number + "\n");
    Write(device + "/model", "Model of disk   \n");
    if (!serial.empty())
      Write(device + "/vpd_pg80",
            std::string("\0\x80\0", 3) + static_cast<char>(serial.size()) + serial);
    Link(disk + "/device", device);
    Link("sys/block/" + name, disk);
  }

  void AddPartition(const std::string& disk, const std::string& name, int number,
                    const std::string& deviceNumber) const {
    const std::string folder = DiskFolder(disk) + "/" + name;
    Write(folder + "/partition", std::to_string(number) + "\n");
    Write(folder + "/dev", deviceNumber + "\n");
  }

  static std::string DiskFolder(const std::string& disk) {
    return "sys/devices/bus/" + disk + "-device/block/" + disk;
  }

  void AddNVMe(const std::string& controller, const std::string& serial, int nameSpaces) const {
    const std::string device = "sys/devices/pci/" + controller;
    Write(device + "/serial", serial + "\n");
    Write(device + "/model", "NVMe model\n");
    Write(device + "/state", "live\n");
    Link("sys/class/nvme/" + controller, device);
    for (int number = 1; number <= nameSpaces; ++number) {
      const std::string name = controller + "n" + std::to_string(number);
      Write(device + "/" + name + "/size", "1000\n");
      Write(device + "/" + name + "/nsid", std::to_string(number) + "\n");
      Link(device + "/" + name + "/device", device);
      Link("sys/block/" + name, device + "/" + name);
    }
  }

  void AddArray(const std::string& name, const std::string& level, int places,
                const std::string& layout = "0") const {
    const std::string folder = "sys/devices/virtual/block/" + name;
    Write(folder + "/size", "400000\n");
    Link("sys/block/" + name, folder);
    const auto write = [&](const char* file, const std::string& text) {
      Write(folder + "/md/" + file, text + "\n");
    };
    write("array_state", "clean");
    write("level", level);
    write("layout", layout);
    write("raid_disks", std::to_string(places));
    write("uuid", "9f0e3c1a-1111-2222-3333-00000000000" + std::string(1, name.back()));
    write("sync_action", "idle");
    write("last_sync_action", "none");
    write("sync_completed", "none");
    write("sync_min", "0");
    write("resync_start", "none");
    write("reshape_position", "none");
    write("mismatch_cnt", "0");
    write("metadata_version", "1.2");
  }

  void SetArray(const std::string& name, const std::string& file, const std::string& text) const {
    Write("sys/devices/virtual/block/" + name + "/md/" + file, text + "\n");
  }

  /// `target` is the member's folder; one that is not there is a disk that was pulled.
  void AddMember(const std::string& array, const std::string& name, const std::string& target,
                 const std::string& state, const std::string& slot) const {
    const std::string folder = "sys/devices/virtual/block/" + array + "/md/dev-" + name;
    Write(folder + "/state", state + "\n");
    Write(folder + "/slot", slot + "\n");
    Write(folder + "/errors", "0\n");
    Write(folder + "/bad_blocks", "");
    Link(folder + "/block", target);
  }

  void AddDiskMember(const std::string& array, const std::string& disk, const std::string& state,
                     const std::string& slot) const {
    AddMember(array, disk, DiskFolder(disk), state, slot);
  }

  DriveSnapshot Read() const {
    return ReadDrives({.sysfs = Path("sys"),
                       .processes = Path("proc"),
                       .arrayConfigurations = {Path("mdadm.conf")}});
  }

private:
  TemporaryFolder m_folder;
};

const Drive& DriveOf(const DriveSnapshot& snapshot, const std::string& id) {
  const auto found = std::ranges::find(snapshot.drives, id, &Drive::id);
  if (found == snapshot.drives.end()) throw std::out_of_range("no drive " + id);
  return *found;
}

TEST(DrivePicture, FreeAndUsedDrives) {
  const Tree tree;
  tree.AddDisk("sda", "FREE", "8:0");
  tree.AddDisk("sdb", "MOUNTED", "8:16");
  tree.AddPartition("sdb", "sdb1", 1, "8:17");
  tree.AddDisk("sdc", "PAGED", "8:32");
  tree.AddDisk("sdd", "HELD", "8:48");
  tree.Write(Tree::DiskFolder("sdd") + "/holders/dm-0", "");
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

TEST(DrivePicture, DisksThatAreNotHardwareOfTheMachineAreLeftOut) {
  const Tree tree;
  for (const char* const name : {"loop0", "ram0", "zram0", "dm-0", "sr0", "nbd0"})
    tree.AddDisk(name, "", "1:0");
  tree.AddDisk("sda", "STICK", "8:0");
  tree.Write(Tree::DiskFolder("sda") + "/removable", "1\n");
  tree.AddDisk("sdb", "EMPTY", "8:16");
  tree.Write(Tree::DiskFolder("sdb") + "/size", "0\n");
  EXPECT_THAT(tree.Read().drives, IsEmpty());
}

TEST(DrivePicture, AnNVMeDriveIsItsControllerWithAllNamespaces) {
  const Tree tree;
  tree.AddNVMe("nvme0", "SN-1", 2);
  tree.AddNVMe("nvme1", "SN-2", 0);
  const DriveSnapshot snapshot = tree.Read();
  ASSERT_EQ(2u, snapshot.drives.size());
  EXPECT_EQ("nvme0", DriveOf(snapshot, "SN-1").name);
  EXPECT_EQ("/dev/nvme0", DriveOf(snapshot, "SN-1").device);
  EXPECT_TRUE(DriveOf(snapshot, "SN-1").isNVMe);
  EXPECT_EQ("nvme1", DriveOf(snapshot, "SN-2").name);
}

TEST(DrivePicture, DrivesOfTheSameSerialNumberAreDistinguished) {
  const Tree tree;
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

TEST(DrivePicture, ControlCharactersOfADeviceAreReplaced) {
  const Tree tree;
  tree.AddNVMe("nvme0", "A\x1b[31mB\xc3\xa9", 1);
  EXPECT_EQ("A?[31mB??", tree.Read().drives.at(0).id);
}

TEST(DrivePicture, MembersOfAnArray) {
  const Tree tree;
  tree.AddDisk("sda", "A", "8:0");
  tree.AddDisk("sdb", "B", "8:16");
  tree.AddDisk("sdc", "C", "8:32");
  tree.AddDisk("sdd", "D", "8:48");
  tree.AddArray("md0", "raid6", 4);
  tree.AddDiskMember("md0", "sda", "in_sync", "0");
  tree.AddDiskMember("md0", "sdb", "faulty", "none");
  tree.AddDiskMember("md0", "sdc", "spare", "2");
  tree.AddDiskMember("md0", "sdd", "spare", "none");
  const DriveSnapshot snapshot = tree.Read();
  EXPECT_EQ(kStatusOperational, DriveOf(snapshot, "A").status);
  EXPECT_EQ(kStatusFailed, DriveOf(snapshot, "B").status);
  EXPECT_EQ(kStatusRebuilding, DriveOf(snapshot, "C").status);
  EXPECT_EQ(kStatusDedicatedHotspare, DriveOf(snapshot, "D").status);
  ASSERT_EQ(1u, snapshot.arrays.size());
  const DriveArray& array = snapshot.arrays[0];
  EXPECT_EQ("9f0e3c1a:11112222:33330000:00000000", array.id);
  EXPECT_EQ("md0", array.name);
  EXPECT_EQ(204800000u, array.size);
  EXPECT_EQ(4u, array.places);
  EXPECT_EQ(3u, array.lostPlaces);
  EXPECT_EQ(kStatusFailed, array.status);
}

TEST(DrivePicture, AMemberThatSaysFaultyBesideInSyncIsRecordingABadBlock) {
  const Tree tree;
  tree.AddDisk("sda", "A", "8:0");
  tree.AddDisk("sdb", "B", "8:16");
  tree.AddArray("md0", "raid1", 2);
  tree.AddDiskMember("md0", "sda", "faulty,in_sync,blocked,write_error", "0");
  tree.AddDiskMember("md0", "sdb", "faulty,spare", "1");
  const DriveSnapshot snapshot = tree.Read();
  EXPECT_EQ(kStatusOperationalSmart, DriveOf(snapshot, "A").status);
  EXPECT_EQ(kStatusRebuilding, DriveOf(snapshot, "B").status);
  EXPECT_EQ(1u, snapshot.arrays[0].lostPlaces);
}

TEST(DrivePicture, AMemberWhoseDiskWasPulledIsGoneAndItsPlaceLost) {
  const Tree tree;
  tree.AddDisk("sda", "A", "8:0");
  tree.AddArray("md0", "raid1", 2);
  tree.AddDiskMember("md0", "sda", "in_sync", "0");
  tree.AddMember("md0", "sdb", "sys/devices/bus/sdb-device/block/sdb", "in_sync", "1");
  const DriveSnapshot snapshot = tree.Read();
  EXPECT_EQ(1u, snapshot.drives.size());
  const ArrayMember& gone = snapshot.arrays[0].members.at(1);
  EXPECT_TRUE(gone.isGone);
  EXPECT_EQ("", gone.drive);
  EXPECT_EQ("sdb", gone.name);
  EXPECT_EQ(kStatusFailed, gone.status);
  EXPECT_EQ(kStatusDegraded, snapshot.arrays[0].status);
}

TEST(DrivePicture, PartitionsAndNamespacesAreMembersOfTheirDrive) {
  const Tree tree;
  tree.AddDisk("sda", "A", "8:0");
  tree.AddPartition("sda", "sda2", 2, "8:2");
  tree.AddNVMe("nvme0", "N", 2);
  tree.AddArray("md0", "raid1", 2);
  tree.AddMember("md0", "sda2", Tree::DiskFolder("sda") + "/sda2", "in_sync", "0");
  tree.AddMember("md0", "nvme0n2", "sys/devices/pci/nvme0/nvme0n2", "in_sync", "1");
  const DriveSnapshot snapshot = tree.Read();
  EXPECT_EQ(2u, snapshot.drives.size());
  EXPECT_EQ("A-part2", snapshot.arrays[0].members.at(1).id);
  EXPECT_EQ("A", snapshot.arrays[0].members.at(1).drive);
  EXPECT_EQ("N-ns2", snapshot.arrays[0].members.at(0).id);
  EXPECT_EQ(kStatusOperational, DriveOf(snapshot, "N").status);
}

TEST(DrivePicture, AMadeDeviceIsADriveWhereAnArrayTakesIt) {
  const Tree tree;
  tree.AddDisk("loop7", "", "7:7");
  tree.Write("sys/devices/bus/loop7-device/block/loop7/loop/backing_file", "/srv/image\n");
  tree.AddArray("md0", "raid1", 1);
  tree.AddDiskMember("md0", "loop7", "in_sync", "0");
  EXPECT_EQ("loop:/srv/image", tree.Read().drives.at(0).id);
}

TEST(DrivePicture, AContainerAndAnArrayThatWaitsAreLeftOut) {
  const Tree tree;
  tree.AddDisk("sda", "A", "8:0");
  tree.Write(Tree::DiskFolder("sda") + "/holders/md127", "");
  tree.AddArray("md127", "", 0);
  tree.SetArray("md127", "array_state", "inactive");
  tree.AddDiskMember("md127", "sda", "spare", "none");
  const DriveSnapshot snapshot = tree.Read();
  EXPECT_THAT(snapshot.arrays, IsEmpty());
  EXPECT_EQ(kStatusSystem, DriveOf(snapshot, "A").status);
}

TEST(DrivePicture, ABrokenArrayIsFailed) {
  const Tree tree;
  tree.AddDisk("sda", "A", "8:0");
  tree.AddArray("md0", "raid1", 1);
  tree.AddDiskMember("md0", "sda", "in_sync", "0");
  tree.SetArray("md0", "array_state", "broken");
  EXPECT_EQ(kStatusFailed, tree.Read().arrays.at(0).status);
}

TEST(DrivePicture, AReplacementBesideTheOldMemberLosesNothing) {
  const Tree tree;
  tree.AddDisk("sda", "A", "8:0");
  tree.AddDisk("sdb", "B", "8:16");
  tree.AddArray("md0", "raid1", 1);
  tree.AddDiskMember("md0", "sda", "in_sync,want_replacement", "0");
  tree.AddDiskMember("md0", "sdb", "spare,replacement", "0");
  tree.SetArray("md0", "sync_action", "recover");
  tree.SetArray("md0", "sync_completed", "1024 / 4096");
  const DriveArray array = tree.Read().arrays.at(0);
  EXPECT_EQ(kStatusOperational, array.status);
  EXPECT_EQ(ArrayAction::Rebuild, array.action);
  EXPECT_EQ(1024u, array.actionDone);
  EXPECT_EQ(4096u, array.actionTotal);
  EXPECT_TRUE(array.members.at(0).isReplacementWanted);
  EXPECT_TRUE(array.members.at(1).isReplacement);
}

TEST(DrivePicture, WhatAnArrayIsDoing) {
  const Tree tree;
  tree.AddArray("md0", "raid5", 3);
  struct Row {
    const char* word;
    ArrayAction action;
  };
  for (const Row& row : {Row{"idle", ArrayAction::None}, Row{"frozen", ArrayAction::None},
                         Row{"recover", ArrayAction::Rebuild}, Row{"resync", ArrayAction::Resync},
                         Row{"check", ArrayAction::Check}, Row{"repair", ArrayAction::Check},
                         Row{"reshape", ArrayAction::Reshape}}) {
    tree.SetArray("md0", "sync_action", row.word);
    EXPECT_EQ(row.action, tree.Read().arrays.at(0).action) << row.word;
  }
  tree.SetArray("md0", "last_sync_action", "recovery");
  tree.SetArray("md0", "sync_min", "2048");
  tree.SetArray("md0", "mismatch_cnt", "128");
  tree.SetArray("md0", "resync_start", "4096");
  tree.SetArray("md0", "reshape_position", "8192");
  tree.SetArray("md0", "raid_disks", "4 (3)");
  const DriveArray array = tree.Read().arrays.at(0);
  EXPECT_EQ(ArrayAction::Rebuild, array.lastAction);
  EXPECT_TRUE(array.isCheckCut);
  EXPECT_EQ(128u, array.mismatches);
  EXPECT_TRUE(array.isResyncUnfinished);
  EXPECT_TRUE(array.isReshapeUnfinished);
  EXPECT_EQ(4u, array.places);
}

TEST(DrivePicture, CountersOfAMember) {
  const Tree tree;
  tree.AddDisk("sda", "A", "8:0");
  tree.AddArray("md0", "raid1", 1);
  tree.AddDiskMember("md0", "sda", "in_sync", "0");
  tree.SetArray("md0", "dev-sda/errors", "12");
  tree.SetArray("md0", "dev-sda/bad_blocks", "100 8\n4096 24");
  const ArrayMember member = tree.Read().arrays.at(0).members.at(0);
  EXPECT_EQ(12u, member.errors);
  EXPECT_EQ(32u, member.badSectors);
}

TEST(DrivePicture, AHotSpareOfAnArrayWithASpareGroupIsGlobal) {
  const Tree tree;
  tree.AddDisk("sda", "A", "8:0");
  tree.AddDisk("sdb", "B", "8:16");
  tree.AddArray("md0", "raid1", 1);
  tree.AddArray("md1", "raid1", 1);
  tree.AddDiskMember("md0", "sda", "spare", "none");
  tree.AddDiskMember("md1", "sdb", "spare", "none");
  tree.Write("mdadm.conf",
             "# arrays\nARRAY /dev/md/x metadata=1.2\n"
             "   UUID=9f0e3c1a:11112222:33330000:00000000 spare-group=pool\n"
             "ARRAY /dev/md1\n");
  const DriveSnapshot snapshot = tree.Read();
  EXPECT_EQ(kStatusGlobalHotspare, DriveOf(snapshot, "A").status);
  EXPECT_EQ(kStatusDedicatedHotspare, DriveOf(snapshot, "B").status);
}

TEST(SpareGroups, AreFoundInEveryFormOfALine) {
  EXPECT_THAT(ArraysWithSpareGroup("array /dev/md5 Spare-Group=g # note\nDEVICE partitions\n"),
              UnorderedElementsAre("md5"));
  EXPECT_THAT(ArraysWithSpareGroup("ARRAY /dev/md5 spare-group="), IsEmpty());
  EXPECT_THAT(ArraysWithSpareGroup("\tspare-group=x\n"), IsEmpty());
}

TEST(DriveFiles, SmallTextsAreReadExactly) {
  EXPECT_EQ("", DigitsOfUuid("00000000-0000-0000-0000-000000000000"));
  EXPECT_EQ("", DigitsOfUuid("9f0e"));
  EXPECT_TRUE(HasWord("in_sync,write_error", "write_error"));
  EXPECT_FALSE(HasWord("want_replacement", "replacement"));
  EXPECT_EQ(0u, BadSectorsIn("100"));
  EXPECT_THAT(WordsOf("  a\tb\n"), ElementsAre("a", "b"));
  EXPECT_FALSE(ReadTextOf("/no/such/file").has_value());
}

}  // namespace
}  // namespace Ondrel::Host
