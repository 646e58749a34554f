#include "Support/OwnMounts.h"
#include "Support/TemporaryFolder.h"
#include "Tool/Watch/Linux/Logbook.h"
#include "Tool/Watch/Watch.h"

#include <Ondrel/Host.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <ctime>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
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

constexpr int kWithoutMounts = 100;

// In a process that sees no socket of a journal: 0, or the number of what did not hold.
int CheckJournalThatIsNotThere() {
  if (!Ondrel::Testing::MountOwnFileSystem("/run")) return kWithoutMounts;
  try {
    UseEventLog({.name = "RAID", .store = {}, .isJournal = true, .storeCapacity = {}});
    return 1;
  } catch (const WatchError& error) {
    const std::string words = error.what();
    return words == "cannot use the journal as event log: none takes entries on this host" ? 0 : 2;
  }
}

TEST_F(Logbook, AJournalThatIsAskedForAndNotThereIsRefused) {
  const pid_t process = ::fork();
  ASSERT_GE(process, 0);
  if (process == 0) ::_exit(CheckJournalThatIsNotThere());
  int status = -1;
  ASSERT_EQ(process, ::waitpid(process, &status, 0));
  ASSERT_TRUE(WIFEXITED(status)) << status;
  if (WEXITSTATUS(status) == kWithoutMounts) GTEST_SKIP() << "takes the right to mount";
  EXPECT_EQ(0, WEXITSTATUS(status));
}

}  // namespace
}  // namespace Tool::Watch
