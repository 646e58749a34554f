#include "Tool/Watch/Step.h"

#include "Tool/Watch/Codes.h"
#include "Tool/Watch/StepParts.h"

#include <Ondrel/CodeNames.h>
#include <Ondrel/StatusTransition.h>

namespace Tool::Watch {

namespace {

std::string NameOf(std::int32_t status) {
  const auto name = Ondrel::ValueCodeNames.Name(status);
  return name ? std::string(*name) : std::to_string(status);
}

std::optional<WatchEvent> Change(WatchEvent event, bool isFound,
                                 const Ondrel::CStateChangeEvent& known, std::int32_t oldStatus,
                                 std::int32_t newStatus) {
  if (!isFound) return std::nullopt;
  event.code = known.EventCode;
  event.severity = known.Severity;
  event.oldStatus = oldStatus;
  event.newStatus = newStatus;
  event.isRecovery = !IsWell(oldStatus) && IsWell(newStatus);
  return event;
}

std::string ChangeText(std::int32_t oldStatus, std::int32_t newStatus, const std::string& why) {
  std::string text = "status changed from " + NameOf(oldStatus) + " to " + NameOf(newStatus);
  if (!why.empty()) text += " (" + why + ")";
  return text;
}

// A member of a drive that is gone is known by what was known of its name before.
Ondrel::Host::DriveSnapshot WithGoneDrives(const WatchState& before,
                                           const Ondrel::Host::DriveSnapshot& seen) {
  Ondrel::Host::DriveSnapshot now = seen;
  for (Ondrel::Host::DriveArray& array : now.arrays) {
    for (Ondrel::Host::ArrayMember& member : array.members) {
      if (!member.drive.empty()) continue;
      const auto known = std::ranges::find(
          before.arrays, array.id, [](const ArrayRecord& record) { return record.array.id; });
      if (known != before.arrays.end())
        for (const Ondrel::Host::ArrayMember& earlier : known->array.members)
          if (earlier.name == member.name) {
            member.id = earlier.id;
            member.drive = earlier.drive;
          }
      if (member.drive.empty())
        member.id = member.drive = "member " + member.name + " of " + array.id;
      if (std::ranges::find(now.drives, member.drive, &Ondrel::Host::Drive::id) != now.drives.end())
        continue;
      Ondrel::Host::Drive drive;
      drive.id = member.drive;
      drive.name = member.name;
      drive.status = Ondrel::kStatusFailed;
      drive.isPresent = false;
      now.drives.push_back(drive);
    }
  }
  std::ranges::sort(now.drives, {}, &Ondrel::Host::Drive::id);
  return now;
}

template <class Records, class Identity>
auto* Find(Records& records, const std::string& id, Identity identity) {
  const auto found = std::ranges::find(records, id, identity);
  return found == records.end() ? nullptr : &*found;
}

}  // namespace

const DriveRecord* StepContext::DriveBefore(const std::string& id) const {
  return Find(before.drives, id, &DriveRecord::id);
}

const ArrayRecord* StepContext::ArrayBefore(const std::string& id) const {
  return Find(before.arrays, id, [](const ArrayRecord& record) { return record.array.id; });
}

const Ondrel::Host::DriveArray* StepContext::ArrayNow(const std::string& id) const {
  return Find(now.arrays, id, &Ondrel::Host::DriveArray::id);
}

std::string DriveTitle(const std::string& id, const std::string& name) {
  return "Drive " + id + (name.empty() ? "" : " (" + name + ")");
}

std::string ArrayTitle(const Ondrel::Host::DriveArray& array) {
  return "Array " + array.name + (array.id == array.name ? "" : " (" + array.id + ")");
}

WatchEvent DriveEvent(const DriveRecord& drive, std::int32_t code, std::int32_t severity,
                      const std::string& what) {
  return {.code = code,
          .severity = severity,
          .isArray = false,
          .objectId = drive.id,
          .objectName = drive.name,
          .text = DriveTitle(drive.id, drive.name) + ": " + what};
}

WatchEvent ArrayEvent(const Ondrel::Host::DriveArray& array, std::int32_t code,
                      std::int32_t severity, const std::string& what) {
  return {.code = code,
          .severity = severity,
          .isArray = true,
          .objectId = array.id,
          .objectName = array.name,
          .text = ArrayTitle(array) + ": " + what};
}

std::optional<WatchEvent> DriveChange(const DriveRecord& drive, std::int32_t oldStatus,
                                      std::int32_t newStatus, const std::string& why) {
  Ondrel::CStateChangeEvent known{};
  const bool isFound = Ondrel::FindStatusTransitionPD({oldStatus, newStatus}, known);
  return Change(DriveEvent(drive, 0, 0, ChangeText(oldStatus, newStatus, why)), isFound, known,
                oldStatus, newStatus);
}

std::optional<WatchEvent> ArrayChange(const Ondrel::Host::DriveArray& array, std::int32_t oldStatus,
                                      std::int32_t newStatus) {
  Ondrel::CStateChangeEvent known{};
  const bool isFound = Ondrel::FindStatusTransitionLD({oldStatus, newStatus}, known);
  return Change(ArrayEvent(array, 0, 0, ChangeText(oldStatus, newStatus, "")), isFound, known,
                oldStatus, newStatus);
}

StepResult Step(const std::optional<WatchState>& before, const Ondrel::Host::DriveSnapshot& now,
                const Thresholds& thresholds) {
  static const WatchState nothing;
  const WatchState& known = before ? *before : nothing;
  const Ondrel::Host::DriveSnapshot seen = WithGoneDrives(known, now);
  StepResult result;
  StepContext context{known, !before, seen, thresholds, result};
  StepDrives(context);
  StepArrays(context);
  return result;
}

}  // namespace Tool::Watch
