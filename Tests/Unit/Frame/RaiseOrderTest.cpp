#include "Module.h"
#include "RecordedFrame.h"

#include <Ondrel/SystemLog.h>
#include <Pirsk/Exceptions.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>
#include <new>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace Ondrel {
namespace {

using Pirsk::Threading::CRaisingSwitchedOff;
using testing::IsEmpty;
using Testing::OpenedUpReader;
using Testing::RaisedBy;
using Testing::RecordBytes;
using Testing::RecordedFrame;

using Calls = std::vector<std::string>;

Calls operator+(Calls left, const Calls& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

// A raise: the error is started and prepared with its number and data, thrown, and stream and
// exception go in this order.
Calls RaiseOf(const std::string& numberAndData) {
  return {"CThrowState::StartException", "CException::prepareThrow(" + numberAndData + ")",
          "CException::tryThrow", "CFormatStream::~CFormatStream", "CException::~CException"};
}

// The handler that hands on with a context line.
Calls ContextLine(const Calls& formatAndFeeds) {
  return Calls{"CThrowState::ContinueException"} + formatAndFeeds +
         Calls{"CFormatStream::~CFormatStream", "CExceptionLog::tryThrow",
               "CExceptionLog::~CExceptionLog"};
}

// The same within a call that switched raising off: the guard is first and last.
Calls Guarded(const Calls& calls) {
  return Calls{"CThrowState::Init"} + calls + Calls{"CThrowState::Restore"};
}

const Calls kReportLine = {"CExceptionLog::Format(CSystemLog::Report ())"};

Calls OpenLine(const std::string& name) {
  return {"CExceptionLog::Format(CSystemLog::Open (%s))",
          "CFormatStream::operator<<(string " + name + ")"};
}

class RaiseOrder : public testing::Test {
protected:
  void SetUp() override { frame.TakeCalls(); }

  RecordedFrame frame;
  CSystemLog_Win log;
  OpenedUpReader reader;
};

// Raises and the handlers that hand on.

TEST_F(RaiseOrder, SuccessfulCallsAskNothingOfTheBaseLibrary) {
  log.Open("Alerts");
  log.Report(10002, kEventTypeInformation, "text");
  EXPECT_EQ(frame.TakeCalls(),
            (Calls{"OpenEventLogA(null, Alerts)", "RegisterEventSourceA(null, Alerts)",
                   "ReportEventA(source, 4, 0, 0x20002712, null, 1, 0, text, null)"}));
}

TEST_F(RaiseOrder, RefusedTextPassesOneHandlerWithItsLine) {
  EXPECT_EQ(RaisedBy([&] { log.Report(10002, kEventTypeInformation, ""); }), 0x20050002U);
  EXPECT_EQ(frame.TakeCalls(), RaiseOf("0x20050002") + ContextLine(kReportLine));
}

TEST_F(RaiseOrder, ReportOnAClosedLogPassesOneHandlerWithItsLine) {
  EXPECT_EQ(RaisedBy([&] { log.Report(10002, kEventTypeInformation, "text"); }), 0x20050007U);
  EXPECT_EQ(frame.TakeCalls(), RaiseOf("0x20050007") + ContextLine(kReportLine));
}

TEST_F(RaiseOrder, RefusedNamePassesOneHandlerWithTheNameFed) {
  EXPECT_EQ(RaisedBy([&] { log.Open(""); }), 0x20050002U);
  EXPECT_EQ(frame.TakeCalls(), RaiseOf("0x20050002") + ContextLine(OpenLine("")));
}

TEST_F(RaiseOrder, SecondOpeningPassesOneHandlerWithTheNameFed) {
  log.Open("Alerts");
  frame.TakeCalls();
  EXPECT_EQ(RaisedBy([&] { log.Open("Other"); }), 0x20050001U);
  EXPECT_EQ(frame.TakeCalls(), RaiseOf("0x20050001") + ContextLine(OpenLine("Other")));
}

TEST_F(RaiseOrder, FailedOpeningOfTheWriterGivesTheSystemErrorReadStraightAfterIt) {
  frame.openedLog = nullptr;
  frame.openError = 5;
  EXPECT_EQ(RaisedBy([&] { log.Open("Alerts"); }), 0x20050003U);
  EXPECT_EQ(frame.TakeCalls(),
            (Calls{"OpenEventLogA(null, Alerts)", "GetLastError()"} +
             RaiseOf("0x20050003, native {2, 5}, null") + ContextLine(OpenLine("Alerts"))));
}

TEST_F(RaiseOrder, FailedRegistrationGivesTheSystemErrorReadAfterTheClosing) {
  frame.registeredSource = nullptr;
  frame.registerError = 5;
  frame.closeError = 6;
  EXPECT_EQ(RaisedBy([&] { log.Open("Alerts"); }), 0x20050004U);
  EXPECT_EQ(frame.TakeCalls(),
            (Calls{"OpenEventLogA(null, Alerts)", "RegisterEventSourceA(null, Alerts)",
                   "CloseEventLog(log)", "GetLastError()"} +
             RaiseOf("0x20050004, native {2, 6}, null") + ContextLine(OpenLine("Alerts"))));
}

TEST_F(RaiseOrder, FailedConstructionIsHandedOn) {
  frame.memoryIsShort = [](std::size_t) { return true; };
  EXPECT_EQ(RaisedBy([] { const CSystemLogReader_Win other; }), 0x2005000BU);
  EXPECT_EQ(frame.TakeCalls(),
            Calls{"Allocate(65536)"} + RaiseOf("0x2005000B") + Calls{"CThrowState::ThrowNext"});
}

TEST_F(RaiseOrder, RefusedNameOfTheReaderIsHandedOnWithoutALine) {
  EXPECT_EQ(RaisedBy([&] { reader.Open("", {}); }), 0x20050002U);
  EXPECT_EQ(frame.TakeCalls(), RaiseOf("0x20050002") + Calls{"CThrowState::ThrowNext"});
}

TEST_F(RaiseOrder, FailedOpeningOfTheReaderIsHandedOnWithTheSystemError) {
  frame.openedLog = nullptr;
  frame.openError = 1500;
  EXPECT_EQ(RaisedBy([&] { reader.Open("Alerts", {}); }), 0x20050003U);
  EXPECT_EQ(frame.TakeCalls(),
            (Calls{"OpenEventLogA(null, Alerts)", "GetLastError()"} +
             RaiseOf("0x20050003, native {2, 1500}, null") + Calls{"CThrowState::ThrowNext"}));
}

TEST_F(RaiseOrder, FailedReadGivesAFormattedDetailAndIsHandedOn) {
  frame.FailRead(87);
  EXPECT_EQ(RaisedBy([&] { reader.ReadEvents(9, 0, 512); }), 0x2005000CU);
  EXPECT_EQ(frame.TakeCalls(),
            (Calls{"ReadEventLogA(null, 9, 0, block, 512)", "GetLastError()"} +
             RaiseOf("0x2005000C, format Failed to read Windows Log, errorCode (87)") +
             Calls{"CThrowState::ThrowNext"}));
}

TEST_F(RaiseOrder, FailedResizingIsHandedOnWithoutData) {
  frame.FailRead(122, 70000);
  frame.memoryIsShort = [](std::size_t size) { return size == 70000; };
  EXPECT_EQ(RaisedBy([&] { reader.ReadEvents(9, 0, 512); }), 0x2005000BU);
  EXPECT_EQ(frame.TakeCalls(), (Calls{"ReadEventLogA(null, 9, 0, block, 512)", "GetLastError()",
                                      "Reallocate(block, 70000)"} +
                                RaiseOf("0x2005000B") + Calls{"CThrowState::ThrowNext"}));
}

TEST_F(RaiseOrder, FailedReadWithinOpenIsHandedOnTwice) {
  frame.FailRead(38);
  EXPECT_EQ(RaisedBy([&] { reader.Open("Alerts", {}); }), 0x2005000CU);
  EXPECT_EQ(frame.TakeCalls(),
            (Calls{"OpenEventLogA(null, Alerts)", "ReadEventLogA(log, 9, 0, block, 512)",
                   "GetLastError()"} +
             RaiseOf("0x2005000C, format Failed to read Windows Log, errorCode (38)") +
             Calls{"CThrowState::ThrowNext", "CThrowState::ThrowNext"}));
}

TEST_F(RaiseOrder, FailedReadOfThePublicOperationIsHandedOnOnce) {
  frame.FailRead(38);
  EXPECT_EQ(RaisedBy([&] { reader.ReadEvents(); }), 0x2005000CU);
  EXPECT_EQ(frame.TakeCalls(),
            (Calls{"ReadEventLogA(null, 6, 0, block, 65536)", "GetLastError()"} +
             RaiseOf("0x2005000C, format Failed to read Windows Log, errorCode (38)") +
             Calls{"CThrowState::ThrowNext"}));
}

// The handler that ends an error.

TEST_F(RaiseOrder, DestructorOfTheWriterEndsWhatClosingLetsOut) {
  std::optional<CSystemLog_Win> other(std::in_place);
  other->Open("Alerts");
  frame.atClose = [] { throw unsigned{kCannotCloseSystemLog}; };
  frame.TakeCalls();
  other.reset();
  frame.atClose = nullptr;
  EXPECT_EQ(frame.TakeCalls(), (Calls{"DeregisterEventSource(source)", "CloseEventLog(log)",
                                      "CThrowState::EndException"}));
}

TEST_F(RaiseOrder, DestructorOfTheReaderEndsWhatClosingLetsOut) {
  char block[65536];
  Host::Memory().Allocate = [&](std::size_t) { return static_cast<void*>(block); };
  std::optional<CSystemLogReader_Win> other(std::in_place);
  frame.AnswerRead(RecordBytes({}));
  other->Open("Alerts", {});
  frame.atClose = [] { throw unsigned{kCannotCloseSystemLog}; };
  frame.TakeCalls();
  other.reset();
  frame.atClose = nullptr;
  EXPECT_EQ(frame.TakeCalls(), (Calls{"CloseEventLog(log)", "CThrowState::EndException"}));
}

TEST_F(RaiseOrder, DestructorThatEndsAnErrorRestoresTheGuard) {
  std::optional<CSystemLog_Win> other(std::in_place);
  other->Open("Alerts");
  frame.atClose = [] { throw unsigned{kCannotCloseSystemLog}; };
  frame.TakeCalls();
  {
    const CRaisingSwitchedOff off;
    other.reset();
  }
  frame.atClose = nullptr;
  EXPECT_EQ(frame.TakeCalls(), Guarded({"DeregisterEventSource(source)", "CloseEventLog(log)",
                                        "CThrowState::EndException"}));
}

TEST_F(RaiseOrder, DestructorsOfClosedObjectsAskNothingOfTheBaseLibrary) {
  { const CSystemLog_Win other; }
  EXPECT_THAT(frame.TakeCalls(), IsEmpty());
  { const CSystemLogReader_Win other; }
  EXPECT_EQ(frame.TakeCalls(), (Calls{"Allocate(65536)", "Free(block)"}));
}

TEST_F(RaiseOrder, DestructorRunByAPassingErrorLeavesThatErrorAlone) {
  const auto raised = RaisedBy([] {
    CSystemLog_Win inner;
    inner.Open("Alerts");
    inner.Report(10002, kEventTypeInformation, "");
  });
  EXPECT_EQ(raised, 0x20050002U);
  EXPECT_EQ(frame.TakeCalls(),
            (Calls{"OpenEventLogA(null, Alerts)", "RegisterEventSourceA(null, Alerts)"} +
             RaiseOf("0x20050002") + ContextLine(kReportLine) +
             Calls{"DeregisterEventSource(source)", "CloseEventLog(log)"}));
}

// The guard, with raising switched off.

TEST_F(RaiseOrder, GuardIsFilledFirstAndRestoredLast) {
  const CRaisingSwitchedOff off;
  EXPECT_EQ(log.Open("Alerts"), 1U);
  EXPECT_EQ(frame.TakeCalls(),
            Guarded({"OpenEventLogA(null, Alerts)", "RegisterEventSourceA(null, Alerts)"}));
}

TEST_F(RaiseOrder, EveryGuardedOperationHasAGuardAndNoOtherHas) {
  const CRaisingSwitchedOff off;
  std::optional<CSystemLogReader_Win> other(std::in_place);
  EXPECT_EQ(frame.TakeCalls(), Guarded({"Allocate(65536)"}));
  other.reset();
  EXPECT_EQ(frame.TakeCalls(), Guarded({"Free(block)"}));
  std::optional<CSystemLog_Win> writer(std::in_place);
  EXPECT_THAT(frame.TakeCalls(), IsEmpty());
  writer->Close();
  EXPECT_THAT(frame.TakeCalls(), IsEmpty());
  writer.reset();
  EXPECT_EQ(frame.TakeCalls(), Guarded({}));

  reader.SetEventSources({"ondrel"});
  EXPECT_EQ(reader.isOpened(), 0);
  EXPECT_THAT(frame.TakeCalls(), IsEmpty());
  reader.GetMessageResources("messages.dll");
  EXPECT_EQ(frame.TakeCalls(), Calls{"LoadLibraryExA(messages.dll, null, 0x22)"});
  reader.GetMessageString(7, 0, nullptr);
  EXPECT_EQ(frame.TakeCalls(), Calls{"FormatMessageA(0x1900, module, 0x7, 0, 0, none)"});
  frame.AnswerRead("");
  reader.getRecordNumber();
  EXPECT_EQ(frame.TakeCalls(),
            Guarded({"ReadEventLogA(null, 9, 0, block, 512)", "GetLastError()"}));
  frame.AnswerRead("");
  reader.ReadEvents();
  EXPECT_EQ(frame.TakeCalls(),
            Guarded({"ReadEventLogA(null, 6, 0, block, 65536)", "GetLastError()"}));
}

TEST_F(RaiseOrder, OpenOfTheReaderHasAGuardAroundThatOfItsRead) {
  frame.AnswerRead(RecordBytes({}));
  const CRaisingSwitchedOff off;
  EXPECT_EQ(reader.Open("Alerts", {}), 1U);
  EXPECT_EQ(frame.TakeCalls(),
            Guarded(Calls{"OpenEventLogA(null, Alerts)"} +
                    Guarded({"ReadEventLogA(log, 9, 0, block, 512)", "GetLastError()"})));
}

TEST_F(RaiseOrder, RaiseThatComesBackIsFollowedByTheNextStatement) {
  log.Open("Alerts");
  frame.TakeCalls();
  const CRaisingSwitchedOff off;
  EXPECT_EQ(log.Report(10002, kEventTypeInformation, ""), 1U);
  EXPECT_EQ(frame.TakeCalls(),
            Guarded(RaiseOf("0x20050002") +
                    Calls{"ReportEventA(source, 4, 0, 0x20002712, null, 1, 0, , null)"}));
}

TEST_F(RaiseOrder, FailedOpeningThatComesBackIsFollowedByTheRegistration) {
  frame.openedLog = nullptr;
  frame.openError = 5;
  const CRaisingSwitchedOff off;
  EXPECT_EQ(log.Open("Alerts"), 1U);
  EXPECT_EQ(frame.TakeCalls(), Guarded(Calls{"OpenEventLogA(null, Alerts)", "GetLastError()"} +
                                       RaiseOf("0x20050003, native {2, 5}, null") +
                                       Calls{"RegisterEventSourceA(null, Alerts)"}));
}

TEST_F(RaiseOrder, FailedReadThatComesBackIsFollowedByAnotherRead) {
  frame.FailRead(38);
  frame.AnswerRead("");
  const CRaisingSwitchedOff off;
  EXPECT_EQ(reader.ReadEvents(9, 0, 512), 1U);
  const Calls read = {"ReadEventLogA(null, 9, 0, block, 512)", "GetLastError()"};
  EXPECT_EQ(
      frame.TakeCalls(),
      Guarded(read + RaiseOf("0x2005000C, format Failed to read Windows Log, errorCode (38)") +
              read));
}

TEST_F(RaiseOrder, ModuleErrorFromBelowComesBackFromTheHandlerWithItsNumber) {
  Host::EventLog().OpenEventLogA = [](const char*, const char*) -> void* { throw 0x2006000AU; };
  const CRaisingSwitchedOff off;
  EXPECT_EQ(log.Open("Alerts"), 0x2006000AU);
  EXPECT_EQ(frame.TakeCalls(), Guarded(ContextLine(OpenLine("Alerts"))));
}

TEST_F(RaiseOrder, ModuleErrorFromBelowComesBackFromTheReadersHandlerAsZero) {
  Host::EventLog().OpenEventLogA = [](const char*, const char*) -> void* { throw 0x2006000AU; };
  const CRaisingSwitchedOff off;
  EXPECT_EQ(reader.Open("Alerts", {}), 0U);
  EXPECT_EQ(frame.TakeCalls(), Guarded({"CThrowState::ThrowNext"}));
}

TEST_F(RaiseOrder, OtherExceptionPassesUnseenAndTheGuardIsRestored) {
  Host::EventLog().OpenEventLogA = [](const char*, const char*) -> void* {
    throw std::bad_alloc();
  };
  const CRaisingSwitchedOff off;
  EXPECT_THROW(log.Open("Alerts"), std::bad_alloc);
  EXPECT_EQ(frame.TakeCalls(), Guarded({}));
  EXPECT_THROW(reader.Open("Alerts", {}), std::bad_alloc);
  EXPECT_EQ(frame.TakeCalls(), Guarded({}));
}

TEST_F(RaiseOrder, SwitchingOffOnAnotherThreadDoesNotKeepThisOneFromRaising) {
  std::promise<void> isOff;
  std::promise<void> mayEnd;
  std::thread other([&] {
    const CRaisingSwitchedOff off;
    isOff.set_value();
    mayEnd.get_future().wait();
  });
  isOff.get_future().wait();
  EXPECT_EQ(RaisedBy([&] { log.Report(10002, kEventTypeInformation, ""); }), 0x20050002U);
  mayEnd.set_value();
  other.join();
  // The guard asked, got no state of this thread's, and has nothing to restore.
  EXPECT_EQ(frame.TakeCalls(),
            Calls{"CThrowState::Init"} + RaiseOf("0x20050002") + ContextLine(kReportLine));
}

TEST_F(RaiseOrder, GuardIsAsPlainAsOnePointer) {
  EXPECT_EQ(sizeof(Pirsk::Threading::CThrowState), sizeof(void*));
}

TEST_F(RaiseOrder, SwitchedOnAgainTheGuardAsksNothing) {
  { const CRaisingSwitchedOff off; }
  EXPECT_EQ(RaisedBy([&] { log.Report(10002, kEventTypeInformation, ""); }), 0x20050002U);
  EXPECT_EQ(frame.TakeCalls(), RaiseOf("0x20050002") + ContextLine(kReportLine));
}

}  // namespace
}  // namespace Ondrel
