#include "Tool/DiskListing.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace Tool {

namespace {

using Ondrel::CSystemPartition;
using Ondrel::Host::DiskDescription;
using Ondrel::Host::StorageDescription;
using Ondrel::Host::VolumeDescription;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// A host with a disk of a MiB on which one volume lies.
class DiskListingTest : public testing::Test {
protected:
  DiskListingTest() {
    DiskDescription disk;
    disk.disk = {0, "/dev/sda", 1048576};
    disk.kind = "solid state";
    disk.partitionTable = "gpt";
    m_storage.disks.push_back(disk);
    VolumeDescription volume;
    volume.name = R"(\\?\sda1\)";
    volume.deviceName = "/dev/sda1";
    volume.kind = "part";
    volume.partitionType = "0x83";
    volume.fileSystem = "ext4";
    volume.uuid = "1111";
    volume.label = "Data";
    volume.mountPaths = {"/one", "/two"};
    volume.extents = {{0, 512, 1024}};
    m_storage.volumes.push_back(volume);
  }

  DiskListing Listing(const std::string& name = "Disk 0") {
    DiskListing listing{.name = name, .disk = FindDisk(m_storage, name)};
    if (listing.disk == nullptr || m_isEmpty) return listing;
    CSystemPartition partition;
    partition.m_StartSector = 512;
    partition.m_SectorCount = 1024;
    partition.m_MountPath = "/one";
    partition.m_VolumeLabel = "Data";
    partition.m_VolumeName = R"(\\?\sda1\)";
    listing.partitions.push_back(partition);
    return listing;
  }

