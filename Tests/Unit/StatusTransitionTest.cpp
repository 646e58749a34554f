#include <Ondrel/CodeNames.h>
#include <Ondrel/StatusTransition.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace Ondrel {
namespace {

// Old status, new status, event code, severity, event name.
constexpr char kLogicalDriveRows[] = R"(
40094 40095 10418 4 LD_STATE_CHANGE_DEG_TO_FAIL
40094 40093 10415 2 LD_STATE_CHANGE_DEG_TO_OP
40094 40242 10417 3 LD_STATE_CHANGE_DEG_TO_PAR_DEG
40095 40094 10424 3 LD_STATE_CHANGE_FAIL_TO_DEG
40095 40093 10423 2 LD_STATE_CHANGE_FAIL_TO_OP
40095 40242 10425 3 LD_STATE_CHANGE_FAIL_TO_PAR_DEG
40093 40094 10412 4 LD_STATE_CHANGE_OP_TO_DEG
40093 40095 10414 4 LD_STATE_CHANGE_OP_TO_FAIL
40093 40242 10413 3 LD_STATE_CHANGE_OP_TO_PAR_DEG
40242 40094 10420 3 LD_STATE_CHANGE_PAR_DEG_TO_DEG
40242 40095 10422 4 LD_STATE_CHANGE_PAR_DEG_TO_FAIL
40242 40093 10419 2 LD_STATE_CHANGE_PAR_DEG_TO_OP
)";

// Group and its statuses.
constexpr char kGroups[] = R"(
AVAIL 40099 40180
FAIL 40095 40181
HS 40097 40178 40098 40179
OP 40093 40176
RBLD 40096 40177
OFFL 40261 40034
SYS 40307 40308
)";

// Old group, new group, event code.
constexpr char kGroupEvents[] = R"(
AVAIL AVAIL 10277
AVAIL FAIL 10451
AVAIL HS 10452
AVAIL OP 10454
AVAIL RBLD 10453
AVAIL OFFL 10485
AVAIL SYS 10745
FAIL AVAIL 10455
FAIL FAIL 10456
FAIL HS 10457
FAIL OP 10459
FAIL RBLD 10458
FAIL OFFL 10497
FAIL SYS 10747
HS AVAIL 10460
HS FAIL 10461
HS HS 10462
HS OP 10464
HS RBLD 10463
HS OFFL 10498
HS SYS 10749
OP AVAIL 10470
OP FAIL 10471
OP HS 10472
OP OP 10474
OP RBLD 10473
OP OFFL 10505
OP SYS 10753
RBLD AVAIL 10465
RBLD FAIL 10466
RBLD HS 10467
RBLD OP 10469
RBLD RBLD 10468
RBLD OFFL 10506
RBLD SYS 10751
OFFL AVAIL 10499
OFFL FAIL 10500
OFFL HS 10501
OFFL OP 10503
OFFL RBLD 10504
OFFL OFFL 10502
OFFL SYS 10798
SYS AVAIL 10762
SYS FAIL 10763
SYS HS 10764
SYS OP 10766
SYS RBLD 10767
SYS OFFL 10765
SYS SYS 10769
)";

using Pair = std::pair<std::int32_t, std::int32_t>;
using Result = std::pair<std::int32_t, std::int32_t>;
using Table = std::map<Pair, Result>;

Table LogicalDriveTable() {
  Table table;
  std::istringstream rows(kLogicalDriveRows);
  std::int32_t oldStatus, newStatus, code, severity;
  std::string name;
  while (rows >> oldStatus >> newStatus >> code >> severity >> name)
    table[{oldStatus, newStatus}] = {code, severity};
  return table;
}

