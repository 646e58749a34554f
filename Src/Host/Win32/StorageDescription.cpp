#include "Host/Win32/StorageDescription.h"

#include "Host/VolumeTypes.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string_view>
#include <utility>

namespace Ondrel::Host {

namespace {

constexpr ULong kNameSize = 100;
constexpr ULong kLabelSize = MAX_PATH + 1;
constexpr ULong kSectorSize = 512;

// Properties of a disk that this toolchain's headers do not declare next to the others.
constexpr int kAccessAlignmentProperty = 6;
constexpr int kSeekPenaltyProperty = 7;

struct AccessAlignment {
  DWORD Version;
  DWORD Size;
  DWORD BytesPerCacheLine;
  DWORD BytesOffsetForCacheAlignment;
  DWORD BytesPerLogicalSector;
  DWORD BytesPerPhysicalSector;
  DWORD BytesOffsetForSectorAlignment;
};
static_assert(sizeof(AccessAlignment) == 28);

struct SeekPenalty {
  DWORD Version;
  DWORD Size;
  BOOLEAN IncursSeekPenalty;
};
static_assert(sizeof(SeekPenalty) == 12);

constexpr std::array<std::pair<int, std::string_view>, 16> kTransports = {{
    {BusTypeScsi, "scsi"},
    {BusTypeAtapi, "atapi"},
    {BusTypeAta, "ata"},
    {BusType1394, "ieee1394"},
    {BusTypeSsa, "ssa"},
    {BusTypeFibre, "fc"},
    {BusTypeUsb, "usb"},
    {BusTypeRAID, "raid"},
    {BusTypeiScsi, "iscsi"},
    {BusTypeSas, "sas"},
    {BusTypeSata, "sata"},
    {BusTypeSd, "mmc"},
    {BusTypeMmc, "mmc"},
    {BusTypeVirtual, "virtual"},
    {BusTypeFileBackedVirtual, "virtual"},
    {BusTypeNvme, "nvme"},
}};

std::string Utf8(const wchar_t* text) {
  const int size = ::WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
  if (size <= 1) return {};
  std::string converted(static_cast<std::size_t>(size), '\0');
  ::WideCharToMultiByte(CP_UTF8, 0, text, -1, converted.data(), size, nullptr, nullptr);
  converted.pop_back();
  return converted;
}

// Names of volumes are ASCII.
std::wstring Widened(const std::string& text) { return {text.begin(), text.end()}; }

class OpenDisk {
public:
  // No access is asked for: that is enough for these questions, and everybody may.
  explicit OpenDisk(const std::string& name)
      : m_handle(::CreateFileA(name.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                               OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr)) {}
  ~OpenDisk() {
    if (m_handle != INVALID_HANDLE_VALUE) ::CloseHandle(m_handle);
  }

  OpenDisk(const OpenDisk&) = delete;
  OpenDisk& operator=(const OpenDisk&) = delete;

  /// The length of the answer; 0 when there is none.
  DWORD Ask(DWORD code, void* input, DWORD inputSize, void* output, DWORD outputSize) const {
    DWORD returned = 0;
    return ::DeviceIoControl(m_handle, code, input, inputSize, output, outputSize, &returned,
                             nullptr)
               ? returned
               : 0;
  }

  /// What the disk answers of one of its properties.
  template <class Record>
  std::optional<Record> Property(int identifier) const {
    STORAGE_PROPERTY_QUERY query{};
    query.PropertyId = static_cast<STORAGE_PROPERTY_ID>(identifier);
    query.QueryType = PropertyStandardQuery;
    Record record{};
    if (Ask(IOCTL_STORAGE_QUERY_PROPERTY, &query, sizeof query, &record, sizeof record) <
        sizeof record)
      return std::nullopt;
    return record;
  }