  StorageDescription m_storage;
  bool m_isEmpty = false;
};

TEST_F(DiskListingTest, APartitionIsShownWithAllThatIsKnownOfIt) {
  EXPECT_EQ(TextOfListing(Listing(), m_storage),
            "Disk 0, 1 MiB, /dev/sda, gpt\n"
            "\n"
            "[..................|=================1=================..................]\n"
            "\n"
            "     start     size  node       type       file system  label  UUID  mounted at\n"
            "1  256 KiB  512 KiB  /dev/sda1  part 0x83  ext4         Data   1111  /one, /two\n");
}

TEST_F(DiskListingTest, JsonHasTheRecordAndWhatIsKnownBesides) {
  const Json json = JsonOfListing(Listing(), m_storage);
  EXPECT_EQ(json["found"], true);
  EXPECT_EQ(json["node"], "/dev/sda");
  const Json& partition = json["partitions"][0];
  EXPECT_EQ(partition["startSector"], 512);
  EXPECT_EQ(partition["mountPath"], "/one");
  EXPECT_EQ(partition["node"], "/dev/sda1");
  EXPECT_EQ(partition["type"], "part");
  EXPECT_EQ(partition["partitionType"], "0x83");
  EXPECT_EQ(partition["fileSystem"], "ext4");
  EXPECT_EQ(partition["uuid"], "1111");
  EXPECT_EQ(partition["mountPaths"], Json({"/one", "/two"}));
  EXPECT_EQ(json["unseen"], Json::array());
}

TEST_F(DiskListingTest, ADiskThatIsNotThereIsNotAnEmptyOne) {
  EXPECT_EQ(TextOfListing(Listing("Disk 7"), m_storage), "there is no Disk 7\n");
  EXPECT_EQ(JsonOfListing(Listing("Disk 7"), m_storage)["found"], false);
  m_isEmpty = true;
  EXPECT_EQ(TextOfListing(Listing(), m_storage), "nothing on Disk 0\n");
  EXPECT_EQ(JsonOfListing(Listing(), m_storage)["found"], true);
}

TEST_F(DiskListingTest, AnEmptyDiskSaysWhatHoldsItOrThatItsMediaAreNotListed) {
  m_isEmpty = true;
  m_storage.disks[0].holders = {{"/dev/md0", "/dev/sda"}, {"/dev/md0", "/dev/sda1"}};
  EXPECT_EQ(TextOfListing(Listing(), m_storage), "nothing on Disk 0; it is held by /dev/md0\n");
  m_storage.disks[0].isRemovable = true;
  EXPECT_EQ(TextOfListing(Listing(), m_storage),
            "Disk 0 has removable media: what lies on them is not listed\n");
}

TEST_F(DiskListingTest, WhatCannotBeSeenIsNamedWithTheReason) {
  m_isEmpty = true;
  m_storage.unseen = {{"/dev/mapper/secret", {0, 1}, 5}, {"/dev/mapper/other", {1}, 5}};
  EXPECT_EQ(TextOfListing(Listing(), m_storage), "nothing that can be listed on Disk 0\n");
  EXPECT_THAT(UnseenOn(Listing(), m_storage),
              ElementsAre("cannot see what lies on Disk 0: /dev/mapper/secret: Access is denied. "
                          "(error 5, ERROR_ACCESS_DENIED)"));
  const Json json = JsonOfListing(Listing(), m_storage);
  ASSERT_EQ(json["unseen"].size(), 1U);
  EXPECT_EQ(json["unseen"][0]["node"], "/dev/mapper/secret");
  EXPECT_EQ(json["unseen"][0]["error"]["number"], 5);
}

TEST_F(DiskListingTest, TextsOfTheMediaDoNotSteerATerminal) {
  m_storage.disks[0].model = "a\x1B[31m";
  m_storage.disks[0].serial =
      "b\xC2\x9B"
      "31m";
  m_storage.volumes[0].uuid =
      "c\x9B"
      "31m";
  m_storage.volumes[0].mountPaths = {"/one", "/d\n\x1B[2J"};
  const std::string text = TextOfListing(Listing(), m_storage) + TextOfDisks(m_storage.disks);
  for (const char* const shown :
       {"a\\x1b[31m", "b\\xc2\\x9b31m", "c\\x9b31m", "/one, /d\\n\\x1b[2J\n"})
    EXPECT_THAT(text, HasSubstr(shown));
  EXPECT_EQ(text.find_first_of("\x1B\x9B"), std::string::npos);
}

TEST_F(DiskListingTest, WhatMayLieAnywhereIsNamedOnEveryDisk) {
  m_storage.unseen = {{"?", {}, 5}};
  EXPECT_EQ(UnseenOn(Listing(), m_storage).size(), 1U);
}

TEST_F(DiskListingTest, AVolumeOfTooManyPartsIsNamed) {
  m_storage.volumes[0].extents.assign(21, {0, 0, 8});
  EXPECT_THAT(UnseenOn(Listing(), m_storage), IsEmpty());
  m_storage.volumes[0].extents.assign(22, {0, 0, 8});
  EXPECT_THAT(UnseenOn(Listing(), m_storage),
              ElementsAre("cannot see what lies on Disk 0: /dev/sda1 lies in 22 parts, more than "
                          "the 21 of a list"));
}

TEST_F(DiskListingTest, ContentThatCannotBeReadIsAQuestionMarkAndALine) {
  EXPECT_EQ(UnreadOn(Listing(), m_storage), "");
  EXPECT_EQ(JsonOfListing(Listing(), m_storage)["partitions"][0]["contentError"], nullptr);
  m_storage.volumes[0].contentError = 5;
  EXPECT_EQ(JsonOfListing(Listing(), m_storage)["partitions"][0]["contentError"]["name"],
            "ERROR_ACCESS_DENIED");
  EXPECT_EQ(UnreadOn(Listing(), m_storage),
            "cannot read what is in /dev/sda1: Access is denied. (error 5, ERROR_ACCESS_DENIED)");
  EXPECT_THAT(TextOfListing(Listing(), m_storage), HasSubstr("part 0x83  ?"));
  EXPECT_EQ(JsonOfListing(Listing(), m_storage)["partitions"][0]["fileSystem"], nullptr);
}

TEST_F(DiskListingTest, DisksAreATable) {
  DiskDescription& disk = m_storage.disks[0];
  disk.model = "A Model";
  disk.serial = "S1";
  disk.transport = "sata";
  disk.isReadOnly = true;
  disk.logicalSectorSize = 512;
  disk.physicalSectorSize = 4096;
  disk.holders = {{"/dev/md0", "/dev/sda1"}, {"/dev/mapper/a", "/dev/sda2"}};
  EXPECT_EQ(
      TextOfDisks(m_storage.disks),
      " size  disk    device    kind                    transport  sectors   model    serial  "
      "held by\n"
      "1 MiB  Disk 0  /dev/sda  solid state, read-only  sata       512/4096  A Model  S1      "
      "/dev/md0, /dev/mapper/a\n");
  const Json json = JsonOfDisk(disk);
  EXPECT_EQ(json["number"], 0);
  EXPECT_EQ(json["model"], "A Model");
  EXPECT_EQ(json["holders"][1]["on"], "/dev/sda2");
}

TEST(DiskSizeText, HasOneDigitAfterThePointWhereItIsNotWhole) {
  EXPECT_EQ(DiskSizeText(0), "0 B");
  EXPECT_EQ(DiskSizeText(1536), "1.5 KiB");
  EXPECT_EQ(DiskSizeText(std::uint64_t{5} << 40), "5 TiB");
}

TEST(DiskSizeText, WhatIsRoundedUpToTheNextUnitIsShownInIt) {
  EXPECT_EQ(DiskSizeText(1023), "1023 B");
  EXPECT_EQ(DiskSizeText(1048524), "1023.9 KiB");
  EXPECT_EQ(DiskSizeText(1048575), "1 MiB");
}

}  // namespace

}  // namespace Tool
