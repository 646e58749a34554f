#include "Host/Linux/Drives/NVMeList.h"

#include "Host/Linux/Drives/DriveFiles.h"
#include "Host/Linux/LastError.h"

#include <algorithm>
#include <tuple>

namespace Ondrel::Host {

namespace {

// The kernel counts a disk in these whatever the size of its blocks.
constexpr std::uint64_t kSectorSize = 512;

/// Takes digits from the start of `text`; yields them.
std::string_view TakeDigits(std::string_view& text) {
  const std::size_t end = std::min(text.find_first_not_of("0123456789"), text.size());
  const std::string_view digits = text.substr(0, end);
  text.remove_prefix(end);
  return digits;
}

bool Take(std::string_view& text, std::string_view start) {
  if (!text.starts_with(start)) return false;
  text.remove_prefix(start.size());
  return true;
}

// nvme2 comes before nvme10.
bool IsBefore(const std::string& left, const std::string& right) {
  return std::tuple(left.size(), left) < std::tuple(right.size(), right);
}

std::string PrintableIn(const std::string& folder, const char* file) {
  return PrintableOf(TextOf(folder + file));
}

NVMeController ControllerIn(const std::string& folder, const std::string& name) {
  NVMeController controller;
  controller.name = name;
  controller.device = "/dev/" + name;
  controller.model = PrintableIn(folder, "/model");
  controller.serial = PrintableIn(folder, "/serial");
  controller.firmware = PrintableIn(folder, "/firmware_rev");
  controller.subsystem = PrintableIn(folder, "/subsysnqn");
  controller.state = PrintableIn(folder, "/state");
  controller.transport = PrintableIn(folder, "/transport");
  controller.address = PrintableIn(folder, "/address");
  return controller;
}

NVMeNamespace NamespaceIn(const std::string& folder, const std::string& name) {
  NVMeNamespace nameSpace;
  nameSpace.name = name;
  nameSpace.device = "/dev/" + name;
  nameSpace.id = static_cast<ULong>(NumberOf(folder + "/nsid"));
  nameSpace.sizeInBytes = NumberOf(folder + "/size") * kSectorSize;
  nameSpace.blockSize = static_cast<ULong>(NumberOf(folder + "/queue/logical_block_size"));
  return nameSpace;
}

}  // namespace

std::optional<std::string> NVMeDiskOf(std::string_view entry) {
  if (!Take(entry, "nvme")) return std::nullopt;
  const std::string_view device = TakeDigits(entry);
  if (device.empty()) return std::nullopt;
  if (Take(entry, "c") && TakeDigits(entry).empty()) return std::nullopt;
  if (!Take(entry, "n")) return std::nullopt;
  const std::string_view number = TakeDigits(entry);
  if (number.empty() || !entry.empty()) return std::nullopt;
  return "nvme" + std::string(device) + "n" + std::string(number);
}

NVMeDevices ReadNVMeDevices(const std::string& sysfs) {
  TakeSysfsShortage();
  NVMeDevices devices;
  const std::string classFolder = sysfs + "/class/nvme";
  const std::string diskFolder = sysfs + "/block";
  const auto pathIn = [](std::string folder, const std::string& name) {
    return folder.append("/").append(name);
  };
  for (const std::string& name : SysfsEntries(classFolder)) {
    const std::string folder = pathIn(classFolder, name);
    devices.controllers.push_back(ControllerIn(folder, name));
    for (const std::string& entry : SysfsEntries(folder)) {
      const std::optional<std::string> disk = NVMeDiskOf(entry);
      if (!disk) continue;
      auto known = std::ranges::find(devices.namespaces, *disk, &NVMeNamespace::name);
      if (known == devices.namespaces.end()) {
        // The disk of several ways lies beside them; what is not a disk yet has its way alone.
        const std::string shown = pathIn(diskFolder, *disk);
        const bool isShown = ReadTextOf(shown + "/size").has_value();
        devices.namespaces.push_back(NamespaceIn(isShown ? shown : pathIn(folder, entry), *disk));
        known = devices.namespaces.end() - 1;
      }
      known->controllers.push_back(name);
    }
  }
  std::ranges::sort(devices.controllers, IsBefore, &NVMeController::name);
  std::ranges::sort(devices.namespaces, IsBefore, &NVMeNamespace::name);
  for (NVMeNamespace& nameSpace : devices.namespaces)
    std::ranges::sort(nameSpace.controllers, IsBefore);
  if (const int shortage = TakeSysfsShortage(); shortage != 0)
    devices.error = ErrorFromErrno(shortage);
  return devices;
}

}  // namespace Ondrel::Host
