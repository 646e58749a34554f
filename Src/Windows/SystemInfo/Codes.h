#pragma once

#include <cstdint>

/// The numbers that a record of system facts is made of (`Ondrel/OSInfo.h`), where they are named.
namespace Ondrel {

/// `OS_FACTS::osType`.
enum OsType : std::uint32_t { kUnknown = 0, kWorkstation = 1, kServer = 2, kDomainController = 3 };

/// `OS_VERSION_HALF::platform`; 0 is unknown.
enum Platform : std::uint32_t { kWindows3 = 2, kWindows9x = 3, kNT = 4, kCE = 5 };

/// The platform as the host's version call numbers it.
enum PlatformId : std::uint32_t { kIdWin32s = 0, kId9x = 1, kIdNT = 2, kIdCE = 3 };

/// `OS_VERSION_HALF::processor`: those that the logic names.
enum Processor : std::uint32_t { kNoProcessor = 0, kMIPS = 2, kIA64 = 5, kARM = 9 };

}  // namespace Ondrel
