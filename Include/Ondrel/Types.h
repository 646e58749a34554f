#pragma once

#include <climits>

#include <cstdint>

namespace Ondrel {

/// The 32-bit `unsigned long` of the interface: `unsigned long` itself where that has 32 bits, a
/// type of the same width elsewhere.
#if ULONG_MAX == 0xFFFFFFFF
using ULong = unsigned long;
#else
using ULong = std::uint32_t;
#endif

static_assert(sizeof(ULong) == 4);

}  // namespace Ondrel
