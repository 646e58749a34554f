#include "Host/VolumeOperations.h"
#include "Host/Win32/StorageDescription.h"
#include "Support/PreparedOperations.h"

#include <Ondrel/PartitionTable.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <set>
#include <string>
#include <vector>

// The operations as Windows answers them, but for one: every volume says that it lies on disk 7,
// which not every host does. Letters, labels and paths are the host's. Where the host does not know
// the type of a drive by the volume's name, it is asked by the volume's first path.

namespace Ondrel::Host {

namespace {

constexpr std::uint64_t kOffset = 1048576;
constexpr std::uint64_t kLength = 4194304;

ULong DriveTypeOf(const char* name) {
  const ULong type = ::GetDriveTypeA(name);
  if (type != DRIVE_UNKNOWN) return type;
  std::array<char, 1301> paths{};
  DWORD size = 0;
  return ::GetVolumePathNamesForVolumeNameA(name, paths.data(), static_cast<DWORD>(paths.size()),
                                            &size)
             ? ::GetDriveTypeA(paths.data())
             : type;
}

VolumeOperations OperationsOnDisk7() {
  VolumeOperations operations = MakeVolumeOperations();
  operations.GetDriveTypeA = DriveTypeOf;
  operations.DeviceIoControl = [](void*, ULong code, void*, ULong, void* output, ULong size,
                                  ULong* returned, void*) {
    VOLUME_DISK_EXTENTS answer{};
    if (code != IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS || size < sizeof answer) return 0;
    answer.NumberOfDiskExtents = 1;
    answer.Extents[0].DiskNumber = 7;
    answer.Extents[0].StartingOffset.QuadPart = kOffset;
    answer.Extents[0].ExtentLength.QuadPart = kLength;
    std::memcpy(output, &answer, sizeof answer);
    *returned = sizeof answer;
    return 1;
  };
  return operations;
}

std::string Utf8(const std::wstring& text) {
  std::string converted(text.size() * 4, '\0');
  const int size =
      ::WideCharToMultiByte(CP_UTF8, 0, text.c_str(), static_cast<int>(text.size()),
                            converted.data(), static_cast<int>(converted.size()), nullptr, nullptr);
  converted.resize(static_cast<std::size_t>(size));
  return converted;
}

std::wstring LabelOf(const std::string& root) {
  std::array<wchar_t, MAX_PATH + 1> label{};
  const std::wstring wide(root.begin(), root.end());
  ::GetVolumeInformationW(wide.c_str(), label.data(), static_cast<DWORD>(label.size()), nullptr,
                          nullptr, nullptr, nullptr, 0);
  return label.data();
}

// What the host says of the fixed drives with a letter, by the letter's root.
std::set<std::string> FixedRoots() {
  std::set<std::string> roots;
  for (char letter = 'A'; letter <= 'Z'; ++letter) {
    const std::string root{letter, ':', '\\'};
    std::array<char, 100> name{};
    if (::GetDriveTypeA(root.c_str()) == DRIVE_FIXED &&
        ::GetVolumeNameForVolumeMountPointA(root.c_str(), name.data(),
                                            static_cast<DWORD>(name.size())))
      roots.insert(root);
  }
  return roots;
}

class VolumesOfTheHost : public testing::Test {
protected:
  static std::vector<CSystemPartition> Partitions() {
    std::vector<CSystemPartition> partitions;
    CSystemPartitionTable("Disk 7").GetPartitions(partitions);
    return partitions;
  }

private:
  Testing::PreparedOperations<VolumeOperations> m_prepared{Volume(), OperationsOnDisk7()};
};

TEST_F(VolumesOfTheHost, EveryFixedDriveHasItsLetterNameLabelAndPath) {
  const std::vector<CSystemPartition> partitions = Partitions();
  const std::set<std::string> roots = FixedRoots();
  ASSERT_TRUE(roots.contains("C:\\"));
  for (const std::string& root : roots) {
    SCOPED_TRACE(root);
    std::array<char, 100> name{};
    ASSERT_TRUE(::GetVolumeNameForVolumeMountPointA(root.c_str(), name.data(), 100));
    const auto found =
        std::ranges::find(partitions, std::string(name.data()), &CSystemPartition::m_VolumeName);
    ASSERT_NE(found, partitions.end());
    // Of several letters of one volume the first counts.
    EXPECT_TRUE(roots.contains(found->m_DriveRoot)) << found->m_DriveRoot;
    EXPECT_LE(found->m_DriveRoot, root);
    EXPECT_EQ(found->m_VolumeLabel, Utf8(LabelOf(root)));
    EXPECT_TRUE(roots.contains(found->m_MountPath)) << found->m_MountPath;
    EXPECT_EQ(found->m_StartSector, kOffset / 512);
    EXPECT_EQ(found->m_SectorCount, kLength / 512);
  }
}

TEST_F(VolumesOfTheHost, OtherDisksHaveNone) {
  std::vector<CSystemPartition> partitions(1);
  CSystemPartitionTable("Disk 6").GetPartitions(partitions);
  EXPECT_TRUE(partitions.empty());
}

TEST_F(VolumesOfTheHost, ADescriptionHasThemWithAllTheirPaths) {
  const StorageDescription storage = DescribeStorage();
  const std::vector<CSystemPartition> partitions = Partitions();
  ASSERT_FALSE(partitions.empty());
  for (const CSystemPartition& partition : partitions) {
    SCOPED_TRACE(partition.m_VolumeName);
    const auto found =
        std::ranges::find(storage.volumes, partition.m_VolumeName, &VolumeDescription::name);
    ASSERT_NE(found, storage.volumes.end());
    ASSERT_EQ(found->extents.size(), 1U);
    EXPECT_EQ(found->extents[0].disk, 7U);
    EXPECT_EQ(found->extents[0].startSector, kOffset / 512);
    EXPECT_EQ(found->label, partition.m_VolumeLabel);
    EXPECT_FALSE(found->deviceName.empty());
    EXPECT_TRUE(std::ranges::find(found->mountPaths, partition.m_MountPath) !=
                found->mountPaths.end());
  }
}

TEST(StorageOfTheHost, AVolumeThatDoesNotSayWhereItLiesIsUnseenWithTheReason) {
  VolumeOperations operations = MakeVolumeOperations();
  operations.DeviceIoControl = [](void*, ULong, void*, ULong, void*, ULong, ULong*, void*) {
    ::SetLastError(ERROR_ACCESS_DENIED);
    return 0;
  };
  const StorageDescription storage = DescribeStorage(operations);
  EXPECT_TRUE(storage.volumes.empty());
  ASSERT_FALSE(storage.unseen.empty());
  for (const UnseenVolume& unseen : storage.unseen) {
    EXPECT_TRUE(unseen.deviceName.starts_with(R"(\\?\)")) << unseen.deviceName;
    EXPECT_EQ(unseen.error, static_cast<ULong>(ERROR_ACCESS_DENIED));
    EXPECT_TRUE(unseen.disks.empty());
  }
}

TEST(StorageOfTheHost, MoreExtentsThanTheFirstAnswerHoldsAreAskedForAgain) {
  static constexpr DWORD kCount = 50;
  VolumeOperations operations = MakeVolumeOperations();
  operations.DeviceIoControl = [](void*, ULong, void*, ULong, void* output, ULong size,
                                  ULong* returned, void*) {
    const std::size_t needed =
        offsetof(VOLUME_DISK_EXTENTS, Extents) + kCount * sizeof(DISK_EXTENT);
    if (size < needed) {
      ::SetLastError(ERROR_MORE_DATA);
      return 0;
    }
    std::memset(output, 0, needed);
    std::memcpy(output, &kCount, sizeof kCount);
    *returned = static_cast<ULong>(needed);
    return 1;
  };
  const StorageDescription storage = DescribeStorage(operations);
  ASSERT_FALSE(storage.volumes.empty());
  EXPECT_EQ(storage.volumes.front().extents.size(), kCount);
}

TEST(StorageOfTheHost, DisksAreThoseOfTheList) {
  const std::vector<Disk> disks = Disks();
  const StorageDescription storage = DescribeStorage();
  ASSERT_EQ(storage.disks.size(), disks.size());
  for (std::size_t index = 0; index < disks.size(); ++index) {
    EXPECT_EQ(storage.disks[index].disk.deviceName, disks[index].deviceName);
    EXPECT_FALSE(storage.disks[index].kind.empty());
  }
}

}  // namespace

}  // namespace Ondrel::Host
