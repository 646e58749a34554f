#include "Host/DeviceSetupOperations.h"

namespace Ondrel::Host {

DeviceSetupOperations MakeDeviceSetupOperations() {
  return {
      .SetupDiGetClassDevsA =
          [](const GUID* classGuid, const char* enumerator, void* window, DWORD flags) {
            return static_cast<void*>(
                ::SetupDiGetClassDevsA(classGuid, enumerator, static_cast<HWND>(window), flags));
          },
      .SetupDiEnumDeviceInfo = ::SetupDiEnumDeviceInfo,
      .SetupDiGetDeviceRegistryPropertyA = ::SetupDiGetDeviceRegistryPropertyA,
      .SetupDiDestroyDeviceInfoList = ::SetupDiDestroyDeviceInfoList,
  };
}

}  // namespace Ondrel::Host
