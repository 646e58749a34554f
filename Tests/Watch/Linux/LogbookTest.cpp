#include "Support/TemporaryFolder.h"
#include "Tool/Watch/Linux/Logbook.h"

#include <Ondrel/Host.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <ctime>
#include <string>
#include <vector>

namespace Tool::Watch {
namespace {

using Ondrel::Testing::TemporaryFolder;
using testing::Not;

class Logbook : public testing::Test {
protected:
  Logbook() {
    UseEventLog({.name = "RAID",
                 .store = m_folder.Path("events.db"),
                 .isJournal = false,
                 .storeCapacity = {}});
  }
  ~Logbook() override { Ondrel::Host::UseHostEventLog(); }

  static StoredEvent EventOf(const std::string& text) {
    StoredEvent event;
    event.time = std::time(nullptr);
    event.event.code = 10471;
    event.event.severity = 4;
    event.event.text = text;
    return event;
  }

  TemporaryFolder m_folder;
};

TEST_F(Logbook, AnEventThatWasWrittenIsInTheLog) {
  EXPECT_FALSE(IsInLog("RAID", EventOf("it failed")));
  EXPECT_EQ("", WriteEvent("RAID", EventOf("it failed")));
  EXPECT_TRUE(IsInLog("RAID", EventOf("it failed")));
  EXPECT_FALSE(IsInLog("RAID", EventOf("another")));
  EXPECT_FALSE(IsInLog("Other", EventOf("it failed")));
}

TEST_F(Logbook, ThePlaceOfEventsNamesLogAndStore) {
  EXPECT_EQ("the log RAID in the event store " + m_folder.Path("events.db"),
            PlaceOfEvents({.name = "RAID", .store = {}, .isJournal = false, .storeCapacity = {}}));
}

TEST_F(Logbook, TheTypeFollowsFromTheSeverity) {
  for (int severity = 1; severity <= 5; ++severity) {
    StoredEvent event = EventOf("severity " + std::to_string(severity));
    event.event.severity = severity;
    ASSERT_EQ("", WriteEvent("RAID", event));
  }
  Ondrel::Host::CEventLogReader reader;
  ASSERT_EQ(0u, reader.Open("RAID", {}));
  std::vector<Ondrel::Host::EventLogItem> items;
  ASSERT_EQ(0u, reader.Read(items));
  ASSERT_EQ(5u, items.size());
  // Information, warning and error of the published numbering.
  constexpr unsigned kTypes[] = {4, 4, 2, 1, 1};
  for (std::size_t index = 0; index < items.size(); ++index) {
    EXPECT_EQ(kTypes[index], static_cast<unsigned>(items[index].record.eventType)) << index + 1;
    EXPECT_EQ(10471u, items[index].record.eventID & 0xFFFF);
  }
}

TEST_F(Logbook, AnEventOfLongAgoIsNotTakenForThisOne) {
  ASSERT_EQ("", WriteEvent("RAID", EventOf("it failed")));
  StoredEvent later = EventOf("it failed");
  later.time += 100;
  EXPECT_FALSE(IsInLog("RAID", later));
}

TEST_F(Logbook, ALogThatCannotBeWrittenSaysWhy) {
  UseEventLog({.name = "RAID",
               .store = m_folder.Path("no/folder/events.db"),
               .isJournal = false,
               .storeCapacity = {}});
  EXPECT_THAT(WriteEvent("RAID", EventOf("it failed")), Not(testing::IsEmpty()));
}

}  // namespace
}  // namespace Tool::Watch
