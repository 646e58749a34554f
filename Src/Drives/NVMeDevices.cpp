#include "Drives/NVMeDevices.h"

#include "Host/DeviceOperations.h"
#include "Host/DrivesOperations.h"

#include <Ondrel/NVMeQuery.h>

#include <algorithm>
#include <cstring>
#include <span>
#include <string_view>

namespace Ondrel::Host {

namespace {

constexpr ULong kAccessDenied = 5;
constexpr ULong kNotSupported = 50;
constexpr char kUnlikelyByte = '\xEE';

// A field of text as the device pads it: with spaces, or with zero bytes.
std::string TextOfField(std::span<const char> field) {
  std::string text(field.begin(), std::ranges::find(field, '\0'));
  for (char& character : text)
    if (character < ' ' || character > '~') character = '?';
  const std::size_t start = std::min(text.find_first_not_of(' '), text.size());
  text.erase(0, start);
  text.erase(text.find_last_not_of(' ') + 1);
  return text;
}

NVMeController ControllerOf(const Disk& disk, const NVME_IDENTIFY_CONTROLLER& data) {
  NVMeController controller;
  controller.name = controller.device = disk.deviceName;
  controller.model = TextOfField(data.MN);
  controller.serial = TextOfField(data.SN);
  controller.firmware = TextOfField(data.FR);
  controller.subsystem = TextOfField(data.SUBNQN);
  return controller;
}

bool IsSameController(const NVMeController& left, const NVMeController& right) {
  return left.serial == right.serial && left.model == right.model &&
         left.subsystem == right.subsystem;
}

}  // namespace

NVMeDevices NVMeDevicesAmong(const std::vector<Disk>& disks) {
  NVMeDevices devices;
  for (const Disk& disk : disks) {
    NVME_IDENTIFY_CONTROLLER data;
    std::memset(static_cast<void*>(&data), kUnlikelyByte, sizeof data);
    const ULong error = NVMeStorageQueryPropertyIdentifyController(disk.deviceName.c_str(), &data);
    if (error == kAccessDenied) devices.error = error;
    // A result of 0 does not prove that the record was written; a model number is ASCII.
    if (error != 0 || data.MN[0] == kUnlikelyByte) continue;
    const NVMeController found = ControllerOf(disk, data);
    const auto known = std::ranges::find_if(
        devices.controllers,
        [&](const NVMeController& controller) { return IsSameController(controller, found); });
    NVMeNamespace nameSpace;
    nameSpace.name = nameSpace.device = disk.deviceName;
    nameSpace.sizeInBytes = disk.sizeInBytes;
    nameSpace.controllers = {known == devices.controllers.end() ? found.name : known->name};
    if (known == devices.controllers.end()) devices.controllers.push_back(found);
    devices.namespaces.push_back(nameSpace);
  }
  return devices;
}

NVMeDevices ListNVMeDevices() {
  return Drives().ListNVMeDevices ? Drives().ListNVMeDevices() : NVMeDevicesAmong(Disks());
}

ULong FindNVMeNamespaceId(const char* device, ULong& id) {
  return Drives().FindNVMeNamespaceId ? Drives().FindNVMeNamespaceId(device, id) : kNotSupported;
}

std::optional<NVME_STATUS_FIELD> LastNVMeRefusal() {
  const std::uint16_t status = Device().LastNVMeStatus ? Device().LastNVMeStatus() : 0;
  if (status == 0) return std::nullopt;
  const auto withPhase = static_cast<std::uint16_t>(status << 1);
  NVME_STATUS_FIELD field;
  std::memcpy(static_cast<void*>(&field), &withPhase, sizeof field);
  return field;
}

}  // namespace Ondrel::Host