Table PhysicalDriveTable() {
  std::map<std::int32_t, std::string> groupOf;
  std::istringstream groups(kGroups);
  for (std::string row; std::getline(groups, row);) {
    std::istringstream words(row);
    std::string group;
    words >> group;
    for (std::int32_t status; words >> status;) groupOf[status] = group;
  }

  std::map<std::pair<std::string, std::string>, std::int32_t> codeOf;
  std::istringstream events(kGroupEvents);
  std::string oldGroup, newGroup;
  std::int32_t code;
  while (events >> oldGroup >> newGroup >> code) codeOf[{oldGroup, newGroup}] = code;

  Table table;
  for (const auto& [oldStatus, from] : groupOf)
    for (const auto& [newStatus, to] : groupOf)
      table[{oldStatus, newStatus}] = {codeOf.at({from, to}), to == "FAIL"   ? 4
                                                              : to == "OFFL" ? 3
                                                                             : 2};
  return table;
}

using Lookup = bool (*)(const CStateChange&, CStateChangeEvent&);

constexpr CStateChangeEvent kUntouched = {-777, -888};

std::vector<std::int32_t> CodesAround() {
  std::vector<std::int32_t> codes = {std::numeric_limits<std::int32_t>::min(), -40093,
                                     std::numeric_limits<std::int32_t>::max()};
  for (std::int32_t code = -2; code <= 50; ++code) codes.push_back(code);
  for (std::int32_t code = 39990; code <= 40320; ++code) codes.push_back(code);
  return codes;
}

// Holds a lookup against an independent table over every pair of a wide range of codes.
void ExpectExactly(Lookup find, const Table& expected) {
  std::size_t hits = 0;
  for (const std::int32_t oldStatus : CodesAround()) {
    for (const std::int32_t newStatus : CodesAround()) {
      CStateChangeEvent event = kUntouched;
      const bool found = find({oldStatus, newStatus}, event);
      const auto row = expected.find({oldStatus, newStatus});
      const bool isListed = row != expected.end();
      const Result result = isListed ? row->second : Result{-777, -888};
      ASSERT_EQ(found, isListed) << oldStatus << " to " << newStatus;
      ASSERT_EQ(event.EventCode, result.first) << oldStatus << " to " << newStatus;
      ASSERT_EQ(event.Severity, result.second) << oldStatus << " to " << newStatus;
      hits += found ? 1 : 0;
    }
  }
  EXPECT_EQ(hits, expected.size());
}

TEST(StatusTransition, LogicalDriveTableIsExactlyItsTwelveRows) {
  const Table expected = LogicalDriveTable();
  ASSERT_EQ(expected.size(), 12U);
  ExpectExactly(FindStatusTransitionLD, expected);
}

TEST(StatusTransition, PhysicalDriveTableIsExactlyTheFullMatrixOfSixteenStatuses) {
  const Table expected = PhysicalDriveTable();
  ASSERT_EQ(expected.size(), 256U);
  ExpectExactly(FindStatusTransitionPD, expected);
}

struct HitCase {
  const char* name;
  Lookup find;
  CStateChange change;
  std::int32_t eventCode;
  std::int32_t severity;
};

class StatusTransitionHit : public testing::TestWithParam<HitCase> {};

TEST_P(StatusTransitionHit, YieldsEventAndSeverity) {
  CStateChangeEvent event = kUntouched;
  EXPECT_TRUE(GetParam().find(GetParam().change, event));
  EXPECT_EQ(event.EventCode, GetParam().eventCode);
  EXPECT_EQ(event.Severity, GetParam().severity);
}

