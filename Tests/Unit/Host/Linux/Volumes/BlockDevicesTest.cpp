#include "Support/PreparedSysfs.h"
#include "Support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace Ondrel::Host {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class BlockDevicesOfATree : public testing::Test {
protected:
  BlockDevices Read() { return m_host.Sources().blockDevices(); }

  Testing::TemporaryFolder m_folder;
  Testing::PreparedSysfs m_host{m_folder.Path()};
};

TEST_F(BlockDevicesOfATree, DisksAreNumberedByMajorAndMinorWithoutVirtualOnes) {
  m_host.AddVirtual("loop0", "7:0", 100);
  m_host.AddVirtual("ram0", "1:0", 100);
  m_host.AddVirtual("zram0", "253:0", 100);
  m_host.AddVirtual("nbd0", "43:0", 0);
  m_host.AddVirtual("zd0", "230:0", 100);
  m_host.AddVirtual("named-like-no-other", "240:0", 100);
  m_host.AddMapped("dm-0", "252:0", 100, "a");
  m_host.AddArray("md0", "9:0", 100, "raid1");
  m_host.AddDisk("nvme0n1", "259:10", 100);
  m_host.AddDisk("vda", "254:0", 100);
  m_host.AddDisk("sdb", "8:16", 100);
  m_host.AddDisk("sda", "8:0", 100);
  m_host.AddDisk("nvme1n1", "259:9", 100);
  const BlockDevices devices = Read();
  EXPECT_THAT(devices.Disks(), ElementsAre("sda", "sdb", "vda", "nvme1n1", "nvme0n1"));
  EXPECT_EQ(devices.DiskNumber("vda"), 2U);
  EXPECT_EQ(devices.DiskNumber("loop0"), 5U) << "it has none";
}

TEST_F(BlockDevicesOfATree, DisksWhoseMediaCanBeTakenOutComeAfterTheFixedOnes) {
  m_host.AddDisk("fd0", "2:0", 8);
  m_host.AddDisk("sda", "8:0", 100);
  m_host.Write("block/sda/removable", "1\n");
  m_host.AddDisk("sr0", "11:0", 100);
  m_host.AddDisk("vda", "254:0", 100);
  m_host.AddDisk("nvme0n1", "259:0", 100);
  EXPECT_THAT(Read().Disks(), ElementsAre("vda", "nvme0n1", "fd0", "sda", "sr0"));
}

TEST_F(BlockDevicesOfATree, ADiskThatIsBuiltOnOthersIsNotOneOfTheMachine) {
  m_host.AddDisk("sda", "8:0", 100);
  m_host.AddDisk("net0", "147:0", 100);
  m_host.Build("net0", "sda", "sda");
  EXPECT_THAT(Read().Disks(), ElementsAre("sda"));
}

TEST_F(BlockDevicesOfATree, BootAreasOfAMemoryChipAreNotDisks) {
  m_host.AddDisk("mmcblk0", "179:0", 1000);
  m_host.AddDisk("mmcblk0boot0", "179:8", 8);
  m_host.AddDisk("sdz", "65:144", 8);
  m_host.Link("block/mmcblk0boot0/device", "../../mmcblk0");
  m_host.Link("block/mmcblk0/device", "../../../mmc0:0001");
  EXPECT_THAT(Read().Disks(), ElementsAre("sdz", "mmcblk0"));
}

TEST_F(BlockDevicesOfATree, APartitionIsWhatTheKernelCallsOne) {
  m_host.AddDisk("sda", "8:0", 1000);
  m_host.AddPartition("sda", "sda1", 1, "8:1", 8, 8);
  m_host.Write("block/sda/sdahead/uevent", "MAJOR=8\nMINOR=2\n");
  const BlockDevices devices = Read();
  EXPECT_THAT(devices.Find("sda")->partitionNames, ElementsAre("sda1"));
  EXPECT_EQ(devices.Find("sdahead"), nullptr);
}

TEST_F(BlockDevicesOfATree, AHiddenPathToADiskIsNotADisk) {
  m_host.Write("block/nvme0c0n1/uevent", "DEVTYPE=disk\n");
  m_host.AddDisk("nvme0n1", "259:0", 100);
  EXPECT_THAT(Read().Disks(), ElementsAre("nvme0n1"));
}

TEST_F(BlockDevicesOfATree, DevicesOfAMountedFileSystemOverSeveralAreKnown) {
  m_host.AddDisk("sda", "8:0", 1000);
  m_host.AddPartition("sda", "sda1", 1, "8:1", 8, 8);
  m_host.AddDisk("sdb", "8:16", 1000);
  m_host.Write("fs/btrfs/features/raid56", "0\n");
  m_host.Link("fs/btrfs/1111-2222/devices/sda1", "../../../../block/sda/sda1");
  m_host.Link("fs/btrfs/1111-2222/devices/sdb", "../../../../block/sdb");
  m_host.Link("fs/btrfs/1111-2222/devices/gone", "../../../../block/gone");
  const BlockDevices devices = Read();
  EXPECT_EQ(devices.Find("sda1")->pool, "1111-2222");
  EXPECT_EQ(devices.Find("sda")->pool, "");
  EXPECT_THAT(devices.Pool("1111-2222"), ElementsAre("sda1", "sdb"));
  EXPECT_THAT(devices.Pool(""), IsEmpty());
}

TEST_F(BlockDevicesOfATree, ATreeThatIsNotThereIsAnError) {
  EXPECT_EQ(BlockDevices("/nowhere/sys").Error(), 2U);
  m_host.AddDisk("sda", "8:0", 1000);
  EXPECT_EQ(Read().Error(), 0U);
}

}  // namespace

}  // namespace Ondrel::Host
