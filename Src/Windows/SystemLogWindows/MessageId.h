#pragma once

#include "Resource/EventMessageTable.h"

#include <Ondrel/Types.h>

namespace Ondrel {

inline constexpr ULong kCustomerBit = 0x20000000;

// The ids that are written as they are. The bounds do not match the message table, which is
// intentional: an entry at either end of it falls to the catch-all, and ids without an entry pass
// in between.
inline constexpr ULong kCatchAllId = kEventMessageBlocks.front().firstId;
inline constexpr ULong kFirstOwnId = kCatchAllId + 2;
inline constexpr ULong kLastOwnId = kEventMessageBlocks.back().lastId - 1;
static_assert(kFirstOwnId == 0x20002712 && kLastOwnId == 0x20002B64);

/// The message id of an event that the caller names by its code or by the id itself.
constexpr ULong MessageId(int eventID) {
  const ULong id = static_cast<ULong>(eventID) | kCustomerBit;
  if (id - kFirstOwnId > kLastOwnId - kFirstOwnId) return kCatchAllId;
  return id;
}

}  // namespace Ondrel