INSTANTIATE_TEST_SUITE_P(
    StatusTransition, StatusTransitionHit,
    testing::Values(HitCase{"PhysicalOperationalToItself",
                            FindStatusTransitionPD,
                            {kStatusOperational, kStatusOperational},
                            10474,
                            2},
                    HitCase{"PhysicalFailedToItself",
                            FindStatusTransitionPD,
                            {kStatusFailed, kStatusFailed},
                            10456,
                            4},
                    HitCase{"PhysicalOfflineToItself",
                            FindStatusTransitionPD,
                            {kStatusOffline, kStatusOffline},
                            10502,
                            3},
                    HitCase{"SmartMarkIsNoEventOfItsOwn",
                            FindStatusTransitionPD,
                            {kStatusOperational, kStatusOperationalSmart},
                            10474,
                            2},
                    HitCase{"AvailableGetsItsSmartMark",
                            FindStatusTransitionPD,
                            {kStatusAvailable, kStatusAvailableSmart},
                            10277,
                            2},
                    HitCase{"OperationalSmartFails",
                            FindStatusTransitionPD,
                            {kStatusOperationalSmart, kStatusFailed},
                            10471,
                            4},
                    HitCase{"HotsparesAreOneGroup",
                            FindStatusTransitionPD,
                            {kStatusGlobalHotspare, kStatusDedicatedHotspareSmart},
                            10462,
                            2},
                    HitCase{"RebuildingGoesOffline",
                            FindStatusTransitionPD,
                            {kStatusRebuilding, kStatusOffline},
                            10506,
                            3},
                    HitCase{"DegradedFromOperationalIsAnError",
                            FindStatusTransitionLD,
                            {kStatusOperational, kStatusDegraded},
                            10412,
                            4},
                    HitCase{"DegradedFromFailedIsAWarning",
                            FindStatusTransitionLD,
                            {kStatusFailed, kStatusDegraded},
                            10424,
                            3},
                    HitCase{"DegradedFromPartiallyDegradedIsAWarning",
                            FindStatusTransitionLD,
                            {kStatusPartiallyDegraded, kStatusDegraded},
                            10420,
                            3}),
    [](const testing::TestParamInfo<HitCase>& test) { return test.param.name; });

struct MissCase {
  const char* name;
  Lookup find;
  CStateChange change;
};

class StatusTransitionMiss : public testing::TestWithParam<MissCase> {};

TEST_P(StatusTransitionMiss, YieldsFalseAndLeavesTheOutput) {
  CStateChangeEvent event = kUntouched;
  EXPECT_FALSE(GetParam().find(GetParam().change, event));
  EXPECT_EQ(event.EventCode, -777);
  EXPECT_EQ(event.Severity, -888);
}

INSTANTIATE_TEST_SUITE_P(
    StatusTransition, StatusTransitionMiss,
    testing::Values(
        MissCase{"LogicalOperationalToItself",
                 FindStatusTransitionLD,
                 {kStatusOperational, kStatusOperational}},
        MissCase{
            "LogicalDegradedToItself", FindStatusTransitionLD, {kStatusDegraded, kStatusDegraded}},
        MissCase{"LogicalFailedToItself", FindStatusTransitionLD, {kStatusFailed, kStatusFailed}},
        MissCase{"LogicalPartiallyDegradedToItself",
                 FindStatusTransitionLD,
                 {kStatusPartiallyDegraded, kStatusPartiallyDegraded}},
        MissCase{"LogicalWithAPhysicalStatus",
                 FindStatusTransitionLD,
                 {kStatusRebuilding, kStatusOperational}},
        MissCase{
            "PhysicalWithALogicalStatus", FindStatusTransitionPD, {kStatusDegraded, kStatusFailed}},
        MissCase{"PhysicalFromZero", FindStatusTransitionPD, {0, kStatusFailed}},
        MissCase{"PhysicalToZero", FindStatusTransitionPD, {kStatusFailed, 0}},
        MissCase{"PhysicalFromNegative", FindStatusTransitionPD, {-1, kStatusFailed}},
        MissCase{"PhysicalToNegative", FindStatusTransitionPD, {kStatusFailed, -40095}}),
    [](const testing::TestParamInfo<MissCase>& test) { return test.param.name; });

TEST(StatusTransition, ManyThreadsLookUpAtOnce) {
  const Table expected = PhysicalDriveTable();
  std::atomic<std::size_t> wrong{0};
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 8; ++thread)
    threads.emplace_back([&] {
      for (int round = 0; round < 20; ++round)
        for (const auto& [change, result] : expected) {
          CStateChangeEvent event = kUntouched;
          if (!FindStatusTransitionPD({change.first, change.second}, event) ||
              Result{event.EventCode, event.Severity} != result)
            ++wrong;
        }
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0U);
}

