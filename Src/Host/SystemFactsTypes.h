#pragma once

#include "Host/Types.h"

/// The published records of version, machine and registry.

#if defined(_WIN32)

#include <winver.h>

#else

namespace Ondrel {

/// A unit of UTF-16.
using WCHAR = char16_t;

struct OSVERSIONINFOA {
  DWORD dwOSVersionInfoSize;  ///< The size of the record that the caller gives.
  DWORD dwMajorVersion;
  DWORD dwMinorVersion;
  DWORD dwBuildNumber;
  DWORD dwPlatformId;
  char szCSDVersion[128];
};

struct OSVERSIONINFOEXA {
  DWORD dwOSVersionInfoSize;
  DWORD dwMajorVersion;
  DWORD dwMinorVersion;
  DWORD dwBuildNumber;
  DWORD dwPlatformId;
  char szCSDVersion[128];
  WORD wServicePackMajor;
  WORD wServicePackMinor;
  WORD wSuiteMask;
  std::uint8_t wProductType;
  std::uint8_t wReserved;
};

struct RTL_OSVERSIONINFOEXW {
  DWORD dwOSVersionInfoSize;
  DWORD dwMajorVersion;
  DWORD dwMinorVersion;
  DWORD dwBuildNumber;
  DWORD dwPlatformId;
  WCHAR szCSDVersion[128];
  WORD wServicePackMajor;
  WORD wServicePackMinor;
  WORD wSuiteMask;
  std::uint8_t wProductType;
  std::uint8_t wReserved;
};

struct SYSTEM_INFO {
  WORD wProcessorArchitecture;
  WORD wReserved;
  DWORD dwPageSize;
  void* lpMinimumApplicationAddress;
  void* lpMaximumApplicationAddress;
  std::uintptr_t dwActiveProcessorMask;
  DWORD dwNumberOfProcessors;
  DWORD dwProcessorType;
  DWORD dwAllocationGranularity;
  WORD wProcessorLevel;
  WORD wProcessorRevision;
};

struct VS_FIXEDFILEINFO {
  DWORD dwSignature;
  DWORD dwStrucVersion;
  DWORD dwFileVersionMS;
  DWORD dwFileVersionLS;
  DWORD dwProductVersionMS;
  DWORD dwProductVersionLS;
  DWORD dwFileFlagsMask;
  DWORD dwFileFlags;
  DWORD dwFileOS;
  DWORD dwFileType;
  DWORD dwFileSubtype;
  DWORD dwFileDateMS;
  DWORD dwFileDateLS;
};

/// The root of the machine's settings.
inline void* const HKEY_LOCAL_MACHINE =
    reinterpret_cast<void*>(static_cast<std::intptr_t>(static_cast<std::int32_t>(0x80000002)));

inline constexpr int SM_TABLETPC = 86;
inline constexpr int SM_MEDIACENTER = 87;
inline constexpr int SM_STARTER = 88;
inline constexpr int SM_SERVERR2 = 89;

}  // namespace Ondrel

#endif

namespace Ondrel {

static_assert(sizeof(WCHAR) == 2);
static_assert(sizeof(OSVERSIONINFOA) == 148);
static_assert(sizeof(OSVERSIONINFOEXA) == 156);
static_assert(offsetof(OSVERSIONINFOEXA, wSuiteMask) == 152);
static_assert(offsetof(OSVERSIONINFOEXA, wProductType) == 154);
static_assert(sizeof(RTL_OSVERSIONINFOEXW) == 284);
static_assert(offsetof(RTL_OSVERSIONINFOEXW, szCSDVersion) == 20);
static_assert(sizeof(SYSTEM_INFO) == 48);
static_assert(sizeof(VS_FIXEDFILEINFO) == 52);
static_assert(offsetof(VS_FIXEDFILEINFO, dwFileVersionLS) == 12);

}  // namespace Ondrel
