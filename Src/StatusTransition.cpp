#include <Ondrel/StatusTransition.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>

namespace Ondrel {

namespace {

struct Transition {
  CStateChange change;
  CStateChangeEvent event;
};

// The rows of a table, found by two looks at an array: each status has a place, and each pair of
// places its event.
template <std::size_t StatusCount>
class TransitionTable {
public:
  template <std::size_t Count>
  constexpr explicit TransitionTable(const std::array<Transition, Count>& rows) {
    for (const Transition& row : rows) {
      CStateChangeEvent& event =
          m_events[PlaceFor(row.change.OldStatus)][PlaceFor(row.change.NewStatus)];
      if (event.EventCode != 0) throw "a pair of statuses stands twice";
      event = row.event;
    }
  }

  bool Find(const CStateChange& change, CStateChangeEvent& event) const {
    const CStateChangeEvent& found = m_events[PlaceOf(change.OldStatus)][PlaceOf(change.NewStatus)];
    if (found.EventCode == 0) return false;
    event = found;
    return true;
  }

private:
  static constexpr std::int32_t kFirst = kStatusOfflineSmart;
  static constexpr std::int32_t kLast = kStatusSystemSmart;

  // The place of a status; 0, in whose row and column no event stands, for one of no row.
  constexpr std::size_t PlaceOf(std::int32_t status) const {
    const std::uint32_t offset =
        static_cast<std::uint32_t>(status) - static_cast<std::uint32_t>(kFirst);
    return offset < m_places.size() ? m_places[offset] : 0;
  }

  constexpr std::size_t PlaceFor(std::int32_t status) {
    std::uint8_t& place = m_places.at(static_cast<std::size_t>(status - kFirst));
    if (place == 0) place = ++m_used;
    return place;
  }

  std::array<std::uint8_t, kLast - kFirst + 1> m_places{};
  std::uint8_t m_used = 0;
  std::array<std::array<CStateChangeEvent, StatusCount + 1>, StatusCount + 1> m_events{};
};

// clang-format off

// Logical drives. A status to itself is not a change here, unlike for physical drives, although the
// event vocabulary has names for those cases. The severity is not a function of the new status
// alone: DEGRADED is an error when it follows OPERATIONAL and a warning otherwise, which is
// intentional. The events are LD_STATE_CHANGE_ and what stands after the row.
constexpr TransitionTable<4> kLogicalDriveTransitions(std::array<Transition, 12>{{
    {{kStatusDegraded, kStatusFailed}, {10418, kSeverityError}},  // DEG_TO_FAIL
    {{kStatusDegraded, kStatusOperational}, {10415, kSeverityInformation}},  // DEG_TO_OP
    {{kStatusDegraded, kStatusPartiallyDegraded}, {10417, kSeverityWarning}},  // DEG_TO_PAR_DEG
    {{kStatusFailed, kStatusDegraded}, {10424, kSeverityWarning}},  // FAIL_TO_DEG
    {{kStatusFailed, kStatusOperational}, {10423, kSeverityInformation}},  // FAIL_TO_OP
    {{kStatusFailed, kStatusPartiallyDegraded}, {10425, kSeverityWarning}},  // FAIL_TO_PAR_DEG
    {{kStatusOperational, kStatusDegraded}, {10412, kSeverityError}},  // OP_TO_DEG
    {{kStatusOperational, kStatusFailed}, {10414, kSeverityError}},  // OP_TO_FAIL
    {{kStatusOperational, kStatusPartiallyDegraded}, {10413, kSeverityWarning}},  // OP_TO_PAR_DEG
    {{kStatusPartiallyDegraded, kStatusDegraded}, {10420, kSeverityWarning}},  // PAR_DEG_TO_DEG
    {{kStatusPartiallyDegraded, kStatusFailed}, {10422, kSeverityError}},  // PAR_DEG_TO_FAIL
    {{kStatusPartiallyDegraded, kStatusOperational}, {10419, kSeverityInformation}},  // PAR_DEG_TO_OP
}});

// Physical drives: the statuses fall into groups. A status and its _SMART variant are one group, so
// that the mark's coming and going is not an event of its own.
enum Group { AVAIL, FAIL, HS, OP, RBLD, OFFL, SYS, kGroupCount };

struct GroupMember {
  DriveStatus status;
  Group group;
};

constexpr GroupMember kGroupMembers[] = {
    {kStatusAvailable, AVAIL},
    {kStatusAvailableSmart, AVAIL},
    {kStatusFailed, FAIL},
    {kStatusFailedSmart, FAIL},
    {kStatusGlobalHotspare, HS},
    {kStatusGlobalHotspareSmart, HS},
    {kStatusDedicatedHotspare, HS},
    {kStatusDedicatedHotspareSmart, HS},
    {kStatusOperational, OP},
    {kStatusOperationalSmart, OP},
    {kStatusRebuilding, RBLD},
    {kStatusRebuildingSmart, RBLD},
    {kStatusOffline, OFFL},
    {kStatusOfflineSmart, OFFL},
    {kStatusSystem, SYS},
    {kStatusSystemSmart, SYS},
};

// Event codes PD_STATE_CHANGE_<old group>_TO_<new group>, old group down, new group across. They
// follow no formula.
constexpr std::int32_t kGroupEvents[kGroupCount][kGroupCount] = {
    // AVAIL, FAIL, HS, OP, RBLD, OFFL, SYS
    {10277, 10451, 10452, 10454, 10453, 10485, 10745},  // AVAIL
    {10455, 10456, 10457, 10459, 10458, 10497, 10747},  // FAIL
    {10460, 10461, 10462, 10464, 10463, 10498, 10749},  // HS
    {10470, 10471, 10472, 10474, 10473, 10505, 10753},  // OP
    {10465, 10466, 10467, 10469, 10468, 10506, 10751},  // RBLD
    {10499, 10500, 10501, 10503, 10504, 10502, 10798},  // OFFL
    {10762, 10763, 10764, 10766, 10767, 10765, 10769},  // SYS
};

// clang-format on

constexpr std::int32_t SeverityOf(Group newGroup) {
  switch (newGroup) {
    case FAIL:
      return kSeverityError;
    case OFFL:
      return kSeverityWarning;
    default:
      return kSeverityInformation;
  }
}

constexpr std::size_t kStatusCount = std::size(kGroupMembers);
static_assert(kStatusCount == 16);

constexpr TransitionTable<kStatusCount> kPhysicalDriveTransitions([] {
  std::array<Transition, kStatusCount * kStatusCount> rows{};
  std::size_t row = 0;
  for (const GroupMember& from : kGroupMembers)
    for (const GroupMember& to : kGroupMembers)
      rows[row++] = {{from.status, to.status},
                     {kGroupEvents[from.group][to.group], SeverityOf(to.group)}};
  return rows;
}());

}  // namespace

bool FindStatusTransitionLD(const CStateChange& change, CStateChangeEvent& event) {
  return kLogicalDriveTransitions.Find(change, event);
}

bool FindStatusTransitionPD(const CStateChange& change, CStateChangeEvent& event) {
  return kPhysicalDriveTransitions.Find(change, event);
}

}  // namespace Ondrel
