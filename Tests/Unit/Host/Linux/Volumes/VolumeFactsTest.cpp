#include "Host/Linux/Volumes/VolumeProvider.h"
#include "Support/PreparedOperations.h"
#include "Support/PreparedSysfs.h"
#include "Support/TemporaryFolder.h"

#include <Ondrel/PartitionTable.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

// What is and is not a volume, and which mount is whose, by what the host says rather than by names
// and sizes.

namespace Ondrel::Host {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class VolumeFacts : public testing::Test {
protected:
  VolumePicture Picture() { return VolumePicture(m_host.Sources()); }

  std::vector<std::string> Names() { return Picture().Names(); }

  std::vector<std::string> MountPaths(const std::string& device) {
    const VolumePicture picture = Picture();
    return picture.MountPaths(*picture.Devices().Find(device));
  }

  // "Disk 0: 2048+1000" for each part of a volume.
  std::vector<std::string> Parts(const std::string& volume) {
    const VolumePicture picture = Picture();
    std::vector<std::string> texts;
    const auto parts = picture.Parts(*picture.Find(R"(\\?\)" + volume));
    for (const DiskPart& part : parts.value_or(std::vector<DiskPart>()))
      texts.push_back("Disk " + std::to_string(part.disk) + ": " + std::to_string(part.start) +
                      "+" + std::to_string(part.count));
    return texts;
  }

  // A disk sda with two partitions, of which the second has this size, and one with the number 5.
  void AddDiskWithLogical(std::uint64_t sizeOfSecond) {
    m_host.AddDisk("sda", "8:0", 2097152);
    m_host.AddPartition("sda", "sda1", 1, "8:1", 2048, 2048);
    m_host.AddPartition("sda", "sda2", 2, "8:2", 4096, sizeOfSecond);
    m_host.AddPartition("sda", "sda5", 5, "8:5", 6144, 2048);
  }

