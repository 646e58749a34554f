#include "Host/Linux/Volumes/VolumeProvider.h"
#include "Support/PreparedOperations.h"
#include "Support/PreparedSysfs.h"
#include "Support/TemporaryFolder.h"

#include <Ondrel/PartitionTable.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace Ondrel::Host {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Named = std::pair<std::string, std::pair<std::uint64_t, std::uint64_t>>;

// The volume operations over a prepared tree, in force for a test.
class VolumeProvider : public testing::Test {
protected:
  // A disk sda of a GiB with two partitions, the first with a file system.
  void AddPlainDisk() {
    m_host.AddDisk("sda", "8:0", 2097152);
    m_host.AddPartition("sda", "sda1", 1, "8:1", 2048, 204800);
    m_host.AddPartition("sda", "sda2", 2, "8:2", 206848, 409600);
    m_host.contents["sda1"] = {"ext4", "Data"};
    m_host.contents["sda2"] = {};
  }

  std::vector<CSystemPartition> Partitions(const std::string& deviceName) {
    const Testing::PreparedOperations prepared(Volume(), MakeVolumeOperations(m_host.Sources()));
    std::vector<CSystemPartition> partitions;
    CSystemPartitionTable(deviceName).GetPartitions(partitions);
    return partitions;
  }

  std::vector<Named> Extents(const std::string& deviceName) {
    std::vector<Named> extents;
    for (const CSystemPartition& partition : Partitions(deviceName))
      extents.push_back(
          {partition.m_VolumeName, {partition.m_StartSector, partition.m_SectorCount}});
    return extents;
  }

  Named Extent(const std::string& volume, std::uint64_t start, std::uint64_t count) {
    return {R"(\\?\)" + volume + '\\', {start, count}};
  }

  Testing::TemporaryFolder m_folder;
  Testing::PreparedSysfs m_host{m_folder.Path()};
};

TEST_F(VolumeProvider, PartitionsLieWhereTheKernelSays) {
  AddPlainDisk();
  EXPECT_THAT(Extents("Disk 0"),
              ElementsAre(Extent("sda1", 2048, 204800), Extent("sda2", 206848, 409600)));
}

TEST_F(VolumeProvider, PartitionsStandInTheOrderOfTheirNumbers) {
  m_host.AddDisk("sda", "8:0", 2097152);
  m_host.AddPartition("sda", "sda10", 10, "8:10", 4096, 16);
  m_host.AddPartition("sda", "sda2", 2, "8:2", 8192, 16);
  EXPECT_THAT(Extents("Disk 0"), ElementsAre(Extent("sda2", 8192, 16), Extent("sda10", 4096, 16)));
}

TEST_F(VolumeProvider, AWholeDiskIsAVolumeWhenSomethingLiesInIt) {
  m_host.AddDisk("sda", "8:0", 1000);
  m_host.AddDisk("sdb", "8:16", 2000);
  m_host.AddDisk("sdc", "8:32", 3000);
  m_host.contents["sda"] = {"xfs", "whole"};
  m_host.contents["sdb"] = {};
  EXPECT_THAT(Extents("Disk 0"), ElementsAre(Extent("sda", 0, 1000)));
  EXPECT_THAT(Extents("Disk 1"), IsEmpty());
  EXPECT_THAT(Extents("Disk 2"), IsEmpty()) << "nobody may read what lies in it";
}

TEST_F(VolumeProvider, AMountedDiskIsAVolumeWithoutALookAtItsContent) {
  m_host.AddDisk("sda", "8:0", 1000);
  m_host.Mount("8:0", "/", "/", "/dev/sda");
  const std::vector<CSystemPartition> partitions = Partitions("Disk 0");
  ASSERT_EQ(partitions.size(), 1U);
  EXPECT_EQ(partitions[0].m_MountPath, "/");
}

TEST_F(VolumeProvider, ALinearVolumeLiesOnThePartsOfBothDisks) {
  AddPlainDisk();
  m_host.AddDisk("sdb", "8:16", 2097152);
  m_host.AddMapped("dm-0", "254:0", 3000, "vg0-data");
  m_host.Build("dm-0", "sda2", "sda/sda2");
  m_host.Build("dm-0", "sdb", "sdb");
  m_host.tables["dm-0"] = {{0, 1000, "linear", "8:2 384"}, {1000, 2000, "linear", "8:16 2048"}};
  EXPECT_THAT(Extents("Disk 0"), ElementsAre(Extent("sda1", 2048, 204800),
                                             Extent(R"(mapper\vg0-data)", 207232, 1000)));
  EXPECT_THAT(Extents("Disk 1"), ElementsAre(Extent(R"(mapper\vg0-data)", 2048, 2000)));
}

