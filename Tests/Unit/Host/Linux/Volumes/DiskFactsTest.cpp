#include "Host/Linux/Volumes/DiskFacts.h"
#include "Support/PreparedSysfs.h"
#include "Support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <string>
#include <vector>

namespace Ondrel::Host {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class DiskFacts : public testing::Test {
protected:
  StorageDescription Describe() { return DescribeStorage(VolumePicture(m_host.Sources())); }

  DiskDescription First() {
    const StorageDescription storage = Describe();
    EXPECT_FALSE(storage.disks.empty());
    return storage.disks.empty() ? DiskDescription() : storage.disks.front();
  }

  Testing::TemporaryFolder m_folder;
  Testing::PreparedSysfs m_host{m_folder.Path()};
};

TEST_F(DiskFacts, ADiskIsDescribedFromSysfs) {
  m_host.AddDisk("nvme0n1", "259:0", 1000);
  m_host.Write("block/nvme0n1/device/model", "A Model                  \n");
  m_host.Write("block/nvme0n1/device/serial", " S123 \n");
  m_host.Write("block/nvme0n1/queue/rotational", "0\n");
  m_host.Write("block/nvme0n1/queue/logical_block_size", "512\n");
  m_host.Write("block/nvme0n1/queue/physical_block_size", "4096\n");
  m_host.Write("block/nvme0n1/ro", "1\n");
  const DiskDescription disk = First();
  EXPECT_EQ(disk.disk.number, 0U);
  EXPECT_EQ(disk.disk.deviceName, "/dev/nvme0n1");
  EXPECT_EQ(disk.disk.sizeInBytes, 512000U);
  EXPECT_EQ(disk.model, "A Model");
  EXPECT_EQ(disk.serial, "S123");
  EXPECT_EQ(disk.kind, "solid state");
  EXPECT_EQ(disk.logicalSectorSize, 512U);
  EXPECT_EQ(disk.physicalSectorSize, 4096U);
  EXPECT_TRUE(disk.isReadOnly);
  EXPECT_FALSE(disk.isRemovable);
}

TEST_F(DiskFacts, TheDeviceManagersWordsComeFirst) {
  m_host.AddDisk("sda", "8:0", 1000);
  m_host.AddPartition("sda", "sda1", 1, "8:1", 100, 100);
  m_host.Write("block/sda/device/model", "CUT TO SIXTEEN C\n");
  m_host.Write("block/sda/queue/rotational", "1\n");
  m_host.properties["sda/ID_MODEL_ENC"] = "CUT TO SIXTEEN CHARACTERS   ";
  m_host.properties["sda/ID_SERIAL_SHORT"] = "S123";
  m_host.properties["sda/ID_PART_TABLE_TYPE"] = "gpt";
  const DiskDescription disk = First();
  EXPECT_EQ(disk.model, "CUT TO SIXTEEN CHARACTERS");
  EXPECT_EQ(disk.serial, "S123");
  EXPECT_EQ(disk.kind, "hard disk");
  EXPECT_EQ(disk.partitionTable, "gpt");
}

TEST_F(DiskFacts, ASerialNumberMayStandInItsPage) {
  m_host.AddDisk("sda", "8:0", 1000);
  m_host.Write("block/sda/device/vpd_pg80", std::string("\0\x80\0\x08", 4) + "  QM0001");
  EXPECT_EQ(First().serial, "QM0001");
}

TEST_F(DiskFacts, ThePartitionTableIsKnownFromAPartitionToo) {
  m_host.AddDisk("sda", "8:0", 1000);
  m_host.AddPartition("sda", "sda1", 1, "8:1", 100, 100);
  m_host.entries["sda1"] = {"dos", "0x83"};
  EXPECT_EQ(First().partitionTable, "dos");
}

struct DiskKindRow {
  const char* name;
  const char* number;
  const char* rotational;
  const char* kind;
};

TEST_F(DiskFacts, AKindIsThatOfTheNumberAndElseOfWhatRotates) {
  const DiskKindRow kRows[] = {{"sda", "8:0", "1\n", "hard disk"},
                               {"sdb", "8:16", "0\n", "solid state"},
                               {"sdc", "8:32", "", "disk"},
                               {"fd0", "2:0", "1\n", "floppy"},
                               {"sr0", "11:0", "1\n", "optical"}};
  for (const DiskKindRow& row : kRows) {
    m_host.AddDisk(row.name, row.number, 1000);
    m_host.Write(std::string("block/") + row.name + "/queue/rotational", row.rotational);
  }
  const StorageDescription storage = Describe();
  ASSERT_EQ(storage.disks.size(), std::size(kRows));
  for (const DiskKindRow& row : kRows) {
    const auto disk = std::ranges::find(storage.disks, std::string("/dev/") + row.name,
                                        [](const auto& found) { return found.disk.deviceName; });
    ASSERT_NE(disk, storage.disks.end()) << row.name;
    EXPECT_EQ(disk->kind, row.kind) << row.name;
  }
}

struct WayRow {
  const char* name;
  const char* way;
  const char* transport;
};

class Transport : public DiskFacts, public testing::WithParamInterface<WayRow> {};
TEST_P(Transport, IsThatOfTheWayToTheDevice) {
  m_host.AddDisk("sda", "8:0", 1000);
  m_host.Connect("sda", GetParam().way);
  EXPECT_EQ(First().transport, GetParam().transport);
}
INSTANTIATE_TEST_SUITE_P(
    DiskFacts, Transport,
    testing::Values(
        WayRow{"Ata", "pci0000:00/0000:00:1f.2/ata1/host0/target0:0:0/0:0:0:0", "ata"},
        WayRow{"Usb", "pci0000:00/0000:00:14.0/usb1/1-2/1-2:1.0/host2/target2:0:0/2:0:0:0", "usb"},
        WayRow{"Nvme", "pci0000:00/0000:00:04.0/nvme/nvme0", "nvme"},
        WayRow{"Sas", "pci0000:00/0000:01:00.0/host0/port-0:0/end_device-0:0/target0:0:0/0:0:0:0",
               "sas"},
        WayRow{"Fibre", "pci0000:00/0000:01:00.0/host1/rport-1:0-0/target1:0:0/1:0:0:0", "fc"},
        WayRow{"Iscsi", "platform/host3/session1/target3:0:0/3:0:0:0", "iscsi"},
        WayRow{"Virtio", "pci0000:00/0000:00:05.0/virtio1", "virtio"},
        WayRow{"Card", "platform/soc/mmc_host/mmc0/mmc0:0001", "mmc"},
        WayRow{"Scsi", "pci0000:00/0000:00:03.0/host0/target0:0:0/0:0:0:0", "scsi"},
        WayRow{"Unknown", "platform/atari/nothing", ""}),
    [](const auto& row) { return row.param.name; });

TEST_F(DiskFacts, WhatHoldsADiskIsNamedWithWhatItIsBuiltOn) {
  m_host.AddDisk("sda", "8:0", 10000);
  m_host.AddPartition("sda", "sda1", 1, "8:1", 100, 100);
  m_host.AddPartition("sda", "sda2", 2, "8:2", 200, 100);
  m_host.AddMapped("dm-0", "254:0", 100, "vg0-data");
  m_host.AddArray("md0", "9:0", 100, "raid1");
  m_host.Build("dm-0", "sda1", "sda/sda1");
  m_host.Build("md0", "sda2", "sda/sda2");
  const std::vector<DiskHolder> holders = First().holders;
  ASSERT_EQ(holders.size(), 2U);
  EXPECT_EQ(holders[0].deviceName, "/dev/mapper/vg0-data");
  EXPECT_EQ(holders[0].on, "/dev/sda1");
  EXPECT_EQ(holders[1].deviceName, "/dev/md0");
  EXPECT_EQ(holders[1].on, "/dev/sda2");
}

TEST_F(DiskFacts, AVolumeIsDescribedWithAllItsPathsAndParts) {
  m_host.AddDisk("sda", "8:0", 100000);
  m_host.AddPartition("sda", "sda1", 1, "8:1", 2048, 1000);
  m_host.contents["sda1"] = {"ext4", "Data", "1111-2222"};
  m_host.entries["sda1"] = {"gpt", "0fc63daf-8483-4772-8e79-3d69d8477de4", "first"};
  m_host.Mount("8:1", "/", "/one", "/dev/sda1");
  m_host.Mount("8:1", "/", "/two", "/dev/sda1");
  const StorageDescription storage = Describe();
  ASSERT_EQ(storage.volumes.size(), 1U);
  const VolumeDescription& volume = storage.volumes[0];
  EXPECT_EQ(volume.name, R"(\\?\sda1\)");
  EXPECT_EQ(volume.deviceName, "/dev/sda1");
  EXPECT_EQ(volume.kind, "part");
  EXPECT_EQ(volume.partitionType, "0fc63daf-8483-4772-8e79-3d69d8477de4");
  EXPECT_EQ(volume.partitionName, "first");
  EXPECT_EQ(volume.contentError, 0U);
  EXPECT_EQ(volume.fileSystem, "ext4");
  EXPECT_EQ(volume.label, "Data");
  EXPECT_EQ(volume.uuid, "1111-2222");
  EXPECT_THAT(volume.mountPaths, ElementsAre("/one", "/two"));
  ASSERT_EQ(volume.extents.size(), 1U);
  EXPECT_EQ(volume.extents[0].disk, 0U);
  EXPECT_EQ(volume.extents[0].startSector, 2048U);
  EXPECT_EQ(volume.extents[0].sectorCount, 1000U);
}

TEST_F(DiskFacts, ContentThatMayNotBeReadIsSaid) {
  m_host.AddDisk("sda", "8:0", 100000);
  m_host.AddPartition("sda", "sda1", 1, "8:1", 2048, 1000);
  const StorageDescription storage = Describe();
  ASSERT_EQ(storage.volumes.size(), 1U);
  EXPECT_EQ(storage.volumes[0].contentError, 5U);
  EXPECT_THAT(storage.unseen, IsEmpty());
}

TEST_F(DiskFacts, AVolumeWhoseTableMayNotBeReadIsUnseenOnTheDisksBeneath) {
  m_host.AddDisk("sda", "8:0", 100000);
  m_host.AddDisk("sdb", "8:16", 100000);
  m_host.AddPartition("sdb", "sdb1", 1, "8:17", 2048, 1000);
  m_host.AddMapped("dm-0", "254:0", 1000, "inner");
  m_host.AddMapped("dm-1", "254:1", 1000, "secret");
  m_host.Build("dm-0", "sdb1", "sdb/sdb1");
  m_host.Build("dm-1", "dm-0", "dm-0");
  const StorageDescription storage = Describe();
  EXPECT_THAT(storage.volumes, IsEmpty());
  ASSERT_EQ(storage.unseen.size(), 2U);
  EXPECT_EQ(storage.unseen[0].deviceName, "/dev/mapper/secret");
  EXPECT_THAT(storage.unseen[0].disks, ElementsAre(1));
  EXPECT_EQ(storage.unseen[0].error, 5U);
  EXPECT_EQ(storage.unseen[1].deviceName, "/dev/sda") << "it may hold a file system";
  EXPECT_THAT(storage.unseen[1].disks, ElementsAre(0));
}

TEST_F(DiskFacts, ATableOfAnotherFormIsUnseenForInvalidData) {
  m_host.AddDisk("sda", "8:0", 100000);
  m_host.AddMapped("dm-0", "254:0", 1000, "broken");
  m_host.Build("dm-0", "sda", "sda");
  m_host.tables["dm-0"] = {{0, 1000, "striped", "0 128"}};
  const StorageDescription storage = Describe();
  ASSERT_EQ(storage.unseen.size(), 1U);
  EXPECT_EQ(storage.unseen[0].error, 13U);
}

TEST_F(DiskFacts, AVolumeOfMoreExtentsThanAListHoldsIsDescribedWithAll) {
  m_host.AddDisk("sda", "8:0", 100000);
  m_host.AddMapped("dm-0", "254:0", 2200, "spread");
  m_host.Build("dm-0", "sda", "sda");
  for (std::uint64_t index = 0; index < 22; ++index)
    m_host.tables["dm-0"].push_back(
        {index * 100, 100, "linear", "8:0 " + std::to_string(index * 1000)});
  const StorageDescription storage = Describe();
  ASSERT_EQ(storage.volumes.size(), 1U);
  EXPECT_EQ(storage.volumes[0].extents.size(), 22U);
}

struct KindRow {
  const char* identifier;
  const char* kind;
};

class MappedKind : public DiskFacts, public testing::WithParamInterface<KindRow> {};
TEST_P(MappedKind, IsThatOfItsMaker) {
  m_host.AddMapped("dm-0", "254:0", 100, "name");
  m_host.Write("block/dm-0/dm/uuid", std::string(GetParam().identifier) + "\n");
  m_host.tables["dm-0"] = {{0, 100, "zero", ""}};
  const StorageDescription storage = Describe();
  ASSERT_EQ(storage.volumes.size(), 1U);
  EXPECT_EQ(storage.volumes[0].kind, GetParam().kind);
}
INSTANTIATE_TEST_SUITE_P(DiskFacts, MappedKind,
                         testing::Values(KindRow{"LVM-abc", "lvm"},
                                         KindRow{"CRYPT-LUKS2-abc-name", "crypt"},
                                         KindRow{"mpath-360", "mpath"},
                                         KindRow{"part1-mpath-360", "part"}, KindRow{"", "dm"},
                                         KindRow{"of-someone", "dm"}));

TEST_F(DiskFacts, ATreeThatIsNotThereIsAnErrorAndNotAHostWithoutDisks) {
  VolumeSources sources = m_host.Sources();
  sources.blockDevices = [] { return BlockDevices("/nowhere/sys"); };
  EXPECT_EQ(DescribeStorage(VolumePicture(sources)).error, 2U);
}

}  // namespace

}  // namespace Ondrel::Host
