#include "Tool/NVMeCheck.h"

#include "Tool/Output.h"
#include "Tool/Watch/Codes.h"
#include "Tool/Watch/StateJson.h"
#include "Tool/Watch/StepParts.h"

#include <algorithm>

namespace Tool {

namespace {

using Ondrel::Host::DriveHealth;
using Watch::DriveRecord;
using Watch::WatchEvent;
namespace EventCode = Watch::EventCode;

constexpr std::uint8_t kTemperatureWarning = 0x02;
constexpr const char* kEntriesOfErrorLog = "errorLogEntries";

/// The drive as it is remembered, or a new record of it.
DriveRecord RecordOf(const CheckedDrive& checked, const CheckMemory* memory) {
  DriveRecord record;
  record.isNVMe = true;
  record.status = Ondrel::kStatusOperational;
  if (memory != nullptr) {
    const auto known = std::ranges::find(memory->state.drives, checked.Key(), &DriveRecord::id);
    if (known != memory->state.drives.end()) record = *known;
  }
  record.id = checked.drive.id;
  return record;
}

/// What an event says of its drive.
std::string WordsOf(const WatchEvent& event) {
  const std::string title = Watch::DriveTitle(event.objectId, event.objectName) + ": ";
  return event.text.starts_with(title) ? event.text.substr(title.size()) : event.text;
}

int BitsOf(const WatchEvent& event, const DriveHealth& health) {
  const bool isTemperature =
      event.code == EventCode::kTemperatureHigh || event.code == EventCode::kTemperatureCritical;
  if (isTemperature) {
    const bool isWarned = (health.criticalWarning & kTemperatureWarning) != 0;
    return kPastThreshold | (isWarned ? kFailing : 0);
  }
  const bool isOfWarnings =
      event.code == EventCode::kSmartError || event.code == EventCode::kSmartWarning;
  // A spare below its threshold is found by the numbers too.
  return isOfWarnings && health.criticalWarning != 0 ? kFailing : kPastThreshold;
}

/// One step of the watch service for one drive.
std::vector<WatchEvent> StepDrive(const Ondrel::Host::Drive& drive,
                                  const Watch::Thresholds& thresholds, DriveRecord& record) {
  const Watch::WatchState before;
  const Ondrel::Host::DriveSnapshot now;
  Watch::StepResult result;
  const Watch::StepContext context{before, false, now, thresholds, result};
  // The service waits for a second failure in a row; who asks once wants to know of the first.
  if (!drive.health) record.health.unreadable = std::max(record.health.unreadable, 1);
  record.name = drive.name;
  record.model = drive.model;
  std::vector<WatchEvent> events;
  Watch::StepHealth(context, drive, record, events);
  return events;
}

void Remember(const CheckedDrive& checked, DriveRecord record, CheckMemory& memory) {
  record.id = checked.Key();
  auto& drives = memory.state.drives;
  const auto known = std::ranges::find(drives, record.id, &DriveRecord::id);
  if (known != drives.end())
    *known = record;
  else
    drives.push_back(record);
  // While it did not say who it is, it was known by its path. The next time it does not, that is
  // news again.
  if (checked.isIdentified)
    std::erase_if(drives, [&](const DriveRecord& other) {
      return other.id != record.id && other.id == OneLine(checked.drive.device);
    });
}

void FindInCounters(const DriveHealth& health, CheckedDrive& checked, CheckMemory* memory) {
  if (health.criticalTemperatureTime != 0)
    checked.findings.push_back(
        {kWasPastThreshold, "temperature was critical for " +
                                std::to_string(health.criticalTemperatureTime) + " min in all"});
  if (health.mediaErrors != 0)
    checked.findings.push_back(
        {kErrorsRecorded, std::to_string(health.mediaErrors) + " media errors are recorded"});
  if (memory == nullptr) return;
  const auto [entries, isNew] =
      memory->errorLogEntries.try_emplace(checked.Key(), health.errorLogEntries);
  if (!isNew && health.errorLogEntries > entries->second)
    checked.findings.push_back({kErrorsRecorded, "entries of the error log grew from " +
                                                     std::to_string(entries->second) + " to " +
                                                     std::to_string(health.errorLogEntries)});
  entries->second = health.errorLogEntries;
}

}  // namespace

int CheckedDrive::Bits() const {
  int bits = 0;
  for (const CheckFinding& finding : findings) bits |= finding.bits;
  return bits;
}

std::string CheckedDrive::Key() const {
  return hasSiblings ? drive.id + " controller " + std::to_string(controllerId) : drive.id;
}

std::string CheckedDrive::Verdict() const {
  const int bits = Bits();
  if ((bits & (kNotOpened | kNotRead)) != 0) return "cannot be read";
  if ((bits & kFailing) != 0) return "failing";
  return bits != 0 ? "warning" : "well";
}

void Judge(CheckedDrive& checked, const Watch::Thresholds& thresholds, CheckMemory* memory) {
  checked.drive.isHealthAsked = true;
  DriveRecord record = RecordOf(checked, memory);
  checked.events = StepDrive(checked.drive, thresholds, record);
  // Remembered from the first failure on, so that a second one is not news.
  if (memory != nullptr) Remember(checked, record, *memory);

  if (!checked.drive.health) {
    checked.findings.push_back(
        {checked.isIdentified ? kNotRead : kNotOpened,
         checked.isIdentified ? "its health cannot be read" : "it cannot be asked"});
    return;
  }
  const DriveHealth& health = *checked.drive.health;
  // Against nothing known, every threshold that is passed is an event.
  DriveRecord fresh = RecordOf(checked, nullptr);
  for (const WatchEvent& event : StepDrive(checked.drive, thresholds, fresh))
    checked.findings.push_back({BitsOf(event, health), WordsOf(event)});
  FindInCounters(health, checked, memory);
}

std::string TextOfMemory(const CheckMemory& memory) {
  nlohmann::json json = nlohmann::json::parse(Watch::TextOfState(memory.state));
  json[kEntriesOfErrorLog] = memory.errorLogEntries;
  return json.dump() + "\n";
}

CheckMemory MemoryOfText(const std::string& text) {
  CheckMemory memory;
  memory.state = Watch::StateOfText(text);
  nlohmann::json::parse(text).at(kEntriesOfErrorLog).get_to(memory.errorLogEntries);
  return memory;
}

}  // namespace Tool
