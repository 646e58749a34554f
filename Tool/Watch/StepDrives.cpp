#include "Tool/Watch/Codes.h"
#include "Tool/Watch/StepParts.h"

#include <utility>

namespace Tool::Watch {

namespace {

using Ondrel::Host::ArrayMember;
using Ondrel::Host::Drive;
using Ondrel::Host::DriveArray;

/// What the arrays say of one drive.
struct DriveParts {
  std::vector<std::pair<const DriveArray*, const ArrayMember*>> now;
  std::vector<std::pair<const ArrayRecord*, const ArrayMember*>> before;
};

DriveParts PartsOf(const StepContext& context, const std::string& id) {
  DriveParts parts;
  for (const DriveArray& array : context.now.arrays)
    for (const ArrayMember& member : array.members)
      if (member.drive == id) parts.now.emplace_back(&array, &member);
  for (const ArrayRecord& record : context.before.arrays)
    for (const ArrayMember& member : record.array.members)
      if (!record.isStopped && member.drive == id) parts.before.emplace_back(&record, &member);
  return parts;
}

// A member that worked until another one, made to replace it on request, took its place.
bool IsReplacedOnRequest(const DriveArray& array, const ArrayMember& earlier,
                         const ArrayMember* member) {
  if (!earlier.isInSync || !earlier.isReplacementWanted || earlier.hasWriteError) return false;
  if (member != nullptr &&
      (member->hasWriteError || member->isGone || member->badSectors > earlier.badSectors))
    return false;
  return std::ranges::any_of(array.members, [&](const ArrayMember& other) {
    return other.id != earlier.id && other.slot == earlier.slot && other.isInSync && !other.isGone;
  });
}

/// One drive's way from what was known to what is seen.
class DriveStep {
public:
  DriveStep(StepContext& context, const Drive& drive)
      : m_context(context),
        m_drive(drive),
        m_before(context.DriveBefore(drive.id)),
        m_parts(PartsOf(context, drive.id)) {}

  DriveRecord Take() {
    if (m_before != nullptr) m_record = *m_before;
    m_record.id = m_drive.id;
    // A member that is gone has only the name of its disk or partition left.
    if (m_drive.isPresent || m_before == nullptr) m_record.name = m_drive.name;
    if (!m_drive.model.empty()) m_record.model = m_drive.model;
    m_record.isNVMe = m_drive.isNVMe || m_record.isNVMe;
    m_record.isPresent = m_drive.isPresent;
    m_record.isListed = true;
    TakeCounters();
    std::vector<WatchEvent> healthEvents;
    if (m_drive.isPresent) StepHealth(m_context, m_drive, m_record, healthEvents);
    const std::int32_t plain = SettleStatus();
    m_record.status = WithSmart(plain, HasWriteError() || HasHealthMark(m_record.health));
    ReportPresence();
    ReportStatus();
    auto& events = m_context.result.events;
    events.insert(events.end(), m_memberEvents.begin(), m_memberEvents.end());
    events.insert(events.end(), healthEvents.begin(), healthEvents.end());
    return m_record;
  }

private:
  std::int32_t SettleStatus() {
    const std::int32_t seen = WithoutSmart(m_drive.status);
    // A controller may outlive its disk by a moment.
    if (!m_drive.isPresent || HasGonePart()) {
      m_why = "the disk is gone";
      return Ondrel::kStatusFailed;
    }
    NoteReplacement();
    NoteLoss();
    if (IsGivenUpNow()) {
      if (m_record.isReplaced) return Ondrel::kStatusAvailable;
      m_record.isGivenUp = true;
      m_why = "given up by " + GivenUpBy();
      return Ondrel::kStatusFailed;
    }
    if (!m_parts.now.empty()) {
      m_record.isGivenUp = false;
      m_record.isReplaced = false;
      return seen;
    }
    return m_record.isGivenUp ? Ondrel::kStatusFailed : seen;
  }

  bool HasGonePart() const {
    return std::ranges::any_of(m_parts.now, [](const auto& part) { return part.second->isGone; });
  }

  bool IsGivenUpNow() const {
    return std::ranges::any_of(m_parts.now, [](const auto& part) { return part.second->isFaulty; });
  }

  std::string GivenUpBy() const {
    for (const auto& [array, member] : m_parts.now)
      if (member->isFaulty) return array->name;
    return {};
  }

  void NoteReplacement() {
    for (const auto& [record, earlier] : m_parts.before) {
      const DriveArray* const array = m_context.ArrayNow(record->array.id);
      if (array == nullptr) continue;
      const ArrayMember* const member = MemberOf(*array, earlier->id);
      const bool hasLeft = member == nullptr || member->isFaulty;
      if (hasLeft && IsReplacedOnRequest(*array, *earlier, member)) m_record.isReplaced = true;
    }
  }

