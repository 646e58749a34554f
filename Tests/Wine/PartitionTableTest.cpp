// The volumes of a Windows host as Wine plays it, held against what the host reports to this
// program.

#include <Ondrel/Disks.h>
#include <Ondrel/PartitionTable.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>
#include <windows.h>
#include <winioctl.h>

namespace {

using Ondrel::CSystemPartition;

// One extent of a volume with a letter.
struct Expected {
  std::string root;
  std::string volumeName;
  std::string label;
  DISK_EXTENT extent;
};

std::string Utf8(const wchar_t* text) {
  const int size = WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
  std::string converted(static_cast<std::size_t>(size), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text, -1, converted.data(), size, nullptr, nullptr);
  converted.pop_back();
  return converted;
}

std::vector<DISK_EXTENT> ExtentsOf(const std::string& device) {
  const HANDLE volume =
      CreateFileA(device.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                  OPEN_EXISTING, 0, nullptr);
  if (volume == INVALID_HANDLE_VALUE) return {};
  alignas(VOLUME_DISK_EXTENTS) char answer[4096] = {};
  DWORD returned = 0;
  const BOOL isNamed = DeviceIoControl(volume, IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS, nullptr, 0,
                                       answer, sizeof answer, &returned, nullptr);
  CloseHandle(volume);
  if (!isNamed) return {};
  const auto* const extents = reinterpret_cast<const VOLUME_DISK_EXTENTS*>(answer);
  return {extents->Extents, extents->Extents + extents->NumberOfDiskExtents};
}

// What the host says of its fixed drives, letter by letter.
std::vector<Expected> FixedDrives() {
  std::vector<Expected> drives;
  for (char letter = 'A'; letter <= 'Z'; ++letter) {
    const std::string root = {letter, ':', '\\'};
    char name[100] = {};
    if (GetDriveTypeA(root.c_str()) != DRIVE_FIXED) continue;
    if (!GetVolumeNameForVolumeMountPointA(root.c_str(), name, sizeof name)) continue;
    wchar_t label[64] = {};
    const std::wstring wideRoot(root.begin(), root.end());
    const BOOL isNamed =
        GetVolumeInformationW(wideRoot.c_str(), label, 64, nullptr, nullptr, nullptr, nullptr, 0);
    for (const DISK_EXTENT& extent : ExtentsOf(R"(\\.\)" + root.substr(0, 2)))
      drives.push_back({root, name, isNamed ? Utf8(label) : "", extent});
  }
  return drives;
}

std::vector<CSystemPartition> PartitionsOf(DWORD disk) {
  std::vector<CSystemPartition> partitions;
  Ondrel::CSystemPartitionTable("Disk " + std::to_string(disk)).GetPartitions(partitions);
  return partitions;
}

TEST(PartitionsOfTheHost, EveryFixedDriveWithALetterIsOnTheListOfItsDisk) {
  const std::vector<Expected> drives = FixedDrives();
  for (const Expected& drive : drives) {
    SCOPED_TRACE(drive.root);
    const std::vector<CSystemPartition> partitions = PartitionsOf(drive.extent.DiskNumber);
    const auto found = std::ranges::find(partitions, drive.root, &CSystemPartition::m_DriveRoot);
    ASSERT_NE(found, partitions.end());
    EXPECT_EQ(found->m_VolumeName, drive.volumeName);
    EXPECT_EQ(found->m_VolumeLabel, drive.label);
    EXPECT_EQ(found->m_MountPath, drive.root);
    EXPECT_EQ(found->m_StartSector,
              static_cast<std::uint64_t>(drive.extent.StartingOffset.QuadPart) / 512);
    EXPECT_EQ(found->m_SectorCount,
              static_cast<std::uint64_t>(drive.extent.ExtentLength.QuadPart) / 512);
  }
}

TEST(PartitionsOfTheHost, AVolumeThatGivesNoExtentsIsOnNoList) {
  // Wine answers the question with success and a count of 0.
  ASSERT_TRUE(FixedDrives().empty());
  EXPECT_NE(GetLogicalDrives(), 0u);
  EXPECT_TRUE(PartitionsOf(0).empty());
}

TEST(PartitionsOfTheHost, TheDevicePathOfALetterIsThatOfItsVolume) {
  char name[100] = {};
  ASSERT_TRUE(GetVolumeNameForVolumeMountPointA("C:\\", name, sizeof name));
  std::string device = std::string(name).substr(4);
  device.pop_back();
  char ofLetter[100] = {};
  char ofVolume[100] = {};
  ASSERT_NE(QueryDosDeviceA("C:", ofLetter, sizeof ofLetter), 0u);
  ASSERT_NE(QueryDosDeviceA(device.c_str(), ofVolume, sizeof ofVolume), 0u);
  EXPECT_STRCASEEQ(ofLetter, ofVolume);
}

TEST(PartitionsOfTheHost, AnUnknownDiskHasNone) { EXPECT_TRUE(PartitionsOf(4000000000).empty()); }

TEST(PartitionsOfTheHost, TheErrorModeIsAsItWas) {
  const UINT formerMode = SetErrorMode(SEM_NOGPFAULTERRORBOX);
  PartitionsOf(0);
  EXPECT_EQ(SetErrorMode(formerMode), static_cast<UINT>(SEM_NOGPFAULTERRORBOX));
}

TEST(DisksOfTheHost, HaveTheNumberOfTheirName) {
  EXPECT_FALSE(Ondrel::Host::Disks().empty());
  for (const Ondrel::Host::Disk& disk : Ondrel::Host::Disks())
    EXPECT_EQ(disk.deviceName, R"(\\.\PhysicalDrive)" + std::to_string(disk.number));
}

TEST(Partitions, NarrowTextOfTheHostsCodePageBecomesUtf8) {
  const std::string narrow = "/gr\xFC\xDF";
  wchar_t wide[16] = {};
  MultiByteToWideChar(CP_ACP, 0, narrow.c_str(), -1, wide, 16);
  std::string converted;
  CSystemPartition::ConvertToUTF8(narrow, converted);
  EXPECT_EQ(converted, Utf8(wide));
}

}  // namespace
