#include "Host/Linux/Volumes/BlockDevices.h"

#include "Host/Linux/Sysfs.h"

#include <algorithm>
#include <optional>

namespace Ondrel::Host {

namespace {

constexpr unsigned kOpticalMajor = 11;

std::string ReadText(const std::string& path) { return ReadSysfsText(path).value_or(""); }

std::uint64_t ReadNumber(const std::string& path) { return ReadSysfsNumber(path).value_or(0); }

std::string Below(const std::string& folder, const std::string& name) {
  std::string path = folder;
  path += '/';
  path += name;
  return path;
}

// The value of "KEY=value" in a device's event record.
std::optional<std::uint64_t> EventNumber(std::string_view record, std::string_view key) {
  std::size_t begin = 0;
  while (begin < record.size()) {
    const std::size_t end = std::min(record.find('\n', begin), record.size());
    const std::string_view line = record.substr(begin, end - begin);
    if (line.starts_with(key) && line.substr(key.size()).starts_with('='))
      return SysfsNumber(line.substr(key.size() + 1));
    begin = end + 1;
  }
  return std::nullopt;
}

// Whether it has a number of its own. Hidden paths to a device have none.
bool ReadDeviceNumber(std::string_view record, BlockDevice& device) {
  const auto major = EventNumber(record, "MAJOR");
  const auto minor = EventNumber(record, "MINOR");
  if (!major || !minor) return false;
  device.number = {static_cast<unsigned>(*major), static_cast<unsigned>(*minor)};
  return true;
}

bool Contains(const std::vector<std::string>& sorted, const std::string& name) {
  return std::ranges::binary_search(sorted, name);
}

bool IsNumbered(std::string_view name, std::string_view kind) {
  return name.starts_with(kind) && name.size() > kind.size() && name[kind.size()] >= '0' &&
         name[kind.size()] <= '9';
}

void ReadArray(const std::string& folder, BlockDevice& device) {
  constexpr std::string_view kMember = "dev-";
  device.arrayLevel = ReadText(folder + "/level");
  for (const std::string& entry : SysfsEntries(folder)) {
    if (!entry.starts_with(kMember)) continue;
    const std::string member = Below(folder, entry);
    // A spare holds none of the array's data, and what a faulty member holds is given up.
    const std::string state = ReadText(member + "/state");
    if (state.find("spare") != std::string::npos || state.find("faulty") != std::string::npos)
      continue;
    const auto start = ReadSysfsNumber(member + "/offset");
    const auto kibibytes = ReadSysfsNumber(member + "/size");
    if (start && kibibytes)
      device.members.push_back({entry.substr(kMember.size()), *start, *kibibytes * 2});
  }
}

}  // namespace

bool BlockDevice::IsOptical() const { return number.first == kOpticalMajor; }

bool BlockDevice::IsVirtual() const {
  return isMapper || isArray || IsNumbered(name, "loop") || IsNumbered(name, "ram") ||
         IsNumbered(name, "zram");
}

BlockDevices::BlockDevices(const std::string& sysfs) {
  const std::string folder = sysfs + "/block";
  for (const std::string& name : SysfsEntries(folder)) ReadDisk(Below(folder, name), name);
  Number();
}

void BlockDevices::ReadDisk(const std::string& folder, const std::string& name) {
  BlockDevice device;
  device.name = name;
  if (!ReadDeviceNumber(ReadText(folder + "/uevent"), device)) return;
  const std::vector<std::string> entries = SysfsEntries(folder);
  device.size = ReadNumber(folder + "/size");
  device.isRemovable = ReadNumber(folder + "/removable") != 0;
  device.hasHolders = !SysfsEntries(folder + "/holders").empty();
  device.slaves = SysfsEntries(folder + "/slaves");
  if (Contains(entries, "dm")) {
    device.isMapper = true;
    device.mapperName = ReadText(folder + "/dm/name");
  }
  if (Contains(entries, "md")) {
    device.isArray = true;
    ReadArray(folder + "/md", device);
  }
  ReadPartitions(folder, device, entries);
  m_names[device.number] = name;
  m_devices.emplace(name, std::move(device));
}

void BlockDevices::ReadPartitions(const std::string& folder, BlockDevice& disk,
                                  const std::vector<std::string>& entries) {
  std::vector<std::pair<unsigned, std::string>> partitions;
  for (const std::string& name : entries) {
    if (!name.starts_with(disk.name)) continue;
    const std::string partitionFolder = Below(folder, name);
    const std::string record = ReadText(partitionFolder + "/uevent");
    const auto partition = EventNumber(record, "PARTN");
    BlockDevice device;
    if (!partition || !ReadDeviceNumber(record, device)) continue;
    device.name = name;
    device.disk = disk.name;
    device.partition = static_cast<unsigned>(*partition);
    device.start = ReadNumber(partitionFolder + "/start");
    device.size = ReadNumber(partitionFolder + "/size");
    device.isRemovable = disk.isRemovable;
    device.hasHolders = !SysfsEntries(partitionFolder + "/holders").empty();
    partitions.emplace_back(device.partition, name);
    m_names[device.number] = name;
    m_devices.emplace(name, std::move(device));
  }
  std::ranges::sort(partitions);
  for (auto& [number, name] : partitions) disk.partitionNames.push_back(std::move(name));
}

void BlockDevices::Number() {
  for (const auto& [number, name] : m_names) {
    const BlockDevice& device = m_devices.at(name);
    if (device.IsPartition()) continue;
    m_whole.push_back(name);
    if (device.IsVirtual()) continue;
    m_diskNumbers.emplace(name, m_disks.size());
    m_disks.push_back(name);
  }
}

std::size_t BlockDevices::DiskNumber(const std::string& name) const {
  const auto found = m_diskNumbers.find(name);
  return found != m_diskNumbers.end() ? found->second : m_disks.size();
}

const BlockDevice* BlockDevices::Find(const std::string& name) const {
  const auto found = m_devices.find(name);
  return found != m_devices.end() ? &found->second : nullptr;
}

const BlockDevice* BlockDevices::Find(DeviceNumber number) const {
  const auto found = m_names.find(number);
  return found != m_names.end() ? Find(found->second) : nullptr;
}

std::string NodePath(const std::string& kernelName) {
  std::string path = "/dev/" + kernelName;
  std::ranges::replace(path, '!', '/');
  return path;
}

}  // namespace Ondrel::Host
