#include "Support/EventStoreFixture.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

namespace Ondrel {
namespace {

using Testing::kSeekForwards;
using Testing::kSequentialForwards;
using Testing::LogHandle;
using Testing::NumbersIn;
using Testing::RunSql;
using Testing::SourceHandle;

using Numbers = std::vector<ULong>;

constexpr std::uint64_t kCapacity = Host::kMinEventStoreCapacity;

/// In memory: these tests write much, and how long that takes on a disk is nothing they look at.
class EventStoreCapacity : public Testing::EventStoreFixture {
protected:
  EventStoreCapacity() : EventStoreFixture("/dev/shm/") { Host::UseEventStore(Path(), kCapacity); }

  std::uintmax_t FileSize(const char* suffix = "") const {
    return std::filesystem::file_size(Path() + suffix);
  }
};

TEST_F(EventStoreCapacity, TheFileStaysWithinTheCapacity) {
  const SourceHandle source(Operations(), "Log");
  const std::string text(1000, 't');
  for (int i = 0; i < 600; ++i) {
    ASSERT_EQ(source.Report(text), 0u);
    ASSERT_LE(FileSize(), kCapacity) << i;
    // The write-ahead log is moved into the file after 64 pages, and one report adds a few more.
    ASSERT_LE(FileSize("-wal"), 2 * kCapacity) << i;
  }

  EXPECT_GT(FileSize(), kCapacity * 3 / 4);
  EXPECT_EQ(RunSql(Path(), "PRAGMA integrity_check"), "ok");
}

struct WriteAheadLogRow {
  const char* name;
  std::uint64_t capacity;
  std::size_t textLength;
  int reports;
  std::uintmax_t length;
};

TEST_F(EventStoreCapacity, TheWriteAheadLogTakesAQuarterOfTheCapacityAndAtMostFourMebibytes) {
  constexpr std::uint64_t kMebibyte = 1024 * 1024;
  const WriteAheadLogRow kRows[] = {{"small", 2 * kMebibyte, 1000, 200, kMebibyte / 2},
                                    {"large", 64 * kMebibyte, 30000, 160, 4 * kMebibyte}};
  for (const WriteAheadLogRow& row : kRows) {
    const std::string path = Folder().Path(row.name);
    Host::UseEventStore(path, row.capacity);
    const SourceHandle source(Operations(), "Log");
    const std::string text(row.textLength, 't');
    for (int i = 0; i < row.reports; ++i) ASSERT_EQ(source.Report(text), 0u);
    const std::uintmax_t length = std::filesystem::file_size(path + "-wal");
    // A report is some pages, and each page has a head of its own there.
    EXPECT_GE(length, row.length - row.length / 16) << row.name;
    EXPECT_LE(length, row.length + row.length / 16) << row.name;
  }
}

TEST_F(EventStoreCapacity, TheNewestRecordsStayAndKeepTheirNumbers) {
  const SourceHandle source(Operations(), "Log");
  for (int i = 0; i < 600; ++i) ASSERT_EQ(source.Report(std::string(1000, 't')), 0u);

  const Numbers numbers = NumbersOf("Log");

  ASSERT_FALSE(numbers.empty());
  EXPECT_EQ(numbers.back(), 600u);
  EXPECT_EQ(numbers.size(), numbers.back() - numbers.front() + 1);
  // Some 1100 bytes each, three to a page: about 144 are left after room was made.
  EXPECT_GT(numbers.size(), 120u);
  const LogHandle log(Operations(), "Log");
  EXPECT_EQ(log.Read(kSeekForwards, numbers.front() - 1).error, 87u);
  EXPECT_EQ(NumbersIn(log.Read(kSequentialForwards).bytes).front(), numbers.front());
}

TEST_F(EventStoreCapacity, TheOldestRecordsOfAllLogsGoFirst) {
  const SourceHandle quiet(Operations(), "Quiet");
  const SourceHandle busy(Operations(), "Busy");
  ASSERT_EQ(busy.Report(std::string(1000, 'b')), 0u);
  for (int i = 0; i < 5; ++i) ASSERT_EQ(quiet.Report("q"), 0u);
  for (int i = 0; i < 100; ++i) ASSERT_EQ(busy.Report(std::string(1000, 'b')), 0u);
  for (int i = 0; i < 5; ++i) ASSERT_EQ(quiet.Report("q"), 0u);
  ASSERT_EQ(NumbersOf("Busy").size(), 101u);

  // Until the fifth of the quiet records, the first 96 of the others being in between, is gone.
  while (NumbersOf("Quiet").front() < 6) {
    ASSERT_EQ(busy.Report(std::string(1000, 'b')), 0u);
    const Numbers quietNumbers = NumbersOf("Quiet");
    const ULong oldestBusy = NumbersOf("Busy").front();
    EXPECT_TRUE(quietNumbers.front() == 1 || oldestBusy > 1);
    EXPECT_TRUE(oldestBusy <= 2 || quietNumbers.front() >= 6);
  }

  // The younger quiet ones are younger than a hundred of the busy ones.
  EXPECT_EQ(NumbersOf("Quiet"), (Numbers{6, 7, 8, 9, 10}));
  EXPECT_LT(NumbersOf("Busy").front(), 102u);
}

TEST_F(EventStoreCapacity, RoomIsMadeInBatches) {
  const SourceHandle source(Operations(), "Log");
  ULong oldest = 1;
  int evictions = 0;
  for (int i = 0; i < 900; ++i) {
    ASSERT_EQ(source.Report(std::string(400, 't')), 0u);
    const ULong now =
        NumbersIn(LogHandle(Operations(), "Log").Read(kSequentialForwards, 0, 1024).bytes).front();
    if (now != oldest) ++evictions;
    oldest = now;
  }

  ASSERT_GT(oldest, 300u);
  EXPECT_GE(oldest / static_cast<ULong>(evictions), 10u);
}

TEST_F(EventStoreCapacity, ANumberIsNotGivenAgainWhenItsRecordMadeRoom) {
  {
    const SourceHandle source(Operations(), "Small");
    ASSERT_EQ(source.Report("goes"), 0u);
  }
  const SourceHandle other(Operations(), "Other");
  while (!NumbersOf("Small").empty()) ASSERT_EQ(other.Report(std::string(5000, 't')), 0u);

  Write("Small", {"comes"});

  EXPECT_EQ(NumbersOf("Small"), (Numbers{2}));
}

TEST_F(EventStoreCapacity, ALargeRecordTakesThePlaceOfManySmallOnes) {
  const SourceHandle source(Operations(), "Log");
  for (int i = 0; i < 300; ++i) ASSERT_EQ(source.Report(std::string(1000, 't')), 0u);

  ASSERT_EQ(source.Report(std::string(31'000, 'L')), 0u);

  EXPECT_LE(FileSize(), kCapacity);
  const LogHandle log(Operations(), "Log");
  EXPECT_GT(log.Read(kSeekForwards, 301, kCapacity).bytes.size(), 31'000u);
  // The small ones beside it stay as far as there is room.
  EXPECT_EQ(log.Read(kSeekForwards, 300, kCapacity).error, 0u);
  EXPECT_EQ(RunSql(Path(), "PRAGMA integrity_check"), "ok");
}

TEST_F(EventStoreCapacity, ASmallerCapacityHoldsFromTheNextReport) {
  Host::UseEventStore(Path(), 8 * kCapacity);
  {
    const SourceHandle source(Operations(), "Log");
    for (int i = 0; i < 1000; ++i) ASSERT_EQ(source.Report(std::string(1000, 't')), 0u);
  }
  ASSERT_EQ(NumbersOf("Log").size(), 1000u);

  Host::UseEventStore(Path(), kCapacity);
  Write("Log", {"next"});

  const auto pages = [this](const char* pragma) { return std::stoul(RunSql(Path(), pragma)); };
  EXPECT_LE((pages("PRAGMA page_count") - pages("PRAGMA freelist_count")) * 4096, kCapacity);
  EXPECT_EQ(NumbersOf("Log").back(), 1001u);
  EXPECT_GT(NumbersOf("Log").size(), 120u);
}

TEST_F(EventStoreCapacity, ManyLogNamesDoNotPassTheCapacity) {
  int refused = 0;
  for (int i = 0; i < 1300; ++i) {
    const SourceHandle source(Operations(), (std::to_string(i) + std::string(250, 'n')).c_str());
    const ULong error = source.Report("text");
    ASSERT_TRUE(error == 0 || error == 1502) << error;
    if (error != 0) ++refused;
  }

  EXPECT_GT(refused, 0);
  EXPECT_LE(FileSize(), kCapacity);
}

TEST_F(EventStoreCapacity, AReaderInTheMiddleOfATransactionFailsNoReport) {
  Write("Log", {"first"});
  sqlite3* reader = nullptr;
  ASSERT_EQ(sqlite3_open(Path().c_str(), &reader), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(reader, "BEGIN; SELECT count(*) FROM record", nullptr, nullptr, nullptr),
            SQLITE_OK);

  {
    const SourceHandle source(Operations(), "Log");
    for (int i = 0; i < 300; ++i) ASSERT_EQ(source.Report(std::string(1000, 't')), 0u);
    sqlite3_exec(reader, "COMMIT", nullptr, nullptr, nullptr);
    sqlite3_close(reader);
    // With the reader gone the write-ahead log goes back to its size.
    for (int i = 0; i < 100; ++i) ASSERT_EQ(source.Report(std::string(1000, 't')), 0u);
    EXPECT_LE(FileSize("-wal"), 2 * kCapacity);
  }
  EXPECT_LE(FileSize(), kCapacity);
}

TEST(EventStoreChoice, ACapacityBelowTheSmallestIsRefusedAndChangesNothing) {
  ASSERT_TRUE(Host::UseEventStore("/some/where.db", 262144));
  EXPECT_FALSE(Host::UseEventStore("/else/where.db", 262143));
  EXPECT_FALSE(Host::UseEventStore("", 0));
  EXPECT_EQ(Host::EventStorePath(), "/some/where.db");
  EXPECT_TRUE(Host::UseEventStore(""));
}

TEST(EventStoreChoice, AnEmptyPathGoesBackToTheHostsOwn) {
  ASSERT_TRUE(Host::UseEventStore("/some/where.db"));
  ASSERT_TRUE(Host::UseEventStore(""));
  EXPECT_EQ(Host::EventStorePath(), "/var/lib/ondrel/events.db");
}

TEST(EventStoreChoice, ARelativePathCountsFromTheFolderThatIsCurrentThen) {
  const Testing::TemporaryFolder folder;
  const std::filesystem::path earlier = std::filesystem::current_path();
  std::filesystem::current_path(folder.Path());
  ASSERT_TRUE(Host::UseEventStore("events.db"));
  std::filesystem::current_path(earlier);

  EXPECT_EQ(Host::EventStorePath(), folder.Path("events.db"));
  const Host::EventLogOperations operations = Host::MakeEventLogOperations();
  { const LogHandle log(operations, "Log"); }
  EXPECT_TRUE(std::filesystem::exists(folder.Path("events.db")));
  EXPECT_TRUE(Host::UseEventStore(""));
}

TEST(EventStoreChoice, OpenLogsKeepTheirStore) {
  const Testing::TemporaryFolder folder;
  const Host::EventLogOperations operations = Host::MakeEventLogOperations();
  ASSERT_TRUE(Host::UseEventStore(folder.Path("first.db")));
  const SourceHandle source(operations, "Log");
  ASSERT_TRUE(Host::UseEventStore(folder.Path("second.db")));

  ASSERT_EQ(source.Report("text"), 0u);

  EXPECT_EQ(LogHandle(operations, "Log").AllNumbers(), Numbers{});
  ASSERT_TRUE(Host::UseEventStore(folder.Path("first.db")));
  EXPECT_EQ(LogHandle(operations, "Log").AllNumbers(), (Numbers{1}));
  EXPECT_TRUE(Host::UseEventStore(""));
}

}  // namespace
}  // namespace Ondrel