  bool IsWriteProtected() const {
    DWORD returned = 0;
    return !::DeviceIoControl(m_handle, IOCTL_DISK_IS_WRITABLE, nullptr, 0, nullptr, 0, &returned,
                              nullptr) &&
           ::GetLastError() == ERROR_WRITE_PROTECT;
  }

private:
  HANDLE m_handle;
};

// The text at an offset of an answer, without the spaces that fill it up; 0 stands for none.
std::string TextAt(const char* answer, std::size_t size, DWORD offset) {
  if (offset == 0 || offset >= size) return {};
  std::string_view text(answer + offset, ::strnlen(answer + offset, size - offset));
  const std::size_t begin = text.find_first_not_of(' ');
  if (begin == std::string_view::npos) return {};
  text = text.substr(begin, text.find_last_not_of(' ') - begin + 1);
  return std::string(text);
}

void ReadDevice(const OpenDisk& disk, DiskDescription& description) {
  STORAGE_PROPERTY_QUERY query{};
  query.PropertyId = StorageDeviceProperty;
  query.QueryType = PropertyStandardQuery;
  alignas(STORAGE_DEVICE_DESCRIPTOR) char answer[2048] = {};
  const DWORD size =
      disk.Ask(IOCTL_STORAGE_QUERY_PROPERTY, &query, sizeof query, answer, sizeof answer);
  if (size < sizeof(STORAGE_DEVICE_DESCRIPTOR)) return;
  const auto& device = *reinterpret_cast<const STORAGE_DEVICE_DESCRIPTOR*>(answer);
  description.model = TextAt(answer, size, device.ProductIdOffset);
  description.serial = TextAt(answer, size, device.SerialNumberOffset);
  description.isRemovable = device.RemovableMedia != FALSE;
  const auto transport = std::ranges::find(kTransports, static_cast<int>(device.BusType),
                                           &std::pair<int, std::string_view>::first);
  if (transport != kTransports.end()) description.transport = transport->second;
}

void ReadSectorSizes(const OpenDisk& disk, DiskDescription& description) {
  if (const auto sizes = disk.Property<AccessAlignment>(kAccessAlignmentProperty)) {
    description.logicalSectorSize = sizes->BytesPerLogicalSector;
    description.physicalSectorSize = sizes->BytesPerPhysicalSector;
    return;
  }
  DISK_GEOMETRY geometry{};
  if (disk.Ask(IOCTL_DISK_GET_DRIVE_GEOMETRY, nullptr, 0, &geometry, sizeof geometry) != 0)
    description.logicalSectorSize = geometry.BytesPerSector;
}

std::string PartitionTableOf(const OpenDisk& disk) {
  alignas(DRIVE_LAYOUT_INFORMATION_EX) std::byte answer[16384] = {};
  if (disk.Ask(IOCTL_DISK_GET_DRIVE_LAYOUT_EX, nullptr, 0, answer, sizeof answer) == 0) return {};
  const DWORD style = reinterpret_cast<const DRIVE_LAYOUT_INFORMATION_EX*>(answer)->PartitionStyle;
  return style == PARTITION_STYLE_GPT ? "gpt" : style == PARTITION_STYLE_MBR ? "dos" : "";
}

// Each volume with all its extents; a failure with the reason, as the operation set it.
std::optional<std::vector<VolumeExtent>> ExtentsOf(const VolumeOperations& host,
                                                   const std::string& name, ULong access) {
  void* const volume = host.CreateFileA(name.substr(0, name.size() - 1).c_str(), access,
                                        FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                        FILE_ATTRIBUTE_NORMAL, nullptr);
  if (volume == INVALID_HANDLE_VALUE) return std::nullopt;
  constexpr std::size_t kLargestAnswer = std::size_t{1} << 20;
  std::vector<std::byte> answer(512);
  ULong size = 0;
  int isAnswered = 0;
  ULong error = 0;
  while (true) {
    isAnswered =
        host.DeviceIoControl(volume, IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS, nullptr, 0,
                             answer.data(), static_cast<ULong>(answer.size()), &size, nullptr);
    error = isAnswered ? 0 : host.GetLastError();
    if (error != ERROR_MORE_DATA || answer.size() >= kLargestAnswer) break;
    answer.resize(answer.size() * 4);
  }
  host.CloseHandle(volume);
  if (!isAnswered) {
    ::SetLastError(error);
    return std::nullopt;
  }
  std::vector<VolumeExtent> extents;
  DWORD count = 0;
  if (size >= offsetof(VOLUME_DISK_EXTENTS, Extents))
    std::memcpy(&count, answer.data(), sizeof count);
  for (DWORD index = 0; index < count; ++index) {
    const std::size_t position =
        offsetof(VOLUME_DISK_EXTENTS, Extents) + index * sizeof(DISK_EXTENT);
    if (position + sizeof(DISK_EXTENT) > size) break;
    DISK_EXTENT extent;
    std::memcpy(&extent, answer.data() + position, sizeof extent);
    extents.push_back({extent.DiskNumber,
                       static_cast<std::uint64_t>(extent.StartingOffset.QuadPart) / kSectorSize,
                       static_cast<std::uint64_t>(extent.ExtentLength.QuadPart) / kSectorSize});
  }
  return extents;
}

std::vector<std::string> MountPathsOf(const VolumeOperations& host, const std::wstring& name) {
  std::vector<wchar_t> list(1301);
  ULong needed = 0;
  // The list may grow between two questions; not for ever.
  for (int attempt = 0; attempt < 4; ++attempt) {
    if (host.GetVolumePathNamesForVolumeNameW(name.c_str(), list.data(),
                                              static_cast<ULong>(list.size()), &needed)) {
      std::vector<std::string> paths;
      for (const wchar_t* path = list.data(); *path != 0; path += std::wcslen(path) + 1)
        paths.push_back(Utf8(path));
      return paths;
    }
    if (host.GetLastError() != ERROR_MORE_DATA || needed <= list.size()) break;
    list.resize(needed);
  }
  return {};
}

void ReadContent(const VolumeOperations& host, const std::wstring& name,
                 VolumeDescription& volume) {
  std::array<wchar_t, kLabelSize> label{};
  std::array<wchar_t, kLabelSize> fileSystem{};
  ULong serialNumber = 0;
  if (!host.GetVolumeInformationW(name.c_str(), label.data(), kLabelSize, &serialNumber, nullptr,
                                  nullptr, fileSystem.data(), kLabelSize)) {
    volume.contentError = host.GetLastError();
    return;
  }
  volume.label = Utf8(label.data());
  volume.fileSystem = Utf8(fileSystem.data());
  std::array<char, 10> number{};
  std::snprintf(number.data(), number.size(), "%04X-%04X",
                static_cast<unsigned>(serialNumber >> 16),
                static_cast<unsigned>(serialNumber & 0xFFFF));
  volume.uuid = number.data();
}

void AddVolume(const VolumeOperations& host, const std::string& name, StorageDescription& storage) {
  auto extents = ExtentsOf(host, name, GENERIC_READ);
  if (!extents) {
    const ULong error = host.GetLastError();
    // Drives without a medium have nothing to see.
    const ULong drive = host.GetDriveTypeA(name.c_str());
    if (drive == DRIVE_REMOVABLE || drive == DRIVE_CDROM) return;
    UnseenVolume unseen{.deviceName = name, .disks = {}, .error = error};
    // Where it lies may be asked without the right to read it.
    for (const VolumeExtent& extent :
         ExtentsOf(host, name, 0).value_or(std::vector<VolumeExtent>()))
      unseen.disks.push_back(extent.disk);
    storage.unseen.push_back(std::move(unseen));
    return;
  }
  VolumeDescription volume;
  volume.name = name;
  volume.extents = std::move(*extents);
  std::array<char, kNameSize + 1> path{};
  if (name.starts_with(kVolumeNamePrefix) &&
      host.QueryDosDeviceA(name.substr(4, name.size() - 5).c_str(), path.data(), kNameSize) != 0)
    volume.deviceName = path.data();
  const std::wstring wideName = Widened(name);
  ReadContent(host, wideName, volume);
  volume.mountPaths = MountPathsOf(host, wideName);
  storage.volumes.push_back(std::move(volume));
}

}  // namespace

DiskDescription DescribeDisk(const Disk& disk) {
  DiskDescription description;
  description.disk = disk;
  description.kind = "disk";
  const OpenDisk opened(disk.deviceName);
  ReadDevice(opened, description);
  ReadSectorSizes(opened, description);
  if (const auto seeks = opened.Property<SeekPenalty>(kSeekPenaltyProperty))
    description.kind = seeks->IncursSeekPenalty ? "hard disk" : "solid state";
  description.partitionTable = PartitionTableOf(opened);
  description.isReadOnly = opened.IsWriteProtected();
  return description;
}

StorageDescription DescribeStorage(const VolumeOperations& host) {
  StorageDescription storage;
  for (const Disk& disk : Disks()) storage.disks.push_back(DescribeDisk(disk));
  std::array<char, kNameSize + 1> name{};
  void* const walk = host.FindFirstVolumeA(name.data(), kNameSize);
  if (walk == INVALID_HANDLE_VALUE) return storage;
  do {
    if (name.front() != '\0') AddVolume(host, name.data(), storage);
  } while (host.FindNextVolumeA(walk, name.data(), kNameSize));
  host.FindVolumeClose(walk);
  return storage;
}

StorageDescription DescribeStorage() { return DescribeStorage(Volume()); }

}  // namespace Ondrel::Host
