#include "Host/Immortal.h"
#include "Host/Linux/Devices/DeviceSetup.h"
#include "Host/Linux/HandleTable.h"
#include "Host/Linux/LastError.h"
#include "Host/Linux/Sysfs.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>
#include <optional>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

namespace Ondrel::Host {

namespace {

struct Location {
  std::uint32_t segment = 0;
  std::uint32_t bus = 0;
  std::uint32_t device = 0;
  std::uint32_t function = 0;
};

struct SetupClass {
  const char* name;
  const char* guidText;
  GUID guid;
};

struct PciDevice {
  std::string folder;
  Location location;
  const SetupClass* setupClass = nullptr;  // Null for what is not storage.
};

struct DeviceSet {
  std::vector<PciDevice> devices;
};

constexpr SetupClass kStorageClass{
    "SCSIAdapter",
    "{4d36e97b-e325-11ce-bfc1-08002be10318}",
    {0x4D36E97B, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}}};
constexpr SetupClass kDiskControllerClass{
    "HDC",
    "{4d36e96a-e325-11ce-bfc1-08002be10318}",
    {0x4D36E96A, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}}};

/// Cuts a hexadecimal number off the front of `text`, with the separator after it.
bool TakeHexadecimal(std::string_view& text, char separator, std::uint32_t& number) {
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, number, 16);
  if (error != std::errc()) return false;
  if (separator == '\0') return rest == end;
  if (rest == end || *rest != separator) return false;
  text.remove_prefix(static_cast<std::size_t>(rest - text.data()) + 1);
  return true;
}

/// The location in a folder's name, "0000:00:1f.2".
std::optional<Location> LocationOf(std::string_view name) {
  Location location;
  if (!TakeHexadecimal(name, ':', location.segment) || !TakeHexadecimal(name, ':', location.bus) ||
      !TakeHexadecimal(name, '.', location.device) ||
      !TakeHexadecimal(name, '\0', location.function))
    return std::nullopt;
  return location;
}

/// The number in a file of the kernel's, such as "0x010601".
std::optional<std::uint32_t> ReadNumber(const std::string& folder, const char* name) {
  const std::optional<std::uint64_t> number = ReadSysfsNumber(folder + name, 16);
  if (!number || *number > std::numeric_limits<std::uint32_t>::max()) return std::nullopt;
  return static_cast<std::uint32_t>(*number);
}

/// The setup class of a PCI class code: mass storage is the one, its IDE and SATA controllers the
/// other. Null for everything else.
const SetupClass* SetupClassOf(const std::string& folder) {
  constexpr std::uint32_t kMassStorage = 0x01;
  constexpr std::uint32_t kIde = 0x01;
  constexpr std::uint32_t kSata = 0x06;

  const std::optional<std::uint32_t> code = ReadNumber(folder, "class");
  if (!code || (*code >> 16U) != kMassStorage) return nullptr;
  const std::uint32_t subclass = (*code >> 8U) & 0xFFU;
  return subclass == kIde || subclass == kSata ? &kDiskControllerClass : &kStorageClass;
}

std::string Formatted(const char* format, std::uint32_t first, std::uint32_t second) {
  std::array<char, 48> text{};
  // The formats are those below.
  const int size = std::snprintf(text.data(), text.size(), format, first, second);
  return {text.data(), static_cast<std::size_t>(size)};
}

/// The hardware ids from the most to the least exact, each with a zero byte after it.
std::optional<std::string> HardwareIdsOf(const PciDevice& device) {
  const auto vendor = ReadNumber(device.folder, "vendor");
  const auto type = ReadNumber(device.folder, "device");
  if (!vendor || !type) return std::nullopt;
  const std::uint32_t subsystemVendor = ReadNumber(device.folder, "subsystem_vendor").value_or(0);
  const std::uint32_t subsystem = ReadNumber(device.folder, "subsystem_device").value_or(0);
  const std::uint32_t revision = ReadNumber(device.folder, "revision").value_or(0);

  const std::string id = Formatted("PCI\\VEN_%04X&DEV_%04X", *vendor & 0xFFFFU, *type & 0xFFFFU);
  const std::string withSubsystem =
      id + Formatted("&SUBSYS_%04X%04X", subsystem & 0xFFFFU, subsystemVendor & 0xFFFFU);
  const std::string exact = withSubsystem + Formatted("&REV_%02X", revision & 0xFFU, 0);

  std::string ids;
  for (const std::string* text : {&exact, &withSubsystem, &id})
    ids.append(text->c_str(), text->size() + 1);
  return ids;
}

std::string BytesOf(std::uint32_t number) {
  std::string bytes(sizeof(number), '\0');
  std::memcpy(bytes.data(), &number, sizeof(number));
  return bytes;
}

struct Property {
  DWORD type;
  std::string bytes;
};

std::string WithEnd(const char* text) { return {text, std::strlen(text) + 1}; }

