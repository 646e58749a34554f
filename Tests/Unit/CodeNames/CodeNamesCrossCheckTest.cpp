#include "Resource/EventMessageTable.h"

#include <Ondrel/CodeNames.h>
#include <Ondrel/StatusTransition.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <vector>

// The vocabularies against the two other places that know events and statuses by their numbers: the
// status transitions and the event message table.

namespace Ondrel {
namespace {

struct Status {
  std::int32_t code;
  std::string_view name;
  std::string group;
};

const Status kLogicalDriveStatuses[] = {
    {40093, "OPERATIONAL", "OP"},
    {40094, "DEGRADED", "DEG"},
    {40095, "FAILED", "FAIL"},
    {40242, "PARTIALLY_DEGRADED", "PAR_DEG"},
};

const Status kPhysicalDriveStatuses[] = {
    {40099, "AVAILABLE", "AVAIL"},
    {40180, "AVAILABLE_SMART", "AVAIL"},
    {40095, "FAILED", "FAIL"},
    {40181, "FAILED_SMART", "FAIL"},
    {40097, "GLOBAL_HOTSPARE", "HS"},
    {40178, "GLOBAL_HOTSPARE_SMART", "HS"},
    {40098, "DEDICATED_HOTSPARE", "HS"},
    {40179, "DEDICATED_HOTSPARE_SMART", "HS"},
    {40093, "OPERATIONAL", "OP"},
    {40176, "OPERATIONAL_SMART", "OP"},
    {40096, "REBUILDING", "RBLD"},
    {40177, "REBUILDING_SMART", "RBLD"},
    {40261, "OFFLINE", "OFFL"},
    {40034, "OFFLINE_SMART", "OFFL"},
    {40307, "SYSTEM", "SYS"},
    {40308, "SYSTEM_SMART", "SYS"},
};

bool Contains(std::string_view text, std::string_view part) {
  return text.find(part) != std::string_view::npos;
}

TEST(CodeNamesCrossCheck, EveryStatusOfTheTransitionsHasItsValueName) {
  for (const Status& status : kLogicalDriveStatuses) {
    EXPECT_EQ(ValueCodeNames.Name(status.code), status.name) << status.code;
  }
  for (const Status& status : kPhysicalDriveStatuses) {
    EXPECT_EQ(ValueCodeNames.Name(status.code), status.name) << status.code;
  }
}

TEST(CodeNamesCrossCheck, EveryPhysicalDriveEventIsNamedAfterItsTwoGroups) {
  for (const Status& before : kPhysicalDriveStatuses) {
    for (const Status& after : kPhysicalDriveStatuses) {
      CStateChangeEvent event{};
      ASSERT_TRUE(FindStatusTransitionPD({before.code, after.code}, event));
      EXPECT_EQ(EventCodeNames.Name(event.EventCode),
                "PD_STATE_CHANGE_" + before.group + "_TO_" + after.group)
          << event.EventCode;
    }
  }
}

TEST(CodeNamesCrossCheck, EveryLogicalDriveEventIsNamedAfterItsTwoStatuses) {
  for (const Status& before : kLogicalDriveStatuses) {
    for (const Status& after : kLogicalDriveStatuses) {
      CStateChangeEvent event{};
      if (!FindStatusTransitionLD({before.code, after.code}, event)) continue;
      EXPECT_EQ(EventCodeNames.Name(event.EventCode),
                "LD_STATE_CHANGE_" + before.group + "_TO_" + after.group)
          << event.EventCode;
    }
  }
}

TEST(CodeNamesCrossCheck, LogicalDriveEventsWithoutAChangeHaveNamesThoughNoTransition) {
  EXPECT_EQ(EventCodeNames.Name(10249), "LD_STATE_CHANGE_OP_TO_OP");
  EXPECT_EQ(EventCodeNames.Name(10416), "LD_STATE_CHANGE_DEG_TO_DEG");
  EXPECT_EQ(EventCodeNames.Name(10421), "LD_STATE_CHANGE_PAR_DEG_TO_PAR_DEG");
  EXPECT_EQ(EventCodeNames.Name(10426), "LD_STATE_CHANGE_FAIL_TO_FAIL");

  for (const Status& status : kLogicalDriveStatuses) {
    CStateChangeEvent event{};
    EXPECT_FALSE(FindStatusTransitionLD({status.code, status.code}, event)) << status.name;
  }
}

TEST(CodeNamesCrossCheck, TransitionsReachAllPhysicalDriveEventsButThoseByUserCopyBackAndShield) {
  std::set<std::int32_t> reached;
  for (const Status& before : kPhysicalDriveStatuses) {
    for (const Status& after : kPhysicalDriveStatuses) {
      CStateChangeEvent event{};
      FindStatusTransitionPD({before.code, after.code}, event);
      reached.insert(event.EventCode);
    }
  }

  std::set<std::int32_t> named;
  for (const auto [code, name] : EventCodeNames) {
    if (name.substr(0, 16) != "PD_STATE_CHANGE_") continue;
    if (Contains(name, "_BY_USER_") || Contains(name, "_CB") || Contains(name, "_SHIELD")) continue;
    named.insert(code);
  }

  EXPECT_EQ(reached.size(), 49U);
  EXPECT_EQ(named, reached);
}

TEST(CodeNamesCrossCheck, SeveritiesRunInStepWithTheirValueNames) {
  EXPECT_EQ(ValueCodeNames.Name(40147 + 1), "DEBUG");
  EXPECT_EQ(ValueCodeNames.Name(40147 + 2), "INFORMATION");
  EXPECT_EQ(ValueCodeNames.Name(40147 + 3), "WARNING");
  EXPECT_EQ(ValueCodeNames.Name(40147 + 4), "ERROR");
}

std::set<std::int32_t> CodesOfTheMessageTable() {
  std::set<std::int32_t> codes;
  for (const MessageIdBlock& block : kEventMessageBlocks) {
    for (ULong id = block.firstId; id <= block.lastId; ++id) {
      codes.insert(static_cast<std::int32_t>(id - 0x20000000));
    }
  }
  return codes;
}

TEST(CodeNamesCrossCheck, EveryMessageHasItsEventButFiveThatLieInGapsOfTheEvents) {
  std::vector<std::int32_t> withoutName;
  for (const std::int32_t code : CodesOfTheMessageTable()) {
    if (EventCodeNames.count(code) == 0) withoutName.push_back(code);
  }

  EXPECT_EQ(withoutName, (std::vector<std::int32_t>{10854, 10855, 10856, 10857, 10914}));
}

TEST(CodeNamesCrossCheck, ThreeEventsOfTheTablesRangeHaveANameButNoMessage) {
  const std::set<std::int32_t> messages = CodesOfTheMessageTable();
  std::vector<std::int32_t> withoutMessage;
  for (const auto [code, name] : EventCodeNames) {
    if (code < 10000 || code > 11109) continue;
    if (messages.count(code) == 0) withoutMessage.push_back(code);
  }

  EXPECT_EQ(withoutMessage, (std::vector<std::int32_t>{10353, 10354, 10541}));
  EXPECT_EQ(EventCodeNames.Name(10353), "DIAG_NVRAM_RET_TEST_STARTED_ON_PREV_BOOT");
  EXPECT_EQ(EventCodeNames.Name(10354), "DIAG_NVRAM_RENTION_TEST_SUCCESS");
  EXPECT_EQ(EventCodeNames.Name(10541), "LD_CORRECTED_MEDIUM_ERROR");
}

}  // namespace
}  // namespace Ondrel
