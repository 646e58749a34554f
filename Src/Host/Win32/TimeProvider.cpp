#include "Host/TimeOperations.h"
#include "Host/Win32/ModuleFunction.h"

namespace Ondrel::Host {

TimeOperations MakeTimeOperations() {
  return TimeOperations{
      .FileTimeToSystemTime = ::FileTimeToSystemTime,
      .SystemTimeToFileTime = ::SystemTimeToFileTime,
      .SystemTimeToTzSpecificLocalTime = ::SystemTimeToTzSpecificLocalTime,
      .TzSpecificLocalTimeToSystemTime =
          ModuleFunction<decltype(::TzSpecificLocalTimeToSystemTime)>(
              "KERNEL32.DLL", "TzSpecificLocalTimeToSystemTime"),
      .LocalFileTimeToFileTime = ::LocalFileTimeToFileTime,
      .GetTimeZoneInformation = ::GetTimeZoneInformation,
      .NtQuerySystemInformation = ModuleFunction<LONG NTAPI(int, void*, ULONG, ULONG*)>(
          "ntdll", "NtQuerySystemInformation"),
  };
}

}  // namespace Ondrel::Host
