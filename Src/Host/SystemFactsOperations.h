#pragma once

#include "Host/SystemFactsTypes.h"

#include <functional>

namespace Ondrel::Host {

/// What a host says of its operating system. Names, argument orders and meanings are those of the
/// Win32 functions. Any operation may be absent (empty): that it is, is one of the facts. Of the
/// registry's operations 0 is success.
struct SystemFactsOperations {
  /// Fills a record of the size that it names. May refuse the larger one. Non-zero on success.
  std::function<int(OSVERSIONINFOA* version)> GetVersionExA;

  /// Packed version: the low byte is the major, the next the minor number.
  std::function<ULong()> GetVersion;

  /// The product's value for a version. Non-zero on success.
  std::function<int(ULong major, ULong minor, ULong spMajor, ULong spMinor, ULong* product)>
      GetProductInfo;

  /// The machine as it is.
  std::function<void(SYSTEM_INFO* system)> GetNativeSystemInfo;

  /// The version as it is. 0 on success.
  std::function<std::int32_t(RTL_OSVERSIONINFOEXW* version)> RtlGetVersion;

  /// Four numbers of 16 bits, major first; the family of devices and its form.
  std::function<void(std::uint64_t* version, ULong* family, ULong* form)>
      RtlGetDeviceFamilyInfoEnum;

  /// The machine as this process sees it.
  std::function<void(SYSTEM_INFO* system)> GetSystemInfo;

  std::function<int(int index)> GetSystemMetrics;

  std::function<std::int32_t(void* root, const char* name, ULong options, ULong access, void** key)>
      RegOpenKeyExA;
  std::function<std::int32_t(void* root, const char* name, void** key)> RegOpenKeyA;

  /// Reads a value, or its size alone where `data` is null. A text need not be zero-terminated.
  std::function<std::int32_t(void* key, const char* name, ULong* reserved, ULong* type,
                             unsigned char* data, ULong* size)>
      RegQueryValueExA;
  std::function<std::int32_t(void* key)> RegCloseKey;

  std::function<unsigned int(char* folder, unsigned int size)> GetSystemDirectoryA;
  std::function<ULong(const char* path, ULong* handle)> GetFileVersionInfoSizeA;
  std::function<int(const char* path, ULong handle, ULong size, void* record)> GetFileVersionInfoA;
  std::function<int(const void* record, const char* key, void** value, unsigned int* length)>
      VerQueryValueA;

  /// Wide text as narrow text of a code page. Yields the number of bytes, 0 on failure.
  std::function<int(unsigned int codePage, ULong flags, const WCHAR* wide, int wideLength,
                    char* narrow, int size, const char* substitute, int* wasSubstituted)>
      WideCharToMultiByte;
};

/// The operations in force. A test may put another table in place; nothing else writes it.
SystemFactsOperations& SystemFacts();

/// The operations as this host's provider gives them: `Linux/SystemFactsProvider.cpp` or
/// `Win32/SystemFactsProvider.cpp`.
SystemFactsOperations MakeSystemFactsOperations();

}  // namespace Ondrel::Host
