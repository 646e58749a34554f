#include "Host/Linux/LastError.h"
#include "Host/Linux/Services/Drivers.h"
#include "Host/Linux/Services/Privileges.h"
#include "Host/Linux/Services/Speaker.h"
#include "Host/ServiceOperations.h"

namespace Ondrel::Host {

namespace {

int Beep(ULong frequency, ULong milliseconds) {
  constexpr ULong kLowest = 37;
  constexpr ULong kHighest = 32767;
  if (frequency < kLowest || frequency > kHighest) return Fail(ERROR_INVALID_PARAMETER);
  return SoundSpeaker(frequency, milliseconds) ? 1 : Fail(ERROR_NOT_SUPPORTED);
}

}  // namespace

ServiceOperations MakeServiceOperations() {
  return ServiceOperations{
      .EnumDeviceDrivers = EnumDeviceDrivers,
      .GetDeviceDriverBaseNameA = GetDeviceDriverBaseName,
      .GetSystemDirectoryA = GetSystemDirectory,
      // Programs of all widths see the same folders.
      .GetSystemWow64DirectoryA = nullptr,
      .GetFileVersionInfoSizeA = GetFileVersionInfoSize,
      .GetFileVersionInfoA = GetFileVersionInfo,
      .VerQueryValueA = VerQueryValue,
      .LookupPrivilegeValueA = LookupPrivilegeValue,
      .GetCurrentProcess = [] { return INVALID_HANDLE_VALUE; },
      .OpenProcessToken = OpenProcessToken,
      .AdjustTokenPrivileges = AdjustTokenPrivileges,
      .CloseHandle = [](void*) { return 1; },
      .InitiateSystemShutdownA = InitiateSystemShutdown,
      .Beep = Beep,
      .GetLastError = LastError,
  };
}

}  // namespace Ondrel::Host
