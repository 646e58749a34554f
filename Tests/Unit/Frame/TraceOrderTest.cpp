#include "Module.h"
#include "RecordedFrame.h"

#include <Ondrel/SystemLog.h>
#include <Pirsk/ModuleInfo.h>
#include <Pirsk/Trace.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <string>

namespace Ondrel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Testing::OpenedUpReader;
using Testing::RecordedFrame;

constexpr std::uint32_t kModuleNumber = 5;

class TraceOrder : public testing::Test {
protected:
  ~TraceOrder() override {
    Pirsk::Misc::SetTraceMask(kModuleNumber, 0);
    Pirsk::Trace::SetSink(nullptr);
  }

  void SetMask(std::uint32_t mask) { Pirsk::Misc::SetTraceMask(kModuleNumber, mask); }

  RecordedFrame frame;
};

TEST_F(TraceOrder, PlainLineIsBufferFormatEndOfStreamEndOfBuffer) {
  SetMask(2);
  ONDREL_TRACE(kTraceEntry, "Ondrel::CSmtp::AddTO", "ENTER CSmtp::AddTO ()");
  EXPECT_THAT(
      frame.TakeCalls(),
      ElementsAre("CTraceStreamBuffer::CTraceStreamBuffer(2, ondrel, Ondrel::CSmtp::AddTO)",
                  "CTraceStreamBuffer::Format(ENTER CSmtp::AddTO ())",
                  "CFormatStream::~CFormatStream", "CTraceStreamBuffer::~CTraceStreamBuffer"));
}

TEST_F(TraceOrder, ValuesAreFedInOrderTextsAndNumbersEachInTheirForm) {
  SetMask(16);
  const std::string name = "Backup";
  ONDREL_TRACE(kTraceDetail, "Ondrel::CSmtp::AddBCC", "add %s(%s) as %d", name, "b@example.com", 3);
  EXPECT_THAT(
      frame.TakeCalls(),
      ElementsAre("CTraceStreamBuffer::CTraceStreamBuffer(16, ondrel, Ondrel::CSmtp::AddBCC)",
                  "CTraceStreamBuffer::Format(add %s(%s) as %d)",
                  "CFormatStream::operator<<(string Backup)",
                  "CFormatStream::operator<<(text b@example.com)", "CFormatStream::FormatInt(3)",
                  "CFormatStream::~CFormatStream", "CTraceStreamBuffer::~CTraceStreamBuffer"));
}

TEST_F(TraceOrder, LineNamesItsOriginAndIsHandedOverOnce) {
  SetMask(1);
  int lines = 0;
  std::uint32_t lineNumber = 0;
  Pirsk::Trace::SetSink([&](const Pirsk::Trace::Line& line) {
    ++lines;
    lineNumber = line.line;
    EXPECT_EQ(line.level, 1U);
    EXPECT_STREQ(line.module, "ondrel");
    EXPECT_STREQ(line.function, "Ondrel::Function");
    EXPECT_TRUE(std::string(line.file).ends_with("TraceOrderTest.cpp"));
    EXPECT_EQ(line.text, "failed with 5\n");
  });
  const std::uint32_t expectedLine = __LINE__ + 1;
  ONDREL_TRACE(kTraceError, "Ondrel::Function", "failed with %d\n", 5);
  EXPECT_EQ(lines, 1);
  EXPECT_EQ(lineNumber, expectedLine);
}

TEST_F(TraceOrder, NothingIsKeptFromLineToLine) {
  SetMask(2);
  for (int line = 0; line < 2; ++line) ONDREL_TRACE(kTraceEntry, "Ondrel::F", "ENTER F ()");
  EXPECT_THAT(frame.TakeCalls(),
              ElementsAre("CTraceStreamBuffer::CTraceStreamBuffer(2, ondrel, Ondrel::F)",
                          "CTraceStreamBuffer::Format(ENTER F ())", "CFormatStream::~CFormatStream",
                          "CTraceStreamBuffer::~CTraceStreamBuffer",
                          "CTraceStreamBuffer::CTraceStreamBuffer(2, ondrel, Ondrel::F)",
                          "CTraceStreamBuffer::Format(ENTER F ())", "CFormatStream::~CFormatStream",
                          "CTraceStreamBuffer::~CTraceStreamBuffer"));
}

struct MaskCase {
  const char* name;
  std::uint32_t mask;
  bool error;
  bool entry;
  bool detail;
};

class TraceMask : public TraceOrder, public testing::WithParamInterface<MaskCase> {};

TEST_P(TraceMask, LetsItsLevelsThroughAndComputesNoOtherArguments) {
  SetMask(GetParam().mask);
  std::string computed;
  const auto value = [&computed](const char* level) {
    computed += level;
    return 1;
  };
  ONDREL_TRACE(kTraceError, "Ondrel::F", "%d", value("error "));
  ONDREL_TRACE(kTraceEntry, "Ondrel::F", "%d", value("entry "));
  ONDREL_TRACE(kTraceDetail, "Ondrel::F", "%d", value("detail "));

  std::string expected;
  if (GetParam().error) expected += "error ";
  if (GetParam().entry) expected += "entry ";
  if (GetParam().detail) expected += "detail ";
  EXPECT_EQ(computed, expected);
  EXPECT_EQ(frame.TakeCalls().empty(), expected.empty());
}

