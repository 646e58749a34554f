#include "Support/EventStoreFixture.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace Ondrel {
namespace {

constexpr std::size_t kPageSize = 4096;
constexpr std::size_t kSectorSize = 512;

std::string BigEndian(std::uint32_t value) {
  std::string bytes;
  for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>(value >> shift & 0xFF);
  return bytes;
}

std::string Content(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// A rollback journal with the first page of `database`, in SQLite's published format.
std::string RollbackJournalOf(const std::string& database) {
  constexpr std::uint32_t kNonce = 7;
  std::string header = "\xd9\xd5\x05\xf9\x20\xa1\x63\xd7";
  header += BigEndian(1) + BigEndian(kNonce);
  header += BigEndian(static_cast<std::uint32_t>(database.size() / kPageSize));
  header += BigEndian(kSectorSize) + BigEndian(kPageSize);
  header.resize(kSectorSize);
  std::uint32_t checksum = kNonce;
  for (std::size_t at = kPageSize - 200; at > 0 && at < kPageSize; at -= 200)
    checksum += static_cast<unsigned char>(database[at]);
  return header + BigEndian(1) + database.substr(0, kPageSize) + BigEndian(checksum);
}

class EventStoreRecovery : public Testing::EventStoreFixture {
protected:
  /// Leaves the store as a creator does that is killed between writing the mode into the file and
  /// removing the journal of that step.
  void CutOffEntryIntoWriteAheadLogMode() {
    { const Testing::LogHandle created(Operations(), "Log"); }
    ASSERT_EQ(Testing::RunSql(Path(), "PRAGMA journal_mode=DELETE"), "delete");
    std::string database = Content(Path());
    ASSERT_EQ(database.size() % kPageSize, 0u);
    ASSERT_EQ(database[18], 1);
    Folder().Write("events.db-journal", RollbackJournalOf(database));
    database[18] = database[19] = 2;
    Folder().Write("events.db", database);
  }
};

TEST_F(EventStoreRecovery, AReportSucceedsAfterACreatorWasKilledEnteringTheMode) {
  CutOffEntryIntoWriteAheadLogMode();

  Write("Log", {"first", "second"});

  EXPECT_EQ(NumbersOf("Log"), (std::vector<ULong>{1, 2}));
  EXPECT_EQ(Testing::RunSql(Path(), "PRAGMA journal_mode"), "wal");
}

TEST_F(EventStoreRecovery, AReaderEntersTheModeAfterACreatorWasKilledEnteringIt) {
  CutOffEntryIntoWriteAheadLogMode();

  EXPECT_EQ(OpenError(), 0u);
  EXPECT_EQ(Testing::RunSql(Path(), "PRAGMA journal_mode"), "wal");
}

// Without this the tests above would show nothing.
TEST_F(EventStoreRecovery, TheJournalTakesTheModeBack) {
  CutOffEntryIntoWriteAheadLogMode();

  EXPECT_EQ(Testing::RunSql(Path(), "PRAGMA journal_mode"), "delete");
}

}  // namespace
}  // namespace Ondrel
