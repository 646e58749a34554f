#pragma once

#include "Host/Types.h"

/// The published records and constants of device setup.

#if defined(_WIN32)

#include <setupapi.h>

#else

namespace Ondrel {

struct GUID {
  std::uint32_t Data1;
  std::uint16_t Data2;
  std::uint16_t Data3;
  std::uint8_t Data4[8];
};

/// One device of a device information set.
struct SP_DEVINFO_DATA {
  DWORD cbSize;             ///< Bytes of this record, set by the caller.
  GUID ClassGuid;           ///< The device's setup class.
  DWORD DevInst;            ///< The device, in a numbering of the host's own.
  std::uintptr_t Reserved;  ///< The host's own.
};

inline constexpr DWORD DIGCF_PRESENT = 0x02;
inline constexpr DWORD DIGCF_ALLCLASSES = 0x04;
inline constexpr DWORD DIGCF_PROFILE = 0x08;

inline constexpr DWORD SPDRP_HARDWAREID = 1;
inline constexpr DWORD SPDRP_CLASS = 7;
inline constexpr DWORD SPDRP_CLASSGUID = 8;
inline constexpr DWORD SPDRP_BUSNUMBER = 21;
inline constexpr DWORD SPDRP_ADDRESS = 28;

inline constexpr DWORD REG_SZ = 1;
inline constexpr DWORD REG_DWORD = 4;
inline constexpr DWORD REG_MULTI_SZ = 7;

inline constexpr DWORD ERROR_NO_MORE_ITEMS = 259;
inline constexpr DWORD ERROR_INVALID_USER_BUFFER = 1784;

}  // namespace Ondrel

#endif

namespace Ondrel {

static_assert(sizeof(SP_DEVINFO_DATA) == 32);
static_assert(offsetof(SP_DEVINFO_DATA, cbSize) == 0);
static_assert(offsetof(SP_DEVINFO_DATA, ClassGuid) == 4);
static_assert(offsetof(SP_DEVINFO_DATA, DevInst) == 20);
static_assert(offsetof(SP_DEVINFO_DATA, Reserved) == 24);

}  // namespace Ondrel
