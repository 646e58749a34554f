#pragma once

#include <Ondrel/Export.h>

#include <array>
#include <cstdint>

namespace Ondrel {

/// The statuses that the two tables know, as codes of the value vocabulary. They convert to the
/// fields of `CStateChange` by themselves.
enum DriveStatus : std::int32_t {
  kStatusOfflineSmart = 40034,
  kStatusOperational = 40093,
  kStatusDegraded = 40094,
  kStatusFailed = 40095,
  kStatusRebuilding = 40096,
  kStatusGlobalHotspare = 40097,
  kStatusDedicatedHotspare = 40098,
  kStatusAvailable = 40099,
  kStatusOperationalSmart = 40176,
  kStatusRebuildingSmart = 40177,
  kStatusGlobalHotspareSmart = 40178,
  kStatusDedicatedHotspareSmart = 40179,
  kStatusAvailableSmart = 40180,
  kStatusFailedSmart = 40181,
  kStatusPartiallyDegraded = 40242,
  kStatusOffline = 40261,
  kStatusSystem = 40307,
  kStatusSystemSmart = 40308,
};

/// The four statuses of a logical drive.
inline constexpr std::array<DriveStatus, 4> kLogicalDriveStatuses = {
    kStatusOperational, kStatusDegraded, kStatusFailed, kStatusPartiallyDegraded};

/// The sixteen statuses of a physical drive.
inline constexpr std::array<DriveStatus, 16> kPhysicalDriveStatuses = {
    kStatusAvailable,
    kStatusAvailableSmart,
    kStatusFailed,
    kStatusFailedSmart,
    kStatusGlobalHotspare,
    kStatusGlobalHotspareSmart,
    kStatusDedicatedHotspare,
    kStatusDedicatedHotspareSmart,
    kStatusOperational,
    kStatusOperationalSmart,
    kStatusRebuilding,
    kStatusRebuildingSmart,
    kStatusOffline,
    kStatusOfflineSmart,
    kStatusSystem,
    kStatusSystemSmart};

/// How severe an event is.
enum Severity : std::int32_t {
  kSeverityInformation = 2,
  kSeverityWarning = 3,
  kSeverityError = 4,
};

/// A drive's change from one status to another, as two codes of the value vocabulary.
struct CStateChange {
  std::int32_t OldStatus;  ///< Status before the change, one of `DriveStatus`.
  std::int32_t NewStatus;  ///< Status after the change, one of `DriveStatus`.
};

/// What a status change is reported as.
struct CStateChangeEvent {
  std::int32_t EventCode;  ///< Event to report, a code of the event vocabulary.
  std::int32_t Severity;   ///< One of `Severity`.
};

static_assert(sizeof(CStateChange) == 8);
static_assert(sizeof(CStateChangeEvent) == 8);

/// Finds the event of a logical drive's status change.
///
/// Returns true and writes both fields of `event` when the table has exactly this pair. Returns
/// false and leaves `event` as it was for every other pair; a status that stays as it is is not a
/// change of a logical drive. Does not raise, allocate or trace. Any number of threads may look up
/// at the same time.
ONDREL_API bool FindStatusTransitionLD(const CStateChange& change, CStateChangeEvent& event);

/// Finds the event of a physical drive's status change.
///
/// As `FindStatusTransitionLD`, but every pair of the sixteen physical statuses has an event, a
/// status that stays as it is included.
ONDREL_API bool FindStatusTransitionPD(const CStateChange& change, CStateChangeEvent& event);

}  // namespace Ondrel
