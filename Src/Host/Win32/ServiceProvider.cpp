#include "Host/ServiceOperations.h"
#include "Host/Win32/ModuleFunction.h"

#ifndef PSAPI_VERSION
#define PSAPI_VERSION 1
#endif
#include <psapi.h>
#include <winver.h>

namespace Ondrel::Host {

ServiceOperations MakeServiceOperations() {
  return ServiceOperations{
      .EnumDeviceDrivers = ::EnumDeviceDrivers,
      .GetDeviceDriverBaseNameA = ::GetDeviceDriverBaseNameA,
      .GetSystemDirectoryA = ::GetSystemDirectoryA,
      .GetSystemWow64DirectoryA = ModuleFunction<decltype(::GetSystemWow64DirectoryA)>(
          "kernel32.dll", "GetSystemWow64DirectoryA"),
      .GetFileVersionInfoSizeA = ::GetFileVersionInfoSizeA,
      .GetFileVersionInfoA = ::GetFileVersionInfoA,
      .VerQueryValueA = ::VerQueryValueA,
      .LookupPrivilegeValueA = ::LookupPrivilegeValueA,
      .GetCurrentProcess = ::GetCurrentProcess,
      .OpenProcessToken = ::OpenProcessToken,
      .AdjustTokenPrivileges = ::AdjustTokenPrivileges,
      .CloseHandle = ::CloseHandle,
      .InitiateSystemShutdownA = ::InitiateSystemShutdownA,
      .Beep = ::Beep,
      .GetLastError = ::GetLastError,
  };
}

}  // namespace Ondrel::Host
