#include "Support/GroupingLocale.h"
#include "Support/PreparedEventLog.h"

#include <Ondrel/SystemLog.h>
#include <Pirsk/Exceptions.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <new>
#include <string>
#include <type_traits>
#include <vector>

namespace Ondrel {
namespace {

using Pirsk::Exceptions::CErrorReport;
using Pirsk::Exceptions::ReportOf;
using Pirsk::Threading::CRaisingSwitchedOff;
using testing::ElementsAre;
using testing::IsEmpty;
using Testing::OpenedUpReader;
using Testing::PreparedEventLog;
using Testing::RaisedBy;
using Testing::RecordBytes;

class SystemLogReader : public testing::Test {
protected:
  void SetUp() override {
    Pirsk::Exceptions::ForgetErrors();
    host.TakeCalls();
  }

  // Opens the reader on a log whose newest record has this number.
  void OpenAt(ULong newest) {
    host.AnswerRead(RecordBytes({.number = newest}));
    ASSERT_EQ(reader.Open("Alerts", {"ondrel"}), 1U);
    host.TakeCalls();
  }

  // The record number that the next incremental read begins with.
  std::string Watermark() {
    host.AnswerRead("");
    host.TakeCalls();
    reader.ReadEvents();
    return host.TakeCallsOf("ReadEventLogA").at(0);
  }

