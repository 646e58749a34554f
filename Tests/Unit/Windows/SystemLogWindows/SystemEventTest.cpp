#include "Support/GroupingLocale.h"

#include <Ondrel/SystemLog.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace Ondrel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

CSystemEvent_Win Event() {
  CSystemEvent_Win event;
  event.recordNumber = 7;
  event.timeGenerated = 1700000000;
  event.eventID = 10005;
  event.eventType = 1;
  event.args = {"a", "b"};
  event.message = "hello";
  return event;
}

TEST(SystemEvent, StartsWithZerosAndEmpties) {
  const CSystemEvent_Win event;
  EXPECT_EQ(event.recordNumber, 0U);
  EXPECT_EQ(event.timeGenerated, 0U);
  EXPECT_EQ(event.eventID, 0U);
  EXPECT_EQ(event.eventType, 0U);
  EXPECT_THAT(event.args, IsEmpty());
  EXPECT_EQ(event.message, "");
}

TEST(SystemEvent, ReadsAsOneLineWithoutItsTime) {
  EXPECT_EQ(Event().str(),
            "Event: record number (7) eventID (10005) eventType (1) args: a b message: 'hello'");
}

TEST(SystemEvent, DefaultRecordReadsAsZerosAndEmpties) {
  EXPECT_EQ(CSystemEvent_Win().str(),
            "Event: record number (0) eventID (0) eventType (0) args: message: ''");
}

TEST(SystemEvent, LargestNumbersReadInPlainDecimal) {
  CSystemEvent_Win event;
  event.recordNumber = 4294967295;
  event.eventID = 65535;
  event.eventType = 65535;
  EXPECT_EQ(
      event.str(),
      "Event: record number (4294967295) eventID (65535) eventType (65535) args: message: ''");
}

TEST(SystemEvent, ProgramLocaleDoesNotGroupItsDigits) {
  const Testing::GroupingLocale grouping;
  const std::string line = Event().str();
  EXPECT_EQ(line,
            "Event: record number (7) eventID (10005) eventType (1) args: a b message: 'hello'");
}

TEST(SystemEvent, CopyHasTheSameMembers) {
  const CSystemEvent_Win event = Event();
  CSystemEvent_Win copy;
  copy = event;
  EXPECT_EQ(copy.recordNumber, 7U);
  EXPECT_EQ(copy.timeGenerated, 1700000000U);
  EXPECT_EQ(copy.eventID, 10005U);
  EXPECT_EQ(copy.eventType, 1U);
  EXPECT_THAT(copy.args, ElementsAre("a", "b"));
  EXPECT_EQ(copy.message, "hello");
  EXPECT_THAT(event.args, ElementsAre("a", "b"));
}

TEST(SystemEvent, MovedFromRecordHasEmptyArgumentsAndMessage) {
  CSystemEvent_Win event = Event();
  event.message = "a message that is too long for the string object itself";
  const CSystemEvent_Win target = std::move(event);
  EXPECT_THAT(target.args, ElementsAre("a", "b"));
  EXPECT_THAT(event.args, IsEmpty());
  EXPECT_EQ(event.message, "");
  EXPECT_EQ(event.recordNumber, 7U);
}

TEST(SystemEvent, FieldsStandInTheirOrder) {
  EXPECT_EQ(offsetof(CSystemEvent_Win, recordNumber), 0U);
  EXPECT_EQ(offsetof(CSystemEvent_Win, timeGenerated), 4U);
  EXPECT_EQ(offsetof(CSystemEvent_Win, eventID), 8U);
  EXPECT_EQ(offsetof(CSystemEvent_Win, eventType), 12U);
  EXPECT_EQ(offsetof(CSystemEvent_Win, args), 16U);
  EXPECT_EQ(offsetof(CSystemEvent_Win, message), 16U + sizeof(std::vector<std::string>));
  EXPECT_FALSE(std::is_polymorphic_v<CSystemEvent_Win>);
}

}  // namespace
}  // namespace Ondrel
