#include "Host/Linux/Volumes/VolumePicture.h"

#include "Host/Linux/LastError.h"
#include "Host/VolumeTypes.h"

#include <algorithm>
#include <array>
#include <set>
#include <string_view>

namespace Ondrel::Host {

namespace {

constexpr std::string_view kMapperFolder = R"(mapper\)";

// The longest volume name that the operations give, its end included.
constexpr std::size_t kVolumeNameSize = 100;

// Devices are built on devices no deeper than this; more is a ring.
constexpr int kMaxDepth = 16;

// The kernel shows of an extended partition no more than one of the disk's sectors, but at least
// two of 512 bytes. Larger partitions need not be asked for their type.
constexpr std::uint64_t kLargestSector = 128;
constexpr std::uint64_t kShownOfExtended = 2;
constexpr unsigned kFirstLogicalPartition = 5;
constexpr std::array kExtendedTypes = {std::string_view("0x5"), std::string_view("0xf"),
                                       std::string_view("0x85")};

std::string VolumeName(const BlockDevice& device) {
  std::string name = std::string(kVolumeNamePrefix) + device.name + '\\';
  if (device.mapperName.empty()) return name;
  // The mapper's name stays the same from start to start; the kernel's does not.
  std::string mapperName =
      std::string(kVolumeNamePrefix) + std::string(kMapperFolder) + device.mapperName + '\\';
  return mapperName.size() < kVolumeNameSize ? mapperName : name;
}

}  // namespace

VolumePicture::VolumePicture(VolumeSources sources)
    : m_sources(std::move(sources)),
      m_devices(m_sources.blockDevices()),
      m_mountPaths(ReadMounts(m_sources.mountTable, m_devices)) {
  AddVolumes();
}

void VolumePicture::AddVolume(const BlockDevice& device) {
  std::string name = VolumeName(device);
  m_deviceNames.emplace(name, device.name);
  m_names.push_back(std::move(name));
}

// By its type in the partition table. Where nobody may read that, what the kernel makes of an
// extended partition has to do: two sectors, next to logical ones.
bool VolumePicture::IsExtended(const BlockDevice& partition) const {
  if (partition.partition >= kFirstLogicalPartition || partition.size > kLargestSector)
    return false;
  if (const auto entry = m_sources.partitionEntry(partition))
    return entry->scheme == "dos" &&
           std::ranges::find(kExtendedTypes, entry->type) != kExtendedTypes.end();
  const BlockDevice* const disk = m_devices.Find(partition.disk);
  return partition.size == kShownOfExtended && disk != nullptr &&
         std::ranges::any_of(disk->partitionNames, [&](const auto& name) {
           return m_devices.Find(name)->partition >= kFirstLogicalPartition;
         });
}

bool VolumePicture::IsVolumeAsAWhole(const BlockDevice& device) {
  if (device.IsBuilt()) return device.size != 0;
  if (!device.IsFixedDisk() || m_mountPaths.contains(device.name)) return true;
  if (device.size == 0) return false;
  const std::optional<FileSystem> content = Content(device);
  if (!content) m_unseenDisks.push_back({device.name, LastError()});
  return content && !content->type.empty();
}

void VolumePicture::AddVolumesOf(const BlockDevice& device) {
  // What is built on the whole of a disk has its partitions too: those that the kernel shows of the
  // disk itself cannot be used.
  if (!device.holders.empty()) return;
  for (const std::string& name : device.partitionNames) {
    const BlockDevice& partition = *m_devices.Find(name);
    if (partition.holders.empty() && !IsExtended(partition)) AddVolume(partition);
  }
  if (device.partitionNames.empty() && IsVolumeAsAWhole(device)) AddVolume(device);
}

void VolumePicture::AddVolumes() {
  for (const std::string& name : m_devices.Disks()) AddVolumesOf(*m_devices.Find(name));
  for (const std::string& name : m_devices.Whole()) {
    const BlockDevice& device = *m_devices.Find(name);
    if (device.IsBuilt()) AddVolumesOf(device);
  }
}

const BlockDevice* VolumePicture::Find(const std::string& volumeName) const {
  auto found = m_deviceNames.find(volumeName);
  if (found == m_deviceNames.end()) found = m_deviceNames.find(volumeName + '\\');
  return found != m_deviceNames.end() ? m_devices.Find(found->second) : nullptr;
}

std::optional<std::vector<DiskPart>> VolumePicture::Parts(const BlockDevice& device) const {
  std::vector<DiskPart> parts;
  if (!Resolve({&device, 0, device.size}, 0, parts)) return std::nullopt;
  return parts;
}

std::vector<std::size_t> VolumePicture::DisksBeneath(const BlockDevice& device) const {
  std::set<std::size_t> disks;
  AnyDisk(device, 0, [&](const BlockDevice& found) {
    if (found.IsDisk()) disks.insert(m_devices.DiskNumber(found.name));
    return false;
  });
  return {disks.begin(), disks.end()};
}

std::vector<std::string> VolumePicture::MountPaths(const BlockDevice& device) const {
  const auto found = m_mountPaths.find(device.name);
  return found != m_mountPaths.end() ? found->second : std::vector<std::string>();
}

std::optional<FileSystem> VolumePicture::Content(const BlockDevice& device) const {
  return m_sources.fileSystem(device);
}

// False when something beneath may not be read: half an answer would be a wrong one.
bool VolumePicture::Resolve(const Range& range, int depth, std::vector<DiskPart>& parts) const {
  if (depth > kMaxDepth) return Fail<bool>(ERROR_INVALID_DATA);
  const BlockDevice& device = *range.device;
  if (device.IsPartition()) {
    const BlockDevice* const disk = m_devices.Find(device.disk);
    return Resolve({disk, device.start + range.start, range.count}, depth + 1, parts);
  }
  if (device.isMapper) return ResolveMapper(range, depth, parts);
  if (device.isArray) return ResolveArray(range, depth, parts);
  if (!device.cached.empty()) return ResolveCached(range, depth, parts);
  if (device.IsBuilt()) return ResolveSlaves(device, depth, parts);
  // What lies on a device without a number, such as a file, is on no disk of the machine.
  if (device.IsDisk())
    parts.push_back({m_devices.DiskNumber(device.name), range.start, range.count});
  return true;
}

bool VolumePicture::ResolveMapper(const Range& range, int depth,
                                  std::vector<DiskPart>& parts) const {
  const auto table = m_sources.mapperTable(*range.device);
  if (!table) return false;
  const std::uint64_t end = range.start + range.count;
  return std::ranges::all_of(*table, [&](const MapperTarget& target) {
    const std::uint64_t from = std::max(range.start, target.start);
    const std::uint64_t to = std::min(end, target.start + target.count);
    if (from >= to) return true;
    return ResolveTarget(target, {range.device, from - target.start, to - from}, depth, parts);
  });
}

// `range` counts from the target's start.
bool VolumePicture::ResolveTarget(const MapperTarget& target, const Range& range, int depth,
                                  std::vector<DiskPart>& parts) const {
  if (!IsKnownTarget(target.type)) return ResolveSlaves(*range.device, depth, parts);
  const auto beneath = PartsBeneath(target, range.start, range.count);
  if (!beneath) return Fail<bool>(ERROR_INVALID_DATA);
  return std::ranges::all_of(*beneath, [&](const PartBeneath& part) {
    const BlockDevice* const device = m_devices.Find(part.device);
    if (device == nullptr) return Fail<bool>(ERROR_FILE_NOT_FOUND);
    return Resolve({device, part.start, part.count.value_or(device->size)}, depth + 1, parts);
  });
}

bool VolumePicture::ResolveArray(const Range& range, int depth,
                                 std::vector<DiskPart>& parts) const {
  const BlockDevice& array = *range.device;
  if (array.members.empty()) return ResolveSlaves(array, depth, parts);
  return std::ranges::all_of(array.members, [&](const MemberExtent& member) {
    const BlockDevice* const device = m_devices.Find(member.device);
    if (device == nullptr) return Fail<bool>(ERROR_FILE_NOT_FOUND);
    // A mirror's members hold the same at the same place; others hold a share of every part.
    if (array.arrayLevel == "raid1")
      return Resolve({device, member.start + range.start, range.count}, depth + 1, parts);
    return Resolve({device, member.start, member.count}, depth + 1, parts);
  });
}

// A device with a cache is shorter than the one that holds its data by what stands before the data.
// What is in the cache may stand anywhere there.
bool VolumePicture::ResolveCached(const Range& range, int depth,
                                  std::vector<DiskPart>& parts) const {
  const BlockDevice& device = *range.device;
  const BlockDevice* const data = m_devices.Find(device.cached);
  if (data == nullptr || data->size < device.size) return Fail<bool>(ERROR_INVALID_DATA);
  if (!Resolve({data, data->size - device.size + range.start, range.count}, depth + 1, parts))
    return false;
  return std::ranges::all_of(device.slaves, [&](const std::string& name) {
    if (name == device.cached) return true;
    const BlockDevice* const cache = m_devices.Find(name);
    if (cache == nullptr) return Fail<bool>(ERROR_FILE_NOT_FOUND);
    return Resolve({cache, 0, cache->size}, depth + 1, parts);
  });
}

// All that the device is built on, where it is not known how.
bool VolumePicture::ResolveSlaves(const BlockDevice& device, int depth,
                                  std::vector<DiskPart>& parts) const {
  return std::ranges::all_of(device.slaves, [&](const std::string& name) {
    const BlockDevice* const slave = m_devices.Find(name);
    if (slave == nullptr) return Fail<bool>(ERROR_FILE_NOT_FOUND);
    return Resolve({slave, 0, slave->size}, depth + 1, parts);
  });
}

bool VolumePicture::AnyDisk(const BlockDevice& device, int depth,
                            const std::function<bool(const BlockDevice&)>& holds) const {
  if (depth > kMaxDepth) return false;
  if (holds(device)) return true;
  const BlockDevice* const disk = device.IsPartition() ? m_devices.Find(device.disk) : nullptr;
  if (disk != nullptr && AnyDisk(*disk, depth + 1, holds)) return true;
  return std::ranges::any_of(device.slaves, [&](const std::string& name) {
    const BlockDevice* const slave = m_devices.Find(name);
    return slave != nullptr && AnyDisk(*slave, depth + 1, holds);
  });
}

bool VolumePicture::IsOnOpticalMedium(const BlockDevice& device) const {
  return AnyDisk(device, 0, [](const BlockDevice& disk) { return disk.IsOptical(); });
}

bool VolumePicture::IsOnRemovableMedium(const BlockDevice& device) const {
  return AnyDisk(device, 0,
                 [](const BlockDevice& disk) { return disk.isRemovable || disk.IsFloppy(); });
}

}  // namespace Ondrel::Host
