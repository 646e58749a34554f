#include "Host/SystemFactsOperations.h"
#include "Host/Win32/ModuleFunction.h"

namespace Ondrel::Host {

SystemFactsOperations MakeSystemFactsOperations() {
  SystemFactsOperations operations;
  if (auto* const getVersionEx =
          ModuleFunction<decltype(::GetVersionExA)>("KERNEL32.DLL", "GetVersionExA"))
    operations.GetVersionExA = getVersionEx;
  if (auto* const getVersion = ModuleFunction<decltype(::GetVersion)>("KERNEL32.DLL", "GetVersion"))
    operations.GetVersion = getVersion;
  if (auto* const getProductInfo = ModuleFunction<BOOL WINAPI(DWORD, DWORD, DWORD, DWORD, DWORD*)>(
          "KERNEL32.DLL", "GetProductInfo"))
    operations.GetProductInfo = getProductInfo;
  if (auto* const getNativeSystemInfo =
          ModuleFunction<decltype(::GetNativeSystemInfo)>("KERNEL32.DLL", "GetNativeSystemInfo"))
    operations.GetNativeSystemInfo = getNativeSystemInfo;
  if (auto* const rtlGetVersion =
          ModuleFunction<LONG NTAPI(RTL_OSVERSIONINFOEXW*)>("NTDLL.DLL", "RtlGetVersion"))
    operations.RtlGetVersion = rtlGetVersion;
  if (auto* const rtlGetDeviceFamily = ModuleFunction<void NTAPI(ULONGLONG*, DWORD*, DWORD*)>(
          "NTDLL.DLL", "RtlGetDeviceFamilyInfoEnum"))
    operations.RtlGetDeviceFamilyInfoEnum = [rtlGetDeviceFamily](std::uint64_t* version,
                                                                 ULong* family, ULong* form) {
      ULONGLONG packed = 0;
      rtlGetDeviceFamily(&packed, family, form);
      *version = packed;
    };
  operations.GetSystemInfo = ::GetSystemInfo;
  operations.GetSystemMetrics = ::GetSystemMetrics;
  operations.RegOpenKeyExA = [](void* root, const char* name, ULong options, ULong access,
                                void** key) -> std::int32_t {
    return ::RegOpenKeyExA(static_cast<HKEY>(root), name, options, access,
                           reinterpret_cast<HKEY*>(key));
  };
  operations.RegOpenKeyA = [](void* root, const char* name, void** key) -> std::int32_t {
    return ::RegOpenKeyA(static_cast<HKEY>(root), name, reinterpret_cast<HKEY*>(key));
  };
  operations.RegQueryValueExA = [](void* key, const char* name, ULong* reserved, ULong* type,
                                   unsigned char* data, ULong* size) -> std::int32_t {
    return ::RegQueryValueExA(static_cast<HKEY>(key), name, reserved, type, data, size);
  };
  operations.RegCloseKey = [](void* key) -> std::int32_t {
    return ::RegCloseKey(static_cast<HKEY>(key));
  };
  operations.GetSystemDirectoryA = ::GetSystemDirectoryA;
  operations.GetFileVersionInfoSizeA = ::GetFileVersionInfoSizeA;
  operations.GetFileVersionInfoA = ::GetFileVersionInfoA;
  operations.VerQueryValueA = ::VerQueryValueA;
  operations.WideCharToMultiByte = ::WideCharToMultiByte;
  return operations;
}

}  // namespace Ondrel::Host
