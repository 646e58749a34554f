#include "Host/Linux/Drives/DriveFiles.h"
#include "Host/Linux/Drives/DrivePicture.h"
#include "Host/Linux/Drives/Notifications.h"
#include "Unit/Host/Linux/Drives/DriveTree.h"

#include <Ondrel/StatusTransition.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <sys/resource.h>

namespace Ondrel::Host {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

TEST(DrivePicture, AFailedMemberStaysFailedWhateverElseTheDriveServes) {
  const DriveTree tree;
  tree.AddDisk("sda", "A", "8:0");
  tree.Write("sys/devices/bus/sda-device/state", "dead\n");
  tree.AddDisk("sdb", "B", "8:16");
  tree.AddPartition("sdb", "sdb1", 1, "8:17");
  tree.AddPartition("sdb", "sdb2", 2, "8:18");
  tree.AddArray("md0", "raid1", 2);
  tree.AddArray("md1", "raid1", 1);
  tree.AddDiskMember("md0", "sda", "in_sync", "0");
  tree.AddMember("md0", "sdb1", DriveTree::DiskFolder("sdb") + "/sdb1", "in_sync", "1");
  tree.AddMember("md1", "sdb2", DriveTree::DiskFolder("sdb") + "/sdb2", "spare", "0");
  const DriveSnapshot snapshot = tree.Read();
  EXPECT_EQ(kStatusFailed, DriveOf(snapshot, "A").status);
  EXPECT_EQ(kStatusRebuilding, DriveOf(snapshot, "B").status);
}

TEST(DrivePicture, TheWorstPartCountsWhicheverIsReadLast) {
  const DriveTree tree;
  tree.AddDisk("sda", "A", "8:0");
  tree.AddPartition("sda", "sda1", 1, "8:1");
  tree.AddPartition("sda", "sda2", 2, "8:2");
  tree.AddArray("md0", "raid1", 2);
  tree.AddArray("md1", "raid1", 1);
  tree.AddMember("md0", "sda1", DriveTree::DiskFolder("sda") + "/sda1", "spare", "1");
  tree.AddMember("md1", "sda2", DriveTree::DiskFolder("sda") + "/sda2", "in_sync", "0");
  EXPECT_EQ(kStatusRebuilding, DriveOf(tree.Read(), "A").status);
}

TEST(DrivePicture, MembersOfAnArray) {
  const DriveTree tree;
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
  const DriveTree tree;
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

TEST(DrivePicture, AJournalOfAnArrayWorksWithoutAPlace) {
  const DriveTree tree;
  tree.AddDisk("sda", "A", "8:0");
  tree.AddDisk("sdb", "J", "8:16");
  tree.AddArray("md0", "raid5", 1);
  tree.AddDiskMember("md0", "sda", "in_sync", "0");
  tree.AddDiskMember("md0", "sdb", "journal", "journal");
  const DriveSnapshot snapshot = tree.Read();
  EXPECT_EQ(kStatusOperational, DriveOf(snapshot, "J").status);
  EXPECT_EQ(kStatusOperational, snapshot.arrays.at(0).status);
  EXPECT_EQ(-1, snapshot.arrays.at(0).members.at(1).slot);
  EXPECT_FALSE(snapshot.arrays.at(0).members.at(1).isSpare);
}

TEST(DrivePicture, PlacesBeyondTheArrayCountForNothing) {
  const DriveTree tree;
  tree.AddDisk("sda", "A", "8:0");
  tree.AddDisk("sdb", "B", "8:16");
  tree.AddDisk("sdc", "C", "8:32");
  tree.AddArray("md0", "raid1", 2);
  tree.AddDiskMember("md0", "sda", "in_sync", "1");
  tree.AddDiskMember("md0", "sdb", "in_sync", "2");
  tree.AddDiskMember("md0", "sdc", "in_sync", "4096");
  const DriveArray array = tree.Read().arrays.at(0);
  EXPECT_EQ(1u, array.lostPlaces);
  EXPECT_EQ(kStatusDegraded, array.status);
  EXPECT_EQ(2, array.members.at(1).slot);
  EXPECT_EQ(-1, array.members.at(2).slot);
}

TEST(DrivePicture, AMemberThatWasRemovedWhileItWasReadIsLeftOut) {
  const DriveTree tree;
  tree.AddDisk("sda", "A", "8:0");
  tree.AddArray("md0", "raid1", 2);
  tree.AddDiskMember("md0", "sda", "in_sync", "0");
  tree.AddMember("md0", "sdb", "sys/devices/bus/none", "", "none");
  EXPECT_EQ(1u, tree.Read().arrays.at(0).members.size());
}

TEST(DrivePicture, AnArrayWithoutAUuidIsKnownByItsName) {
  const DriveTree tree;
  tree.AddArray("md3", "linear", 1);
  tree.SetArray("md3", "uuid", "");
  tree.Write("mdadm.conf", "ARRAY /dev/md3 spare-group=x\n");
  tree.AddDisk("sda", "A", "8:0");
  tree.AddDiskMember("md3", "sda", "spare", "none");
  const DriveSnapshot snapshot = tree.Read();
  EXPECT_EQ("md3", snapshot.arrays.at(0).id);
  EXPECT_EQ("linear", snapshot.arrays.at(0).level);
  EXPECT_EQ(kStatusGlobalHotspare, DriveOf(snapshot, "A").status);
}

TEST(DrivePicture, ArraysAreInTheOrderOfTheirIdentities) {
  const DriveTree tree;
  tree.AddArray("md0", "raid1", 1);
  tree.SetArray("md0", "uuid", "ffffffff-1111-2222-3333-000000000000");
  tree.AddArray("md1", "raid1", 1);
  const DriveSnapshot snapshot = tree.Read();
  ASSERT_EQ(2u, snapshot.arrays.size());
  EXPECT_EQ("md1", snapshot.arrays[0].name);
  EXPECT_EQ("md0", snapshot.arrays[1].name);
}

TEST(DrivePicture, AMemberWhoseDiskWasPulledIsGoneAndItsPlaceLost) {
  const DriveTree tree;
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
  const DriveTree tree;
  tree.AddDisk("sda", "A", "8:0");
  tree.AddPartition("sda", "sda2", 2, "8:2");
  tree.AddNVMe("nvme0", "N", 2);
  tree.AddArray("md0", "raid1", 2);
  tree.AddMember("md0", "sda2", DriveTree::DiskFolder("sda") + "/sda2", "in_sync", "0");
  tree.AddMember("md0", "nvme0n2", "sys/devices/pci/nvme0/nvme0n2", "in_sync", "1");
  const DriveSnapshot snapshot = tree.Read();
  EXPECT_EQ(2u, snapshot.drives.size());
  EXPECT_EQ("A-part2", snapshot.arrays[0].members.at(1).id);
  EXPECT_EQ(1, snapshot.arrays[0].members.at(0).slot);
  EXPECT_EQ("A", snapshot.arrays[0].members.at(1).drive);
  EXPECT_EQ("N-ns2", snapshot.arrays[0].members.at(0).id);
  EXPECT_EQ(kStatusOperational, DriveOf(snapshot, "N").status);
}

TEST(DrivePicture, AContainerAndAnArrayThatWaitsAreLeftOut) {
  const DriveTree tree;
  tree.AddDisk("sda", "A", "8:0");
  tree.Write(DriveTree::DiskFolder("sda") + "/holders/md127", "");
  tree.AddArray("md127", "", 0);
  tree.SetArray("md127", "array_state", "inactive");
  tree.AddDiskMember("md127", "sda", "spare", "none");
  for (const char* const state : {"inactive", "clear", ""}) {
    tree.SetArray("md127", "array_state", state);
    const DriveSnapshot snapshot = tree.Read();
    EXPECT_THAT(snapshot.arrays, IsEmpty()) << state;
    EXPECT_EQ(kStatusSystem, DriveOf(snapshot, "A").status) << state;
  }
}

TEST(DrivePicture, ABrokenArrayIsFailed) {
  const DriveTree tree;
  tree.AddDisk("sda", "A", "8:0");
  tree.AddArray("md0", "raid1", 1);
  tree.AddDiskMember("md0", "sda", "in_sync", "0");
  tree.SetArray("md0", "array_state", "broken");
  EXPECT_EQ(kStatusFailed, tree.Read().arrays.at(0).status);
}

TEST(DrivePicture, AReplacementBesideTheOldMemberLosesNothing) {
  const DriveTree tree;
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
  const DriveTree tree;
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
  EXPECT_EQ(0u, array.actionTotal);
  tree.SetArray("md0", "sync_completed", "7 /");
  EXPECT_EQ(7u, tree.Read().arrays.at(0).actionDone);
  EXPECT_EQ(0u, tree.Read().arrays.at(0).actionTotal);
  tree.SetArray("md0", "resync_start", "");
  EXPECT_FALSE(tree.Read().arrays.at(0).isResyncUnfinished);
  tree.SetArray("md0", "raid_disks", "5000");
  EXPECT_EQ(4096u, tree.Read().arrays.at(0).places);
}

TEST(DrivePicture, CountersOfAMember) {
  const DriveTree tree;
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
  const DriveTree tree;
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

TEST(DriveNotifications, NothingIsLostWhereNothingHappened) {
  const DriveTree tree;
  tree.AddArray("md0", "raid1", 1);
  DriveNotifications notifications(
      {.sysfs = tree.Path("sys"), .processes = tree.Path("proc"), .arrayConfigurations = {}});
  EXPECT_GE(notifications.Descriptor(), 0);
  notifications.FollowArrays();
  // Twice: what is taken may be that of another device of this machine.
  notifications.Take();
  EXPECT_TRUE(notifications.Take());
}

TEST(SpareGroups, AreFoundInEveryFormOfALine) {
  EXPECT_THAT(ArraysWithSpareGroup("array /dev/md5 Spare-Group=g # note\nDEVICE partitions\n"),
              UnorderedElementsAre("md5"));
  EXPECT_THAT(ArraysWithSpareGroup("ARRAY /dev/md5 spare-group="), IsEmpty());
  EXPECT_THAT(ArraysWithSpareGroup("\tspare-group=x\n"), IsEmpty());
  EXPECT_THAT(ArraysWithSpareGroup("ARRAY /dev/md1\n\tspare-group=x\n# md2\n\nARRAY /dev/md3"),
              UnorderedElementsAre("md1"));
  EXPECT_THAT(ArraysWithSpareGroup("DEVICE /dev/md1 spare-group=x"), IsEmpty());
  EXPECT_THAT(ArraysWithSpareGroup("ARRAY /dev/md1 x-spare-group=x"), IsEmpty());
}

TEST(DrivePicture, ALookThatLacksDescriptorsSaysSo) {
  const DriveTree tree;
  tree.AddDisk("sda", "A", "8:0");
  EXPECT_EQ(tree.Read().error, 0U);
  rlimit limit{};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
  const rlimit none{.rlim_cur = 0, .rlim_max = limit.rlim_max};
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
  const std::uint32_t error = tree.Read().error;
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
  EXPECT_EQ(error, 4U);
  EXPECT_EQ(tree.Read().error, 0U);
}

TEST(DrivePicture, ALookWithoutADeviceTreeSaysSo) {
  const DriveTree tree;
  std::filesystem::remove(tree.Path("sys/block"));
  EXPECT_EQ(tree.Read().error, 2U);
}

TEST(DriveFiles, SmallTextsAreReadExactly) {
  EXPECT_EQ("", DigitsOfUuid("00000000-0000-0000-0000-000000000000"));
  EXPECT_EQ("", DigitsOfUuid("9f0e"));
  EXPECT_EQ("", DigitsOfUuid("9f0e3c1a-1111-2222-3333-00000000000g"));
  EXPECT_EQ("9f0e3c1a111122223333000000000001",
            DigitsOfUuid("9F0E3C1A:11112222:33330000:00000001"));
  EXPECT_TRUE(HasWord("a", "a"));
  EXPECT_FALSE(HasWord("", "a"));
  EXPECT_FALSE(HasWord("a,b", "c"));
  EXPECT_EQ("?a~?", PrintableOf(" \x1f"
                                "a~\x7f\t"));
  EXPECT_EQ("a b", PrintableOf(std::string_view("\0 a b \0", 7)));
  EXPECT_EQ("", PrintableOf(" \t"));
  EXPECT_EQ(12u, NumberAtStart("12 (3)").value());
  EXPECT_FALSE(NumberAtStart("x").has_value());
  EXPECT_EQ("c", LastPartOf("/a/b/c"));
  EXPECT_EQ("c", LastPartOf("c"));
  EXPECT_TRUE(HasWord("in_sync,write_error", "write_error"));
  EXPECT_FALSE(HasWord("want_replacement", "replacement"));
  EXPECT_EQ(0u, BadSectorsIn("100"));
  EXPECT_THAT(WordsOf("  a\tb\n"), ElementsAre("a", "b"));
  EXPECT_FALSE(ReadTextOf("/no/such/file").has_value());
}

}  // namespace
}  // namespace Ondrel::Host
