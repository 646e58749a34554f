#pragma once

#include "Tool/Watch/Step.h"

#include <algorithm>

/// The parts of the step, in the order in which they are taken.
namespace Tool::Watch {

/// What the parts of one step share.
struct StepContext {
  const WatchState& before;
  bool isFirst;  ///< Nothing is known from before.
  const Ondrel::Host::DriveSnapshot& now;
  const Thresholds& thresholds;
  StepResult& result;

  const DriveRecord* DriveBefore(const std::string& id) const;
  const ArrayRecord* ArrayBefore(const std::string& id) const;
  const Ondrel::Host::DriveArray* ArrayNow(const std::string& id) const;
};

/// The statuses of the drives, their coming and going, and what their members' counters say.
void StepDrives(StepContext& context);

/// One drive's health, where this look asked for it. `record` is the drive as it is known by now.
void StepHealth(const StepContext& context, const Ondrel::Host::Drive& drive, DriveRecord& record,
                std::vector<WatchEvent>& events);

/// Whether the health that was read last bears the `_SMART` mark.
bool HasHealthMark(const HealthMemory& health);

/// The statuses of the arrays and what they are doing.
void StepArrays(StepContext& context);

/// "Drive S123 (sda)" and "Array md0 (UUID)".
std::string DriveTitle(const std::string& id, const std::string& name);
std::string ArrayTitle(const Ondrel::Host::DriveArray& array);

/// An event about a drive or an array.
WatchEvent DriveEvent(const DriveRecord& drive, std::int32_t code, std::int32_t severity,
                      const std::string& what);
WatchEvent ArrayEvent(const Ondrel::Host::DriveArray& array, std::int32_t code,
                      std::int32_t severity, const std::string& what);

/// The event of a change of status by the tables, or nothing where there is none for it. `why`
/// stands after the change in brackets, if there is any.
std::optional<WatchEvent> DriveChange(const DriveRecord& drive, std::int32_t oldStatus,
                                      std::int32_t newStatus, const std::string& why);
std::optional<WatchEvent> ArrayChange(const Ondrel::Host::DriveArray& array, std::int32_t oldStatus,
                                      std::int32_t newStatus);

/// The member of this identity; null when there is none.
inline const Ondrel::Host::ArrayMember* MemberOf(const Ondrel::Host::DriveArray& array,
                                                 const std::string& id) {
  const auto found = std::ranges::find(array.members, id, &Ondrel::Host::ArrayMember::id);
  return found == array.members.end() ? nullptr : &*found;
}

}  // namespace Tool::Watch
