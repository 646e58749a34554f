#include "Support/PreparedEventLog.h"
#include "Windows/SystemLogWindows/RecordHistory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace Ondrel {
namespace {

using Host::EventHistory;
using Host::EventLogItem;
using Host::EventLogItemKind;
using Host::EventLogRange;
using testing::ElementsAre;
using testing::IsEmpty;
using Testing::kLogHandle;
using Testing::RecordBytes;

/// A log of the published operations, kept in memory for one scope.
class LogInMemory {
public:
  LogInMemory() : m_before(Host::EventLog()) {
    Host::EventLogOperations& operations = Host::EventLog();
    operations.OpenEventLogA = [](const char*, const char*) { return kLogHandle; };
    operations.CloseEventLog = [](void*) { return 1; };
    operations.GetLastError = [this] { return m_error; };
    operations.ReadEventLogA = [this](void*, ULong flags, ULong offset, void* buffer, ULong size,
                                      ULong* read, ULong* needed) {
      m_error = Read(flags, offset, static_cast<char*>(buffer), size, *read, *needed);
      return m_error == 0 ? 1 : 0;
    };
    operations.GetOldestEventLogRecord = [this](void*, ULong* number) {
      *number = m_records.empty() ? 0 : m_records.begin()->first;
      return 1;
    };
    operations.GetNumberOfEventLogRecords = [this](void*, ULong* count) {
      *count = static_cast<ULong>(m_records.size());
      return 1;
    };
    operations.ClearEventLogA = [this](void*, const char*) {
      m_records.clear();
      return 1;
    };
  }
  ~LogInMemory() { Host::EventLog() = m_before; }

  LogInMemory(const LogInMemory&) = delete;
  LogInMemory& operator=(const LogInMemory&) = delete;

  void Add(ULong number, ULong time = 1000, std::size_t size = 10) {
    m_records[number] = RecordBytes(
        {.number = number, .source = "Log", .strings = {std::string(size, 'x')}, .time = time});
  }
  void Remove(ULong number) { m_records.erase(number); }
  void Damage(ULong number) { m_damaged.insert(number); }
  void FailNextRead(ULong error) { m_nextError = error; }

private:
  ULong Read(ULong flags, ULong offset, char* buffer, ULong size, ULong& read, ULong& needed) {
    if (m_nextError != 0) return std::exchange(m_nextError, 0);
    const bool isForwards = (flags & EVENTLOG_FORWARDS_READ) != 0;
    auto at = m_records.end();
    if ((flags & EVENTLOG_SEEK_READ) != 0) {
      at = m_records.find(offset);
      if (at == m_records.end()) return ERROR_INVALID_PARAMETER;
    } else if (!m_position) {
      if (m_records.empty()) return ERROR_HANDLE_EOF;
      at = isForwards ? m_records.begin() : std::prev(m_records.end());
    } else if (isForwards) {
      at = m_records.upper_bound(*m_position);
    } else {
      at = m_records.lower_bound(*m_position);
      if (at == m_records.begin()) return ERROR_HANDLE_EOF;
      --at;
    }
    while (at != m_records.end()) {
      if (m_damaged.contains(at->first)) return read > 0 ? 0 : ERROR_EVENTLOG_FILE_CORRUPT;
      if (at->second.size() > size - read) {
        needed = static_cast<ULong>(at->second.size());
        return read > 0 ? 0 : ERROR_INSUFFICIENT_BUFFER;
      }
      std::memcpy(buffer + read, at->second.data(), at->second.size());
      read += static_cast<ULong>(at->second.size());
      m_position = at->first;
      if (isForwards) {
        ++at;
      } else if (at == m_records.begin()) {
        break;
      } else {
        --at;
      }
    }
    return read > 0 ? 0 : ERROR_HANDLE_EOF;
  }

