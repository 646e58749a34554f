#include "Support/PreparedVolumes.h"

#include <Ondrel/PartitionTable.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <new>
#include <string>
#include <utility>
#include <vector>

namespace Ondrel {

namespace {

using testing::ElementsAre;
using Testing::ExtentSpec;
using testing::IsEmpty;
using Testing::PreparedVolumes;
using Testing::VolumeSpec;

constexpr std::uint64_t kMebibyte = 1048576;

std::vector<CSystemPartition> Partitions(const std::string& deviceName) {
  std::vector<CSystemPartition> partitions(1);
  CSystemPartitionTable(deviceName).GetPartitions(partitions);
  return partitions;
}

// A volume of one extent of a mebibyte on disk 0.
VolumeSpec SmallVolume(const std::string& name) {
  return {.name = name,
          .extents = {{.disk = 0, .offset = kMebibyte, .length = kMebibyte}},
          .label = L""};
}

std::vector<std::string> Names(const std::vector<CSystemPartition>& partitions) {
  std::vector<std::string> names;
  for (const CSystemPartition& partition : partitions) names.push_back(partition.m_VolumeName);
  return names;
}

std::vector<std::string> QuestionsForLetters(char last) {
  std::vector<std::string> questions;
  for (char letter = 'A'; letter <= last; ++letter)
    questions.push_back(std::string("QueryDosDeviceA(") + letter + ":, 100)");
  return questions;
}

std::vector<std::string> Joined(const std::vector<std::vector<std::string>>& parts) {
  std::vector<std::string> joined;
  for (const auto& part : parts) joined.insert(joined.end(), part.begin(), part.end());
  return joined;
}

std::string ListAllocation(std::size_t characters) {
  return "Allocate(" + std::to_string(characters * sizeof(wchar_t)) + ")";
}

TEST(PartitionTable, TheHostIsAskedInThisOrder) {
  PreparedVolumes host;
  host.volumes = {{.name = R"(\\?\Volume{a}\)",
                   .extents = {{.disk = 0, .offset = kMebibyte, .length = 4 * kMebibyte}},
                   .devicePath = R"(\Device\HarddiskVolume1)",
                   .path = R"(C:\)",
                   .label = L"System",
                   .folders = {R"(data\)"}}};
  host.letters = {{"C:", R"(\Device\HarddiskVolume1)"}};
  host.mountedAt = {{R"(C:\data\)", R"(\\?\Volume{b}\)"}};

  Partitions("Disk 0");

  const std::vector<std::string> lettersUpToC = QuestionsForLetters('C');
  EXPECT_EQ(
      host.TakeCalls(),
      Joined({{"SetErrorMode(0x1)", "FindFirstVolumeA(100)",
               R"(CreateFileA(\\?\Volume{a}, 0x80000000, 3, null, 3, 0x80, null))",
               R"(DeviceIoControl(\\?\Volume{a}\, 0x560000, null, 0, 512, null))",
               R"(CloseHandle(\\?\Volume{a}\))", "FindNextVolumeA(walk, 100)",
               "FindVolumeClose(walk)", "QueryDosDeviceA(Volume{a}, 100)"},
              lettersUpToC,
              {ListAllocation(1301), R"(GetVolumePathNamesForVolumeNameW(\\?\Volume{a}\, 1301))",
               "Free(1)", R"(FindFirstVolumeMountPointA(\\?\Volume{a}\, 100))",
               R"(GetVolumeNameForVolumeMountPointA(C:\data\, 100))",
               "FindNextVolumeMountPointA(folders, 100)", "FindVolumeMountPointClose(folders)",
               R"(MultiByteToWideChar(0, 0, \\?\Volume{a}\, -1, 15))",
               R"(GetVolumeInformationW(\\?\Volume{a}\, 64, null, null, null, 64))",
               R"(GetDriveTypeA(\\?\Volume{a}\))", "QueryDosDeviceA(Volume{a}, 100)"},
              lettersUpToC,
              {"SetErrorMode(0x8000)"}}));
}

TEST(PartitionTable, ARecordSaysWhereTheVolumeLiesAndHowItIsReached) {
  PreparedVolumes host;
  host.volumes = {{.name = R"(\\?\Volume{a}\)",
                   .extents = {{.disk = 0, .offset = kMebibyte, .length = 4 * kMebibyte}},
                   .devicePath = R"(\Device\HarddiskVolume1)",
                   .path = R"(C:\)",
                   .label = L"Gr\u00FC\u00DFe"}};
  host.letters = {{"C:", R"(\Device\HarddiskVolume1)"}};

  const std::vector<CSystemPartition> partitions = Partitions("Disk 0");

  CSystemPartition expected;
  expected.m_StartSector = 2048;
  expected.m_SectorCount = 8192;
  expected.m_DriveRoot = R"(C:\)";
  expected.m_MountPath = R"(C:\)";
  expected.m_VolumeLabel =
      "Gr\xC3\xBC\xC3\x9F"
      "e";
  expected.m_VolumeName = R"(\\?\Volume{a}\)";
  ASSERT_EQ(partitions.size(), 1U);
  EXPECT_TRUE(partitions[0] == expected);
  EXPECT_EQ(partitions[0].m_Info1 + partitions[0].m_Info2 + partitions[0].m_Info3, "");
  EXPECT_EQ(partitions[0].m_Kind, 1U);
}

struct NameRow {
  const char* name;
  const char* deviceName;
};

class RefusedName : public testing::TestWithParam<NameRow> {};
TEST_P(RefusedName, GivesAnEmptyListWithoutAnyCallOfTheHost) {
  PreparedVolumes host;
  host.volumes = {SmallVolume(R"(\\?\a\)")};
  EXPECT_THAT(Partitions(GetParam().deviceName), IsEmpty());
  EXPECT_THAT(host.TakeCalls(), IsEmpty());
}
INSTANTIATE_TEST_SUITE_P(
    PartitionTable, RefusedName,
    testing::Values(NameRow{"Empty", ""}, NameRow{"Short", "Dis"},
                    NameRow{"WithoutNumber", "Disk "}, NameRow{"WithoutSpace", "Disk0"},
                    NameRow{"LowerCase", "disk 0"}, NameRow{"UpperCase", "DISK 0"},
                    NameRow{"TabAsSpace", "Disk\t0"}, NameRow{"SpaceInFront", " Disk 0"},
                    NameRow{"SpaceAfter", "Disk 0 "}, NameRow{"LetterAfter", "Disk 0a"},
                    NameRow{"Letter", "Disk a"}, NameRow{"OnlySpaces", "Disk   "},
                    NameRow{"Hexadecimal", "Disk 0x0"}, NameRow{"Fraction", "Disk 0.0"},
                    NameRow{"SpaceAfterSign", "Disk + 0"}, NameRow{"TwoSigns", "Disk ++0"},
                    NameRow{"TwoNumbers", "Disk 0 0"}, NameRow{"Above32Bits", "Disk 4294967296"},
                    NameRow{"Far", "Disk 99999999999999999999999"},
                    NameRow{"BelowNegativeRange", "Disk -4294967296"}),
    [](const auto& row) { return row.param.name; });

struct NumberRow {
  const char* name;
  const char* deviceName;
  ULong disk;
};

class AcceptedName : public testing::TestWithParam<NumberRow> {};
TEST_P(AcceptedName, StandsForTheDiskWithThisNumber) {
  PreparedVolumes host;
  host.volumes = {SmallVolume(R"(\\?\a\)")};
  host.volumes[0].extents[0].disk = GetParam().disk;
  EXPECT_THAT(Names(Partitions(GetParam().deviceName)), ElementsAre(R"(\\?\a\)"));
}
// The signs are as the converter takes them: a minus sign counts down from 2 to the power of 32.
INSTANTIATE_TEST_SUITE_P(PartitionTable, AcceptedName,
                         testing::Values(NumberRow{"Zero", "Disk 0", 0},
                                         NumberRow{"TwoSpaces", "Disk  7", 7},
                                         NumberRow{"TabAfterSpace", "Disk \t\n7", 7},
                                         NumberRow{"LeadingZeros", "Disk 0010", 10},
                                         NumberRow{"PlusSign", "Disk +3", 3},
                                         NumberRow{"Largest", "Disk 4294967295", 4294967295},
                                         NumberRow{"MinusSign", "Disk -1", 4294967295},
                                         NumberRow{"MinusZero", "Disk -0", 0},
                                         NumberRow{"LargestWithMinus", "Disk -4294967295", 1}),
                         [](const auto& row) { return row.param.name; });

TEST(PartitionTable, FormerContentsOfTheListAreGoneWhateverTheName) {
  const PreparedVolumes host;
  std::vector<CSystemPartition> partitions(3);
  CSystemPartitionTable("no disk").GetPartitions(partitions);
  EXPECT_THAT(partitions, IsEmpty());
}

TEST(PartitionTable, AWalkThatCannotStartGivesNothingAndRestoresTheErrorMode) {
  PreparedVolumes host;
  host.volumes = {SmallVolume(R"(\\?\a\)")};
  host.isWalkRefused = true;
  EXPECT_THAT(Partitions("Disk 0"), IsEmpty());
  EXPECT_THAT(host.TakeCalls(),
              ElementsAre("SetErrorMode(0x1)", "FindFirstVolumeA(100)", "SetErrorMode(0x8000)"));
}

TEST(PartitionTable, AVolumeWithoutANameIsPassedOver) {
  PreparedVolumes host;
  host.volumes = {{.name = ""}, SmallVolume(R"(\\?\a\)")};
  EXPECT_THAT(Names(Partitions("Disk 0")), ElementsAre(R"(\\?\a\)"));
  EXPECT_EQ(host.TakeCallsOf("CreateFileA").size(), 1U);
}

TEST(PartitionTable, AVolumeThatCannotBeOpenedIsLeftOutAndNothingIsClosed) {
  PreparedVolumes host;
  host.volumes = {SmallVolume(R"(\\?\a\)")};
  host.volumes[0].isRefused = true;
  EXPECT_THAT(Partitions("Disk 0"), IsEmpty());
  EXPECT_THAT(
      host.TakeCalls(),
      ElementsAre("SetErrorMode(0x1)", "FindFirstVolumeA(100)",
                  R"(CreateFileA(\\?\a, 0x80000000, 3, null, 3, 0x80, null))",
                  "FindNextVolumeA(walk, 100)", "FindVolumeClose(walk)", "SetErrorMode(0x8000)"));
}

struct AnswerRow {
  const char* name;
  VolumeSpec volume;
};

class AnswerWithoutExtents : public testing::TestWithParam<AnswerRow> {};
TEST_P(AnswerWithoutExtents, LeavesTheVolumeOutAndClosesIt) {
  PreparedVolumes host;
  host.volumes = {GetParam().volume};
  host.volumes[0].name = R"(\\?\a\)";
  EXPECT_THAT(Partitions("Disk 0"), IsEmpty());
  EXPECT_THAT(host.TakeCalls(),
              ElementsAre("SetErrorMode(0x1)", "FindFirstVolumeA(100)",
                          R"(CreateFileA(\\?\a, 0x80000000, 3, null, 3, 0x80, null))",
                          R"(DeviceIoControl(\\?\a\, 0x560000, null, 0, 512, null))",
                          R"(CloseHandle(\\?\a\))", "FindNextVolumeA(walk, 100)",
                          "FindVolumeClose(walk)", "SetErrorMode(0x8000)"));
}

VolumeSpec With(void (*change)(VolumeSpec&)) {
  VolumeSpec volume = SmallVolume(R"(\\?\a\)");
  change(volume);
  return volume;
}

INSTANTIATE_TEST_SUITE_P(
    PartitionTable, AnswerWithoutExtents,
    testing::Values(
        AnswerRow{"Failure", With([](VolumeSpec& volume) { volume.isDumb = true; })},
        AnswerRow{"FewerThan32Bytes", With([](VolumeSpec& volume) { volume.toldSize = 31; })},
        AnswerRow{"NoExtents", With([](VolumeSpec& volume) { volume.toldCount = 0; })},
        AnswerRow{"OtherDisk", With([](VolumeSpec& volume) { volume.extents[0].disk = 1; })},
        AnswerRow{"MoreThan21Extents",
                  With([](VolumeSpec& volume) { volume.extents.resize(22, volume.extents[0]); })}),
    [](const auto& row) { return row.param.name; });

TEST(PartitionTable, AVolumeOf21ExtentsIsListedWithAllOfThem) {
  PreparedVolumes host;
  host.volumes = {SmallVolume(R"(\\?\a\)")};
  host.volumes[0].extents.resize(21, host.volumes[0].extents[0]);
  EXPECT_EQ(Partitions("Disk 0").size(), 21U);
}

TEST(PartitionTable, ACountBeyondTheAnswerIsHeldToIt) {
  PreparedVolumes host;
  host.volumes = {SmallVolume(R"(\\?\a\)")};
  host.volumes[0].toldCount = 1000;
  EXPECT_EQ(Partitions("Disk 0").size(), 1U);
}

TEST(PartitionTable, ASizeBeyondTheAreaIsHeldToIt) {
  PreparedVolumes host;
  host.volumes = {SmallVolume(R"(\\?\a\)")};
  host.volumes[0].toldCount = 1000;
  host.volumes[0].toldSize = 100000;
  const ULong filledDisk = 0xEEEEEEEE;
  EXPECT_EQ(Partitions("Disk 0").size(), 1U);
  EXPECT_EQ(Partitions("Disk " + std::to_string(filledDisk)).size(), 20U);
}

TEST(PartitionTable, OnlyTheExtentsOnTheDiskAreTakenInTheirOrder) {
  PreparedVolumes host;
  host.volumes = {{.name = R"(\\?\a\)",
                   .extents = {{.disk = 3, .offset = 9 * kMebibyte, .length = kMebibyte},
                               {.disk = 1, .offset = 5 * kMebibyte, .length = kMebibyte},
                               {.disk = 3, .offset = 2 * kMebibyte, .length = 3 * kMebibyte}},
                   .label = L"Span"}};

  const std::vector<CSystemPartition> partitions = Partitions("Disk 3");

  ASSERT_EQ(partitions.size(), 2U);
  EXPECT_EQ(partitions[0].m_StartSector, 18432U);
  EXPECT_EQ(partitions[0].m_SectorCount, 2048U);
  EXPECT_EQ(partitions[1].m_StartSector, 4096U);
  EXPECT_EQ(partitions[1].m_SectorCount, 6144U);
  CSystemPartition first = partitions[0];
  first.m_StartSector = partitions[1].m_StartSector;
  first.m_SectorCount = partitions[1].m_SectorCount;
  EXPECT_TRUE(first == partitions[1]) << "they differ in more than where they lie";
}

TEST(PartitionTable, BytesBecomeSectorsByALogicalShift) {
  PreparedVolumes host;
  host.volumes = {SmallVolume(R"(\\?\a\)")};
  host.volumes[0].extents = {{.disk = 0, .offset = 0xFFFFFFFFFFFFFFFF, .length = 1023}};
  const std::vector<CSystemPartition> partitions = Partitions("Disk 0");
  ASSERT_EQ(partitions.size(), 1U);
  EXPECT_EQ(partitions[0].m_StartSector, 0x7FFFFFFFFFFFFFU);
  EXPECT_EQ(partitions[0].m_SectorCount, 1U);
}

TEST(PartitionTable, NothingIsSorted) {
  PreparedVolumes host;
  host.volumes = {SmallVolume(R"(\\?\z\)"), SmallVolume(R"(\\?\a\)"), SmallVolume(R"(\\?\m\)")};
  host.volumes[1].extents[0].offset = 0;
  EXPECT_THAT(Names(Partitions("Disk 0")), ElementsAre(R"(\\?\z\)", R"(\\?\a\)", R"(\\?\m\)"));
}

TEST(PartitionTable, All26LettersAreAskedTwiceForAVolumeWithoutOne) {
  PreparedVolumes host;
  host.volumes = {SmallVolume(R"(\\?\a\)")};
  host.volumes[0].devicePath = R"(\Device\HarddiskVolume1)";
  Partitions("Disk 0");
  const std::vector<std::string> name = {"QueryDosDeviceA(a, 100)"};
  const std::vector<std::string> letters = QuestionsForLetters('Z');
  EXPECT_EQ(host.TakeCallsOf("QueryDosDeviceA"), Joined({name, letters, name, letters}));
}

TEST(PartitionTable, TheLetterIsFoundWithoutRegardToCase) {
  PreparedVolumes host;
  host.volumes = {SmallVolume(R"(\\?\a\)")};
  host.volumes[0].devicePath = R"(\Device\HarddiskVolume1)";
  host.letters = {{"D:", R"(\DEVICE\harddiskVOLUME1)"}};
  const std::vector<CSystemPartition> partitions = Partitions("Disk 0");
  ASSERT_EQ(partitions.size(), 1U);
  EXPECT_EQ(partitions[0].m_DriveRoot, R"(D:\)");
}

TEST(PartitionTable, TheFirstOfTwoLettersCounts) {
  PreparedVolumes host;
  host.volumes = {SmallVolume(R"(\\?\a\)")};
  host.volumes[0].devicePath = "path";
  host.letters = {{"Z:", "path"}, {"E:", "path"}, {"B:", "pathway"}};
  const std::vector<CSystemPartition> partitions = Partitions("Disk 0");
  ASSERT_EQ(partitions.size(), 1U);
  EXPECT_EQ(partitions[0].m_DriveRoot, R"(E:\)");
}

TEST(PartitionTable, OnlyTheFirstTextOfADevicePathCounts) {
  PreparedVolumes host;
  host.volumes = {SmallVolume(R"(\\?\a\)")};
  host.volumes[0].devicePath = std::string("path\0earlier", 12);
  host.letters = {{"E:", std::string("path\0other\0", 11)}};
  const std::vector<CSystemPartition> partitions = Partitions("Disk 0");
  ASSERT_EQ(partitions.size(), 1U);
  EXPECT_EQ(partitions[0].m_DriveRoot, R"(E:\)");
}

TEST(PartitionTable, AVolumeThatHasNoDevicePathIsComparedByItsName) {
  PreparedVolumes host;
  host.volumes = {SmallVolume(R"(\\?\a\)")};
  host.letters = {{"F:", R"(\\?\A)"}};
  const std::vector<CSystemPartition> partitions = Partitions("Disk 0");
  ASSERT_EQ(partitions.size(), 1U);
  EXPECT_EQ(partitions[0].m_DriveRoot, R"(F:\)");
}

TEST(PartitionTable, ANameOfAnotherFormIsComparedAsItStands) {
  PreparedVolumes host;
  host.volumes = {SmallVolume(R"(\Device\Volume7\)")};
  host.letters = {{"A:", R"(\Device\Volume7)"}};
  const std::vector<CSystemPartition> partitions = Partitions("Disk 0");
  ASSERT_EQ(partitions.size(), 1U);
  EXPECT_EQ(partitions[0].m_DriveRoot, R"(A:\)");
  EXPECT_THAT(host.TakeCallsOf("QueryDosDeviceA"),
              ElementsAre("QueryDosDeviceA(A:, 100)", "QueryDosDeviceA(A:, 100)"));
}

TEST(PartitionTable, AVolumeWithoutALetterKeepsItsPathAndItsMountPointsStayUnread) {
  PreparedVolumes host;
  host.volumes = {SmallVolume(R"(\\?\a\)")};
  host.volumes[0].path = R"(C:\data\)";
  host.volumes[0].folders = {R"(inner\)"};
  const std::vector<CSystemPartition> partitions = Partitions("Disk 0");
  ASSERT_EQ(partitions.size(), 1U);
  EXPECT_EQ(partitions[0].m_DriveRoot, "");
  EXPECT_EQ(partitions[0].m_MountPath, R"(C:\data\)");
  EXPECT_THAT(host.TakeCallsOf("FindFirstVolumeMountPointA"), IsEmpty());
}

TEST(PartitionTable, AVolumeWithoutAPathAndLetterHasBothEmpty) {
  PreparedVolumes host;
  host.volumes = {SmallVolume(R"(\\?\a\)")};
  const std::vector<CSystemPartition> partitions = Partitions("Disk 0");
  ASSERT_EQ(partitions.size(), 1U);
  EXPECT_EQ(partitions[0].m_DriveRoot, "");
  EXPECT_EQ(partitions[0].m_MountPath, "");
}

// Two volumes: C: with mount points, and one without a letter.
void PrepareMountPoint(PreparedVolumes& host) {
  host.volumes = {SmallVolume(R"(\\?\c\)"), SmallVolume(R"(\\?\d\)")};
  host.volumes[0].devicePath = "first";
  host.volumes[0].path = R"(C:\)";
  host.volumes[0].folders = {R"(lost\)", R"(data\)"};
  host.volumes[1].devicePath = "second";
  host.letters = {{"C:", "first"}};
  host.mountedAt = {{R"(C:\data\)", R"(\\?\d\)"}};
}

TEST(PartitionTable, AFolderOnAnotherVolumeIsAMountPath) {
  PreparedVolumes host;
  PrepareMountPoint(host);
  const std::vector<CSystemPartition> partitions = Partitions("Disk 0");
  ASSERT_EQ(partitions.size(), 2U);
  EXPECT_EQ(partitions[1].m_MountPath, R"(C:\data\)");
}

TEST(PartitionTable, AFolderWhoseVolumeIsNotGivenIsPassedOver) {
  PreparedVolumes host;
  PrepareMountPoint(host);
  Partitions("Disk 0");
  EXPECT_THAT(host.TakeCallsOf("GetVolumeNameForVolumeMountPointA"),
              ElementsAre(R"(GetVolumeNameForVolumeMountPointA(C:\lost\, 100))",
                          R"(GetVolumeNameForVolumeMountPointA(C:\data\, 100))"));
}

TEST(PartitionTable, TheFirstEntryOfTheMountListWinsEvenBeforeAPathOfItsOwn) {
  PreparedVolumes host;
  PrepareMountPoint(host);
  host.volumes[1].path = R"(X:\own\)";
  const std::vector<CSystemPartition> partitions = Partitions("Disk 0");
  ASSERT_EQ(partitions.size(), 2U);
  EXPECT_EQ(partitions[1].m_MountPath, R"(C:\data\)");
}

TEST(PartitionTable, ThePathOfItsOwnWinsOverAnEntryOfALaterVolume) {
  PreparedVolumes host;
  PrepareMountPoint(host);
  host.volumes[1].path = R"(X:\own\)";
  std::swap(host.volumes[0], host.volumes[1]);
  const std::vector<CSystemPartition> partitions = Partitions("Disk 0");
  ASSERT_EQ(partitions.size(), 2U);
  EXPECT_EQ(partitions[0].m_MountPath, R"(X:\own\)");
}

TEST(PartitionTable, VolumeNamesOfTheMountListAreComparedByteForByte) {
  PreparedVolumes host;
  PrepareMountPoint(host);
  host.mountedAt[R"(C:\data\)"] = R"(\\?\D\)";
  const std::vector<CSystemPartition> partitions = Partitions("Disk 0");
  ASSERT_EQ(partitions.size(), 2U);
  EXPECT_EQ(partitions[1].m_MountPath, "");
}

TEST(PartitionTable, MountPointsOnVolumesOfOtherDisksAreNotSeen) {
  PreparedVolumes host;
  PrepareMountPoint(host);
  host.volumes[0].extents[0].disk = 1;
  const std::vector<CSystemPartition> partitions = Partitions("Disk 0");
  ASSERT_EQ(partitions.size(), 1U);
  EXPECT_EQ(partitions[0].m_MountPath, "");
}

TEST(PartitionTable, AVolumeThatIsNotFixedGivesNoRecordButItsMountPointsCount) {
  for (const ULong driveType : {DRIVE_UNKNOWN, DRIVE_NO_ROOT_DIR, DRIVE_REMOVABLE, DRIVE_CDROM}) {
    SCOPED_TRACE(driveType);
    PreparedVolumes host;
    PrepareMountPoint(host);
    host.volumes[0].driveType = driveType;
    const std::vector<CSystemPartition> partitions = Partitions("Disk 0");
    ASSERT_EQ(partitions.size(), 1U);
    EXPECT_EQ(partitions[0].m_VolumeName, R"(\\?\d\)");
    EXPECT_EQ(partitions[0].m_MountPath, R"(C:\data\)");
  }
}

TEST(PartitionTable, TheFirstPathOfAVolumeThatIsNotFixedIsAskedForAllTheSame) {
  PreparedVolumes host;
  host.volumes = {SmallVolume(R"(\\?\a\)")};
  host.volumes[0].driveType = DRIVE_CDROM;
  EXPECT_THAT(Partitions("Disk 0"), IsEmpty());
  EXPECT_THAT(host.TakeCallsOf("GetVolumePathNamesForVolumeNameW"),
              ElementsAre(R"(GetVolumePathNamesForVolumeNameW(\\?\a\, 1301))"));
}

TEST(PartitionTable, TheLabelIsReadBeforeTheKindOfDriveAndOnlyFixedDrivesAreAskedForTheirLetter) {
  PreparedVolumes host;
  host.volumes = {SmallVolume(R"(\\?\a\)")};
  host.volumes[0].driveType = DRIVE_REMOVABLE;
  Partitions("Disk 0");
  const std::vector<std::string> calls = host.TakeCalls();
  ASSERT_GE(calls.size(), 4U);
  EXPECT_THAT(std::vector(calls.end() - 4, calls.end()),
              ElementsAre(R"(MultiByteToWideChar(0, 0, \\?\a\, -1, 7))",
                          R"(GetVolumeInformationW(\\?\a\, 64, null, null, null, 64))",
                          R"(GetDriveTypeA(\\?\a\))", "SetErrorMode(0x8000)"));
}

TEST(PartitionTable, ALabelThatIsNotGivenStaysEmptyAndTheRecordGoesOn) {
  PreparedVolumes host;
  host.volumes = {SmallVolume(R"(\\?\a\)")};
  host.volumes[0].label = std::nullopt;
  const std::vector<CSystemPartition> partitions = Partitions("Disk 0");
  ASSERT_EQ(partitions.size(), 1U);
  EXPECT_EQ(partitions[0].m_VolumeLabel, "");
}

TEST(PartitionTable, ANameThatCannotBeWidenedCostsTheLabelOnly) {
  PreparedVolumes host;
  host.volumes = {SmallVolume(R"(\\?\a\)")};
  host.volumes[0].label = L"Data";
  host.isWideningRefused = true;
  const std::vector<CSystemPartition> partitions = Partitions("Disk 0");
  ASSERT_EQ(partitions.size(), 1U);
  EXPECT_EQ(partitions[0].m_VolumeLabel, "");
}

TEST(PartitionTable, ALabelWithoutItsEndIsHeldToItsRoom) {
  PreparedVolumes host;
  host.volumes = {SmallVolume(R"(\\?\a\)")};
  host.volumes[0].label = std::wstring(63, L'x');
  const std::vector<CSystemPartition> partitions = Partitions("Disk 0");
  ASSERT_EQ(partitions.size(), 1U);
  EXPECT_EQ(partitions[0].m_VolumeLabel, std::string(63, 'x'));
}

// The mount path of one volume whose host answers its path list so.
std::string MountPath(PreparedVolumes& host, std::deque<Testing::PathsAnswer> answers) {
  host.volumes = {SmallVolume(R"(\\?\a\)")};
  host.pathsAnswers = std::move(answers);
  const std::vector<CSystemPartition> partitions = Partitions("Disk 0");
  return partitions.empty() ? "no record" : partitions[0].m_MountPath;
}

TEST(FirstVolumePath, TheFirstOfSeveralPathsCounts) {
  PreparedVolumes host;
  EXPECT_EQ(MountPath(host, {{.list = std::wstring(L"C:\\one\\\0D:\\\0", 11)}}), R"(C:\one\)");
}

TEST(FirstVolumePath, AListThatIsTooSmallIsTriedAgainWithTheLengthReportedAndNotReleased) {
  PreparedVolumes host;
  EXPECT_EQ(MountPath(host, {{.error = 234, .needed = 2000},
                             {.error = 234, .needed = 3000},
                             {.list = std::wstring(L"C:\\\0", 4)}}),
            R"(C:\)");
  const std::vector<std::string> calls = host.TakeCalls();
  const auto begin = std::ranges::find(calls, ListAllocation(1301));
  ASSERT_GE(calls.end() - begin, 9);
  EXPECT_THAT(std::vector(begin, begin + 9),
              ElementsAre(ListAllocation(1301), R"(GetVolumePathNamesForVolumeNameW(\\?\a\, 1301))",
                          "GetLastError()", ListAllocation(2000),
                          R"(GetVolumePathNamesForVolumeNameW(\\?\a\, 2000))", "GetLastError()",
                          ListAllocation(3000), R"(GetVolumePathNamesForVolumeNameW(\\?\a\, 3000))",
                          "Free(3)"));
}

TEST(FirstVolumePath, AnotherFailureMeansNoPathAndReleasesTheList) {
  PreparedVolumes host;
  EXPECT_EQ(MountPath(host, {{.error = 5, .needed = 2000}}), "");
  EXPECT_THAT(host.TakeCallsOf("Free"), ElementsAre("Free(1)"));
}

TEST(FirstVolumePath, AListThatBeginsWithItsEndMeansNoPath) {
  PreparedVolumes host;
  EXPECT_EQ(MountPath(host, {{.list = std::wstring(L"\0C:\\\0", 5)}}), "");
}

TEST(FirstVolumePath, AListOfNoLengthMeansNoPath) {
  PreparedVolumes host;
  EXPECT_EQ(MountPath(host, {{.error = 234, .needed = 0}, {.list = L"C:\\"}}), "");
}

TEST(FirstVolumePath, TheNameIsWidenedByteByByteWithItsSign) {
  PreparedVolumes host;
  host.volumes = {SmallVolume("\\\\?\\\xE4\x7F\x80\\")};
  Partitions("Disk 0");
  const std::string signedBytes =
      sizeof(wchar_t) == 2 ? "<0xFFE4><0x7F><0xFF80>" : "<0xFFFFFFE4><0x7F><0xFFFFFF80>";
  EXPECT_THAT(
      host.TakeCallsOf("GetVolumePathNamesForVolumeNameW"),
      ElementsAre(R"(GetVolumePathNamesForVolumeNameW(\\?\)" + signedBytes + R"(\, 1301))"));
}

TEST(FirstVolumePath, EachWideCharacterIsCutDownToItsLowByte) {
  PreparedVolumes host;
  EXPECT_EQ(MountPath(host, {{.list = std::wstring(L"/\x0141\x0462\x2063\0", 5)}}), "/Abc");
}

TEST(FirstVolumePath, BytesThatAreValidUtf8GoThroughUnchanged) {
  PreparedVolumes host;
  EXPECT_EQ(MountPath(host, {{.list = std::wstring(L"/gr\x00C3\x00BCn\0", 7)}}), "/gr\xC3\xBCn");
}

TEST(FirstVolumePath, AShortHeapLeavesTheFunctionAndTheErrorModeIsRestored) {
  PreparedVolumes host;
  host.volumes = {SmallVolume(R"(\\?\a\)")};
  host.isMemoryShort = true;
  EXPECT_THROW(Partitions("Disk 0"), std::bad_alloc);
  EXPECT_EQ(host.errorMode, 0x8000U);
}

TEST(PartitionTable, CopiesAndMovesKeepTheDevice) {
  PreparedVolumes host;
  host.volumes = {SmallVolume(R"(\\?\a\)"), SmallVolume(R"(\\?\b\)")};
  host.volumes[1].extents[0].disk = 1;
  const CSystemPartitionTable first("Disk 0");
  const CSystemPartitionTable second("Disk 1");

  CSystemPartitionTable copied(second);
  CSystemPartitionTable assigned("no disk");
  assigned = copied;
  CSystemPartitionTable moved(std::move(copied));
  CSystemPartitionTable moveAssigned("no disk");
  moveAssigned = CSystemPartitionTable(first);

  std::vector<CSystemPartition> partitions;
  assigned.GetPartitions(partitions);
  EXPECT_THAT(Names(partitions), ElementsAre(R"(\\?\b\)"));
  moved.GetPartitions(partitions);
  EXPECT_THAT(Names(partitions), ElementsAre(R"(\\?\b\)"));
  moveAssigned.GetPartitions(partitions);
  EXPECT_THAT(Names(partitions), ElementsAre(R"(\\?\a\)"));
}

struct FieldRow {
  const char* name;
  void (*change)(CSystemPartition&);
};

class PartitionField : public testing::TestWithParam<FieldRow> {};
TEST_P(PartitionField, IsComparedAndCopied) {
  const CSystemPartition plain;
  CSystemPartition changed;
  GetParam().change(changed);
  EXPECT_FALSE(plain == changed);
  EXPECT_FALSE(changed == plain);
  const CSystemPartition copied(changed);
  EXPECT_TRUE(copied == changed);
  CSystemPartition assigned;
  assigned = changed;
  EXPECT_TRUE(assigned == changed);
}
INSTANTIATE_TEST_SUITE_P(
    PartitionTable, PartitionField,
    testing::Values(
        FieldRow{"Info1", [](CSystemPartition& record) { record.m_Info1 = "x"; }},
        FieldRow{"StartSector",
                 [](CSystemPartition& record) { record.m_StartSector = 1ULL << 63; }},
        FieldRow{"SectorCount",
                 [](CSystemPartition& record) { record.m_SectorCount = 1ULL << 63; }},
        FieldRow{"Info2", [](CSystemPartition& record) { record.m_Info2 = "x"; }},
        FieldRow{"Info3", [](CSystemPartition& record) { record.m_Info3 = "x"; }},
        FieldRow{"Kind", [](CSystemPartition& record) { record.m_Kind = 0; }},
        FieldRow{"DriveRoot", [](CSystemPartition& record) { record.m_DriveRoot = "x"; }},
        FieldRow{"MountPath", [](CSystemPartition& record) { record.m_MountPath = "x"; }},
        FieldRow{"VolumeLabel", [](CSystemPartition& record) { record.m_VolumeLabel = "x"; }},
        FieldRow{"VolumeName", [](CSystemPartition& record) { record.m_VolumeName = "x"; }}),
    [](const auto& row) { return row.param.name; });

TEST(Partition, LabelsThatDifferInCaseAreNotEqual) {
  CSystemPartition upper;
  upper.m_VolumeLabel = "DATA";
  CSystemPartition lower;
  lower.m_VolumeLabel = "data";
  EXPECT_FALSE(upper == lower);
}

TEST(Partition, TextsAreComparedBeyondAZeroByte) {
  CSystemPartition longer;
  longer.m_VolumeLabel = std::string("a\0b", 3);
  CSystemPartition shorter;
  shorter.m_VolumeLabel = "a";
  EXPECT_FALSE(longer == shorter);
}

TEST(Partition, ANewRecordIsEmptyButForItsKind) {
  const CSystemPartition record;
  EXPECT_EQ(record.m_StartSector, 0U);
  EXPECT_EQ(record.m_SectorCount, 0U);
  EXPECT_EQ(record.m_Kind, 1U);
  EXPECT_EQ(record.m_Info1 + record.m_Info2 + record.m_Info3 + record.m_DriveRoot +
                record.m_MountPath + record.m_VolumeLabel + record.m_VolumeName,
            "");
}

TEST(Partition, Utf8IsKeptAsItIs) {
  std::string output = "earlier";
  CSystemPartition::ConvertToUTF8("/gr\xC3\xBCn", output);
  EXPECT_EQ(output, "/gr\xC3\xBCn");
}

TEST(Partition, WhatIsNoUtf8IsConverted) {
  std::string output;
  CSystemPartition::ConvertToUTF8("/gr\xFCn", output);
  EXPECT_TRUE(output.starts_with("/gr"));
  EXPECT_NE(output, "/gr\xFCn");
}

TEST(Partition, OneObjectMayBeInputAndOutput) {
  std::string ascii = "/data";
  CSystemPartition::ConvertToUTF8(ascii, ascii);
  EXPECT_EQ(ascii, "/data");

  std::string narrow = "/gr\xFCn";
  std::string converted;
  CSystemPartition::ConvertToUTF8(narrow, converted);
  CSystemPartition::ConvertToUTF8(narrow, narrow);
  EXPECT_EQ(narrow, converted);
}

}  // namespace

}  // namespace Ondrel