TEST_F(VolumeProvider, AStripedVolumeLiesOnEachStripeWithItsShare) {
  m_host.AddDisk("sda", "8:0", 2097152);
  m_host.AddDisk("sdb", "8:16", 2097152);
  m_host.AddMapped("dm-0", "254:0", 4096, "vg0-striped");
  m_host.Build("dm-0", "sda", "sda");
  m_host.Build("dm-0", "sdb", "sdb");
  m_host.tables["dm-0"] = {{0, 4096, "striped", "2 128 8:0 2048 8:16 6144"}};
  EXPECT_THAT(Extents("Disk 0"), ElementsAre(Extent(R"(mapper\vg0-striped)", 2048, 2048)));
  EXPECT_THAT(Extents("Disk 1"), ElementsAre(Extent(R"(mapper\vg0-striped)", 6144, 2048)));
}

TEST_F(VolumeProvider, APartOfAStripedVolumeTakesTheRowsThatItTouches) {
  m_host.AddDisk("sda", "8:0", 2097152);
  m_host.AddDisk("sdb", "8:16", 2097152);
  m_host.AddMapped("dm-0", "254:0", 4096, "striped");
  m_host.AddMapped("dm-1", "254:1", 300, "part");
  m_host.Build("dm-0", "sda", "sda");
  m_host.Build("dm-0", "sdb", "sdb");
  m_host.Build("dm-1", "dm-0", "dm-0");
  m_host.tables["dm-0"] = {{0, 4096, "striped", "2 128 8:0 2048 8:16 6144"}};
  m_host.tables["dm-1"] = {{0, 300, "linear", "254:0 200"}};
  EXPECT_THAT(Extents("Disk 0"), ElementsAre(Extent(R"(mapper\part)", 2048, 256)));
  EXPECT_THAT(Extents("Disk 1"), ElementsAre(Extent(R"(mapper\part)", 6144, 256)));
}

TEST_F(VolumeProvider, AnEncryptedVolumeLiesAfterItsHeader) {
  AddPlainDisk();
  m_host.AddMapped("dm-0", "254:0", 376832, "secret");
  m_host.Build("dm-0", "sda2", "sda/sda2");
  m_host.tables["dm-0"] = {
      {0, 376832, "crypt", "aes-xts-plain64 :64:logon:cryptsetup:1-d0 0 8:2 32768 1 discards"}};
  EXPECT_THAT(Extents("Disk 0"), ElementsAre(Extent("sda1", 2048, 204800),
                                             Extent(R"(mapper\secret)", 239616, 376832)));
}

TEST_F(VolumeProvider, AMirrorLiesOnEachMemberAtItsOwnOffset) {
  AddPlainDisk();
  m_host.AddDisk("sdb", "8:16", 2097152);
  m_host.AddArray("md0", "9:0", 405504, "raid1");
  m_host.Build("md0", "sda2", "sda/sda2");
  m_host.Build("md0", "sdb", "sdb");
  m_host.AddMember("md0", "sda2", 2048, 202752, "in_sync");
  m_host.AddMember("md0", "sdb", 4096, 1000000, "in_sync");
  EXPECT_THAT(Extents("Disk 0"),
              ElementsAre(Extent("sda1", 2048, 204800), Extent("md0", 208896, 405504)));
  EXPECT_THAT(Extents("Disk 1"), ElementsAre(Extent("md0", 4096, 405504)));
}

TEST_F(VolumeProvider, AnArrayOfShareLiesOnAllThatItsMembersHold) {
  m_host.AddDisk("sda", "8:0", 10000);
  m_host.AddDisk("sdb", "8:16", 10000);
  m_host.AddDisk("sdc", "8:32", 10000);
  m_host.AddDisk("sdd", "8:48", 10000);
  m_host.AddArray("md0", "9:0", 8000, "raid5");
  for (const char* member : {"sda", "sdb", "sdc", "sdd"}) m_host.Build("md0", member, member);
  m_host.AddMember("md0", "sda", 2048, 2000, "in_sync");
  m_host.AddMember("md0", "sdb", 2048, 2000, "in_sync");
  m_host.AddMember("md0", "sdc", 2048, 2000, "spare");
  m_host.AddMember("md0", "sdd", 2048, 2000, "faulty,in_sync");
  EXPECT_THAT(Extents("Disk 0"), ElementsAre(Extent("md0", 2048, 4000)));
  EXPECT_THAT(Extents("Disk 1"), ElementsAre(Extent("md0", 2048, 4000)));
  EXPECT_THAT(Extents("Disk 2"), IsEmpty());
  EXPECT_THAT(Extents("Disk 3"), IsEmpty());
}