  Testing::TemporaryFolder m_folder;
  Testing::PreparedSysfs m_host{m_folder.Path()};
};

class ExtendedPartition : public VolumeFacts, public testing::WithParamInterface<const char*> {};
TEST_P(ExtendedPartition, IsNotAVolumeByItsType) {
  AddDiskWithLogical(8);
  m_host.entries["sda2"] = {"dos", GetParam()};
  EXPECT_THAT(Names(), ElementsAre(R"(\\?\sda1\)", R"(\\?\sda5\)"));
}
INSTANTIATE_TEST_SUITE_P(VolumeFacts, ExtendedPartition, testing::Values("0x5", "0xf", "0x85"));

TEST_F(VolumeFacts, AnExtendedPartitionWithoutLogicalOnesIsNotAVolume) {
  m_host.AddDisk("sda", "8:0", 2097152);
  m_host.AddPartition("sda", "sda1", 1, "8:1", 2048, 2);
  m_host.entries["sda1"] = {"dos", "0x5"};
  EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(VolumeFacts, SmallPartitionsOfOtherTypesAreVolumesNextToLogicalOnes) {
  AddDiskWithLogical(2);
  m_host.entries["sda2"] = {"dos", "0x83"};
  EXPECT_THAT(Names(), ElementsAre(R"(\\?\sda1\)", R"(\\?\sda2\)", R"(\\?\sda5\)"));
  m_host.entries["sda2"] = {"gpt", "0x5"};
  EXPECT_THAT(Names(), ElementsAre(R"(\\?\sda1\)", R"(\\?\sda2\)", R"(\\?\sda5\)"));
}

TEST_F(VolumeFacts, WhereTheTypeMayNotBeReadWhatTheKernelMakesOfAnExtendedPartitionIsNotAVolume) {
  AddDiskWithLogical(2);
  EXPECT_THAT(Names(), ElementsAre(R"(\\?\sda1\)", R"(\\?\sda5\)"));
}

TEST_F(VolumeFacts, WhereTheTypeMayNotBeReadOtherSmallPartitionsAreVolumes) {
  AddDiskWithLogical(8);
  EXPECT_THAT(Names(), ElementsAre(R"(\\?\sda1\)", R"(\\?\sda2\)", R"(\\?\sda5\)"));
}

TEST_F(VolumeFacts, APartitionOfAMultipathDeviceLiesOnAllPathsAtItsPlace) {
  m_host.AddDisk("sda", "8:0", 100000);
  m_host.AddPartition("sda", "sda1", 1, "8:1", 2048, 1000);
  m_host.AddDisk("sdb", "8:16", 100000);
  m_host.AddMapped("dm-0", "254:0", 100000, "mpatha");
  m_host.AddMapped("dm-1", "254:1", 1000, "mpatha-part1");
  m_host.Build("dm-0", "sda", "sda");
  m_host.Build("dm-0", "sdb", "sdb");
  m_host.Build("dm-1", "dm-0", "dm-0");
  m_host.tables["dm-0"] = {{0, 100000, "multipath", "0 0 1 1 service-time 0 2 1 8:0 1 8:16 1"}};
  m_host.tables["dm-1"] = {{0, 1000, "linear", "254:0 2048"}};
  EXPECT_THAT(Names(), ElementsAre(R"(\\?\mapper\mpatha-part1\)"))
      << "the partitions of a path cannot be used";
  EXPECT_THAT(Parts(R"(mapper\mpatha-part1)"),
              ElementsAre("Disk 0: 2048+1000", "Disk 1: 2048+1000"));
}

TEST_F(VolumeFacts, AThinVolumeLiesSomewhereInTheDataOfItsPool) {
  m_host.AddDisk("sda", "8:0", 100000);
  m_host.AddMapped("dm-0", "254:0", 100, "pool_tmeta");
  m_host.AddMapped("dm-1", "254:1", 5000, "pool_tdata");
  m_host.AddMapped("dm-2", "254:2", 5000, "pool-tpool");
  m_host.AddMapped("dm-3", "254:3", 90000, "thin");
  m_host.Build("dm-0", "sda", "sda");
  m_host.Build("dm-1", "sda", "sda");
  m_host.Build("dm-2", "dm-0", "dm-0");
  m_host.Build("dm-2", "dm-1", "dm-1");
  m_host.Build("dm-3", "dm-2", "dm-2");
  m_host.tables["dm-0"] = {{0, 100, "linear", "8:0 2048"}};
  m_host.tables["dm-1"] = {{0, 5000, "linear", "8:0 4096"}};
  m_host.tables["dm-2"] = {{0, 5000, "thin-pool", "254:0 254:1 128 0 0"}};
  m_host.tables["dm-3"] = {{0, 90000, "thin", "254:2 1"}};
  EXPECT_THAT(Names(), ElementsAre(R"(\\?\mapper\thin\)"));
  EXPECT_THAT(Parts(R"(mapper\thin)"), ElementsAre("Disk 0: 4096+5000"));
}

TEST_F(VolumeFacts, ADeviceWithACacheLiesAfterTheHeadOfItsDataAndAnywhereInTheCache) {
  m_host.AddDisk("sda", "8:0", 100000);
  m_host.AddPartition("sda", "sda1", 1, "8:1", 2048, 50016);
  m_host.AddDisk("nvme0n1", "259:0", 8000);
  m_host.AddVirtual("bcache0", "252:0", 50000);
  m_host.Build("bcache0", "sda1", "sda/sda1");
  m_host.Build("bcache0", "nvme0n1", "nvme0n1");
  m_host.Link("block/bcache0/bcache", "../sda/sda1/bcache");
  EXPECT_THAT(Names(), ElementsAre(R"(\\?\bcache0\)"));
  EXPECT_THAT(Parts("bcache0"), ElementsAre("Disk 0: 2064+50000", "Disk 1: 0+8000"));
}

TEST_F(VolumeFacts, ADeviceThatIsBuiltInAWayThatIsNotKnownLiesOnAllBeneath) {
  m_host.AddDisk("sda", "8:0", 100000);
  m_host.AddVirtual("net0", "147:0", 50000);
  m_host.Build("net0", "sda", "sda");
  EXPECT_THAT(Parts("net0"), ElementsAre("Disk 0: 0+100000"));
}

TEST_F(VolumeFacts, MountsCountByTheirDeviceNumberAndNotByTheSourceThatTheyName) {
  m_host.AddDisk("sda", "8:0", 100000);
  m_host.AddPartition("sda", "sda1", 1, "8:1", 2048, 1000);
  m_host.Mount("0:40", "/", "/only/named", "/dev/sda1", "tmpfs");
  m_host.Mount("0:41", "/", "/like/btrfs", "/dev/sda1", "btrfs");
  EXPECT_THAT(MountPaths("sda1"), IsEmpty());
  m_host.Mount("8:1", "/", "/data", "anything");
  EXPECT_THAT(MountPaths("sda1"), ElementsAre("/data"));
}

TEST_F(VolumeFacts, AMountOfAFileSystemOverSeveralDevicesIsOneOfEach) {
  m_host.AddDisk("sda", "8:0", 100000);
  m_host.AddPartition("sda", "sda1", 1, "8:1", 2048, 1000);
  m_host.AddDisk("sdb", "8:16", 100000);
  m_host.AddMapped("dm-0", "254:0", 1000, "vg0-data");
  m_host.Link("fs/btrfs/1111/devices/sda1", "../../../../block/sda/sda1");
  m_host.Link("fs/btrfs/1111/devices/sdb", "../../../../block/sdb");
  m_host.Link("fs/btrfs/2222/devices/dm-0", "../../../../block/dm-0");
  m_host.Mount("0:40", "/@home", "/home", "/dev/sdb", "btrfs");
  m_host.Mount("0:40", "/", "/all", "/dev/sdb", "btrfs");
  m_host.Mount("0:41", "/", "/mapped", "/dev/mapper/vg0-data", "btrfs");
  EXPECT_THAT(MountPaths("sda1"), ElementsAre("/all", "/home"));
  EXPECT_THAT(MountPaths("sdb"), ElementsAre("/all", "/home"));
  EXPECT_THAT(MountPaths("dm-0"), ElementsAre("/mapped"));
}

TEST_F(VolumeFacts, TheOldestMountComesFirstAndWholeFileSystemsBeforeTheirParts) {
  m_host.AddDisk("sda", "8:0", 100000);
  m_host.AddPartition("sda", "sda1", 1, "8:1", 2048, 1000);
  m_host.Mount("8:1", "/inner", "/bind", "/dev/sda1");
  m_host.Mount("8:1", "/", "/first", "/dev/sda1");
  m_host.Mount("8:1", "/", "/second", "/dev/sda1");
  EXPECT_THAT(MountPaths("sda1"), ElementsAre("/first", "/second", "/bind"));
}

// The paths of sda1 as the operation hands them out, and the size of the list.
class PathList : public VolumeFacts {
protected:
  void SetUp() override {
    m_host.AddDisk("sda", "8:0", 100000);
    m_host.AddPartition("sda", "sda1", 1, "8:1", 2048, 1000);
  }

  std::vector<std::string> Handed() {
    const VolumeOperations operations = MakeVolumeOperations(m_host.Sources());
    std::vector<wchar_t> list(1301, L'x');
    EXPECT_EQ(
        operations.GetVolumePathNamesForVolumeNameW(LR"(\\?\sda1\)", list.data(), 1301, &m_size),
        1);
    std::vector<std::string> paths;
    for (auto path = list.begin(); path != list.end() && *path != 0;) {
      const auto end = std::find(path, list.end(), L'\0');
      paths.emplace_back(path, end);
      path = end + 1;
    }
    return paths;
  }

  ULong m_size = 0;
};

TEST_F(PathList, NeverTakesMoreThanTheRoomOfTheFirstQuestion) {
  std::vector<std::string> mounted;
  for (int index = 0; index < 200; ++index) {
    mounted.push_back("/mnt/" + std::to_string(1000 + index));
    m_host.Mount("8:1", "/", mounted.back(), "/dev/sda1");
  }
  const std::vector<std::string> handed = Handed();
  EXPECT_EQ(m_size, 1301U) << "130 paths of nine characters with their ends, and the list's end";
  ASSERT_EQ(handed.size(), 130U);
  EXPECT_TRUE(std::equal(handed.begin(), handed.end(), mounted.begin())) << "the oldest";
  EXPECT_EQ(MountPaths("sda1").size(), 200U);
}

TEST_F(PathList, LeavesOutAPathThatAloneIsTooLong) {
  m_host.Mount("8:1", "/", "/" + std::string(1299, 'x'), "/dev/sda1");
  m_host.Mount("8:1", "/", "/short", "/dev/sda1");
  EXPECT_THAT(Handed(), ElementsAre("/short"));
}

TEST_F(PathList, TakesAPathThatJustFits) {
  m_host.Mount("8:1", "/", "/" + std::string(1298, 'x'), "/dev/sda1");
  EXPECT_EQ(Handed().size(), 1U);
  EXPECT_EQ(m_size, 1301U);
}

TEST_F(PathList, TheLibraryAsksOnce) {
  for (int index = 0; index < 200; ++index)
    m_host.Mount("8:1", "/", "/mnt/" + std::string(20, 'x') + std::to_string(index), "/dev/sda1");
  VolumeOperations operations = MakeVolumeOperations(m_host.Sources());
  int questions = 0;
  const auto answer = operations.GetVolumePathNamesForVolumeNameW;
  operations.GetVolumePathNamesForVolumeNameW = [&](const wchar_t* name, wchar_t* paths, ULong size,
                                                    ULong* needed) {
    ++questions;
    return answer(name, paths, size, needed);
  };
  const Testing::PreparedOperations prepared(Volume(), std::move(operations));
  std::vector<CSystemPartition> partitions;
  CSystemPartitionTable("Disk 0").GetPartitions(partitions);
  ASSERT_EQ(partitions.size(), 1U);
  EXPECT_EQ(partitions[0].m_MountPath, "/mnt/" + std::string(20, 'x') + "0");
  EXPECT_EQ(questions, 1);
}

}  // namespace

}  // namespace Ondrel::Host