INSTANTIATE_TEST_SUITE_P(TraceOrder, TraceMask,
                         testing::Values(MaskCase{"Zero", 0, false, false, false},
                                         MaskCase{"Error", 1, true, false, false},
                                         MaskCase{"Entry", 2, false, true, false},
                                         MaskCase{"Detail", 16, false, false, true},
                                         MaskCase{"Unused4", 4, false, false, false},
                                         MaskCase{"Unused8", 8, false, false, false},
                                         MaskCase{"Unused32", 32, false, false, false},
                                         MaskCase{"AllUnused", ~19U, false, false, false},
                                         MaskCase{"All", ~0U, true, true, true}),
                         [](const testing::TestParamInfo<MaskCase>& test) {
                           return test.param.name;
                         });

TEST_F(TraceOrder, MaskIsReadAfreshAtEverySite) {
  for (const std::uint32_t mask : {2U, 0U, 2U}) {
    SetMask(mask);
    ONDREL_TRACE(kTraceEntry, "Ondrel::F", "ENTER F ()");
    EXPECT_EQ(frame.TakeCalls().empty(), mask == 0);
  }
}

TEST_F(TraceOrder, LastErrorIsAskedForOnlyAfterTheTest) {
  OpenedUpReader reader;
  for (const std::uint32_t mask : {0U, 1U, 2U, 4U, 8U, 32U}) {
    SetMask(mask);
    frame.TakeCalls();
    reader.GetMessageString(7, 0, nullptr);
    EXPECT_THAT(frame.TakeCalls(), ElementsAre("FormatMessageA(0x1900, null, 0x7, 0, 0, none)"))
        << mask;
  }
}

TEST_F(TraceOrder, FailedFormattingIsOneLineWithTheLastErrorAsANumber) {
  OpenedUpReader reader;
  SetMask(16);
  frame.formatError = 317;
  frame.TakeCalls();
  reader.GetMessageString(7, 0, nullptr);
  EXPECT_THAT(
      frame.TakeCalls(),
      ElementsAre("FormatMessageA(0x1900, null, 0x7, 0, 0, none)", "GetLastError()",
                  "CTraceStreamBuffer::CTraceStreamBuffer(16, ondrel, "
                  "Ondrel::CSystemLogReader_Win::GetMessageString)",
                  "CTraceStreamBuffer::Format(GetMessageString(): Format message failed with %d)",
                  "CFormatStream::FormatInt(317)", "CFormatStream::~CFormatStream",
                  "CTraceStreamBuffer::~CTraceStreamBuffer"));
}

TEST_F(TraceOrder, MissingInsertArrayIsOneLineBeforeTheFormatting) {
  OpenedUpReader reader;
  SetMask(16);
  frame.memoryIsShort = [](std::size_t) { return true; };
  char strings[] = "one";
  frame.TakeCalls();
  reader.GetMessageString(7, 1, strings);
  const std::vector<std::string> calls = frame.TakeCalls();
  ASSERT_GE(calls.size(), 6U);
  EXPECT_THAT(
      std::vector<std::string>(calls.begin(), calls.begin() + 6),
      ElementsAre("Allocate(" + std::to_string(99 * sizeof(char*)) + ")",
                  "CTraceStreamBuffer::CTraceStreamBuffer(16, ondrel, "
                  "Ondrel::CSystemLogReader_Win::GetMessageString)",
                  "CTraceStreamBuffer::Format(GetMessageString(): Failed to allocate "
                  "memory for the insert string array.)",
                  "CFormatStream::~CFormatStream", "CTraceStreamBuffer::~CTraceStreamBuffer",
                  "FormatMessageA(0x1B00, null, 0x7, 0, 0, none)"));
}

TEST_F(TraceOrder, LinesLeaveErrnoAsItWas) {
  SetMask(16);
  Pirsk::Trace::SetSink([](const Pirsk::Trace::Line&) { errno = EIO; });
  errno = ENOENT;
  ONDREL_TRACE(kTraceDetail, "Ondrel::F", "a fact");
  EXPECT_EQ(errno, ENOENT);
}

TEST_F(TraceOrder, LogsTraceNoEntryAndExit) {
  SetMask(~0U & ~16U);
  OpenedUpReader reader;
  CSystemLog_Win log;
  frame.AnswerRead(Testing::RecordBytes({}));
  frame.TakeCalls();
  log.Open("Alerts");
  log.Report(10002, kEventTypeInformation, "text");
  log.Close();
  reader.Open("Alerts", {});
  EXPECT_THAT(frame.TakeCallsOf("CTraceStreamBuffer::CTraceStreamBuffer"), IsEmpty());
}

}  // namespace
}  // namespace Ondrel