TEST_F(VolumeProvider, APartitionOfAMirrorIsFollowedDown) {
  m_host.AddDisk("sda", "8:0", 10000);
  m_host.AddArray("md0", "9:0", 8000, "raid1");
  m_host.Build("md0", "sda", "sda");
  m_host.AddMember("md0", "sda", 1000, 4000, "in_sync");
  m_host.AddPartition("md0", "md0p1", 1, "259:0", 500, 700);
  EXPECT_THAT(Extents("Disk 0"), ElementsAre(Extent("md0p1", 1500, 700)));
}

TEST_F(VolumeProvider, AnUnknownTargetLiesOnAllBeneath) {
  AddPlainDisk();
  m_host.AddMapped("dm-0", "254:0", 1000, "new");
  m_host.Build("dm-0", "sda2", "sda/sda2");
  m_host.tables["dm-0"] = {{0, 1000, "of-tomorrow", ""}};
  EXPECT_THAT(Extents("Disk 0"),
              ElementsAre(Extent("sda1", 2048, 204800), Extent(R"(mapper\new)", 206848, 409600)));
}

TEST_F(VolumeProvider, AVolumeWhoseTableMayNotBeReadIsLeftOut) {
  AddPlainDisk();
  m_host.AddMapped("dm-0", "254:0", 1000, "secret");
  m_host.Build("dm-0", "sda2", "sda/sda2");
  EXPECT_THAT(Extents("Disk 0"), ElementsAre(Extent("sda1", 2048, 204800)));
}

TEST_F(VolumeProvider, ARingOfDevicesEnds) {
  m_host.AddDisk("sda", "8:0", 1000);
  m_host.AddMapped("dm-0", "254:0", 1000, "ring");
  m_host.tables["dm-0"] = {{0, 1000, "linear", "254:0 0"}};
  EXPECT_THAT(Extents("Disk 0"), IsEmpty());
}

TEST_F(VolumeProvider, ADiskMayLieSixteenLayersBeneath) {
  m_host.AddDisk("sda", "8:0", 2097152);
  m_host.AddPartition("sda", "sda1", 1, "8:1", 2048, 204800);
  std::string beneath = "8:1";
  m_host.Build("dm-0", "sda1", "sda/sda1");
  for (int layer = 0; layer < 15; ++layer) {
    const std::string name = "dm-" + std::to_string(layer);
    const std::string number = "254:" + std::to_string(layer);
    m_host.AddMapped(name, number, 1000, "layer" + std::to_string(layer));
    if (layer > 0)
      m_host.Build(name, "dm-" + std::to_string(layer - 1), "dm-" + std::to_string(layer - 1));
    m_host.tables[name] = {{0, 1000, "linear", beneath + " 0"}};
    beneath = number;
  }
  EXPECT_THAT(Extents("Disk 0"), ElementsAre(Extent(R"(mapper\layer14)", 2048, 1000)));

  m_host.AddMapped("dm-15", "254:15", 1000, "layer15");
  m_host.Build("dm-15", "dm-14", "dm-14");
  m_host.tables["dm-15"] = {{0, 1000, "linear", "254:14 0"}};
  EXPECT_THAT(Extents("Disk 0"), IsEmpty());
}

struct TableRow {
  const char* name;
  const char* type;
  const char* parameters;
};

