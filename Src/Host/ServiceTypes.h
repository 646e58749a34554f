#pragma once

#include "Host/Types.h"

/// The published records of privileges.

#if !defined(_WIN32)

namespace Ondrel {

/// Names a privilege on this machine.
struct LUID {
  DWORD LowPart;
  std::int32_t HighPart;
};

struct LUID_AND_ATTRIBUTES {
  LUID Luid;
  DWORD Attributes;
};

/// The head of a list of privileges, with room for one.
struct TOKEN_PRIVILEGES {
  DWORD PrivilegeCount;
  LUID_AND_ATTRIBUTES Privileges[1];
};

inline constexpr DWORD SE_PRIVILEGE_ENABLED = 2;
inline constexpr DWORD TOKEN_QUERY = 0x08;
inline constexpr DWORD TOKEN_ADJUST_PRIVILEGES = 0x20;
inline constexpr DWORD ERROR_NOT_ALL_ASSIGNED = 1300;
inline constexpr DWORD ERROR_NO_SUCH_PRIVILEGE = 1313;
inline constexpr DWORD ERROR_RESOURCE_TYPE_NOT_FOUND = 1813;

}  // namespace Ondrel

#endif

namespace Ondrel {

static_assert(sizeof(TOKEN_PRIVILEGES) == 16);
static_assert(offsetof(TOKEN_PRIVILEGES, Privileges) == 4);
static_assert(offsetof(LUID_AND_ATTRIBUTES, Attributes) == 8);

}  // namespace Ondrel
