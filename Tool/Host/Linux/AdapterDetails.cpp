#include "Tool/Host/Linux/AdapterDetails.h"

#include "Tool/Output.h"
#include "Tool/PciNames.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <map>
#include <system_error>
#include <unistd.h>

namespace Tool {

namespace {

namespace fs = std::filesystem;

constexpr const char* kNamesFiles[] = {"/usr/share/misc/pci.ids", "/usr/share/hwdata/pci.ids"};

std::string FirstLineOf(const fs::path& path) {
  std::ifstream file(path);
  std::string line;
  std::getline(file, line);
  return line;
}

/// Empty for a file that cannot be read.
std::string ContentOf(const fs::path& path) {
  std::error_code error;
  const std::uintmax_t size = fs::file_size(path, error);
  if (error) return "";
  std::string content(size, '\0');
  std::ifstream file(path, std::ios::binary);
  file.read(content.data(), static_cast<std::streamsize>(size));
  content.resize(static_cast<std::size_t>(file.gcount()));
  return content;
}

/// Names in a folder, in order; none where there is no such folder.
std::vector<std::string> NamesIn(const fs::path& folder) {
  std::vector<std::string> names;
  std::error_code error;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder, error))
    names.push_back(entry.path().filename());
  std::ranges::sort(names);
  return names;
}

/// Adds the folder's names on its way, such as "0000:00:1f.2", to the disk's devices.
void AddFoldersOnWay(const fs::path& path, std::vector<std::string>& folders) {
  std::error_code error;
  const fs::path real = fs::canonical(path, error);
  if (error) return;
  for (const fs::path& folder : real) folders.push_back(folder);
}

/// The folders on a disk's way through the tree of devices. Where several controllers lead to one
/// NVMe disk it hangs below their subsystem, and all their ways are its own.
std::vector<std::string> FoldersOnWay(const fs::path& disk) {
  std::vector<std::string> folders;
  AddFoldersOnWay(disk, folders);
  const bool isShared = std::ranges::any_of(
      folders, [](const std::string& folder) { return folder.starts_with("nvme-subsys"); });
  std::error_code error;
  const fs::path parent = fs::canonical(disk, error).parent_path();
  if (!isShared || error) return folders;
  for (const std::string& name : NamesIn(parent))
    if (fs::is_symlink(parent / name, error)) AddFoldersOnWay(parent / name, folders);
  return folders;
}

/// A disk's names compare by length first: sdb before sdaa.
bool IsDiskBefore(const std::string& left, const std::string& right) {
  return left.size() != right.size() ? left.size() < right.size() : left < right;
}

}  // namespace

std::vector<AdapterDetails> DetailsFrom(const std::string& sysfs, const std::string& namesList,
                                        const std::vector<Ondrel::CDevNode>& adapters) {
  const PciNames names(ContentOf(namesList));

  std::vector<AdapterDetails> details(adapters.size());
  std::map<std::string, std::size_t> places;
  for (std::size_t i = 0; i < adapters.size(); ++i) {
    const Ondrel::CDevNode& adapter = adapters[i];
    const std::string location =
        PciLocation(adapter.m_Segment, adapter.m_Bus, adapter.m_Device, adapter.m_Function);
    places[location] = i;
    const fs::path folder = fs::path(sysfs) / "bus/pci/devices" / location;
    details[i].vendor = names.Vendor(adapter.m_VendorId);
    details[i].device = names.Device(adapter.m_VendorId, adapter.m_DeviceId);
    const std::string code = FirstLineOf(folder / "class");
    if (code.starts_with("0x")) details[i].className = names.Class(code.substr(2));
    std::error_code error;
    details[i].driver = fs::read_symlink(folder / "driver", error).filename();
  }
  for (const std::string& name : NamesIn(fs::path(sysfs) / "block")) {
    const fs::path disk = fs::path(sysfs) / "block" / name;
    // The single ways to a shared NVMe disk are not disks of their own.
    if (FirstLineOf(disk / "hidden") == "1") continue;
    for (const std::string& folder : FoldersOnWay(disk)) {
      const auto place = places.find(folder);
      if (place == places.end()) continue;
      std::vector<std::string>& disks = details[place->second].disks;
      const std::string node = "/dev/" + name;
      if (std::ranges::find(disks, node) == disks.end()) disks.push_back(node);
    }
  }
  for (AdapterDetails& adapter : details) std::ranges::sort(adapter.disks, IsDiskBefore);
  return details;
}

std::string PciNamesFile() {
  for (const char* path : kNamesFiles)
    if (::access(path, R_OK) == 0) return path;
  return "";
}

std::vector<AdapterDetails> DetailsOf(const std::vector<Ondrel::CDevNode>& adapters) {
  return DetailsFrom("/sys", PciNamesFile(), adapters);
}

}  // namespace Tool
