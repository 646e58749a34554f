#pragma once

#include "Host/DeviceSetupOperations.h"
#include "Support/PreparedOperations.h"
#include "Windows/DeviceList.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace Ondrel::Testing {

/// The four bytes of a number property.
inline std::string NumberProperty(std::uint32_t number) {
  std::string bytes(sizeof(number), '\0');
  std::memcpy(bytes.data(), &number, sizeof(number));
  return bytes;
}

/// A device by its properties. One that a test does not give cannot be read.
using PreparedDevice = std::map<DWORD, std::string>;

/// A storage controller that reports all it has to: segment 0, bus 5, device 31, function 2.
inline PreparedDevice StorageController() {
  return {
      {SPDRP_CLASS, "SCSIAdapter"},
      {SPDRP_CLASSGUID, "{4d36e97b-e325-11ce-bfc1-08002be10318}"},
      {SPDRP_ADDRESS, NumberProperty(0x001F0002)},
      {SPDRP_BUSNUMBER, NumberProperty(0x05)},
      {SPDRP_HARDWAREID, "PCI\\VEN_8086&DEV_2922&SUBSYS_00000000&REV_02"},
  };
}

/// The list of devices of a host that a test makes up, and what was asked of it. The library's own
/// list is empty at the begin and is emptied at the end.
class PreparedDeviceSetup {
public:
  PreparedDeviceSetup() : m_inPlace(Host::DeviceSetup(), Operations()) {
    CDeviceList::Devices().clear();
  }
  ~PreparedDeviceSetup() { CDeviceList::Devices().clear(); }

  PreparedDeviceSetup(const PreparedDeviceSetup&) = delete;
  PreparedDeviceSetup& operator=(const PreparedDeviceSetup&) = delete;

  std::vector<PreparedDevice> devices;
  bool refusesTheSet = false;

  std::vector<DWORD> askedFlags;  ///< Of each set that was asked for.
  int setsGivenBack = 0;
  std::vector<DWORD> askedProperties;  ///< In order, of all devices.
  std::vector<DWORD> askedSizes;
  std::vector<DWORD> recordSizes;
  bool isAskedForMore = false;  ///< A class, an enumerator, a window, a type or a size needed.

private:
  static constexpr std::uintptr_t kSet = 0x4444;

  Host::DeviceSetupOperations Operations() {
    return {
        .SetupDiGetClassDevsA =
            [this](const GUID* classGuid, const char* enumerator, void* window, DWORD flags) {
              askedFlags.push_back(flags);
              isAskedForMore |= classGuid != nullptr || enumerator != nullptr || window != nullptr;
              return refusesTheSet ? INVALID_HANDLE_VALUE : reinterpret_cast<void*>(kSet);
            },
        .SetupDiEnumDeviceInfo =
            [this](void* set, DWORD index, SP_DEVINFO_DATA* device) {
              recordSizes.push_back(device->cbSize);
              if (reinterpret_cast<std::uintptr_t>(set) != kSet || index >= devices.size())
                return 0;
              device->DevInst = index;
              return 1;
            },
        .SetupDiGetDeviceRegistryPropertyA =
            [this](void*, SP_DEVINFO_DATA* device, DWORD property, DWORD* type,
                   unsigned char* buffer, DWORD size, DWORD* needed) {
              askedProperties.push_back(property);
              askedSizes.push_back(size);
              isAskedForMore |= type != nullptr || needed != nullptr;
              const PreparedDevice& prepared = devices.at(device->DevInst);
              const auto value = prepared.find(property);
              if (value == prepared.end()) return 0;
              const std::size_t bytes = std::min<std::size_t>(size, value->second.size() + 1);
              std::memcpy(buffer, value->second.c_str(), bytes);
              return 1;
            },
        .SetupDiDestroyDeviceInfoList =
            [this](void* set) {
              if (reinterpret_cast<std::uintptr_t>(set) == kSet) ++setsGivenBack;
              return 1;
            },
    };
  }

  PreparedOperations<Host::DeviceSetupOperations> m_inPlace;
};

}  // namespace Ondrel::Testing
