#pragma once

#include "EventStoreProcesses.h"

#include <Ondrel/Host.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace Ondrel::Testing {

/// What a reader gave, in short: "1", "missed 2-5", "damaged 6-6", "replaced".
inline std::vector<std::string> Summary(const std::vector<Host::EventLogItem>& items) {
  std::vector<std::string> words;
  for (const Host::EventLogItem& item : items) {
    const std::string numbers = std::to_string(item.first) + "-" + std::to_string(item.last);
    switch (item.kind) {
      case Host::EventLogItemKind::kRecord:
        words.push_back(std::to_string(item.record.number));
        break;
      case Host::EventLogItemKind::kMissed:
        words.push_back("missed " + numbers);
        break;
      case Host::EventLogItemKind::kDamaged:
        words.push_back("damaged " + (item.file.empty() ? numbers : item.file));
        break;
      case Host::EventLogItemKind::kReplaced:
        words.push_back("replaced");
        break;
    }
  }
  return words;
}

/// All that a reader gives up to the end of its range.
inline std::vector<Host::EventLogItem> ReadToEnd(Host::CEventLogReader& reader) {
  std::vector<Host::EventLogItem> all;
  std::vector<Host::EventLogItem> items;
  for (;;) {
    const ULong error = reader.Read(items);
    EXPECT_EQ(error, 0u);
    if (error != 0 || items.empty()) return all;
    all.insert(all.end(), items.begin(), items.end());
  }
}

inline std::vector<std::string> WordsToEnd(Host::CEventLogReader& reader) {
  return Summary(ReadToEnd(reader));
}

/// A store whose log "Log" is read with `Ondrel/Host.h`.
class EventHistoryFixture : public EventStoreProcessesFixture {
protected:
  EventHistoryFixture() : EventStoreProcessesFixture("/dev/shm/") {}

  /// Reports `count` texts "0 N", N going on from the last call.
  void ReportSome(int count, const char* log = "Log") {
    const SourceHandle source(Operations(), log);
    for (int i = 0; i < count; ++i)
      ASSERT_EQ(source.Report("0 " + std::to_string(m_reported++)), 0u);
  }

  static Host::CEventLogReader Opened(const Host::EventLogRange& range = {},
                                      const std::string& log = "Log") {
    Host::CEventLogReader reader;
    EXPECT_EQ(reader.Open(log, range), 0u);
    return reader;
  }

  static std::vector<std::string> WordsOf(const Host::EventLogRange& range = {},
                                          const std::string& log = "Log") {
    Host::CEventLogReader reader = Opened(range, log);
    return WordsToEnd(reader);
  }

private:
  int m_reported = 0;
};

}  // namespace Ondrel::Testing
