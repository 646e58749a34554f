#include "Host/MemoryOperations.h"
#include "Host/VolumeOperations.h"

#include <Ondrel/PartitionTable.h>
#include <Pirsk/Strings.h>

#include <boost/convert.hpp>
#include <boost/convert/stream.hpp>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <functional>
#include <memory>
#include <new>
#include <optional>
#include <string_view>
#include <utility>

// The walk over the host's volumes. What belongs to a volume is looked at in three rounds, as the
// host's answers need it: the volumes with an extent on the disk, then all mount paths known from
// them, then the records.

namespace Ondrel {

namespace {

constexpr std::string_view kDeviceNamePrefix = "Disk ";

// The size of every narrow answer, the size of a label's and a file system's name, and the room for
// the first answer with mount paths: five paths of 260 characters and the list's end.
constexpr ULong kNameSize = 100;
constexpr ULong kLabelSize = 64;
constexpr ULong kPathListSize = 1301;

constexpr std::size_t kExtentAnswerSize = 512;
constexpr unsigned kSectorShift = 9;  // 512 bytes, also on disks with larger sectors.

constexpr char kNoLetter = '*';

struct Extent {
  std::uint64_t startSector;
  std::uint64_t sectorCount;
};

struct VolumeExtents {
  std::string name;
  std::vector<Extent> extents;
};

struct MountEntry {
  std::string path;
  std::string volumeName;
};

// Room for a narrow answer of the host, and a zero after it whatever the host writes.
class NameBuffer {
public:
  char* Data() { return m_text.data(); }
  std::string Text() const { return m_text.data(); }

private:
  std::array<char, kNameSize + 1> m_text{};
};

class ErrorModeScope {
public:
  ErrorModeScope() : m_formerMode(Host::Volume().SetErrorMode(SEM_FAILCRITICALERRORS)) {}
  ~ErrorModeScope() { Host::Volume().SetErrorMode(m_formerMode); }

  ErrorModeScope(const ErrorModeScope&) = delete;
  ErrorModeScope& operator=(const ErrorModeScope&) = delete;

private:
  ULong m_formerMode;
};

// A handle of the host, given back by the operation that belongs to it.
class ScopedHandle {
public:
  ScopedHandle(void* handle, const std::function<int(void*)>& giveBack)
      : m_handle(handle), m_giveBack(giveBack) {}
  ~ScopedHandle() {
    if (IsOpen()) m_giveBack(m_handle);
  }

  ScopedHandle(const ScopedHandle&) = delete;
  ScopedHandle& operator=(const ScopedHandle&) = delete;

