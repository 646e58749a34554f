#include "Tool/Watch/Codes.h"
#include "Tool/Watch/StepParts.h"

namespace Tool::Watch {

namespace {

using Ondrel::Host::ArrayAction;
using Ondrel::Host::ArrayMember;
using Ondrel::Host::DriveArray;

/// What an action that is not a rebuild begins and ends with. An end that was cut short has a code
/// of its own.
struct ActionRow {
  ArrayAction action;
  const char* name;
  std::int32_t started;
  std::int32_t finished;
  std::int32_t cut;
};

constexpr ActionRow kActions[] = {
    {ArrayAction::Check, "check", EventCode::kCheckStarted, EventCode::kCheckFinished,
     EventCode::kCheckCancelled},
    {ArrayAction::Resync, "resync", EventCode::kResyncStarted, EventCode::kResyncFinished,
     EventCode::kResyncCancelled},
    {ArrayAction::Reshape, "reshape", EventCode::kReshapeStarted, EventCode::kReshapeFinished,
     EventCode::kReshapeAborted},
};

bool WasCut(const DriveArray& array, ArrayAction action) {
  switch (action) {
    case ArrayAction::Check:
      return array.isCheckCut;
    case ArrayAction::Resync:
      return array.isResyncUnfinished;
    case ArrayAction::Reshape:
      return array.isReshapeUnfinished;
    default:
      return false;
  }
}

bool IsTarget(const ArrayMember& member) {
  return member.isSpare && member.slot >= 0 && !member.isGone;
}

class ArrayStep {
public:
  ArrayStep(StepContext& context, const DriveArray& array)
      : m_context(context), m_array(array), m_known(context.ArrayBefore(array.id)) {
    m_isKnown = m_known != nullptr && !m_known->isStopped;
    m_record.array = array;
  }

  ArrayRecord Take() {
    ReportStatus();
    for (const ActionRow& row : kActions) ReportAction(row);
    ReportRebuilds();
    return m_record;
  }

private:
  void Report(std::int32_t code, std::int32_t severity, const std::string& what) {
    m_context.result.events.push_back(ArrayEvent(m_array, code, severity, what));
  }

  void ReportStatus() {
    const std::int32_t before =
        m_known != nullptr ? m_known->array.status : Ondrel::kStatusOperational;
    if (const auto event = ArrayChange(m_array, before, m_array.status))
      m_context.result.events.push_back(*event);
  }

  void ReportAction(const ActionRow& row) {
    const bool isOn = m_array.action == row.action;
    const bool wasOn = m_isKnown && m_known->array.action == row.action;
    // Begun and ended between two looks: what was done last is another action now.
    const bool wasMissed = m_isKnown && !isOn && !wasOn && m_array.lastAction == row.action &&
                           m_known->array.lastAction != row.action &&
                           m_known->array.action == ArrayAction::None;
    // At the first look ever nobody knows when it began.
    if ((isOn && !wasOn && !m_context.isFirst) || wasMissed)
      Report(row.started, Ondrel::kSeverityInformation, std::string(row.name) + " started");
    if ((!isOn && wasOn) || wasMissed) ReportEnd(row);
  }

  void ReportEnd(const ActionRow& row) {
    if (WasCut(m_array, row.action))
      Report(row.cut, Ondrel::kSeverityInformation, std::string(row.name) + " was cancelled");
    else
      Report(row.finished, Ondrel::kSeverityInformation, std::string(row.name) + " finished");
    if (row.action == ArrayAction::Check && m_array.mismatches != 0)
      Report(EventCode::kCheckError, Ondrel::kSeverityWarning,
             "the check found " + std::to_string(m_array.mismatches) + " sectors that differ");
  }

  void ReportRebuilds() {
    const std::vector<std::string> earlier =
        m_isKnown ? m_known->rebuilds : std::vector<std::string>();
    for (const ArrayMember& member : m_array.members) {
      const bool wasTarget = std::ranges::find(earlier, member.id) != earlier.end();
      if (IsTarget(member) && m_array.action == ArrayAction::Rebuild) {
        if (!wasTarget && !m_context.isFirst) ReportStart(member);
        m_record.rebuilds.push_back(member.id);
      } else if (wasTarget) {
        ReportEnd(member);
      } else if (WasRebuiltUnseen(member)) {
        ReportStart(member);
        ReportEnd(member);
      }
    }
    // A target that the array does not name any more: it takes a failure to get it out.
    for (const std::string& id : earlier)
      if (MemberOf(m_array, id) == nullptr)
        Report(EventCode::kRebuildFailed, Ondrel::kSeverityError,
               "rebuild of drive " + id + " failed");
  }

  // In sync in a place that was lost before, or taken from another: there was a rebuild between two
  // looks.
  bool WasRebuiltUnseen(const ArrayMember& member) const {
    if (!m_isKnown || !member.isInSync || member.isGone || member.slot < 0) return false;
    if (m_array.places != m_known->array.places) return false;
    const ArrayMember* const before = MemberOf(m_known->array, member.id);
    if (before != nullptr && (before->isInSync || before->isGone)) return false;
    return m_array.lastAction == ArrayAction::Rebuild;
  }

  static std::string Titled(const ArrayMember& member) {
    return "drive " + member.drive + " (" + member.name + ")";
  }

  void ReportStart(const ArrayMember& member) {
    Report(EventCode::kRebuildStarted, Ondrel::kSeverityInformation,
           "rebuild of " + Titled(member) + " started");
  }

  void ReportEnd(const ArrayMember& member) {
    if (member.isGone || member.isFaulty)
      Report(EventCode::kRebuildFailed, Ondrel::kSeverityError,
             "rebuild of " + Titled(member) + " failed");
    else if (member.isInSync)
      Report(EventCode::kRebuildFinished, Ondrel::kSeverityInformation,
             "rebuild of " + Titled(member) + " finished");
    else
      Report(EventCode::kRebuildCancelled, Ondrel::kSeverityWarning,
             "rebuild of " + Titled(member) + " was cancelled");
  }

  StepContext& m_context;
  const DriveArray& m_array;
  const ArrayRecord* m_known;
  bool m_isKnown;
  ArrayRecord m_record;
};

}  // namespace

void StepArrays(StepContext& context) {
  std::vector<ArrayRecord>& records = context.result.state.arrays;
  for (const DriveArray& array : context.now.arrays)
    records.push_back(ArrayStep(context, array).Take());
  for (const ArrayRecord& known : context.before.arrays) {
    if (context.ArrayNow(known.array.id) != nullptr) continue;
    ArrayRecord record = known;
    if (!record.isStopped)
      context.result.events.push_back(ArrayEvent(record.array, EventCode::kArrayStopped,
                                                 Ondrel::kSeverityWarning,
                                                 "the array was stopped"));
    record.isStopped = true;
    record.rebuilds.clear();
    records.push_back(std::move(record));
  }
  std::ranges::sort(records, {}, [](const ArrayRecord& record) { return record.array.id; });
}

}  // namespace Tool::Watch
