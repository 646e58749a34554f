#include "Host/Linux/Volumes/BlockDevices.h"

#include "Host/Linux/LastError.h"
#include "Host/Linux/Sysfs.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <optional>
#include <unistd.h>

namespace Ondrel::Host {

namespace {

constexpr unsigned kFloppyMajor = 2;
constexpr unsigned kOpticalMajor = 11;
constexpr std::string_view kMapperNodes = "/dev/mapper/";

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

// The name of what a link leads to; empty when there is no such link.
std::string LinkedName(const std::string& link) {
  std::error_code error;
  return std::filesystem::read_symlink(link, error).filename();
}

// The device whose "bcache" folder the link of a bcache device leads to.
std::string CachedDevice(const std::string& folder) {
  std::error_code error;
  return std::filesystem::read_symlink(folder + "/bcache", error).parent_path().filename();
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

bool BlockDevice::IsFloppy() const { return number.first == kFloppyMajor; }

BlockDevices::BlockDevices(const std::string& sysfs) : m_folder(sysfs + "/block") {
  if (::access(m_folder.c_str(), R_OK | X_OK) != 0) m_error = ErrorFromErrno(errno);
  TakeSysfsShortage();
  for (const std::string& name : SysfsEntries(m_folder)) ReadDisk(name);
  ReadPools(sysfs + "/fs/btrfs");
  if (const int shortage = TakeSysfsShortage(); shortage != 0) m_error = ErrorFromErrno(shortage);
  Number();
}

// The boot areas of a memory chip have the chip's disk as their device.
bool BlockDevices::IsAreaOfAnotherDisk(const std::string& folder) const {
  const std::string device = LinkedName(folder + "/device");
  return !device.empty() && ::access(Below(m_folder, device).c_str(), F_OK) == 0;
}

void BlockDevices::ReadDisk(const std::string& name) {
  const std::string folder = Below(m_folder, name);
  BlockDevice device;
  device.name = name;
  if (!ReadDeviceNumber(ReadText(folder + "/uevent"), device)) return;
  const std::vector<std::string> entries = SysfsEntries(folder);
  device.size = ReadNumber(folder + "/size");
  device.isRemovable = ReadNumber(folder + "/removable") != 0;
  device.holders = SysfsEntries(folder + "/holders");
  device.slaves = SysfsEntries(folder + "/slaves");
  device.hasDevice = Contains(entries, "device") && !IsAreaOfAnotherDisk(folder);
  if (Contains(entries, "dm")) {
    device.isMapper = true;
    device.mapperName = ReadText(folder + "/dm/name");
    device.mapperId = ReadText(folder + "/dm/uuid");
  }
  if (Contains(entries, "md")) {
    device.isArray = true;
    ReadArray(folder + "/md", device);
  }
  if (!device.slaves.empty() && Contains(entries, "bcache")) device.cached = CachedDevice(folder);
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
    const auto partition = ReadSysfsNumber(partitionFolder + "/partition");
    BlockDevice device;
    if (!partition || !ReadDeviceNumber(ReadText(partitionFolder + "/uevent"), device)) continue;
    device.name = name;
    device.disk = disk.name;
    device.partition = static_cast<unsigned>(*partition);
    device.start = ReadNumber(partitionFolder + "/start");
    device.size = ReadNumber(partitionFolder + "/size");
    device.isRemovable = disk.isRemovable;
    device.holders = SysfsEntries(partitionFolder + "/holders");
    partitions.emplace_back(device.partition, name);
    m_names[device.number] = name;
    m_devices.emplace(name, std::move(device));
  }
  std::ranges::sort(partitions);
  for (auto& [number, name] : partitions) disk.partitionNames.push_back(std::move(name));
}

// Which devices a mounted btrfs lies on; all of them, over how many it may be.
void BlockDevices::ReadPools(const std::string& folder) {
  for (const std::string& identifier : SysfsEntries(folder)) {
    for (const std::string& name : SysfsEntries(Below(folder, identifier) + "/devices")) {
      const auto device = m_devices.find(name);
      if (device == m_devices.end()) continue;
      device->second.pool = identifier;
      m_pools[identifier].push_back(name);
    }
  }
}

void BlockDevices::Number() {
  std::vector<std::string> removable;
  for (const auto& [number, name] : m_names) {
    const BlockDevice& device = m_devices.at(name);
    if (device.IsPartition()) continue;
    m_whole.push_back(name);
    if (device.IsFixedDisk())
      m_disks.push_back(name);
    else if (device.IsDisk())
      removable.push_back(name);
  }
  m_disks.insert(m_disks.end(), removable.begin(), removable.end());
  for (const std::string& name : m_disks) m_diskNumbers.emplace(name, m_diskNumbers.size());
}

std::string BlockDevices::Folder(const BlockDevice& device) const {
  return device.IsPartition() ? Below(Below(m_folder, device.disk), device.name)
                              : Below(m_folder, device.name);
}

const std::vector<std::string>& BlockDevices::Pool(const std::string& identifier) const {
  static const std::vector<std::string> kNone;
  const auto found = m_pools.find(identifier);
  return found != m_pools.end() ? found->second : kNone;
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

std::string DisplayPath(const BlockDevice& device) {
  return device.mapperName.empty() ? NodePath(device.name)
                                   : std::string(kMapperNodes) + device.mapperName;
}

}  // namespace Ondrel::Host