  // A working member that its array does not name any more was given up between two looks.
  void NoteLoss() {
    if (!m_parts.now.empty() || m_record.isReplaced) return;
    for (const auto& [record, earlier] : m_parts.before) {
      const DriveArray* const array = m_context.ArrayNow(record->array.id);
      if (array == nullptr || array->places < record->array.places) continue;
      const bool hadPlace = earlier->isInSync || (earlier->isSpare && earlier->slot >= 0);
      const bool wasHere = m_before != nullptr && m_before->isPresent && !earlier->isGone;
      if (!hadPlace || !wasHere || earlier->isFaulty) continue;
      m_record.isGivenUp = true;
      m_why = "no longer a member of " + array->name;
    }
  }

  bool HasWriteError() const {
    return std::ranges::any_of(m_parts.now,
                               [](const auto& part) { return part.second->hasWriteError; });
  }

  void TakeCounters() {
    for (const auto& [array, member] : m_parts.now) {
      const ArrayMember* earlier = nullptr;
      for (const auto& [record, known] : m_parts.before)
        if (record->array.id == array->id && known->id == member->id) earlier = known;
      const std::uint64_t sectorsBefore = earlier != nullptr ? earlier->badSectors : 0;
      const bool hadWriteError = earlier != nullptr && earlier->hasWriteError;
      if (member->badSectors > sectorsBefore || (member->hasWriteError && !hadWriteError))
        m_memberEvents.push_back(
            DriveEvent(m_record, EventCode::kBadBlock, Ondrel::kSeverityWarning,
                       "bad blocks in " + array->name + ", " + std::to_string(member->badSectors) +
                           " sectors" + (member->hasWriteError ? ", a write failed" : "")));
      if (earlier != nullptr && member->errors > earlier->errors)
        m_memberEvents.push_back(DriveEvent(
            m_record, EventCode::kErrorFixed, Ondrel::kSeverityInformation,
            "read errors corrected by " + array->name + " grew from " +
                std::to_string(earlier->errors) + " to " + std::to_string(member->errors)));
    }
  }

  void ReportPresence() {
    const bool wasPresent = m_before != nullptr && m_before->isPresent;
    if (m_drive.isPresent && !wasPresent && !m_context.isFirst)
      m_context.result.events.push_back(DriveEvent(m_record, EventCode::kPluggedIn,
                                                   Ondrel::kSeverityInformation,
                                                   "the disk was plugged in"));
    if (!m_drive.isPresent && (wasPresent || m_before == nullptr))
      m_context.result.events.push_back(
          DriveEvent(m_record, EventCode::kGone, Ondrel::kSeverityWarning, "the disk is gone"));
  }

  // The mark alone is not an event of the table: what set it has one of its own.
  void ReportStatus() {
    const std::int32_t before = StatusBefore();
    if (WithoutSmart(before) == WithoutSmart(m_record.status)) return;
    if (m_before == nullptr && IsWell(WithoutSmart(m_record.status)) &&
        (m_context.isFirst || m_parts.now.empty()))
      return;
    if (const auto event = DriveChange(m_record, before, m_record.status, m_why))
      m_context.result.events.push_back(*event);
  }

  // Of a drive that is seen for the first time: as if it had been well.
  std::int32_t StatusBefore() const {
    if (m_before != nullptr) return m_before->status;
    return m_context.isFirst || !m_drive.isPresent ? Ondrel::kStatusOperational
                                                   : Ondrel::kStatusAvailable;
  }

  StepContext& m_context;
  const Drive& m_drive;
  const DriveRecord* m_before;
  DriveParts m_parts;
  DriveRecord m_record;
  std::vector<WatchEvent> m_memberEvents;
  std::string m_why;
};

}  // namespace

void StepDrives(StepContext& context) {
  std::vector<DriveRecord>& records = context.result.state.drives;
  for (const Drive& drive : context.now.drives) records.push_back(DriveStep(context, drive).Take());
  for (const DriveRecord& known : context.before.drives) {
    const auto isSeen = std::ranges::find(context.now.drives, known.id, &Drive::id);
    if (isSeen != context.now.drives.end()) continue;
    Drive gone;
    gone.id = known.id;
    gone.name = known.name;
    gone.isPresent = false;
    DriveRecord record = DriveStep(context, gone).Take();
    record.isListed = false;
    // Only a drive that an array gave up is remembered: it is not well when it comes back.
    if (record.isGivenUp) records.push_back(std::move(record));
  }
  std::ranges::sort(records, {}, &DriveRecord::id);
}

}  // namespace Tool::Watch