class BrokenTable : public VolumeProvider, public testing::WithParamInterface<TableRow> {};
TEST_P(BrokenTable, LeavesTheVolumeOut) {
  m_host.AddDisk("sda", "8:0", 1000);
  m_host.AddMapped("dm-0", "254:0", 1000, "broken");
  m_host.tables["dm-0"] = {{0, 1000, GetParam().type, GetParam().parameters}};
  EXPECT_THAT(Extents("Disk 0"), IsEmpty());
}
INSTANTIATE_TEST_SUITE_P(VolumeProvider, BrokenTable,
                         testing::Values(TableRow{"Empty", "linear", ""},
                                         TableRow{"NoOffset", "linear", "8:0"},
                                         TableRow{"NoNumber", "linear", "sda 0"},
                                         TableRow{"UnknownDevice", "linear", "8:77 0"},
                                         TableRow{"NoStripes", "striped", "0 128"},
                                         TableRow{"NoChunk", "striped", "1 0 8:0 0"},
                                         TableRow{"MissingStripe", "striped", "2 128 8:0 0"},
                                         TableRow{"ShortCrypt", "crypt", "aes 0 0 8:0"}),
                         [](const auto& row) { return row.param.name; });

TEST_F(VolumeProvider, MoreExtentsThanTheAnswerHoldsLeaveTheVolumeOut) {
  m_host.AddDisk("sda", "8:0", 100000);
  m_host.AddMapped("dm-0", "254:0", 2200, "spread");
  m_host.Build("dm-0", "sda", "sda");
  for (std::uint64_t index = 0; index < 22; ++index)
    m_host.tables["dm-0"].push_back(
        {index * 100, 100, "linear", "8:0 " + std::to_string(index * 1000)});
  EXPECT_THAT(Extents("Disk 0"), IsEmpty());
  m_host.tables["dm-0"].pop_back();
  EXPECT_EQ(Extents("Disk 0").size(), 21U);
}

TEST_F(VolumeProvider, SpacesAndBytesOfAMountPathArriveIntact) {
  AddPlainDisk();
  m_host.Mount("8:1", "/",
               "/mnt/gro\xC3\x9F"
               "e\\040Daten",
               "/dev/sda1");
  const std::vector<CSystemPartition> partitions = Partitions("Disk 0");
  ASSERT_EQ(partitions.size(), 2U);
  EXPECT_EQ(partitions[0].m_MountPath,
            "/mnt/gro\xC3\x9F"
            "e Daten");
  EXPECT_EQ(partitions[1].m_MountPath, "");
}

TEST_F(VolumeProvider, LabelsAreUtf8WithWhatIsNotReplaced) {
  AddPlainDisk();
  m_host.contents["sda1"] = {"ext4",
                             "Gr\xC3\xBC\xC3\x9F"
                             "e \xF0\x9F\x92\xBE"};
  m_host.contents["sda2"] = {"vfat", "M\x99LLER"};
  const std::vector<CSystemPartition> partitions = Partitions("Disk 0");
  ASSERT_EQ(partitions.size(), 2U);
  EXPECT_EQ(partitions[0].m_VolumeLabel,
            "Gr\xC3\xBC\xC3\x9F"
            "e \xF0\x9F\x92\xBE");
  EXPECT_EQ(partitions[1].m_VolumeLabel, "M\xEF\xBF\xBDLLER");
}

TEST_F(VolumeProvider, ALabelThatDoesNotFitIsNotGiven) {
  AddPlainDisk();
  m_host.contents["sda1"].label = std::string(64, 'x');
  m_host.contents["sda2"].label = std::string(63, 'x');
  const std::vector<CSystemPartition> partitions = Partitions("Disk 0");
  ASSERT_EQ(partitions.size(), 2U);
  EXPECT_EQ(partitions[0].m_VolumeLabel, "");
  EXPECT_EQ(partitions[1].m_VolumeLabel, std::string(63, 'x'));
}

TEST_F(VolumeProvider, RemovableAndOpticalMediaGiveNoRecord) {
  m_host.AddDisk("sda", "8:0", 10000);
  m_host.Write("block/sda/removable", "1\n");
  m_host.AddPartition("sda", "sda1", 1, "8:1", 100, 100);
  m_host.AddDisk("sr0", "11:0", 1000);
  EXPECT_THAT(Extents("Disk 0"), IsEmpty());
  EXPECT_THAT(Extents("Disk 1"), IsEmpty());
}

