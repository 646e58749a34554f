#include "EventHistoryFixture.h"
#include "Support/OwnMounts.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <array>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

namespace Ondrel {
namespace {

using Testing::ChildProcess;
using Testing::kSequentialForwards;
using Testing::LogHandle;
using Testing::MountOwnFileSystem;
using Testing::RunSql;
using Testing::SourceHandle;

class EventStoreHardening : public Testing::EventHistoryFixture {};

TEST_F(EventStoreHardening, TriggersOfAHostileStoreAreNotRun) {
  ReportSome(1);
  RunSql(Path(),
         "CREATE TABLE trace(text TEXT);"
         "CREATE TRIGGER a AFTER INSERT ON record BEGIN INSERT INTO trace VALUES('record'); END;"
         "CREATE TRIGGER b AFTER UPDATE ON log BEGIN DELETE FROM record; END;"
         "CREATE TRIGGER c BEFORE INSERT ON log BEGIN INSERT INTO trace VALUES('log'); END;");
  ReportSome(2);
  ReportSome(1, "Other");
  EXPECT_EQ(NumbersOf("Log"), (std::vector<ULong>{1, 2, 3}));
  EXPECT_EQ(RunSql(Path(), "SELECT count(*) FROM trace"), "0");
}

TEST_F(EventStoreHardening, AViewInThePlaceOfATableIsDamage) {
  ReportSome(2);
  for (const char* table : {"record", "log"}) {
    const std::string name = table;
    RunSql(Path(), "ALTER TABLE " + name + " RENAME TO hidden; CREATE VIEW " + name +
                       " AS SELECT * FROM hidden");
    EXPECT_EQ(OpenError(), ERROR_EVENTLOG_FILE_CORRUPT) << name;
    EXPECT_EQ(RegisterError(), ERROR_EVENTLOG_FILE_CORRUPT) << name;
    RunSql(Path(), "DROP VIEW " + name + "; ALTER TABLE hidden RENAME TO " + name);
  }
  EXPECT_EQ(NumbersOf("Log"), (std::vector<ULong>{1, 2}));
}

TEST_F(EventStoreHardening, ACellThatLeavesItsPageIsDamage) {
  ReportSome(500);
  RunSql(Path(), "PRAGMA wal_checkpoint(TRUNCATE)");
  {
    std::fstream file(Path(), std::ios::binary | std::ios::in | std::ios::out);
    constexpr std::size_t kPage = 4096;
    std::array<char, kPage> page{};
    int changed = 0;
    for (std::size_t at = kPage;
         file.seekg(static_cast<std::streamoff>(at)) && file.read(page.data(), kPage);
         at += kPage) {
      // A leaf of a table (13) with more than a few cells: its first cell now begins at the end.
      if (page[0] != 13 || static_cast<unsigned char>(page[4]) < 5) continue;
      const std::array<char, 2> end = {'\x0F', '\xFE'};
      file.seekp(static_cast<std::streamoff>(at + 8));
      file.write(end.data(), end.size());
      ++changed;
    }
    ASSERT_GT(changed, 0);
  }
  const LogHandle log(Operations(), "Log");
  if (log.Get() == nullptr) {
    EXPECT_EQ(Operations().GetLastError(), ERROR_EVENTLOG_FILE_CORRUPT);
    return;
  }
  EXPECT_EQ(log.Read(kSequentialForwards).error, ERROR_EVENTLOG_FILE_CORRUPT);
}

/// A connection of another program that reads the store.
class OtherReader {
public:
  explicit OtherReader(const std::string& path) { sqlite3_open(path.c_str(), &m_connection); }
  ~OtherReader() { sqlite3_close(m_connection); }

  OtherReader(const OtherReader&) = delete;
  OtherReader& operator=(const OtherReader&) = delete;

  void Begin() { Run("BEGIN; SELECT count(*) FROM log"); }
  void End() { Run("COMMIT"); }

private:
  void Run(const char* sql) { sqlite3_exec(m_connection, sql, nullptr, nullptr, nullptr); }

  sqlite3* m_connection = nullptr;
};

TEST_F(EventStoreHardening, ReadersThatOverlapDoNotKeepTheWriteAheadLogGrowingForGood) {
  Host::UseEventStore(Path(), Host::kMinEventStoreCapacity);
  const SourceHandle source(Operations(), "Log");
  ASSERT_EQ(source.Report("first"), 0u);
  {
    std::array<OtherReader, 2> readers{OtherReader(Path()), OtherReader(Path())};
    readers[0].Begin();
    for (int i = 0; i < 600; ++i) {
      // There is always one that reads.
      readers[static_cast<std::size_t>(i + 1) % 2].Begin();
      readers[static_cast<std::size_t>(i) % 2].End();
      ASSERT_EQ(source.Report(std::string(1000, 'x')), 0u) << i;
    }
  }
  for (int i = 0; i < 300; ++i) ASSERT_EQ(source.Report(std::string(1000, 'x')), 0u);
  // Four times the 64 pages at which it is moved into the file, and some more.
  EXPECT_LT(std::filesystem::file_size(Path() + "-wal"), 400u * 4120);
  const std::vector<ULong> numbers = NumbersOf("Log");
  EXPECT_EQ(numbers.back(), 901u);
  EXPECT_EQ(numbers.back() - numbers.front() + 1, numbers.size());
}

TEST_F(EventStoreHardening, AfterTheFirstReportIntoANewLogFailedTheNextSucceeds) {
  ChildProcess child([this]() -> int {
    if (!MountOwnFileSystem(Folder().Path())) return 10;
    const SourceHandle first(Operations(), "First");
    if (first.Report("one") != 0) return 11;
    const SourceHandle source(Operations(), "New");
    const std::string ballast = Folder().Path("ballast");
    {
      std::ofstream file(ballast);
      while (file << std::string(4096, 'b') && file.flush()) {
      }
    }
    if (source.Report(std::string(9000, 'x')) != ERROR_DISK_FULL) return 12;
    std::filesystem::remove(ballast);
    if (source.Report("two") != 0) return 13;
    if (NumbersOf("New") != std::vector<ULong>{1}) return 14;
    if (NumbersOf("First") != std::vector<ULong>{1}) return 15;
    return 0;
  });
  EXPECT_EQ(child.Wait(), 0);
}

}  // namespace
}  // namespace Ondrel
