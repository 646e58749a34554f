#pragma once

#include <Ondrel/Drives.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// The step from one look at the drives to the next: a pure function from what is known and what
/// is seen to what is known then and the events that lie between.
///
/// A look has no memory, so some statuses are settled here: a drive that an array gave up stays
/// FAILED when it leaves the array, one that was replaced on request and is healthy is AVAILABLE
/// though its array calls it faulty, and the `_SMART` mark of a health warning stays between two
/// looks that ask for health.
namespace Tool::Watch {

/// At what health data become events.
struct Thresholds {
  int usedWarning = 90;                   ///< Percentage used.
  int usedCritical = 100;                 ///< Percentage used.
  std::uint16_t warningTemperature = 0;   ///< In kelvin; 0 for the drive's own.
  std::uint16_t criticalTemperature = 0;  ///< In kelvin; 0 for the drive's own.
};

/// What is remembered of a drive's health.
struct HealthMemory {
  std::optional<Ondrel::Host::DriveHealth> last;  ///< As it was read last.
  int temperatureLevel = 0;                       ///< 0 normal, 1 high, 2 critical.
  int lifeLevel = 0;                              ///< 0 good, 1 worn, 2 at its end.
  int unreadable = 0;                             ///< Times in a row that it could not be read.
};

/// What is known of a drive.
struct DriveRecord {
  std::string id;
  std::string name;
  std::string model;
  std::int32_t status = 0;
  bool isPresent = true;
  bool isNVMe = false;
  bool isListed = true;     ///< The last look had it, be it as an array's lost member.
  bool isGivenUp = false;   ///< An array gave it up, so that it stays FAILED outside of it.
  bool isReplaced = false;  ///< It was replaced on request and works.
  HealthMemory health;
};

/// What is known of an array.
struct ArrayRecord {
  Ondrel::Host::DriveArray array;     ///< As it was seen last.
  std::vector<std::string> rebuilds;  ///< Identities of the members that are being rebuilt.
  bool isStopped = false;
};

/// What is known of all, each in the order of its identity.
struct WatchState {
  std::vector<DriveRecord> drives;
  std::vector<ArrayRecord> arrays;
};

/// One event.
struct WatchEvent {
  std::int32_t code = 0;
  std::int32_t severity = 0;
  bool isArray = false;        ///< About an array; else about a drive, or about the service.
  std::string objectId;        ///< Serial number or UUID; empty for the service itself.
  std::string objectName;      ///< The kernel's name at that moment.
  std::string text;            ///< One line of printable ASCII.
  std::int32_t oldStatus = 0;  ///< 0 for an event that is not a change of status.
  std::int32_t newStatus = 0;
  bool isRecovery = false;  ///< Something that was not well is well again.
};

struct StepResult {
  WatchState state;
  std::vector<WatchEvent> events;  ///< Drives first: what befell them explains the arrays.
};

/// The step. `before` is nothing at the first look ever: what is not well then counts as a change
/// from OPERATIONAL.
StepResult Step(const std::optional<WatchState>& before, const Ondrel::Host::DriveSnapshot& now,
                const Thresholds& thresholds);

}  // namespace Tool::Watch
