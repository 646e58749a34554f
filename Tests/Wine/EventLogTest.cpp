// The event log of a Windows host as Wine plays it: it takes reports and has no records to read.

#include <Ondrel/SystemLog.h>
#include <Pirsk/Exceptions.h>

#include <gtest/gtest.h>

#include <string>

namespace {

unsigned int NumberRaisedByOpen(Ondrel::CSystemLogReader_Win& reader) {
  try {
    reader.Open("Application", {"ondrel"});
  } catch (unsigned int number) {
    return number;
  }
  return 0;
}

TEST(EventLogOfTheHost, TakesAReport) {
  Ondrel::CSystemLog_Win log;

  EXPECT_EQ(log.Open("Application"), 1u);
  EXPECT_EQ(log.Report(10471, Ondrel::kEventTypeError, "PD 3 failed"), 1u);
  EXPECT_EQ(log.Close(), 1u);
}

TEST(EventLogOfTheHost, HasNoNewestRecordToBeginWith) {
  Ondrel::CSystemLogReader_Win reader;

  EXPECT_EQ(NumberRaisedByOpen(reader), 0x2005000Cu);

  const Pirsk::Exceptions::CErrorReport report =
      Pirsk::Exceptions::ReportOf(Ondrel::kSystemLogReadFailed);
  EXPECT_EQ(report.detail, "Failed to read Windows Log, errorCode (38)");
  EXPECT_EQ(report.text, "No information available for this error");
}

TEST(EventLogOfTheHost, ReaderThatFailedOnTheEmptyLogCountsAsOpened) {
  Ondrel::CSystemLogReader_Win reader;
  NumberRaisedByOpen(reader);

  EXPECT_EQ(reader.isOpened(), 1);
  EXPECT_EQ(NumberRaisedByOpen(reader), 0x20050001u);
  EXPECT_EQ(Pirsk::Exceptions::ReportOf(Ondrel::kSystemLogAlreadyOpened).text,
            "System log already opened");
}

TEST(EventLogOfTheHost, ClosedReaderHasGivenItsHandleBack) {
  Ondrel::CSystemLogReader_Win reader;
  NumberRaisedByOpen(reader);

  EXPECT_EQ(reader.Close(), 1u);
  EXPECT_EQ(reader.isOpened(), 0);
}

}  // namespace
