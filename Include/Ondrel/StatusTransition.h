#pragma once

#include <Ondrel/Export.h>

#include <cstdint>

namespace Ondrel {

/// A drive's change from one status to another, as two codes of the value vocabulary.
struct CStateChange {
  std::int32_t OldStatus;  ///< Status before the change.
  std::int32_t NewStatus;  ///< Status after the change.
};

/// What a status change is reported as.
struct CStateChangeEvent {
  std::int32_t EventCode;  ///< Event to report, a code of the event vocabulary.
  std::int32_t Severity;   ///< Gravity: 2 information, 3 warning, 4 error.
};

static_assert(sizeof(CStateChange) == 8);
static_assert(sizeof(CStateChangeEvent) == 8);

/// Finds the event of a logical drive's status change.
///
/// Yields true and writes both fields of `event` when the table has exactly this pair. Yields false
/// and leaves `event` as it was for every other pair; a status that stays as it is counts as no
/// change for a logical drive. Does not raise, allocate or trace. Any number of threads may look up
/// at the same time.
ONDREL_API bool FindStatusTransitionLD(const CStateChange& change, CStateChangeEvent& event);

/// Finds the event of a physical drive's status change.
///
/// As `FindStatusTransitionLD`, but every pair of the sixteen physical statuses has an event, a
/// status that stays as it is included.
ONDREL_API bool FindStatusTransitionPD(const CStateChange& change, CStateChangeEvent& event);

}  // namespace Ondrel