TEST_F(VolumeProvider, TheKindOfDriveIsThatOfTheDiskBeneath) {
  AddPlainDisk();
  m_host.AddDisk("sdb", "8:16", 10000);
  m_host.Write("block/sdb/removable", "1\n");
  m_host.AddDisk("sr0", "11:0", 1000);
  m_host.AddMapped("dm-0", "254:0", 100, "stick");
  m_host.Build("dm-0", "sdb", "sdb");
  const VolumeOperations operations = MakeVolumeOperations(m_host.Sources());
  EXPECT_EQ(operations.GetDriveTypeA(R"(\\?\sda1\)"), DRIVE_FIXED);
  EXPECT_EQ(operations.GetDriveTypeA(R"(\\?\mapper\stick\)"), DRIVE_REMOVABLE);
  EXPECT_EQ(operations.GetDriveTypeA(R"(\\?\sr0\)"), DRIVE_CDROM);
  EXPECT_EQ(operations.GetDriveTypeA(R"(\\?\nothing\)"), DRIVE_NO_ROOT_DIR);
}

TEST_F(VolumeProvider, AMapperNameThatIsTooLongGivesWayToTheKernelsName) {
  m_host.AddDisk("sda", "8:0", 10000);
  m_host.AddMapped("dm-0", "254:0", 100, std::string(87, 'x'));
  m_host.AddMapped("dm-1", "254:1", 100, std::string(88, 'x'));
  EXPECT_THAT(VolumePicture(m_host.Sources()).Names(),
              ElementsAre(R"(\\?\mapper\)" + std::string(87, 'x') + '\\', R"(\\?\dm-1\)"));
}

TEST_F(VolumeProvider, AVolumeHasADevicePathAndLettersHaveNone) {
  AddPlainDisk();
  const VolumeOperations operations = MakeVolumeOperations(m_host.Sources());
  char path[100] = {};
  EXPECT_EQ(operations.QueryDosDeviceA("sda1", path, sizeof path), 11U);
  EXPECT_STREQ(path, "/dev/sda1");
  EXPECT_EQ(operations.QueryDosDeviceA("C:", path, sizeof path), 0U);
  EXPECT_EQ(operations.GetLastError(), 2U);
  EXPECT_EQ(operations.QueryDosDeviceA("sda1", path, 10), 0U);
  EXPECT_EQ(operations.GetLastError(), 122U);
}

TEST_F(VolumeProvider, HandlesThatAreNotOpenAreFailures) {
  AddPlainDisk();
  const VolumeOperations operations = MakeVolumeOperations(m_host.Sources());
  char name[100];
  void* const walk = operations.FindFirstVolumeA(name, sizeof name);
  EXPECT_STREQ(name, R"(\\?\sda1\)");
  EXPECT_EQ(operations.FindNextVolumeA(walk, name, sizeof name), 1);
  EXPECT_EQ(operations.FindNextVolumeA(walk, name, sizeof name), 0);
  EXPECT_EQ(operations.GetLastError(), 18U);
  EXPECT_EQ(operations.FindVolumeClose(walk), 1);
  EXPECT_EQ(operations.FindVolumeClose(walk), 0);
  EXPECT_EQ(operations.GetLastError(), 6U);
  EXPECT_EQ(operations.FindNextVolumeA(walk, name, sizeof name), 0);
  EXPECT_EQ(operations.GetLastError(), 6U);

  EXPECT_EQ(operations.CreateFileA(R"(\\?\sdz)", 0, 0, nullptr, 3, 0, nullptr),
            INVALID_HANDLE_VALUE);
  void* const volume = operations.CreateFileA(R"(\\?\sda1)", 0, 0, nullptr, 3, 0, nullptr);
  ULong size = 0;
  EXPECT_EQ(operations.DeviceIoControl(volume, 1, nullptr, 0, name, 100, &size, nullptr), 0);
  EXPECT_EQ(operations.GetLastError(), 50U);
  EXPECT_EQ(operations.CloseHandle(volume), 1);
  EXPECT_EQ(operations.CloseHandle(volume), 0);
  EXPECT_EQ(operations.DeviceIoControl(volume, 0x560000, nullptr, 0, name, 100, &size, nullptr), 0);
  EXPECT_EQ(operations.GetLastError(), 6U);
}

TEST_F(VolumeProvider, AHostWithoutVolumesCannotBeWalked) {
  const VolumeOperations operations = MakeVolumeOperations(m_host.Sources());
  char name[100];
  EXPECT_EQ(operations.FindFirstVolumeA(name, sizeof name), INVALID_HANDLE_VALUE);
  EXPECT_EQ(operations.GetLastError(), 18U);
}

