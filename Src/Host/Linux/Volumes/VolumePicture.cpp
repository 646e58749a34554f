#include "Host/Linux/Volumes/VolumePicture.h"

#include "Host/VolumeTypes.h"

#include <algorithm>
#include <libmount/libmount.h>
#include <memory>
#include <sstream>
#include <string_view>
#include <sys/sysmacros.h>

namespace Ondrel::Host {

namespace {

constexpr std::string_view kMapperFolder = R"(mapper\)";
constexpr std::string_view kMapperNodes = "/dev/mapper/";

// The longest volume name that the operations give, its end included.
constexpr std::size_t kVolumeNameSize = 100;

// Devices are built on devices no deeper than this; more is a ring.
constexpr int kMaxDepth = 16;

// The largest size that an extended partition, which only holds others, shows.
constexpr std::uint64_t kExtendedPartitionSize = 8;
constexpr unsigned kFirstLogicalPartition = 5;

struct FreeMounts {
  void operator()(libmnt_table* table) const { mnt_unref_table(table); }
  void operator()(libmnt_iter* iterator) const { mnt_free_iter(iterator); }
};

std::string VolumeName(const BlockDevice& device) {
  std::string name = std::string(kVolumeNamePrefix) + device.name + '\\';
  if (device.mapperName.empty()) return name;
  // The mapper's name stays the same from start to start; the kernel's does not.
  std::string mapperName =
      std::string(kVolumeNamePrefix) + std::string(kMapperFolder) + device.mapperName + '\\';
  return mapperName.size() < kVolumeNameSize ? mapperName : name;
}

// "8:1" as the device mapper writes it.
std::optional<DeviceNumber> ParseDeviceNumber(const std::string& text) {
  std::istringstream stream(text);
  DeviceNumber number;
  char colon = 0;
  if (!(stream >> number.first >> colon >> number.second) || colon != ':') return std::nullopt;
  return number;
}

// The device and offset that a target's parameters hold at a place, counted in words.
struct Beneath {
  const BlockDevice* device = nullptr;
  std::uint64_t start = 0;
};

std::optional<Beneath> ReadBeneath(std::istream& words, const BlockDevices& devices) {
  std::string device;
  Beneath beneath;
  if (!(words >> device >> beneath.start)) return std::nullopt;
  const auto number = ParseDeviceNumber(device);
  if (!number) return std::nullopt;
  beneath.device = devices.Find(*number);
  if (beneath.device == nullptr) return std::nullopt;
  return beneath;
}

bool IsExtended(const BlockDevice& partition, const BlockDevices& devices) {
  if (partition.partition >= kFirstLogicalPartition || partition.size > kExtendedPartitionSize)
    return false;
  const BlockDevice* const disk = devices.Find(partition.disk);
  return disk != nullptr && std::ranges::any_of(disk->partitionNames, [&](const auto& name) {
           return devices.Find(name)->partition >= kFirstLogicalPartition;
         });
}

}  // namespace

VolumePicture::VolumePicture(VolumeSources sources)
    : m_sources(std::move(sources)), m_devices(m_sources.blockDevices()) {
  ReadMounts();
  AddVolumes();
}

void VolumePicture::ReadMounts() {
  const std::unique_ptr<libmnt_table, FreeMounts> table(
      mnt_new_table_from_file(m_sources.mountTable.c_str()));
  const std::unique_ptr<libmnt_iter, FreeMounts> iterator(mnt_new_iter(MNT_ITER_FORWARD));
  if (!table || !iterator) return;

  std::unordered_map<std::string, std::string> nodes;
  for (const std::string& name : m_devices.Whole()) {
    const BlockDevice& device = *m_devices.Find(name);
    nodes.emplace(NodePath(name), name);
    if (!device.mapperName.empty())
      nodes.emplace(std::string(kMapperNodes) + device.mapperName, name);
    for (const std::string& partition : device.partitionNames)
      nodes.emplace(NodePath(partition), partition);
  }
  // The device that is mounted. Some file systems have numbers of their own and name their device.
  const auto deviceOf = [&](libmnt_fs* mount) -> std::string {
    const dev_t number = mnt_fs_get_devno(mount);
    if (const BlockDevice* const device =
            m_devices.Find(DeviceNumber(major(number), minor(number))))
      return device->name;
    const char* const source = mnt_fs_get_source(mount);
    const auto node = source != nullptr ? nodes.find(source) : nodes.end();
    return node != nodes.end() ? node->second : std::string();
  };

  std::vector<std::pair<std::string, std::string>> partsOfFileSystems;
  libmnt_fs* mount = nullptr;
  while (mnt_table_next_fs(table.get(), iterator.get(), &mount) == 0) {
    const std::string device = deviceOf(mount);
    const char* const target = mnt_fs_get_target(mount);
    if (device.empty() || target == nullptr) continue;
    const char* const root = mnt_fs_get_root(mount);
    if (root == nullptr || std::string_view(root) == "/")
      m_mountPaths[device].emplace_back(target);
    else
      partsOfFileSystems.emplace_back(device, target);
  }
  for (auto& [device, target] : partsOfFileSystems)
    m_mountPaths[device].push_back(std::move(target));
}

void VolumePicture::AddVolume(const BlockDevice& device) {
  std::string name = VolumeName(device);
  m_deviceNames.emplace(name, device.name);
  m_names.push_back(std::move(name));
}

bool VolumePicture::IsVolumeAsAWhole(const BlockDevice& device) const {
  if (device.isMapper || device.isArray) return device.size != 0;
  if (device.IsOptical() || device.isRemovable || m_mountPaths.contains(device.name)) return true;
  if (device.size == 0) return false;
  const std::optional<FileSystem> content = Content(device);
  return content && !content->type.empty();
}

void VolumePicture::AddVolumes() {
  std::vector<const BlockDevice*> built;
  const auto addAllOf = [&](const BlockDevice& device) {
    for (const std::string& name : device.partitionNames) {
      const BlockDevice& partition = *m_devices.Find(name);
      if (!partition.hasHolders && !IsExtended(partition, m_devices)) AddVolume(partition);
    }
    if (device.partitionNames.empty() && !device.hasHolders && IsVolumeAsAWhole(device))
      AddVolume(device);
  };
  for (const std::string& name : m_devices.Whole()) {
    const BlockDevice& device = *m_devices.Find(name);
    if (device.isMapper || device.isArray)
      built.push_back(&device);
    else if (!device.IsVirtual())
      addAllOf(device);
  }
  for (const BlockDevice* const device : built) addAllOf(*device);
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

std::vector<std::string> VolumePicture::MountPaths(const BlockDevice& device) const {
  const auto found = m_mountPaths.find(device.name);
  return found != m_mountPaths.end() ? found->second : std::vector<std::string>();
}

std::optional<FileSystem> VolumePicture::Content(const BlockDevice& device) const {
  return m_sources.fileSystem(device);
}

// False when something beneath may not be read: half an answer would be a wrong one.
bool VolumePicture::Resolve(const Range& range, int depth, std::vector<DiskPart>& parts) const {
  if (depth > kMaxDepth) return false;
  const BlockDevice& device = *range.device;
  if (device.IsPartition()) {
    const BlockDevice* const disk = m_devices.Find(device.disk);
    return Resolve({disk, device.start + range.start, range.count}, depth + 1, parts);
  }
  if (device.isMapper) return ResolveMapper(range, depth, parts);
  if (device.isArray) return ResolveArray(range, depth, parts);
  // What lies on a disk without a number, such as a file, is on no disk of the machine.
  if (!device.IsVirtual())
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
  std::istringstream words(target.parameters);
  if (target.type == "linear" || target.type == "crypt") {
    std::string word;
    // Cipher, key and first vector come first.
    if (target.type == "crypt") words >> word >> word >> word;
    const auto beneath = ReadBeneath(words, m_devices);
    return beneath &&
           Resolve({beneath->device, beneath->start + range.start, range.count}, depth + 1, parts);
  }
  if (target.type == "striped") {
    std::uint64_t stripes = 0;
    std::uint64_t chunk = 0;
    if (!(words >> stripes >> chunk) || stripes == 0 || chunk == 0) return false;
    // Whole chunks: the rows of them that the range touches.
    const std::uint64_t row = stripes * chunk;
    const std::uint64_t first = range.start / row * chunk;
    const std::uint64_t last = (range.start + range.count + row - 1) / row * chunk;
    const std::uint64_t length = std::min(last, target.count / stripes) - first;
    for (std::uint64_t stripe = 0; stripe < stripes; ++stripe) {
      const auto beneath = ReadBeneath(words, m_devices);
      if (!beneath || !Resolve({beneath->device, beneath->start + first, length}, depth + 1, parts))
        return false;
    }
    return true;
  }
  if (target.type == "zero" || target.type == "error") return true;
  return ResolveSlaves(*range.device, depth, parts);
}

bool VolumePicture::ResolveArray(const Range& range, int depth,
                                 std::vector<DiskPart>& parts) const {
  const BlockDevice& array = *range.device;
  if (array.members.empty()) return ResolveSlaves(array, depth, parts);
  return std::ranges::all_of(array.members, [&](const MemberExtent& member) {
    const BlockDevice* const device = m_devices.Find(member.device);
    if (device == nullptr) return false;
    // A mirror's members hold the same at the same place; others hold a share of every part.
    if (array.arrayLevel == "raid1")
      return Resolve({device, member.start + range.start, range.count}, depth + 1, parts);
    return Resolve({device, member.start, member.count}, depth + 1, parts);
  });
}

// All that the device is built on, where it is not known how.
bool VolumePicture::ResolveSlaves(const BlockDevice& device, int depth,
                                  std::vector<DiskPart>& parts) const {
  return std::ranges::all_of(device.slaves, [&](const std::string& name) {
    const BlockDevice* const slave = m_devices.Find(name);
    return slave != nullptr && Resolve({slave, 0, slave->size}, depth + 1, parts);
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
  return AnyDisk(device, 0, [](const BlockDevice& disk) { return disk.isRemovable; });
}

}  // namespace Ondrel::Host