  Host::EventLogOperations m_before;
  std::map<ULong, std::string> m_records;
  std::set<ULong> m_damaged;
  std::optional<ULong> m_position;
  ULong m_nextError = 0;
  ULong m_error = 0;
};

class RecordHistory : public testing::Test {
protected:
  void Open(const EventLogRange& range = {}) {
    ULong error = 0;
    m_history = Host::OpenRecordHistory("Log", range, error);
    ASSERT_EQ(error, 0u);
  }

  std::vector<std::string> ReadWords() {
    std::vector<std::string> words;
    for (;;) {
      std::vector<EventLogItem> items;
      {
        Host::ItemList list(items);
        EXPECT_EQ(m_history->Read(list), 0u);
      }
      if (items.empty()) return words;
      for (const EventLogItem& item : items) {
        const std::string numbers = std::to_string(item.first) + "-" + std::to_string(item.last);
        words.push_back(item.kind == EventLogItemKind::kRecord ? std::to_string(item.record.number)
                        : item.kind == EventLogItemKind::kMissed  ? "missed " + numbers
                        : item.kind == EventLogItemKind::kDamaged ? "damaged " + numbers
                                                                  : "replaced");
      }
    }
  }

  LogInMemory m_log;
  std::unique_ptr<EventHistory> m_history;
};

TEST_F(RecordHistory, ALogWithoutRecordsGivesNoneAndThenItsFirst) {
  Open();
  EXPECT_THAT(ReadWords(), IsEmpty());
  m_log.Add(1);
  EXPECT_THAT(ReadWords(), ElementsAre("1"));
}

TEST_F(RecordHistory, GivesPastRecordsInEitherOrder) {
  for (const ULong number : {4u, 5u, 6u}) m_log.Add(number);
  Open();
  EXPECT_THAT(ReadWords(), ElementsAre("4", "5", "6"));
}

TEST_F(RecordHistory, GivesTheNewestFirst) {
  for (const ULong number : {4u, 5u, 6u}) m_log.Add(number);
  EventLogRange range;
  range.isNewestFirst = true;
  Open(range);
  EXPECT_THAT(ReadWords(), ElementsAre("6", "5", "4"));
}

TEST_F(RecordHistory, NewOnlyGoesOnAfterTheNewest) {
  m_log.Add(7);
  EventLogRange range;
  range.isNewOnly = true;
  Open(range);
  EXPECT_THAT(ReadWords(), IsEmpty());
  m_log.Add(8);
  EXPECT_THAT(ReadWords(), ElementsAre("8"));
}

TEST_F(RecordHistory, APositionGoesOnInAnotherReader) {
  for (const ULong number : {1u, 2u}) m_log.Add(number);
  Open();
  ReadWords();
  EventLogRange range;
  range.after = m_history->Position();
  m_log.Add(3);
  Open(range);
  EXPECT_THAT(ReadWords(), ElementsAre("3"));
}

TEST_F(RecordHistory, ARecordThatDoesNotFitGetsALargerBuffer) {
  m_log.Add(1, 1000, 100'000);
  Open();
  EXPECT_THAT(ReadWords(), ElementsAre("1"));
}

TEST_F(RecordHistory, RecordsThatWereOverwrittenAreNamed) {
  for (const ULong number : {1u, 2u}) m_log.Add(number);
  Open();
  ReadWords();
  EventLogRange range;
  range.after = m_history->Position();
  for (const ULong number : {5u, 6u}) m_log.Add(number);
  for (const ULong number : {1u, 2u}) m_log.Remove(number);
  Open(range);
  EXPECT_THAT(ReadWords(), ElementsAre("missed 3-4", "5", "6"));
}

TEST_F(RecordHistory, RecordsThatAreGoneBetweenTwoAreNamed) {
  for (const ULong number : {1u, 2u, 6u, 7u}) m_log.Add(number);
  Open();
  EXPECT_THAT(ReadWords(), ElementsAre("1", "2", "missed 3-5", "6", "7"));
}

TEST_F(RecordHistory, RecordsThatAreGoneAreNamedWithTheNewestFirst) {
  for (const ULong number : {1u, 2u, 6u, 7u}) m_log.Add(number);
  EventLogRange range;
  range.isNewestFirst = true;
  Open(range);
  EXPECT_THAT(ReadWords(), ElementsAre("7", "6", "missed 3-5", "2", "1"));
}

TEST_F(RecordHistory, ALogThatWasClearedIsReadAnew) {
  for (const ULong number : {1u, 2u}) m_log.Add(number);
  Open();
  ReadWords();
  m_log.FailNextRead(ERROR_EVENTLOG_FILE_CHANGED);
  EXPECT_EQ(ReadWords().front(), "replaced");
}

TEST_F(RecordHistory, ARecordOfAnotherTimeUnderTheSameNumberIsAnotherLog) {
  m_log.Add(1, 1000);
  Open();
  ReadWords();
  EventLogRange range;
  range.after = m_history->Position();
  m_log.Add(1, 2000);
  Open(range);
  EXPECT_EQ(ReadWords().front(), "replaced");
}

TEST_F(RecordHistory, ADamagedRecordIsNamedAndPassedOver) {
  for (const ULong number : {1u, 2u, 3u}) m_log.Add(number);
  m_log.Damage(2);
  Open();
  EXPECT_THAT(ReadWords(), ElementsAre("1", "damaged 2-2", "3"));
}

TEST_F(RecordHistory, RecordsThatWentAwayBeforeADamagedOneAreMissedAndNotAskedFor) {
  m_log.Add(1);
  Open();
  EXPECT_THAT(ReadWords(), ElementsAre("1"));
  m_log.Remove(1);
  for (const ULong number : {4'000'000'000u, 4'000'000'001u, 4'000'000'002u}) m_log.Add(number);
  m_log.Damage(4'000'000'000u);
  EXPECT_THAT(ReadWords(), ElementsAre("missed 2-3999999999", "damaged 4000000000-4000000000",
                                       "4000000001", "4000000002"));
}

TEST_F(RecordHistory, ADamagedLogWithoutRecordsIsAFailure) {
  m_log.Add(1);
  Open();
  EXPECT_THAT(ReadWords(), ElementsAre("1"));
  m_log.Remove(1);
  m_log.FailNextRead(ERROR_EVENTLOG_FILE_CORRUPT);
  std::vector<EventLogItem> items;
  Host::ItemList list(items);
  EXPECT_EQ(m_history->Read(list), ERROR_EVENTLOG_FILE_CORRUPT);
  EXPECT_TRUE(list.IsEmpty());
}

TEST_F(RecordHistory, SummarizesALog) {
  m_log.Add(4, 100);
  m_log.Add(5, 200);
  Host::EventLogSummary summary;
  ASSERT_EQ(Host::SummarizeLog("Log", summary), 0u);
  EXPECT_EQ(summary.records, 2u);
  EXPECT_EQ(summary.firstNumber, 4u);
  EXPECT_EQ(summary.lastNumber, 5u);
  EXPECT_EQ(summary.firstTime, 100u);
}

TEST_F(RecordHistory, ClearsAWholeLogOnly) {
  m_log.Add(4);
  std::uint64_t removed = 0;
  EXPECT_EQ(Host::ClearWholeLog("Log", true, removed), ERROR_NOT_SUPPORTED);
  EXPECT_EQ(Host::ClearWholeLog("Log", false, removed), 0u);
  EXPECT_EQ(removed, 1u);
}

TEST(AnsweredSource, AReportThatTheHostRefusesIsAFailure) {
  Testing::PreparedEventLog host;
  ULong error = 0;
  const auto source = Host::OpenAnsweredSource("Log", error);
  ASSERT_TRUE(source);
  EXPECT_TRUE(source->Report(1, 0x20002712, "text").isChecked);
  host.reportResult = 0;
  host.lastError = ERROR_DISK_FULL;
  const Host::EventLogReport report = source->Report(1, 0x20002712, "text");
  EXPECT_EQ(report.error, ERROR_DISK_FULL);
  EXPECT_FALSE(report.isChecked);
}

}  // namespace
}  // namespace Ondrel