TEST_F(VolumeProvider, AKeptPictureShowsOneStateOfTheHostAndTheNextOneAnother) {
  AddPlainDisk();
  const VolumeOperations operations = MakeVolumeOperations(m_host.Sources());
  std::shared_ptr<void> picture = operations.KeepPicture();
  char name[100];
  operations.FindVolumeClose(operations.FindFirstVolumeA(name, sizeof name));
  m_host.AddPartition("sda", "sda3", 3, "8:3", 1000000, 100);
  EXPECT_EQ(operations.GetDriveTypeA(R"(\\?\sda3\)"), DRIVE_NO_ROOT_DIR);
  picture.reset();
  EXPECT_EQ(operations.GetDriveTypeA(R"(\\?\sda3\)"), DRIVE_FIXED);
}

TEST_F(VolumeProvider, WithoutAKeptPictureTheHostIsAskedAnew) {
  AddPlainDisk();
  const VolumeOperations operations = MakeVolumeOperations(m_host.Sources());
  operations.SetErrorMode(SEM_FAILCRITICALERRORS);
  char name[100];
  operations.FindVolumeClose(operations.FindFirstVolumeA(name, sizeof name));
  m_host.AddPartition("sda", "sda3", 3, "8:3", 1000000, 100);
  EXPECT_EQ(operations.GetDriveTypeA(R"(\\?\sda3\)"), DRIVE_FIXED);
  EXPECT_EQ(operations.SetErrorMode(0), SEM_FAILCRITICALERRORS);
}

TEST_F(VolumeProvider, AKeptPictureIsThatOfItsThread) {
  AddPlainDisk();
  const VolumeOperations operations = MakeVolumeOperations(m_host.Sources());
  const std::shared_ptr<void> picture = operations.KeepPicture();
  char name[100];
  operations.FindVolumeClose(operations.FindFirstVolumeA(name, sizeof name));
  m_host.AddPartition("sda", "sda3", 3, "8:3", 1000000, 100);
  ULong type = DRIVE_UNKNOWN;
  std::thread([&] { type = operations.GetDriveTypeA(R"(\\?\sda3\)"); }).join();
  EXPECT_EQ(type, DRIVE_FIXED);
}

// The error mode is the process's: what other threads do with it must not cost a walk its picture.
TEST_F(VolumeProvider, AWalkReadsTheDevicesOnceWhateverOtherThreadsDoWithTheErrorMode) {
  constexpr unsigned kPartitions = 128;
  m_host.AddDisk("sda", "8:0", 1ULL << 32);
  for (unsigned number = 1; number <= kPartitions; ++number)
    m_host.AddPartition("sda", "sda" + std::to_string(number), number,
                        "259:" + std::to_string(number), number * 2048ULL, 2048);
  const Testing::PreparedOperations prepared(Volume(), MakeVolumeOperations(m_host.Sources()));
  std::atomic<bool> isDone = false;
  std::atomic<int> changes = 0;
  std::thread other([&] {
    const VolumeOperations& operations = Volume();
    while (!isDone) {
      operations.SetErrorMode(changes % 2 == 0 ? 0 : SEM_FAILCRITICALERRORS);
      ++changes;
    }
  });
  while (changes == 0) std::this_thread::yield();

  constexpr int kWalks = 5;
  std::vector<CSystemPartition> partitions;
  for (int walk = 0; walk < kWalks; ++walk)
    CSystemPartitionTable("Disk 0").GetPartitions(partitions);
  isDone = true;
  other.join();
  Volume().SetErrorMode(0);

  EXPECT_EQ(partitions.size(), kPartitions);
  EXPECT_EQ(m_host.reads, kWalks);
}

TEST_F(VolumeProvider, MountPointsOnVolumesAreNotThere) {
  AddPlainDisk();
  const VolumeOperations operations = MakeVolumeOperations(m_host.Sources());
  char name[100];
  EXPECT_EQ(operations.FindFirstVolumeMountPointA(R"(\\?\sda1\)", name, sizeof name),
            INVALID_HANDLE_VALUE);
  EXPECT_EQ(operations.FindNextVolumeMountPointA(nullptr, name, sizeof name), 0);
  EXPECT_EQ(operations.FindVolumeMountPointClose(nullptr), 0);
  EXPECT_EQ(operations.GetVolumeNameForVolumeMountPointA("C:\\data\\", name, sizeof name), 0);
}

}  // namespace

}  // namespace Ondrel::Host