  PreparedEventLog host;
  OpenedUpReader reader;
};

// Construction and the end.

TEST(SystemLogReaderConstants, AreExportedWithTheirValues) {
  EXPECT_EQ(CSystemLogReader_Win::MAX_RECORD_BUFFER_SIZE, 65536U);
  EXPECT_EQ(CSystemLogReader_Win::MIN_BYTES_TO_READ, 512U);
  EXPECT_TRUE((std::is_same_v<decltype(CSystemLogReader_Win::MIN_BYTES_TO_READ), const ULong>));
}

TEST(SystemLogReaderLayout, HasNoBasesAndNoVirtualOperations) {
  EXPECT_FALSE(std::is_polymorphic_v<CSystemLogReader_Win>);
  EXPECT_TRUE(std::is_nothrow_destructible_v<CSystemLogReader_Win>);
}

TEST(SystemLogReaderConstruction, TakesItsBuffer) {
  PreparedEventLog host;
  const CSystemLogReader_Win reader;
  EXPECT_THAT(host.TakeCalls(), ElementsAre("Allocate(65536)"));
  EXPECT_EQ(reader.isOpened(), 0);
}

TEST(SystemLogReaderConstruction, IsRefusedWithoutMemory) {
  PreparedEventLog host;
  host.memoryIsShort = [](std::size_t) { return true; };
  EXPECT_EQ(RaisedBy([] { const CSystemLogReader_Win reader; }), 0x2005000BU);
  EXPECT_THAT(host.TakeCalls(), ElementsAre("Allocate(65536)"));
  const CErrorReport report = ReportOf(kOutOfMemory);
  EXPECT_EQ(report.text, "No information available for this error");
  EXPECT_EQ(report.detail, "");
  EXPECT_FALSE(report.systemError);
  EXPECT_THAT(report.contextLines, IsEmpty());
}

TEST(SystemLogReaderConstruction, WithRaisingOffAndWithoutMemoryYieldsAReaderWithoutABuffer) {
  PreparedEventLog host;
  host.memoryIsShort = [](std::size_t) { return true; };
  const CRaisingSwitchedOff off;
  OpenedUpReader reader;
  host.reads.push_back({});
  host.TakeCalls();
  EXPECT_EQ(reader.ReadEvents(9, 0, 512), 1U);
  EXPECT_THAT(host.TakeCalls(),
              ElementsAre("ReadEventLogA(null, 9, 0, null, 512)", "GetLastError()"));
}

TEST(SystemLogReaderDestruction, GivesTheBufferBack) {
  PreparedEventLog host;
  { const CSystemLogReader_Win reader; }
  EXPECT_THAT(host.TakeCalls(), ElementsAre("Allocate(65536)", "Free(block)"));
}

TEST(SystemLogReaderDestruction, GivesBackLogModuleAndBuffer) {
  PreparedEventLog host;
  {
    CSystemLogReader_Win reader;
    host.AnswerRead(RecordBytes({}));
    reader.Open("Alerts", {});
    reader.GetMessageResources("messages.dll");
    host.TakeCalls();
  }
  EXPECT_THAT(host.TakeCalls(),
              ElementsAre("CloseEventLog(log)", "FreeLibrary(module)", "Free(block)"));
}

TEST(SystemLogReaderDestruction, EndsAModuleErrorThatClosingLetsOut) {
  PreparedEventLog host;
  char block[65536];
  Host::Memory().Allocate = [&](std::size_t) { return static_cast<void*>(block); };
  host.atClose = [] { throw unsigned{kCannotCloseSystemLog}; };
  {
    CSystemLogReader_Win reader;
    host.AnswerRead(RecordBytes({}));
    reader.Open("Alerts", {"one", "two"});
  }
  host.atClose = nullptr;
  EXPECT_EQ(Pirsk::Exceptions::LastError()->number, 0x20050006U);
}

// Open.

TEST_F(SystemLogReader, OpenReadsTheNewestRecord) {
  host.AnswerRead(RecordBytes({.number = 42}));
  EXPECT_EQ(reader.Open("Alerts", {"ondrel"}), 1U);
  EXPECT_THAT(host.TakeCalls(),
              ElementsAre("OpenEventLogA(null, Alerts)", "ReadEventLogA(log, 9, 0, block, 512)",
                          "GetLastError()"));
}

TEST_F(SystemLogReader, NewestRecordAtOpeningCountsAsSeen) {
  OpenAt(42);
  EXPECT_EQ(Watermark(), "ReadEventLogA(log, 6, 42, block, 65536)");
}

TEST_F(SystemLogReader, FirstRecordOfTheBackwardsReadIsTheNewest) {
  host.AnswerRead(RecordBytes({.number = 42}) + RecordBytes({.number = 41}));
  reader.Open("Alerts", {"ondrel"});
  EXPECT_EQ(Watermark(), "ReadEventLogA(log, 6, 42, block, 65536)");
}

TEST_F(SystemLogReader, LargestRecordNumberIsKept) {
  OpenAt(0xFFFFFFFF);
  EXPECT_EQ(Watermark(), "ReadEventLogA(log, 6, 4294967295, block, 65536)");
}

TEST_F(SystemLogReader, OpenTwiceIsRefusedWithoutACallOfTheHost) {
  OpenAt(42);
  EXPECT_EQ(RaisedBy([&] { reader.Open("Other", {"other"}); }), 0x20050001U);
  EXPECT_THAT(host.TakeCalls(), IsEmpty());
}

TEST_F(SystemLogReader, RefusedSecondOpeningLeavesSourcesAndWatermark) {
  OpenAt(42);
  RaisedBy([&] { reader.Open("Other", {"other"}); });
  host.AnswerRead(RecordBytes({.number = 42}) + RecordBytes({.number = 43}));
  EXPECT_EQ(reader.ReadEvents().size(), 1U);
}

TEST_F(SystemLogReader, OpenTwiceWithAnEmptyNameIsRefusedAsAlreadyOpened) {
  OpenAt(42);
  EXPECT_EQ(RaisedBy([&] { reader.Open("", {}); }), 0x20050001U);
}

TEST_F(SystemLogReader, OpenWithAnEmptyNameIsRefusedWithoutACallOfTheHost) {
  EXPECT_EQ(RaisedBy([&] { reader.Open("", {}); }), 0x20050002U);
  EXPECT_THAT(host.TakeCalls(), IsEmpty());
  EXPECT_EQ(reader.isOpened(), 0);
}

TEST_F(SystemLogReader, FailedOpeningOfTheLogIsRaisedWithTheSystemError) {
  host.openedLog = nullptr;
  host.openError = 1500;
  EXPECT_EQ(RaisedBy([&] { reader.Open("Alerts", {}); }), 0x20050003U);
  EXPECT_THAT(host.TakeCalls(), ElementsAre("OpenEventLogA(null, Alerts)", "GetLastError()"));
  const CErrorReport report = ReportOf(kCannotOpenSystemLog);
  ASSERT_TRUE(report.systemError);
  EXPECT_EQ(report.systemError->kind, 2U);
  EXPECT_EQ(report.systemError->code, 1500U);
  EXPECT_EQ(report.hostError, 1500U);
  EXPECT_EQ(report.detail, "");
}

TEST_F(SystemLogReader, FailedOpeningLeavesTheReaderClosedAndMayBeTriedAgain) {
  host.openedLog = nullptr;
  RaisedBy([&] { reader.Open("Alerts", {}); });
  EXPECT_EQ(reader.isOpened(), 0);
  host.openedLog = Testing::kLogHandle;
  host.AnswerRead(RecordBytes({}));
  EXPECT_EQ(reader.Open("Alerts", {}), 1U);
  EXPECT_NE(reader.isOpened(), 0);
}

TEST_F(SystemLogReader, ErrorsOfOpenCarryNoContextLine) {
  RaisedBy([&] { reader.Open("", {}); });
  EXPECT_THAT(ReportOf(kInvalidParameter).contextLines, IsEmpty());
}

TEST_F(SystemLogReader, LogWithoutRecordsFailsOpenWithEndOfLog) {
  host.FailRead(38);
  EXPECT_EQ(RaisedBy([&] { reader.Open("Alerts", {"ondrel"}); }), 0x2005000CU);
  const CErrorReport report = ReportOf(kSystemLogReadFailed);
  EXPECT_EQ(report.text, "No information available for this error");
  EXPECT_EQ(report.detail, "Failed to read Windows Log, errorCode (38)");
  EXPECT_FALSE(report.systemError);
  EXPECT_EQ(report.hostError, 38U);
}

TEST_F(SystemLogReader, LogWithoutRecordsLeavesHandleAndNameSet) {
  host.FailRead(38);
  RaisedBy([&] { reader.Open("Alerts", {"ondrel"}); });
  EXPECT_NE(reader.isOpened(), 0);
  EXPECT_EQ(RaisedBy([&] { reader.Open("Alerts", {"ondrel"}); }), 0x20050001U);
}

TEST_F(SystemLogReader, LogWithoutRecordsLeavesTheWatermarkAtZero) {
  host.FailRead(38);
  RaisedBy([&] { reader.Open("Alerts", {"ondrel"}); });
  EXPECT_EQ(Watermark(), "ReadEventLogA(log, 6, 0, block, 65536)");
}

TEST_F(SystemLogReader, FailedReadWithinOpenPassesBothHandlers) {
  host.FailRead(38);
  RaisedBy([&] { reader.Open("Alerts", {}); });
  const CErrorReport report = ReportOf(kSystemLogReadFailed);
  ASSERT_EQ(report.locations.size(), 3U);
  const std::uint32_t raise = report.locations[0].line;
  const std::uint32_t readHandler = report.locations[1].line;
  const std::uint32_t openHandler = report.locations[2].line;
  EXPECT_LT(raise, readHandler);
  EXPECT_LT(openHandler, raise);
}

TEST_F(SystemLogReader, NewestRecordThatDoesNotFitGrowsTheBufferOnce) {
  const std::string record = RecordBytes({.number = 42, .strings = {std::string(600, 'x')}});
  const auto size = static_cast<ULong>(record.size());
  host.FailRead(122, size);
  host.AnswerRead(record);
  EXPECT_EQ(reader.Open("Alerts", {"ondrel"}), 1U);
  EXPECT_THAT(host.TakeCalls(),
              ElementsAre("OpenEventLogA(null, Alerts)", "ReadEventLogA(log, 9, 0, block, 512)",
                          "GetLastError()", "Reallocate(block, " + std::to_string(size) + ")",
                          "ReadEventLogA(log, 9, 0, block, " + std::to_string(size) + ")",
                          "GetLastError()"));
  EXPECT_EQ(Watermark(), "ReadEventLogA(log, 6, 42, block, 65536)");
}

TEST_F(SystemLogReader, WithRaisingOffAnOpenReaderIsOpenedOverTheOldHandle) {
  OpenAt(42);
  const CRaisingSwitchedOff off;
  host.AnswerRead(RecordBytes({.number = 50}));
  EXPECT_EQ(reader.Open("Other", {"other"}), 1U);
  EXPECT_THAT(host.TakeCalls(),
              ElementsAre("OpenEventLogA(null, Other)", "ReadEventLogA(log, 9, 0, block, 512)",
                          "GetLastError()"));
  EXPECT_EQ(Watermark(), "ReadEventLogA(log, 6, 50, block, 65536)");
}

TEST_F(SystemLogReader, WithRaisingOffAFailedOpeningGoesOnToTheRead) {
  host.openedLog = nullptr;
  host.AnswerRead("");
  const CRaisingSwitchedOff off;
  EXPECT_EQ(reader.Open("", {}), 1U);
  EXPECT_THAT(host.TakeCalls(),
              ElementsAre("OpenEventLogA(null, )", "GetLastError()",
                          "ReadEventLogA(null, 9, 0, block, 512)", "GetLastError()"));
}

TEST_F(SystemLogReader, OpenOnAReadWithoutBytesCountsNothingAsSeen) {
  host.AnswerRead(RecordBytes({.number = 42}).substr(0, 55));
  EXPECT_EQ(reader.Open("Alerts", {}), 1U);
  EXPECT_EQ(Watermark(), "ReadEventLogA(log, 6, 0, block, 65536)");
}

TEST_F(SystemLogReader, ModuleErrorFromBelowMakesOpenYieldZeroWithRaisingOff) {
  Host::EventLog().OpenEventLogA = [](const char*, const char*) -> void* { throw 0x2006000AU; };
  const CRaisingSwitchedOff off;
  EXPECT_EQ(reader.Open("Alerts", {}), 0U);
}

TEST_F(SystemLogReader, OtherExceptionsPassOpenUnseen) {
  Host::EventLog().ReadEventLogA = [](void*, ULong, ULong, void*, ULong, ULong*, ULong*) -> int {
    throw std::bad_alloc();
  };
  EXPECT_THROW(reader.Open("Alerts", {}), std::bad_alloc);
  EXPECT_FALSE(Pirsk::Exceptions::LastError());
}

// Close.

TEST_F(SystemLogReader, CloseGivesBackLogModuleAndBufferInThisOrder) {
  OpenAt(42);
  reader.GetMessageResources("messages.dll");
  host.TakeCalls();
  EXPECT_EQ(reader.Close(), 1U);
  EXPECT_THAT(host.TakeCalls(),
              ElementsAre("CloseEventLog(log)", "FreeLibrary(module)", "Free(block)"));
  EXPECT_EQ(reader.isOpened(), 0);
}

TEST_F(SystemLogReader, SecondCloseGivesTheModuleBackOnceMore) {
  OpenAt(42);
  reader.GetMessageResources("messages.dll");
  reader.Close();
  host.TakeCalls();
  EXPECT_EQ(reader.Close(), 1U);
  EXPECT_THAT(host.TakeCalls(), ElementsAre("FreeLibrary(module)"));
}

TEST_F(SystemLogReader, FailuresOfTheHostAtClosingAreNotNoticed) {
  OpenAt(42);
  host.closingResult = 0;
  EXPECT_EQ(reader.Close(), 1U);
  EXPECT_EQ(reader.isOpened(), 0);
}

TEST_F(SystemLogReader, OpenAfterCloseReachesTheReadWithANullBufferAndEndsInTheReadError) {
  OpenAt(42);
  reader.Close();
  host.TakeCalls();
  host.FailRead(87);
  EXPECT_EQ(RaisedBy([&] { reader.Open("Alerts", {}); }), 0x2005000CU);
  EXPECT_THAT(host.TakeCalls(),
              ElementsAre("OpenEventLogA(null, Alerts)", "ReadEventLogA(log, 9, 0, null, 512)",
                          "GetLastError()"));
}

TEST_F(SystemLogReader, ReadingAClosedReaderAsksForAllWithANullBufferAndTakesNone) {
  OpenAt(42);
  reader.Close();
  host.TakeCalls();
  host.reads.push_back({.bytes = RecordBytes({}) + RecordBytes({})});
  EXPECT_THAT(reader.ReadEvents(), IsEmpty());
  EXPECT_THAT(host.TakeCalls(),
              ElementsAre("ReadEventLogA(null, 6, 0, null, 65536)", "GetLastError()"));
}

// The protected read.

TEST_F(SystemLogReader, ReadHandsItsArgumentsOnAndYieldsOne) {
  OpenAt(42);
  host.AnswerRead(RecordBytes({}));
  EXPECT_EQ(reader.ReadEvents(5, 7, 1000), 1U);
  EXPECT_THAT(host.TakeCalls(),
              ElementsAre("ReadEventLogA(log, 5, 7, block, 1000)", "GetLastError()"));
}

struct ReadErrorCase {
  const char* name;
  ULong error;
  const char* detail;
};

class SystemLogReaderError : public testing::TestWithParam<ReadErrorCase> {};

TEST_P(SystemLogReaderError, IsRaisedWithItsNumberInTheDetail) {
  PreparedEventLog host;
  OpenedUpReader reader;
  host.FailRead(GetParam().error, 1000);
  EXPECT_EQ(RaisedBy([&] { reader.ReadEvents(9, 0, 512); }), 0x2005000CU);
  const CErrorReport report = ReportOf(kSystemLogReadFailed);
  EXPECT_EQ(report.detail, GetParam().detail);
  EXPECT_FALSE(report.systemError);
  EXPECT_THAT(report.contextLines, IsEmpty());
  ASSERT_EQ(report.locations.size(), 2U);
  EXPECT_TRUE(report.locations[0].file.ends_with("SystemLogReader.cpp"));
}

INSTANTIATE_TEST_SUITE_P(
    SystemLogReader, SystemLogReaderError,
    testing::Values(
        ReadErrorCase{"EndOfLog", 38, "Failed to read Windows Log, errorCode (38)"},
        ReadErrorCase{"InvalidParameter", 87, "Failed to read Windows Log, errorCode (87)"},
        ReadErrorCase{"MoreDataIsNotATooSmallBuffer", 234,
                      "Failed to read Windows Log, errorCode (234)"},
        ReadErrorCase{"CorruptFile", 1500, "Failed to read Windows Log, errorCode (1500)"},
        ReadErrorCase{"NoReason", 0, "Failed to read Windows Log, errorCode (0)"},
        ReadErrorCase{"LargestNumber", 0xFFFFFFFF,
                      "Failed to read Windows Log, errorCode (4294967295)"}),
    [](const testing::TestParamInfo<ReadErrorCase>& test) { return test.param.name; });

TEST_F(SystemLogReader, LastErrorOfASuccessfulReadIsNotLookedAt) {
  host.reads.push_back({.bytes = RecordBytes({}), .error = 122, .needed = 1000});
  EXPECT_EQ(reader.ReadEvents(9, 0, 512), 1U);
  EXPECT_THAT(host.TakeCalls(),
              ElementsAre("ReadEventLogA(null, 9, 0, block, 512)", "GetLastError()"));
}

TEST_F(SystemLogReader, TooSmallBufferTakesExactlyTheNeededSizeEvenWhenSmallerThanItWas) {
  host.FailRead(122, 600);
  host.AnswerRead("");
  EXPECT_EQ(reader.ReadEvents(9, 0, 512), 1U);
  EXPECT_THAT(host.TakeCalls(),
              ElementsAre("ReadEventLogA(null, 9, 0, block, 512)", "GetLastError()",
                          "Reallocate(block, 600)", "ReadEventLogA(null, 9, 0, block, 600)",
                          "GetLastError()"));
}

TEST_F(SystemLogReader, BufferMayBeResizedMoreThanOnceInOneRead) {
  host.FailRead(122, 600);
  host.FailRead(122, 70000);
  host.AnswerRead("");
  EXPECT_EQ(reader.ReadEvents(9, 0, 512), 1U);
  EXPECT_THAT(host.TakeCallsOf("Reallocate"),
              ElementsAre("Reallocate(block, 600)", "Reallocate(block, 70000)"));
}

TEST_F(SystemLogReader, LaterReadAsksForItsOwnByteCountNotForTheBuffersSize) {
  host.FailRead(122, 70000);
  host.AnswerRead("");
  reader.ReadEvents(9, 0, 512);
  host.TakeCalls();
  host.AnswerRead("");
  reader.ReadEvents(9, 0, 512);
  EXPECT_THAT(host.TakeCalls(),
              ElementsAre("ReadEventLogA(null, 9, 0, block, 512)", "GetLastError()"));
}

TEST_F(SystemLogReader, BlockIsGrownBeforeAReadIsGivenMoreBytesThanItHolds) {
  host.FailRead(122, 600);
  host.AnswerRead("");
  reader.ReadEvents(9, 0, 512);
  host.TakeCalls();
  host.AnswerRead("");
  reader.ReadEvents();
  EXPECT_THAT(host.TakeCalls(),
              ElementsAre("Reallocate(block, 65536)", "ReadEventLogA(null, 6, 0, block, 65536)",
                          "GetLastError()"));
}

TEST_F(SystemLogReader, BlockIsGrownForAReadOfOneByteMoreAndNotForOneThatFits) {
  host.FailRead(122, 65535);
  host.AnswerRead("");
  reader.ReadEvents(9, 0, 512);
  host.TakeCalls();
  host.AnswerRead("");
  reader.ReadEvents(9, 0, 65535);
  EXPECT_THAT(host.TakeCallsOf("Reallocate"), IsEmpty());
  host.AnswerRead("");
  reader.ReadEvents();
  EXPECT_THAT(host.TakeCallsOf("Reallocate"), ElementsAre("Reallocate(block, 65536)"));
}

TEST_F(SystemLogReader, BlockThatWasGrownBeforeAReadKeepsItsSize) {
  host.FailRead(122, 600);
  for (int read = 0; read < 3; ++read) host.AnswerRead("");
  reader.ReadEvents(9, 0, 512);
  reader.ReadEvents();
  host.TakeCalls();
  reader.ReadEvents();
  EXPECT_THAT(host.TakeCallsOf("Reallocate"), IsEmpty());
}

TEST_F(SystemLogReader, DerivedReaderThatAsksForMoreThanTheBufferHoldsGetsALargerBlock) {
  host.AnswerRead("");
  EXPECT_EQ(reader.ReadEvents(9, 0, 100000), 1U);
  EXPECT_THAT(host.TakeCalls(),
              ElementsAre("Reallocate(block, 100000)", "ReadEventLogA(null, 9, 0, block, 100000)",
                          "GetLastError()"));
}

TEST_F(SystemLogReader, FailedResizingIsRaisedAndKeepsTheBuffer) {
  host.FailRead(122, 70000);
  host.memoryIsShort = [](std::size_t size) { return size == 70000; };
  EXPECT_EQ(RaisedBy([&] { reader.ReadEvents(9, 0, 512); }), 0x2005000BU);
  host.AnswerRead("");
  host.TakeCalls();
  EXPECT_EQ(reader.ReadEvents(9, 0, 512), 1U);
  EXPECT_THAT(host.TakeCalls(),
              ElementsAre("ReadEventLogA(null, 9, 0, block, 512)", "GetLastError()"));
}

TEST_F(SystemLogReader, FailedGrowingBeforeAReadIsRaisedBeforeTheRead) {
  host.memoryIsShort = [](std::size_t size) { return size == 100000; };
  EXPECT_EQ(RaisedBy([&] { reader.ReadEvents(9, 0, 100000); }), 0x2005000BU);
  EXPECT_THAT(host.TakeCalls(), ElementsAre("Reallocate(block, 100000)"));
}

TEST_F(SystemLogReader, NeededSizeOfZeroCountsAsAFailedResizing) {
  host.FailRead(122, 0);
  EXPECT_EQ(RaisedBy([&] { reader.ReadEvents(9, 0, 512); }), 0x2005000BU);
  EXPECT_THAT(host.TakeCallsOf("Reallocate"), IsEmpty());
}

TEST_F(SystemLogReader, WithRaisingOffAFailedReadIsTriedUntilItSucceeds) {
  for (int failure = 0; failure < 5; ++failure) host.FailRead(38);
  host.AnswerRead(RecordBytes({}));
  const CRaisingSwitchedOff off;
  EXPECT_EQ(reader.ReadEvents(9, 0, 512), 1U);
  EXPECT_EQ(host.TakeCallsOf("ReadEventLogA").size(), 6U);
  EXPECT_EQ(Pirsk::Exceptions::PassedErrors().size(), 5U);
}

TEST_F(SystemLogReader, WithRaisingOffAFailedResizingIsFollowedByAReadWithoutABuffer) {
  host.FailRead(122, 70000);
  host.reads.push_back({});
  host.memoryIsShort = [](std::size_t size) { return size == 70000; };
  const CRaisingSwitchedOff off;
  EXPECT_EQ(reader.ReadEvents(9, 0, 512), 1U);
  EXPECT_THAT(host.TakeCalls(),
              ElementsAre("ReadEventLogA(null, 9, 0, block, 512)", "GetLastError()",
                          "Reallocate(block, 70000)", "Free(block)",
                          "ReadEventLogA(null, 9, 0, null, 70000)", "GetLastError()"));
}

TEST_F(SystemLogReader, WithRaisingOffAFailedGrowingReadsWhatTheBlockHolds) {
  host.AnswerRead("");
  host.memoryIsShort = [](std::size_t size) { return size == 100000; };
  const CRaisingSwitchedOff off;
  EXPECT_EQ(reader.ReadEvents(9, 0, 100000), 1U);
  EXPECT_THAT(host.TakeCalls(),
              ElementsAre("Reallocate(block, 100000)", "ReadEventLogA(null, 9, 0, block, 65536)",
                          "GetLastError()"));
}

TEST_F(SystemLogReader, ModuleErrorFromBelowMakesTheReadYieldZeroWithRaisingOff) {
  Host::EventLog().ReadEventLogA = [](void*, ULong, ULong, void*, ULong, ULong*, ULong*) -> int {
    throw 0x2006000AU;
  };
  const CRaisingSwitchedOff off;
  EXPECT_EQ(reader.ReadEvents(9, 0, 512), 0U);
  EXPECT_THAT(reader.ReadEvents(), IsEmpty());
}

TEST_F(SystemLogReader, ProgramLocaleDoesNotGroupTheDigitsOfTheDetail) {
  const Testing::GroupingLocale grouping;
  host.FailRead(1500);
  RaisedBy([&] { reader.ReadEvents(9, 0, 512); });
  EXPECT_EQ(ReportOf(kSystemLogReadFailed).detail, "Failed to read Windows Log, errorCode (1500)");
}

// The newest record's number.

TEST_F(SystemLogReader, RecordNumberIsThatOfTheNewestRecord) {
  OpenAt(42);
  host.AnswerRead(RecordBytes({.number = 57}) + RecordBytes({.number = 56}));
  EXPECT_EQ(reader.getRecordNumber(), 57U);
  EXPECT_THAT(host.TakeCalls(),
              ElementsAre("ReadEventLogA(log, 9, 0, block, 512)", "GetLastError()"));
}

TEST_F(SystemLogReader, AskingForTheRecordNumberLeavesTheWatermark) {
  OpenAt(42);
  host.AnswerRead(RecordBytes({.number = 57}));
  reader.getRecordNumber();
  EXPECT_EQ(Watermark(), "ReadEventLogA(log, 6, 42, block, 65536)");
}

TEST_F(SystemLogReader, RecordNumberOfAReadWithoutAWholeFixedPartIsZero) {
  OpenAt(42);
  host.AnswerRead(RecordBytes({.number = 57}).substr(0, 55));
  EXPECT_EQ(reader.getRecordNumber(), 0U);
}

TEST_F(SystemLogReader, FailedReadPassesTheRecordNumberToTheCaller) {
  OpenAt(42);
  host.FailRead(38);
  EXPECT_EQ(RaisedBy([&] { reader.getRecordNumber(); }), 0x2005000CU);
}

// Message resources.

TEST_F(SystemLogReader, MessageResourcesAreLoadedAsDataOnly) {
  EXPECT_EQ(reader.GetMessageResources("messages.dll"), 1U);
  EXPECT_THAT(host.TakeCalls(), ElementsAre("LoadLibraryExA(messages.dll, null, 0x22)"));
}

TEST_F(SystemLogReader, MessageResourcesThatDoNotLoadYieldZero) {
  host.loadedModule = nullptr;
  EXPECT_EQ(reader.GetMessageResources("missing.dll"), 0U);
  EXPECT_FALSE(Pirsk::Exceptions::LastError());
}

TEST_F(SystemLogReader, SecondModuleReplacesTheFirstWithoutGivingItBack) {
  reader.GetMessageResources("first.dll");
  host.TakeCalls();
  EXPECT_EQ(reader.GetMessageResources("second.dll"), 1U);
  EXPECT_THAT(host.TakeCalls(), ElementsAre("LoadLibraryExA(second.dll, null, 0x22)"));
}

TEST_F(SystemLogReader, ModuleThatDoesNotLoadReplacesTheOneBefore) {
  reader.GetMessageResources("first.dll");
  host.loadedModule = nullptr;
  reader.GetMessageResources("missing.dll");
  host.TakeCalls();
  reader.Close();
  EXPECT_THAT(host.TakeCalls(), ElementsAre("Free(block)"));
}

// Copies.

TEST_F(SystemLogReader, CopySharesHandlesAndBufferAndGoesOnFromTheSameWatermark) {
  OpenAt(42);
  {
    CSystemLogReader_Win copy(reader);
    host.TakeCalls();
    host.AnswerRead(RecordBytes({.number = 42}) + RecordBytes({.number = 43}));
    EXPECT_EQ(copy.ReadEvents().size(), 1U);
    EXPECT_THAT(host.TakeCalls(),
                ElementsAre("ReadEventLogA(log, 6, 42, block, 65536)", "GetLastError()"));
    // Only one of the two may free the buffer that they share.
    Host::Memory().Free = [](void*) {};
  }
  Host::Memory().Free = [](void* block) { std::free(block); };
  EXPECT_EQ(Watermark(), "ReadEventLogA(log, 6, 42, block, 65536)");
}

TEST_F(SystemLogReader, AssignmentFromItselfKeepsEverything) {
  OpenAt(42);
  OpenedUpReader& same = reader;
  reader = same;
  EXPECT_EQ(RaisedBy([&] { reader.Open("Other", {}); }), 0x20050001U);
  EXPECT_EQ(Watermark(), "ReadEventLogA(log, 6, 42, block, 65536)");
}

}  // namespace
}  // namespace Ondrel