  bool IsOpen() const { return m_handle != INVALID_HANDLE_VALUE; }
  void* Get() const { return m_handle; }

private:
  void* m_handle;
  const std::function<int(void*)>& m_giveBack;
};

std::string WithoutLastCharacter(const std::string& name) {
  return name.substr(0, name.size() - 1);
}

bool IsSameButForCase(const std::string& left, const std::string& right) {
  const auto lowered = [](char letter) {
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
  };
  return std::ranges::equal(left, right, {}, lowered, lowered);
}

// The disk's number from its name; nothing for a name of another form.
std::optional<std::uint32_t> DiskNumber(const std::string& deviceName) {
  if (!deviceName.starts_with(kDeviceNamePrefix)) return std::nullopt;
  try {
    return boost::convert<std::uint32_t>(deviceName.substr(kDeviceNamePrefix.size()),
                                         boost::cnv::cstream())
        .value();
  } catch (...) {  // Whatever it is: a name that is not a disk's is not an error.
    return std::nullopt;
  }
}

std::vector<Extent> ExtentsOfAnswer(const std::byte* answer, std::size_t size,
                                    std::uint32_t diskNumber) {
  VOLUME_DISK_EXTENTS head;
  std::memcpy(&head, answer, sizeof head);
  // A count beyond what was answered is held to it.
  const std::size_t room =
      (std::min(size, kExtentAnswerSize) - offsetof(VOLUME_DISK_EXTENTS, Extents)) /
      sizeof(DISK_EXTENT);
  const std::size_t count = std::min<std::size_t>(head.NumberOfDiskExtents, room);

  std::vector<Extent> extents;
  for (std::size_t index = 0; index < count; ++index) {
    DISK_EXTENT extent;
    std::memcpy(&extent,
                answer + offsetof(VOLUME_DISK_EXTENTS, Extents) + index * sizeof(DISK_EXTENT),
                sizeof extent);
    if (extent.DiskNumber != diskNumber) continue;
    extents.push_back({
        .startSector = static_cast<std::uint64_t>(extent.StartingOffset.QuadPart) >> kSectorShift,
        .sectorCount = static_cast<std::uint64_t>(extent.ExtentLength.QuadPart) >> kSectorShift,
    });
  }
  return extents;
}

// The volume's extents on the disk. Whatever fails, the volume has none; so one with more extents
// than the answer has room for is left out as a whole.
std::vector<Extent> ExtentsOnDisk(const std::string& volumeName, std::uint32_t diskNumber) {
  const Host::VolumeOperations& host = Host::Volume();
  const ScopedHandle volume(host.CreateFileA(WithoutLastCharacter(volumeName).c_str(), GENERIC_READ,
                                             FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                             OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr),
                            host.CloseHandle);
  if (!volume.IsOpen()) return {};

  alignas(VOLUME_DISK_EXTENTS) std::array<std::byte, kExtentAnswerSize> answer{};
  ULong size = 0;
  if (!host.DeviceIoControl(volume.Get(), IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS, nullptr, 0,
                            answer.data(), static_cast<ULong>(answer.size()), &size, nullptr))
    return {};
  if (size < sizeof(VOLUME_DISK_EXTENTS)) return {};
  return ExtentsOfAnswer(answer.data(), size, diskNumber);
}

void AddVolume(const std::string& name, std::uint32_t diskNumber,
               std::vector<VolumeExtents>& volumes) {
  if (name.empty()) return;
  std::vector<Extent> extents = ExtentsOnDisk(name, diskNumber);
  if (!extents.empty()) volumes.push_back({name, std::move(extents)});
}

// The volumes with an extent on the disk, in the host's order.
std::vector<VolumeExtents> VolumesOnDisk(std::uint32_t diskNumber) {
  const Host::VolumeOperations& host = Host::Volume();
  std::vector<VolumeExtents> volumes;
  NameBuffer name;
  const ScopedHandle walk(host.FindFirstVolumeA(name.Data(), kNameSize), host.FindVolumeClose);
  if (!walk.IsOpen()) return volumes;
  do {
    AddVolume(name.Text(), diskNumber, volumes);
  } while (host.FindNextVolumeA(walk.Get(), name.Data(), kNameSize));
  return volumes;
}

// The device path of a name; only the first text of the answer counts.
std::optional<std::string> DevicePath(const std::string& name) {
  NameBuffer path;
  if (Host::Volume().QueryDosDeviceA(name.c_str(), path.Data(), kNameSize) == 0)
    return std::nullopt;
  return path.Text();
}

// The letter of the drive that a volume path without its closing backslash stands for.
char GetDriveLetter(const std::string& volumePath) {
  std::string target = volumePath;
  if (volumePath.starts_with(Host::kVolumeNamePrefix))
    target = DevicePath(volumePath.substr(Host::kVolumeNamePrefix.size())).value_or(volumePath);

  for (char letter = 'A'; letter <= 'Z'; ++letter) {
    const std::optional<std::string> path = DevicePath(std::string{letter, ':'});
    if (path && IsSameButForCase(*path, target)) return letter;
  }
  return kNoLetter;
}

// The sign extension is intentional: it is how names are widened here.
std::wstring SignExtended(const std::string& text) {
  std::wstring wide;
  for (const char byte : text) wide += static_cast<wchar_t>(static_cast<signed char>(byte));
  return wide;
}

struct FreePathList {
  void operator()(wchar_t* list) const { Host::Memory().Free(list); }
};
using PathList = std::unique_ptr<wchar_t, FreePathList>;

PathList AllocatePathList(ULong size) {
  PathList list(static_cast<wchar_t*>(Host::Memory().Allocate(size * sizeof(wchar_t))));
  if (list == nullptr) throw std::bad_alloc();
  return list;
}

// The first text of a list that fills at most `size` characters, each cut down to its low byte.
std::string FirstTextAsBytes(const wchar_t* list, ULong size) {
  std::string text;
  for (ULong index = 0; index < size && list[index] != 0; ++index)
    text += static_cast<char>(list[index] & 0xFF);  // Intentionally not a conversion of code pages.
  return text;
}

// The first path at which the volume is mounted; nothing when it has none.
std::optional<std::string> GetFirstVolumePath(const std::string& volumeName) {
  const Host::VolumeOperations& host = Host::Volume();
  const std::wstring wideName = SignExtended(volumeName);
  ULong size = kPathListSize;
  ULong returnedSize = 0;
  PathList paths = AllocatePathList(size);
  const auto ask = [&] {
    return host.GetVolumePathNamesForVolumeNameW(wideName.c_str(), paths.get(), size,
                                                 &returnedSize) != 0;
  };
  bool isAnswered = ask();
  while (!isAnswered && host.GetLastError() == ERROR_MORE_DATA) {
    // The list that was too small is not released: settled behaviour, and rare.
    static_cast<void>(paths.release());
    size = returnedSize;
    paths = AllocatePathList(size);
    isAnswered = ask();
  }
  if (!isAnswered) return std::nullopt;
  std::string path = FirstTextAsBytes(paths.get(), size);
  if (path.empty()) return std::nullopt;
  return path;
}

// "C:\" and what lies below it.
std::string PathOnDrive(char letter, const std::string& folder) {
  return std::string{letter, ':', '\\'} + folder;
}

// The volumes that are mounted in folders of this one.
void AddMountPoints(const std::string& volumeName, char letter, std::vector<MountEntry>& mounts) {
  const Host::VolumeOperations& host = Host::Volume();
  NameBuffer folder;
  const ScopedHandle walk(
      host.FindFirstVolumeMountPointA(volumeName.c_str(), folder.Data(), kNameSize),
      host.FindVolumeMountPointClose);
  if (!walk.IsOpen()) return;
  do {
    const std::string path = PathOnDrive(letter, folder.Text());
    NameBuffer mountedVolume;
    if (host.GetVolumeNameForVolumeMountPointA(path.c_str(), mountedVolume.Data(), kNameSize))
      mounts.push_back({path, mountedVolume.Text()});
  } while (host.FindNextVolumeMountPointA(walk.Get(), folder.Data(), kNameSize));
}

std::vector<MountEntry> MountsOf(const std::vector<VolumeExtents>& volumes) {
  std::vector<MountEntry> mounts;
  for (const VolumeExtents& volume : volumes) {
    const char letter = GetDriveLetter(WithoutLastCharacter(volume.name));
    if (const auto path = GetFirstVolumePath(volume.name)) mounts.push_back({*path, volume.name});
    if (letter != kNoLetter) AddMountPoints(volume.name, letter, mounts);
  }
  return mounts;
}

// The volume's label in UTF-8; empty when the host does not give it.
std::string VolumeLabel(const std::string& volumeName) {
  const Host::VolumeOperations& host = Host::Volume();
  std::wstring wideName(volumeName.size() + 1, L'\0');
  if (host.MultiByteToWideChar(CP_ACP, 0, volumeName.c_str(), -1, wideName.data(),
                               static_cast<int>(wideName.size())) == 0)
    return {};
  std::array<wchar_t, kLabelSize + 1> wideLabel{};
  std::array<wchar_t, kLabelSize> fileSystem{};
  if (!host.GetVolumeInformationW(wideName.c_str(), wideLabel.data(), kLabelSize, nullptr, nullptr,
                                  nullptr, fileSystem.data(), kLabelSize))
    return {};
  std::string label;
  Pirsk::Strings::ToUTF8(wideLabel.data(), label);
  return label;
}

void AddRecords(const VolumeExtents& volume, const std::vector<MountEntry>& mounts,
                std::vector<CSystemPartition>& partitions) {
  CSystemPartition record;
  record.m_VolumeName = volume.name;
  record.m_VolumeLabel = VolumeLabel(volume.name);
  if (Host::Volume().GetDriveTypeA(volume.name.c_str()) != DRIVE_FIXED) return;

  const char letter = GetDriveLetter(WithoutLastCharacter(volume.name));
  if (letter != kNoLetter) record.m_DriveRoot = PathOnDrive(letter, "");

  const auto mount = std::ranges::find(mounts, volume.name, &MountEntry::volumeName);
  if (mount != mounts.end()) CSystemPartition::ConvertToUTF8(mount->path, record.m_MountPath);

  for (const Extent& extent : volume.extents) {
    record.m_StartSector = extent.startSector;
    record.m_SectorCount = extent.sectorCount;
    partitions.push_back(record);
  }
}

}  // namespace

CSystemPartition::CSystemPartition() = default;
CSystemPartition::CSystemPartition(const CSystemPartition& other) = default;
CSystemPartition::~CSystemPartition() = default;
CSystemPartition& CSystemPartition::operator=(const CSystemPartition& other) = default;

bool CSystemPartition::operator==(const CSystemPartition& other) const {
  return m_Info1 == other.m_Info1 && m_StartSector == other.m_StartSector &&
         m_SectorCount == other.m_SectorCount && m_Info2 == other.m_Info2 &&
         m_Info3 == other.m_Info3 && m_Kind == other.m_Kind && m_DriveRoot == other.m_DriveRoot &&
         m_MountPath == other.m_MountPath && m_VolumeLabel == other.m_VolumeLabel &&
         m_VolumeName == other.m_VolumeName;
}

void CSystemPartition::ConvertToUTF8(const std::string& input, std::string& output) {
  if (Pirsk::Strings::UTF8length(input) == static_cast<std::size_t>(-1))
    Pirsk::Strings::ToUTF8(input, output);
  else
    output = input;
}

CSystemPartitionTable::CSystemPartitionTable() = default;
CSystemPartitionTable::CSystemPartitionTable(const std::string& deviceName)
    : m_DeviceName(deviceName) {}
CSystemPartitionTable::CSystemPartitionTable(const CSystemPartitionTable& other) = default;
CSystemPartitionTable::CSystemPartitionTable(CSystemPartitionTable&& other) noexcept = default;
CSystemPartitionTable& CSystemPartitionTable::operator=(const CSystemPartitionTable& other) =
    default;
CSystemPartitionTable& CSystemPartitionTable::operator=(CSystemPartitionTable&& other) noexcept =
    default;
CSystemPartitionTable::~CSystemPartitionTable() = default;

void CSystemPartitionTable::GetPartitions(std::vector<CSystemPartition>& partitions) {
  partitions.clear();
  const std::optional<std::uint32_t> diskNumber = DiskNumber(m_DeviceName);
  if (!diskNumber) return;

  const Host::VolumeOperations& host = Host::Volume();
  const std::shared_ptr<void> picture = host.KeepPicture ? host.KeepPicture() : nullptr;
  const ErrorModeScope errorMode;
  const std::vector<VolumeExtents> volumes = VolumesOnDisk(*diskNumber);
  const std::vector<MountEntry> mounts = MountsOf(volumes);
  for (const VolumeExtents& volume : volumes) AddRecords(volume, mounts, partitions);
}

}  // namespace Ondrel
