#include "Integration/Journal/JournalFixture.h"
#include "Support/EventStoreFixture.h"
#include "Support/Process.h"
#include "Support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace Ondrel {
namespace {

using testing::ElementsAre;
using Testing::JournalDaemon;
using Testing::LogHandle;
using Testing::ReadOutcome;
using Testing::SourceHandle;

/// One event with all that an event can have, which the exported classes do not report.
class JournalRecord : public Testing::JournalFixture {
protected:
  void SetUp() override {
    JournalFixture::SetUp();
    const SourceHandle source(m_operations, Source().c_str());
    const char* strings[] = {"one", "two"};
    char data[] = {'\0', 'x', '\xFF'};
    ASSERT_NE(m_operations.ReportEventA(source.Get(), 2, 7, 0x20002711, nullptr, 2, sizeof data,
                                        strings, data),
              0)
        << m_operations.GetLastError();
    JournalDaemon::Sync();
  }

  const Host::EventLogOperations m_operations = Host::MakeEventLogOperations();
};

TEST_F(JournalRecord, OfAnOpenedLogHasAllThatWasReported) {
  const LogHandle log(m_operations, "journal");
  // Others may have written since.
  for (;;) {
    const ReadOutcome read = log.Read(Testing::kSequentialBackwards);
    ASSERT_EQ(read.error, 0U) << "the record is not there";
    for (std::size_t at = 0; at < read.bytes.size();) {
      EVENTLOGRECORD header{};
      ASSERT_LE(at + sizeof header, read.bytes.size());
      std::memcpy(&header, read.bytes.data() + at, sizeof header);
      const char* const record = read.bytes.data() + at;
      at += header.Length;
      if (Source() != record + sizeof header) continue;
      EXPECT_EQ(header.EventType, 2);
      EXPECT_EQ(header.EventCategory, 7);
      EXPECT_EQ(header.EventID, 0x20002711U);
      EXPECT_EQ(header.NumStrings, 2);
      EXPECT_STREQ(record + header.StringOffset, "one");
      EXPECT_STREQ(record + header.StringOffset + 4, "two");
      ASSERT_EQ(header.DataLength, 3U);
      EXPECT_EQ(std::string(record + header.DataOffset, 3), std::string("\0x\xFF", 3));
      return;
    }
  }
}

TEST_F(JournalRecord, OfAHistoryHasAllThatWasReported) {
  Host::EventLogRange range;
  range.sources = {Source()};
  Host::CEventLogReader reader;
  ASSERT_EQ(reader.Open("journal", range), 0U);
  std::vector<Host::EventLogItem> items;
  ASSERT_EQ(reader.Read(items), 0U);
  ASSERT_EQ(items.size(), 1U);
  EXPECT_EQ(items[0].record.eventType, 2U);
  EXPECT_EQ(items[0].record.category, 7U);
  EXPECT_EQ(items[0].record.eventID, 0x20002711U);
  EXPECT_THAT(items[0].record.strings, ElementsAre("one", "two"));
  EXPECT_EQ(std::string(items[0].record.data.begin(), items[0].record.data.end()),
            std::string("\0x\xFF", 3));
}

TEST_F(JournalRecord, ANumberAfterTheLastIsNotThere) {
  const LogHandle log(m_operations, "journal");
  const ReadOutcome read = log.Read(Testing::kSequentialBackwards);
  ASSERT_EQ(read.error, 0U);
  // Far beyond what others may write meanwhile.
  const ULong number = Testing::NumbersIn(read.bytes).front() + 1000000;
  EXPECT_EQ(log.Read(Testing::kSeekForwards, number).error, ERROR_INVALID_PARAMETER);
}

// The texts of an opened log, one record at a time.
std::vector<std::string> TextsOf(const LogHandle& log) {
  std::vector<std::string> texts;
  while (texts.size() < 100) {
    const ULong size = log.Read(Testing::kSequentialForwards, 0, 0).bytesNeeded;
    if (size == 0) break;
    for (const Testing::ReadRecord& record :
         Testing::RecordsIn(log.Read(Testing::kSequentialForwards, 0, size).bytes))
      texts.push_back(record.strings.at(0));
  }
  return texts;
}

TEST_F(JournalRecord, OfJournalsThatAreNumberedOnTheirOwnComesOnceAndInTheOrderOfTime) {
  const std::string sources[] = {Source() + "-a", Source() + "-b"};
  for (const char* const text : {"1", "2", "3", "4", "5", "6"}) {
    const SourceHandle source(m_operations, sources[(text[0] - '1') % 2].c_str());
    ASSERT_EQ(source.Report(text), 0U);
  }
  JournalDaemon::Sync();
  const Testing::TemporaryFolder folder;
  for (const std::string& source : sources) {
    const std::string command = "journalctl -o export SYSLOG_IDENTIFIER=" + source +
                                " | /lib/systemd/systemd-journal-remote -o " +
                                folder.Path(source + ".journal") + " -";
    ASSERT_EQ(Testing::RunProcess("/bin/sh", {"-c", command}).exitStatus, 0);
  }
  ASSERT_TRUE(Host::UseJournalFiles(folder.Path("")));
  const LogHandle log(m_operations, "journal");
  ASSERT_NE(log.Get(), nullptr) << m_operations.GetLastError();
  EXPECT_THAT(TextsOf(log), ElementsAre("1", "2", "3", "4", "5", "6"));

  // Each of them has the numbers 1 to 3; the other one goes on after the last of the first.
  const LogHandle seeking(m_operations, "journal");
  const ULong size = seeking.Read(Testing::kSeekForwards, 3, 0).bytesNeeded;
  const ReadOutcome last = seeking.Read(Testing::kSeekForwards, 3, size);
  ASSERT_EQ(last.error, 0U);
  EXPECT_EQ(Testing::RecordsIn(last.bytes).at(0).strings, std::vector<std::string>{"5"});
  EXPECT_EQ(seeking.Read(Testing::kSeekForwards, 1000).error, ERROR_INVALID_PARAMETER);
}

}  // namespace
}  // namespace Ondrel
