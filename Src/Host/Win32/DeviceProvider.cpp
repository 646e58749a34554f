#include "Host/DeviceOperations.h"

namespace Ondrel::Host {

DeviceOperations MakeDeviceOperations() {
  return DeviceOperations{
      .CreateFileA = [](const char* name, ULong access, ULong shareMode, void* security,
                        ULong disposition, ULong flags, void* templateFile) -> void* {
        return ::CreateFileA(name, access, shareMode, static_cast<SECURITY_ATTRIBUTES*>(security),
                             disposition, flags, templateFile);
      },
      .DeviceIoControl = [](void* device, ULong controlCode, void* input, ULong inputSize,
                            void* output, ULong outputSize, ULong* bytesReturned,
                            void* overlapped) -> int {
        return ::DeviceIoControl(device, controlCode, input, inputSize, output, outputSize,
                                 bytesReturned, static_cast<OVERLAPPED*>(overlapped));
      },
      .CloseHandle = [](void* handle) -> int { return ::CloseHandle(handle); },
      .GetLastError = ::GetLastError,
  };
}

}  // namespace Ondrel::Host
