#include "Support/PreparedEventLog.h"

#include <Ondrel/SystemLog.h>
#include <Pirsk/Exceptions.h>

#include <climits>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <new>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace Ondrel {
namespace {

using Pirsk::Exceptions::CErrorReport;
using Pirsk::Exceptions::ReportOf;
using Pirsk::Threading::CRaisingSwitchedOff;
using testing::ElementsAre;
using testing::IsEmpty;
using Testing::PreparedEventLog;
using Testing::RaisedBy;

class SystemLogWriter : public testing::Test {
protected:
  void SetUp() override { Pirsk::Exceptions::ForgetErrors(); }

  void Open() {
    ASSERT_EQ(log.Open("Alerts"), 1U);
    host.TakeCalls();
  }

  PreparedEventLog host;
  CSystemLog_Win log;
};

TEST_F(SystemLogWriter, OpenOpensTheLogAndRegistersTheSourceUnderOneName) {
  EXPECT_EQ(log.Open("Alerts"), 1U);
  EXPECT_THAT(host.TakeCalls(),
              ElementsAre("OpenEventLogA(null, Alerts)", "RegisterEventSourceA(null, Alerts)"));
}

TEST_F(SystemLogWriter, OpenOnAnOpenObjectIsRefusedWithoutACallOfTheHost) {
  Open();
  EXPECT_EQ(RaisedBy([&] { log.Open("Other"); }), 0x20050001U);
  EXPECT_THAT(host.TakeCalls(), IsEmpty());
}

TEST_F(SystemLogWriter, OpenOnAnOpenObjectWithAnEmptyNameIsRefusedAsAlreadyOpened) {
  Open();
  EXPECT_EQ(RaisedBy([&] { log.Open(""); }), 0x20050001U);
}

TEST_F(SystemLogWriter, RefusedSecondOpeningLeavesTheFirstInForce) {
  Open();
  RaisedBy([&] { log.Open("Other"); });
  EXPECT_EQ(log.Report(10002, kEventTypeInformation, "still here"), 1U);
  EXPECT_THAT(host.TakeCalls(),
              ElementsAre("ReportEventA(source, 4, 0, 0x20002712, null, 1, 0, still here, null)"));
}

TEST_F(SystemLogWriter, OpenWithAnEmptyNameIsRefusedWithoutACallOfTheHost) {
  EXPECT_EQ(RaisedBy([&] { log.Open(""); }), 0x20050002U);
  EXPECT_THAT(host.TakeCalls(), IsEmpty());
}

TEST_F(SystemLogWriter, FailedOpeningOfTheLogIsRaisedWithTheSystemError) {
  host.openedLog = nullptr;
  host.openError = 5;
  EXPECT_EQ(RaisedBy([&] { log.Open("Alerts"); }), 0x20050003U);
  EXPECT_THAT(host.TakeCalls(), ElementsAre("OpenEventLogA(null, Alerts)", "GetLastError()"));
  const CErrorReport report = ReportOf(kCannotOpenSystemLog);
  ASSERT_TRUE(report.systemError);
  EXPECT_EQ(report.systemError->kind, 2U);
  EXPECT_EQ(report.systemError->code, 5U);
  EXPECT_EQ(report.detail, "");
}

TEST_F(SystemLogWriter, FailedRegistrationReportsTheErrorLeftByClosingTheLog) {
  host.registeredSource = nullptr;
  host.registerError = 1314;
  host.closeError = 6;
  EXPECT_EQ(RaisedBy([&] { log.Open("Alerts"); }), 0x20050004U);
  EXPECT_THAT(host.TakeCalls(),
              ElementsAre("OpenEventLogA(null, Alerts)", "RegisterEventSourceA(null, Alerts)",
                          "CloseEventLog(log)", "GetLastError()"));
  const CErrorReport report = ReportOf(kSystemLogRegistrationFailed);
  ASSERT_TRUE(report.systemError);
  EXPECT_EQ(report.systemError->kind, 2U);
  EXPECT_EQ(report.systemError->code, 6U);
}

TEST_F(SystemLogWriter, FailedOpeningLeavesTheObjectClosed) {
  host.openedLog = nullptr;
  RaisedBy([&] { log.Open("Alerts"); });
  host.TakeCalls();
  EXPECT_EQ(log.Close(), 1U);
  EXPECT_THAT(host.TakeCalls(), IsEmpty());
}

TEST_F(SystemLogWriter, FailedRegistrationGivesTheLogBackOnceAndMayBeTriedAgain) {
  host.registeredSource = nullptr;
  RaisedBy([&] { log.Open("Alerts"); });
  host.registeredSource = Testing::kSourceHandle;
  host.TakeCalls();
  EXPECT_EQ(log.Open("Alerts"), 1U);
  EXPECT_THAT(host.TakeCalls(),
              ElementsAre("OpenEventLogA(null, Alerts)", "RegisterEventSourceA(null, Alerts)"));
}

TEST_F(SystemLogWriter, FailedRegistrationLeavesNothingToClose) {
  host.registeredSource = nullptr;
  RaisedBy([&] { log.Open("Alerts"); });
  host.TakeCalls();
  log.Close();
  EXPECT_THAT(host.TakeCalls(), IsEmpty());
}

TEST_F(SystemLogWriter, OpenErrorCarriesOneContextLineWithTheName) {
  host.openedLog = nullptr;
  RaisedBy([&] { log.Open("Alerts 100%d"); });
  EXPECT_THAT(ReportOf(kCannotOpenSystemLog).contextLines,
              ElementsAre("CSystemLog::Open (Alerts 100%d)"));
}

TEST_F(SystemLogWriter, RefusedSecondOpeningNamesTheNewNameInItsContextLine) {
  Open();
  RaisedBy([&] { log.Open("Other"); });
  EXPECT_THAT(ReportOf(kSystemLogAlreadyOpened).contextLines,
              ElementsAre("CSystemLog::Open (Other)"));
}

TEST_F(SystemLogWriter, ReportErrorCarriesOneContextLine) {
  RaisedBy([&] { log.Report(10002, kEventTypeInformation, "text"); });
  EXPECT_THAT(ReportOf(kSystemLogNotOpenedForWriting).contextLines,
              ElementsAre("CSystemLog::Report ()"));
}

TEST_F(SystemLogWriter, ErrorNamesTheRaiseAndThenTheHandlerInTheSourceOfTheWriter) {
  RaisedBy([&] { log.Report(10002, kEventTypeInformation, ""); });
  const CErrorReport report = ReportOf(kInvalidParameter);
  ASSERT_EQ(report.locations.size(), 2U);
  for (const CErrorReport::Location& location : report.locations) {
    EXPECT_EQ(location.module, "ondrel");
    EXPECT_TRUE(location.file.ends_with("SystemLogWriter.cpp")) << location.file;
  }
  EXPECT_LT(report.locations[0].line, report.locations[1].line);
}

TEST_F(SystemLogWriter, EachHandlerHasALocationOfItsOwn) {
  RaisedBy([&] { log.Open(""); });
  const std::uint32_t openLine = ReportOf(kInvalidParameter).locations.at(1).line;
  RaisedBy([&] { log.Report(10002, kEventTypeInformation, ""); });
  const std::uint32_t reportLine = ReportOf(kInvalidParameter).locations.at(1).line;
  EXPECT_LT(openLine, reportLine);
}

TEST_F(SystemLogWriter, CloseGivesTheSourceBackAndThenTheLog) {
  Open();
  EXPECT_EQ(log.Close(), 1U);
  EXPECT_THAT(host.TakeCalls(), ElementsAre("DeregisterEventSource(source)", "CloseEventLog(log)"));
}

TEST_F(SystemLogWriter, CloseOnAClosedObjectCallsNothingOfTheHost) {
  EXPECT_EQ(log.Close(), 1U);
  EXPECT_THAT(host.TakeCalls(), IsEmpty());
}

TEST_F(SystemLogWriter, CloseTwiceGivesTheHandlesBackOnce) {
  Open();
  log.Close();
  host.TakeCalls();
  EXPECT_EQ(log.Close(), 1U);
  EXPECT_THAT(host.TakeCalls(), IsEmpty());
}

TEST_F(SystemLogWriter, FailuresOfTheHostAtClosingAreNotNoticed) {
  Open();
  host.closingResult = 0;
  EXPECT_EQ(log.Close(), 1U);
  EXPECT_THAT(host.TakeCalls(), ElementsAre("DeregisterEventSource(source)", "CloseEventLog(log)"));
}

TEST_F(SystemLogWriter, ClosedObjectMayBeOpenedAgain) {
  Open();
  log.Close();
  host.TakeCalls();
  EXPECT_EQ(log.Open("Other"), 1U);
  EXPECT_THAT(host.TakeCalls(),
              ElementsAre("OpenEventLogA(null, Other)", "RegisterEventSourceA(null, Other)"));
}

TEST_F(SystemLogWriter, DestructorClosesTheLog) {
  {
    CSystemLog_Win inner;
    inner.Open("Alerts");
    host.TakeCalls();
  }
  EXPECT_THAT(host.TakeCalls(), ElementsAre("DeregisterEventSource(source)", "CloseEventLog(log)"));
}

TEST_F(SystemLogWriter, DestructorOfAClosedObjectCallsNothing) {
  { const CSystemLog_Win inner; }
  EXPECT_THAT(host.TakeCalls(), IsEmpty());
}

TEST_F(SystemLogWriter, DestructorEndsAModuleErrorThatClosingLetsOut) {
  host.atClose = [] { throw unsigned{kCannotCloseSystemLog}; };
  {
    CSystemLog_Win inner;
    inner.Open("Alerts");
  }
  host.atClose = nullptr;
  EXPECT_EQ(Pirsk::Exceptions::LastError()->number, 0x20050006U);
}

TEST_F(SystemLogWriter, EmptyTextIsRefusedBeforeTheSourceIsLookedAt) {
  EXPECT_EQ(RaisedBy([&] { log.Report(10002, kEventTypeInformation, ""); }), 0x20050002U);
}

TEST_F(SystemLogWriter, EmptyTextIsRefusedOnAnOpenObjectWithoutACallOfTheHost) {
  Open();
  EXPECT_EQ(RaisedBy([&] { log.Report(10002, kEventTypeInformation, ""); }), 0x20050002U);
  EXPECT_THAT(host.TakeCalls(), IsEmpty());
}

TEST_F(SystemLogWriter, ReportOnAClosedObjectIsRefused) {
  EXPECT_EQ(RaisedBy([&] { log.Report(10002, kEventTypeInformation, "text"); }), 0x20050007U);
  EXPECT_THAT(host.TakeCalls(), IsEmpty());
}

TEST_F(SystemLogWriter, ReportAfterCloseIsRefused) {
  Open();
  log.Close();
  EXPECT_EQ(RaisedBy([&] { log.Report(10002, kEventTypeInformation, "text"); }), 0x20050007U);
}

TEST_F(SystemLogWriter, ReportWritesTheTextAsTheOneString) {
  Open();
  EXPECT_EQ(log.Report(10002, kEventTypeWarning, "Drive 3 is offline"), 1U);
  EXPECT_THAT(
      host.TakeCalls(),
      ElementsAre("ReportEventA(source, 2, 0, 0x20002712, null, 1, 0, Drive 3 is offline, null)"));
}

TEST_F(SystemLogWriter, EventThatTheHostDoesNotTakeIsNotNoticed) {
  Open();
  host.reportResult = 0;
  EXPECT_EQ(log.Report(10002, kEventTypeInformation, "text"), 1U);
  EXPECT_THAT(host.TakeCalls(),
              ElementsAre("ReportEventA(source, 4, 0, 0x20002712, null, 1, 0, text, null)"));
}

struct IdCase {
  const char* name;
  int eventID;
  const char* written;
};

class SystemLogWriterId : public testing::TestWithParam<IdCase> {};

TEST_P(SystemLogWriterId, MapsTheEventToItsMessageId) {
  PreparedEventLog host;
  CSystemLog_Win log;
  log.Open("Alerts");
  host.TakeCalls();
  log.Report(GetParam().eventID, 4, "text");
  EXPECT_THAT(host.TakeCalls(), ElementsAre(std::string("ReportEventA(source, 4, 0, ") +
                                            GetParam().written + ", null, 1, 0, text, null)"));
}

INSTANTIATE_TEST_SUITE_P(
    SystemLogWriter, SystemLogWriterId,
    testing::Values(IdCase{"CatchAllCode", 10000, "0x20002710"},
                    IdCase{"CodeBelowTheRangeThoughItHasAnEntry", 10001, "0x20002710"},
                    IdCase{"FirstCodeOfTheRange", 10002, "0x20002712"},
                    IdCase{"LastCodeOfTheRange", 11108, "0x20002B64"},
                    IdCase{"CodeAboveTheRangeThoughItHasAnEntry", 11109, "0x20002710"},
                    IdCase{"CodeAfterTheTable", 11110, "0x20002710"},
                    IdCase{"CodeWithoutAnEntryInsideTheRange", 10353, "0x20002871"},
                    IdCase{"SecondCodeWithoutAnEntryInsideTheRange", 10354, "0x20002872"},
                    IdCase{"ThirdCodeWithoutAnEntryInsideTheRange", 10541, "0x2000292D"},
                    IdCase{"Zero", 0, "0x20002710"}, IdCase{"MinusOne", -1, "0x20002710"},
                    IdCase{"MostNegative", INT_MIN, "0x20002710"},
                    IdCase{"NegativeWithTheBitsOfACode", INT_MIN + 10002, "0x20002710"},
                    IdCase{"MostPositive", INT_MAX, "0x20002710"},
                    IdCase{"FullIdOfTheFirst", 0x20002712, "0x20002712"},
                    IdCase{"FullIdOfTheLast", 0x20002B64, "0x20002B64"},
                    IdCase{"FullIdBelowTheRange", 0x20002711, "0x20002710"},
                    IdCase{"FullIdAboveTheRange", 0x20002B65, "0x20002710"}),
    [](const testing::TestParamInfo<IdCase>& test) { return test.param.name; });

struct TypeCase {
  const char* name;
  int eventType;
  const char* written;
};

class SystemLogWriterType : public testing::TestWithParam<TypeCase> {};

TEST_P(SystemLogWriterType, ReachesTheHostByItsLowSixteenBits) {
  PreparedEventLog host;
  CSystemLog_Win log;
  log.Open("Alerts");
  host.TakeCalls();
  log.Report(10002, GetParam().eventType, "text");
  EXPECT_THAT(host.TakeCalls(),
              ElementsAre(std::string("ReportEventA(source, ") + GetParam().written +
                          ", 0, 0x20002712, null, 1, 0, text, null)"));
}

INSTANTIATE_TEST_SUITE_P(
    SystemLogWriter, SystemLogWriterType,
    testing::Values(TypeCase{"Error", 1, "1"}, TypeCase{"Warning", 2, "2"},
                    TypeCase{"Information", 4, "4"}, TypeCase{"BitAboveSixteen", 0x10004, "4"},
                    TypeCase{"MinusOne", -1, "65535"}, TypeCase{"UnknownType", 77, "77"}),
    [](const testing::TestParamInfo<TypeCase>& test) { return test.param.name; });

TEST_F(SystemLogWriter, CopySharesTheHandles) {
  Open();
  CSystemLog_Win copy(log);
  host.TakeCalls();
  EXPECT_EQ(copy.Report(10002, kEventTypeInformation, "text"), 1U);
  EXPECT_EQ(RaisedBy([&] { copy.Open("Other"); }), 0x20050001U);
  EXPECT_THAT(host.TakeCalls(),
              ElementsAre("ReportEventA(source, 4, 0, 0x20002712, null, 1, 0, text, null)"));
  copy.Close();
  EXPECT_THAT(host.TakeCalls(), ElementsAre("DeregisterEventSource(source)", "CloseEventLog(log)"));
  log.Close();
  EXPECT_THAT(host.TakeCalls(), ElementsAre("DeregisterEventSource(source)", "CloseEventLog(log)"));
}

TEST_F(SystemLogWriter, AssignmentReplacesTheHandlesWithoutGivingThemBack) {
  Open();
  const CSystemLog_Win closed;
  log = closed;
  EXPECT_EQ(RaisedBy([&] { log.Report(10002, kEventTypeInformation, "text"); }), 0x20050007U);
  EXPECT_EQ(log.Open("Alerts"), 1U);
  EXPECT_THAT(host.TakeCalls(),
              ElementsAre("OpenEventLogA(null, Alerts)", "RegisterEventSourceA(null, Alerts)"));
}

TEST_F(SystemLogWriter, ObjectAssignedFromItselfKeepsItsName) {
  Open();
  CSystemLog_Win& same = log;
  log = same;
  EXPECT_EQ(RaisedBy([&] { log.Open("Other"); }), 0x20050001U);
}

TEST_F(SystemLogWriter, HasNoMoveOperationsOfItsOwn) {
  // A move copies: what was moved from is open still.
  Open();
  CSystemLog_Win target(std::move(log));
  EXPECT_EQ(RaisedBy([&] { log.Open("Other"); }), 0x20050001U);
  target = CSystemLog_Win();
  host.TakeCalls();
}

TEST_F(SystemLogWriter, WithRaisingOffAnEmptyTextReachesTheHost) {
  Open();
  const CRaisingSwitchedOff off;
  EXPECT_EQ(log.Report(10002, kEventTypeInformation, ""), 1U);
  EXPECT_THAT(host.TakeCalls(),
              ElementsAre("ReportEventA(source, 4, 0, 0x20002712, null, 1, 0, , null)"));
}

TEST_F(SystemLogWriter, WithRaisingOffAClosedObjectReportsOnNoSource) {
  const CRaisingSwitchedOff off;
  EXPECT_EQ(log.Report(10002, kEventTypeInformation, ""), 1U);
  EXPECT_THAT(host.TakeCalls(),
              ElementsAre("ReportEventA(null, 4, 0, 0x20002712, null, 1, 0, , null)"));
  const std::vector<CErrorReport> passed = Pirsk::Exceptions::PassedErrors();
  ASSERT_EQ(passed.size(), 2U);
  EXPECT_EQ(passed[0].number, 0x20050002U);
  EXPECT_EQ(passed[1].number, 0x20050007U);
}

TEST_F(SystemLogWriter, WithRaisingOffAFailedOpeningGoesOnToRegisterAndYieldsOne) {
  host.openedLog = nullptr;
  const CRaisingSwitchedOff off;
  EXPECT_EQ(log.Open("Alerts"), 1U);
  EXPECT_THAT(host.TakeCalls(), ElementsAre("OpenEventLogA(null, Alerts)", "GetLastError()",
                                            "RegisterEventSourceA(null, Alerts)"));
}

TEST_F(SystemLogWriter, WithRaisingOffAFailedRegistrationStillTakesTheName) {
  host.openedLog = nullptr;
  host.registeredSource = nullptr;
  {
    const CRaisingSwitchedOff off;
    EXPECT_EQ(log.Open("Alerts"), 1U);
  }
  EXPECT_THAT(host.TakeCalls(), ElementsAre("OpenEventLogA(null, Alerts)", "GetLastError()",
                                            "RegisterEventSourceA(null, Alerts)",
                                            "CloseEventLog(null)", "GetLastError()"));
  EXPECT_EQ(RaisedBy([&] { log.Open("Other"); }), 0x20050001U);
}

TEST_F(SystemLogWriter, WithRaisingOffAnOpenObjectIsOpenedOverTheOldHandles) {
  Open();
  const CRaisingSwitchedOff off;
  EXPECT_EQ(log.Open("Other"), 1U);
  EXPECT_THAT(host.TakeCalls(),
              ElementsAre("OpenEventLogA(null, Other)", "RegisterEventSourceA(null, Other)"));
}

TEST_F(SystemLogWriter, WithRaisingOffAnEmptyNameReachesTheHost) {
  const CRaisingSwitchedOff off;
  EXPECT_EQ(log.Open(""), 1U);
  EXPECT_THAT(host.TakeCalls(),
              ElementsAre("OpenEventLogA(null, )", "RegisterEventSourceA(null, )"));
}

TEST_F(SystemLogWriter, ModuleErrorFromBelowIsTheResultWithRaisingOff) {
  Open();
  Host::EventLog().ReportEventA = [](void*, WORD, WORD, ULong, void*, WORD, ULong, const char**,
                                     void*) -> int { throw 0x2006000AU; };
  const CRaisingSwitchedOff off;
  EXPECT_EQ(log.Report(10002, kEventTypeInformation, "text"), 0x2006000AU);
}

TEST_F(SystemLogWriter, OtherExceptionsPassUnseen) {
  Open();
  Host::EventLog().ReportEventA = [](void*, WORD, WORD, ULong, void*, WORD, ULong, const char**,
                                     void*) -> int { throw std::bad_alloc(); };
  EXPECT_THROW(log.Report(10002, kEventTypeInformation, "text"), std::bad_alloc);
  EXPECT_FALSE(Pirsk::Exceptions::LastError());
}

TEST(SystemLogWriterLayout, HasNoBasesAndNoVirtualOperations) {
  EXPECT_FALSE(std::is_polymorphic_v<CSystemLog_Win>);
  EXPECT_EQ(sizeof(CSystemLog_Win), sizeof(std::string) + 2 * sizeof(void*));
  EXPECT_TRUE(std::is_nothrow_destructible_v<CSystemLog_Win>);
}

}  // namespace
}  // namespace Ondrel
