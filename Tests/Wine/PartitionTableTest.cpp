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

// The extents that the host names of its fixed drives, letter by letter.
std::vector<DISK_EXTENT> ExtentsOfFixedDrives() {
  std::vector<DISK_EXTENT> extents;
  for (char letter = 'A'; letter <= 'Z'; ++letter) {
    const std::string drive = {letter, ':'};
    if (GetDriveTypeA((drive + '\\').c_str()) != DRIVE_FIXED) continue;
    const std::vector<DISK_EXTENT> found = ExtentsOf(R"(\\.\)" + drive);
    extents.insert(extents.end(), found.begin(), found.end());
  }
  return extents;
}

std::vector<CSystemPartition> PartitionsOf(DWORD disk) {
  std::vector<CSystemPartition> partitions;
  Ondrel::CSystemPartitionTable("Disk " + std::to_string(disk)).GetPartitions(partitions);
  return partitions;
}

TEST(PartitionsOfTheHost, AVolumeThatGivesNoExtentsIsOnNoList) {
  // Wine answers the question with success and a count of 0; what comes of extents is tested with
  // prepared ones.
  ASSERT_EQ(GetDriveTypeA("C:\\"), static_cast<UINT>(DRIVE_FIXED));
  ASSERT_TRUE(ExtentsOfFixedDrives().empty());
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