// Code and name of the value vocabulary, against the enumerator that is to have that code.
struct StatusCase {
  DriveStatus status;
  std::int32_t code;
  const char* name;
};

constexpr StatusCase kStatusCases[] = {
    {kStatusAvailable, 40099, "AVAILABLE"},
    {kStatusAvailableSmart, 40180, "AVAILABLE_SMART"},
    {kStatusFailed, 40095, "FAILED"},
    {kStatusFailedSmart, 40181, "FAILED_SMART"},
    {kStatusGlobalHotspare, 40097, "GLOBAL_HOTSPARE"},
    {kStatusGlobalHotspareSmart, 40178, "GLOBAL_HOTSPARE_SMART"},
    {kStatusDedicatedHotspare, 40098, "DEDICATED_HOTSPARE"},
    {kStatusDedicatedHotspareSmart, 40179, "DEDICATED_HOTSPARE_SMART"},
    {kStatusOperational, 40093, "OPERATIONAL"},
    {kStatusOperationalSmart, 40176, "OPERATIONAL_SMART"},
    {kStatusRebuilding, 40096, "REBUILDING"},
    {kStatusRebuildingSmart, 40177, "REBUILDING_SMART"},
    {kStatusOffline, 40261, "OFFLINE"},
    {kStatusOfflineSmart, 40034, "OFFLINE_SMART"},
    {kStatusSystem, 40307, "SYSTEM"},
    {kStatusSystemSmart, 40308, "SYSTEM_SMART"},
    {kStatusDegraded, 40094, "DEGRADED"},
    {kStatusPartiallyDegraded, 40242, "PARTIALLY_DEGRADED"},
};

TEST(StatusTransition, PublicStatusesAreRowsOfTheValueVocabulary) {
  for (const StatusCase& test : kStatusCases) {
    EXPECT_EQ(std::int32_t{test.status}, test.code) << test.name;
    EXPECT_EQ(ValueCodeNames.Name(test.status), test.name);
  }
}

TEST(StatusTransition, EveryPairOfThePublicStatusesButAStatusToItselfIsALogicalChange) {
  for (const DriveStatus from : kLogicalDriveStatuses) {
    for (const DriveStatus to : kLogicalDriveStatuses) {
      CStateChangeEvent event = kUntouched;
      EXPECT_EQ(FindStatusTransitionLD({from, to}, event), from != to) << from << " to " << to;
    }
  }
}

TEST(StatusTransition, EveryPairOfThePublicStatusesIsAPhysicalChange) {
  for (const DriveStatus from : kPhysicalDriveStatuses) {
    for (const DriveStatus to : kPhysicalDriveStatuses) {
      CStateChangeEvent event = kUntouched;
      EXPECT_TRUE(FindStatusTransitionPD({from, to}, event)) << from << " to " << to;
    }
  }
}

TEST(StatusTransition, PublicSeveritiesAreTwoToFour) {
  EXPECT_EQ(kSeverityInformation, 2);
  EXPECT_EQ(kSeverityWarning, 3);
  EXPECT_EQ(kSeverityError, 4);
}

TEST(StatusTransition, RecordsAreTwoThirtyTwoBitIntegersInOrder) {
  EXPECT_EQ(sizeof(CStateChange), 8U);
  EXPECT_EQ(offsetof(CStateChange, OldStatus), 0U);
  EXPECT_EQ(offsetof(CStateChange, NewStatus), 4U);
  EXPECT_EQ(sizeof(CStateChangeEvent), 8U);
  EXPECT_EQ(offsetof(CStateChangeEvent, EventCode), 0U);
  EXPECT_EQ(offsetof(CStateChangeEvent, Severity), 4U);
}

}  // namespace
}  // namespace Ondrel