std::optional<Property> PropertyOf(const PciDevice& device, DWORD property) {
  switch (property) {
    case SPDRP_CLASS:
    case SPDRP_CLASSGUID: {
      if (device.setupClass == nullptr) return std::nullopt;
      const bool isName = property == SPDRP_CLASS;
      return Property{REG_SZ,
                      WithEnd(isName ? device.setupClass->name : device.setupClass->guidText)};
    }
    case SPDRP_ADDRESS:
      return Property{REG_DWORD, BytesOf(device.location.device << 16U | device.location.function)};
    case SPDRP_BUSNUMBER:
      return Property{REG_DWORD, BytesOf(device.location.segment << 8U | device.location.bus)};
    case SPDRP_HARDWAREID: {
      std::optional<std::string> ids = HardwareIdsOf(device);
      if (!ids) return std::nullopt;
      return Property{REG_MULTI_SZ, *ids + '\0'};
    }
    default:
      return std::nullopt;
  }
}

std::vector<PciDevice> DevicesOf(const std::string& root) {
  std::vector<PciDevice> devices;
  // A machine without this bus has no such folder.
  for (const std::string& name : SysfsEntries(root)) {
    const std::optional<Location> location = LocationOf(name);
    if (!location) continue;
    std::string path = root;
    path.append("/").append(name).append("/");
    const SetupClass* const setupClass = SetupClassOf(path);
    devices.push_back({std::move(path), *location, setupClass});
  }

  const auto inOrder = [](const PciDevice& device) {
    const Location& at = device.location;
    return std::tie(at.segment, at.bus, at.device, at.function);
  };
  std::sort(devices.begin(), devices.end(), [&](const PciDevice& left, const PciDevice& right) {
    return inOrder(left) < inOrder(right);
  });
  return devices;
}

HandleTable<DeviceSet>& Sets() {
  static Immortal<HandleTable<DeviceSet>> sets;
  return sets.Get();
}

void* GetClassDevs(const std::string& root, const GUID* classGuid, DWORD flags) {
  // Without a class, all of them have to be asked for.
  if (classGuid == nullptr && (flags & DIGCF_ALLCLASSES) == 0)
    return Fail(ERROR_INVALID_PARAMETER, INVALID_HANDLE_VALUE);
  if (classGuid != nullptr) return Fail(ERROR_NOT_SUPPORTED, INVALID_HANDLE_VALUE);
  return Sets().Add(std::make_shared<DeviceSet>(DeviceSet{DevicesOf(root)}));
}

int EnumDeviceInfo(const void* handle, DWORD index, SP_DEVINFO_DATA* device) {
  const std::shared_ptr<DeviceSet> set = Sets().Find(handle);
  if (set == nullptr) return Fail(ERROR_INVALID_HANDLE);
  if (device == nullptr || device->cbSize != sizeof(SP_DEVINFO_DATA))
    return Fail(ERROR_INVALID_USER_BUFFER);
  if (index >= set->devices.size()) return Fail(ERROR_NO_MORE_ITEMS);

  const SetupClass* const setupClass = set->devices[index].setupClass;
  device->ClassGuid = setupClass != nullptr ? setupClass->guid : GUID{};
  device->DevInst = index + 1;
  device->Reserved = 0;
  return 1;
}

int GetDeviceRegistryProperty(const void* handle, const SP_DEVINFO_DATA* device, DWORD property,
                              DWORD* type, unsigned char* buffer, DWORD size, DWORD* needed) {
  const std::shared_ptr<DeviceSet> set = Sets().Find(handle);
  if (set == nullptr) return Fail(ERROR_INVALID_HANDLE);
  if (device == nullptr || device->DevInst == 0 || device->DevInst > set->devices.size())
    return Fail(ERROR_INVALID_PARAMETER);

  const std::optional<Property> value = PropertyOf(set->devices[device->DevInst - 1], property);
  if (!value) return Fail(ERROR_INVALID_DATA);
  if (needed != nullptr) *needed = static_cast<DWORD>(value->bytes.size());
  if (buffer == nullptr || size < value->bytes.size()) return Fail(ERROR_INSUFFICIENT_BUFFER);
  if (type != nullptr) *type = value->type;
  std::copy(value->bytes.begin(), value->bytes.end(), buffer);
  return 1;
}

int DestroyDeviceInfoList(const void* handle) {
  return Sets().Remove(handle) != nullptr ? 1 : Fail(ERROR_INVALID_HANDLE);
}

}  // namespace

DeviceSetupOperations MakePciDeviceSetupOperations(const std::string& root) {
  return {
      .SetupDiGetClassDevsA = [root](const GUID* classGuid, const char*, void*,
                                     DWORD flags) { return GetClassDevs(root, classGuid, flags); },
      .SetupDiEnumDeviceInfo = EnumDeviceInfo,
      .SetupDiGetDeviceRegistryPropertyA = GetDeviceRegistryProperty,
      .SetupDiDestroyDeviceInfoList = DestroyDeviceInfoList,
  };
}

DeviceSetupOperations MakeDeviceSetupOperations() {
  return MakePciDeviceSetupOperations("/sys/bus/pci/devices");
}

}  // namespace Ondrel::Host
