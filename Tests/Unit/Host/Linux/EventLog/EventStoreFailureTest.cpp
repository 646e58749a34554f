#include "Host/Linux/EventLog/Database.h"
#include "Host/Linux/FileDescriptor.h"
#include "Support/EventStoreFixture.h"
#include "Support/PreparedClock.h"
#include "Support/PreparedOperations.h"
#include "Unit/Host/Linux/EventLog/FaultyFiles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <sys/file.h>
#include <sys/fsuid.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace Ondrel {
namespace {

using Testing::ClockPassingByRests;
using Testing::FaultyFiles;
using Testing::kSeekForwards;
using Testing::kSequentialForwards;
using Testing::LogHandle;
using Testing::PreparedOperations;
using Testing::RunSql;
using Testing::SourceHandle;
using Testing::TemporaryFolder;

using Numbers = std::vector<ULong>;

/// A user who is bound by permissions, which the superuser is not, for one scope.
class OrdinaryUser {
public:
  OrdinaryUser() { setfsuid(65534); }
  ~OrdinaryUser() { setfsuid(geteuid()); }

  OrdinaryUser(const OrdinaryUser&) = delete;
  OrdinaryUser& operator=(const OrdinaryUser&) = delete;
};

/// A bound on a resource of this process for one scope.
class ResourceLimit {
public:
  ResourceLimit(__rlimit_resource resource, rlim_t soft) : m_resource(resource) {
    getrlimit(resource, &m_earlier);
    const rlimit limit{.rlim_cur = soft, .rlim_max = m_earlier.rlim_max};
    setrlimit(resource, &limit);
  }
  ~ResourceLimit() { setrlimit(m_resource, &m_earlier); }

  ResourceLimit(const ResourceLimit&) = delete;
  ResourceLimit& operator=(const ResourceLimit&) = delete;

private:
  __rlimit_resource m_resource;
  rlimit m_earlier{};
};

std::string Content(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::vector<std::string> NamesIn(const std::string& folder) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder))
    names.push_back(entry.path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

class EventStoreFailure : public Testing::EventStoreFixture {
protected:
  /// Both ways in fail with the same error.
  void ExpectNoEntry(ULong error) {
    EXPECT_EQ(OpenError(), error);
    EXPECT_EQ(RegisterError(), error);
  }

  /// Of opening or else of reading; damage may show in either.
  ULong ReadError() {
    const LogHandle log(Operations(), "Log");
    return log.Get() != nullptr ? log.Read(kSequentialForwards).error : Operations().GetLastError();
  }

  /// Of registering or else of reporting.
  ULong ReportError() {
    const SourceHandle source(Operations(), "Log");
    return source.Get() != nullptr ? source.Report("text") : Operations().GetLastError();
  }

  void ChangeMode(const std::string& path, mode_t mode) {
    ASSERT_EQ(chmod(path.c_str(), mode), 0) << path;
  }

  void GiveToOrdinaryUser(const std::string& path) {
    if (geteuid() != 0) return;
    ASSERT_EQ(chown(path.c_str(), 65534, 65534), 0) << path;
  }
};

TEST_F(EventStoreFailure, AMissingFolderIsAPathThatIsNotFound) {
  Host::UseEventStore(Folder().Path("missing/events.db"));
  ExpectNoEntry(3);
}

TEST_F(EventStoreFailure, AFileInThePlaceOfTheFolderIsAPathThatIsNotFound) {
  Host::UseEventStore(Folder().Write("file", "text") + "/events.db");
  ExpectNoEntry(3);
}

TEST_F(EventStoreFailure, ANameTooLongIsAPathThatIsNotFound) {
  Host::UseEventStore(Folder().Path(std::string(300, 'n')));
  ExpectNoEntry(3);
}

TEST_F(EventStoreFailure, ALinkThatLeadsNowhereIsAFileThatIsNotFound) {
  std::filesystem::create_symlink(Folder().Path("nowhere"), Path());
  ExpectNoEntry(2);
}

TEST_F(EventStoreFailure, WhatIsNotAFileIsRefused) {
  std::filesystem::create_directory(Path());
  ExpectNoEntry(5);
  std::filesystem::remove(Path());
  ASSERT_EQ(mkfifo(Path().c_str(), 0600), 0);
  ExpectNoEntry(5);
}

TEST_F(EventStoreFailure, AFolderThatMayNotBeWrittenIsRefused) {
  GiveToOrdinaryUser(Folder().Path());
  ChangeMode(Folder().Path(), 0500);
  {
    const OrdinaryUser user;
    ExpectNoEntry(5);
  }
  ChangeMode(Folder().Path(), 0700);
  EXPECT_EQ(NamesIn(Folder().Path()), std::vector<std::string>{});
}

TEST_F(EventStoreFailure, AFolderThatMayNotBeSearchedIsRefused) {
  GiveToOrdinaryUser(Folder().Path());
  ChangeMode(Folder().Path(), 0600);
  {
    const OrdinaryUser user;
    ExpectNoEntry(5);
  }
  ChangeMode(Folder().Path(), 0700);
}

TEST_F(EventStoreFailure, AFileThatMayNotBeReadIsRefused) {
  Write("Log", {"text"});
  ChangeMode(Folder().Path(), 0777);
  GiveToOrdinaryUser(Path());
  ChangeMode(Path(), 0000);
  const OrdinaryUser user;
  ExpectNoEntry(5);
}

TEST_F(EventStoreFailure, AFileThatMayOnlyBeReadIsReadAndNotWritten) {
  Write("Log", {"text"});
  ChangeMode(Folder().Path(), 0777);
  GiveToOrdinaryUser(Path());
  ChangeMode(Path(), 0400);
  const OrdinaryUser user;

  EXPECT_EQ(RegisterError(), 5u);
  EXPECT_EQ(NumbersOf("Log"), (Numbers{1}));
}

TEST_F(EventStoreFailure, AReadOnlyFolderWithoutAWriteAheadLogIsRefused) {
  Write("Log", {"text"});
  GiveToOrdinaryUser(Folder().Path());
  GiveToOrdinaryUser(Path());
  ChangeMode(Path(), 0400);
  ChangeMode(Folder().Path(), 0500);
  {
    const OrdinaryUser user;
    // No write-ahead log can be made there, which even a reader needs.
    ExpectNoEntry(5);
  }
  ChangeMode(Folder().Path(), 0700);
}

TEST_F(EventStoreFailure, AnEmptyFileThatMayOnlyBeReadIsRefused) {
  Folder().Write("events.db", "");
  ChangeMode(Folder().Path(), 0777);
  GiveToOrdinaryUser(Path());
  ChangeMode(Path(), 0400);
  const OrdinaryUser user;
  ExpectNoEntry(5);
}

TEST_F(EventStoreFailure, AFileOfAnotherKindIsRefusedAndLeftAsItIs) {
  struct Row {
    const char* what;
    std::string content;
  };
  const std::vector<Row> rows{
      {"one byte", "x"},
      {"text", std::string(5000, 't')},
      {"the mark of a database alone", std::string("SQLite format 3\0", 16)},
      {"zeros and then text", std::string(200, '\0') + std::string(5000, 't')},
      {"nothing but zeros", std::string(8192, '\0')},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    Folder().Write("events.db", row.content);
    ExpectNoEntry(1500);
    EXPECT_EQ(Content(Path()), row.content);
    EXPECT_EQ(NamesIn(Folder().Path()), std::vector<std::string>{"events.db"});
  }
}

TEST_F(EventStoreFailure, ADatabaseOfSomethingElseIsRefusedAndLeftAsItIs) {
  constexpr std::array<const char*, 4> kContents{
      "CREATE TABLE other(x)",
      "PRAGMA journal_mode=WAL; CREATE TABLE other(x)",
      "PRAGMA application_id=7; CREATE TABLE other(x)",
      "PRAGMA application_id=7",
  };
  for (const char* sql : kContents) {
    SCOPED_TRACE(sql);
    RunSql(Path(), sql);
    const std::string content = Content(Path());

    ExpectNoEntry(1500);

    EXPECT_EQ(Content(Path()), content);
    EXPECT_EQ(NamesIn(Folder().Path()), std::vector<std::string>{"events.db"});
    std::filesystem::remove(Path());
  }
}

TEST_F(EventStoreFailure, TheWriteAheadLogOfSomethingElseIsLeftAsItIs) {
  RunSql(Path(), "PRAGMA journal_mode=WAL; CREATE TABLE other(x)");
  sqlite3* other = nullptr;
  ASSERT_EQ(sqlite3_open(Path().c_str(), &other), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(other, "INSERT INTO other VALUES(1)", nullptr, nullptr, nullptr),
            SQLITE_OK);
  const std::string writeAheadLog = Content(Path() + "-wal");
  ASSERT_FALSE(writeAheadLog.empty());

  ExpectNoEntry(1500);

  EXPECT_EQ(Content(Path() + "-wal"), writeAheadLog);
  sqlite3_close(other);
}

TEST_F(EventStoreFailure, AStoreOfALaterLayoutIsRefusedAndLeftAsItIs) {
  Write("Log", {"text"});
  RunSql(Path(), "PRAGMA user_version=2");
  const std::string content = Content(Path());

  ExpectNoEntry(1500);

  EXPECT_EQ(Content(Path()), content);
}

TEST_F(EventStoreFailure, ALayoutThatChangedUnderAnotherProgramIsRefused) {
  Write("Log", {"text"});
  sqlite3* other = nullptr;
  ASSERT_EQ(sqlite3_open(Path().c_str(), &other), SQLITE_OK);
  // Held in the write-ahead log: the file's own header is the earlier one.
  ASSERT_EQ(sqlite3_exec(other, "PRAGMA user_version=2", nullptr, nullptr, nullptr), SQLITE_OK);

  ExpectNoEntry(1500);
  sqlite3_close(other);
}

TEST_F(EventStoreFailure, AStoreWithoutItsTablesIsDamaged) {
  Write("Log", {"text"});
  RunSql(Path(), "DROP TABLE record");
  ExpectNoEntry(1500);
}

TEST_F(EventStoreFailure, DamagedPagesAreAFailureAndNotGarbage) {
  Write("Log", {"text", "text"});
  std::string content = Content(Path());
  ASSERT_GT(content.size(), std::size_t{3 * 4096});
  std::fill(content.begin() + 4096, content.end(), '\x5A');
  Folder().Write("events.db", content);

  EXPECT_EQ(ReadError(), 1500u);
  EXPECT_EQ(ReportError(), 1500u);
}

TEST_F(EventStoreFailure, AStoreThatEndsTooSoonIsDamaged) {
  Write("Log", {"text"});
  std::filesystem::resize_file(Path(), 4096);

  EXPECT_EQ(ReadError(), 1500u);
}

TEST_F(EventStoreFailure, ANumberThatIsGivenAlreadyIsDamageAndOverwritesNothing) {
  Write("Log", {"first", "second"});
  RunSql(Path(), "UPDATE log SET last_number = 1");
  const SourceHandle source(Operations(), "Log");

  EXPECT_EQ(source.Report("third"), 1500u);
  EXPECT_EQ(NumbersOf("Log"), (Numbers{1, 2}));
}

TEST_F(EventStoreFailure, AnEmptyFileBecomesAStore) {
  Folder().Write("events.db", "");
  Write("Log", {"text"});
  EXPECT_EQ(NumbersOf("Log"), (Numbers{1}));
  EXPECT_EQ(RunSql(Path(), "PRAGMA journal_mode"), "wal");
}

TEST_F(EventStoreFailure, CreationThatWasCutOffIsFinished) {
  // All but the last step: the tables are there, the mode is not.
  Write("Log", {"text"});
  RunSql(Path(), "PRAGMA journal_mode=DELETE");

  Write("Log", {"text"});

  EXPECT_EQ(NumbersOf("Log"), (Numbers{1, 2}));
  EXPECT_EQ(RunSql(Path(), "PRAGMA journal_mode"), "wal");
}

TEST_F(EventStoreFailure, AStoreThatALinkLeadsToIsUsed) {
  std::filesystem::create_directory(Folder().Path("real"));
  const std::string real = Folder().Path("real/store");
  Host::UseEventStore(real);
  Write("Log", {"first"});
  std::filesystem::create_symlink(real, Path());

  Host::UseEventStore(Path());
  Write("Log", {"second"});

  EXPECT_EQ(NumbersOf("Log"), (Numbers{1, 2}));
  EXPECT_EQ(NamesIn(Folder().Path()), (std::vector<std::string>{"events.db", "real"}));
}

TEST_F(EventStoreFailure, AStoreThatAnotherProgramLocksIsALockViolationAfterTenSeconds) {
  std::chrono::nanoseconds rested{0};
  const PreparedOperations clock(Host::Clock(), ClockPassingByRests(rested));
  Write("Log", {"text"});
  const SourceHandle source(Operations(), "Log");
  const LogHandle log(Operations(), "Log");
  sqlite3* other = nullptr;
  ASSERT_EQ(sqlite3_open(Path().c_str(), &other), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(other, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);

  EXPECT_EQ(source.Report("text"), 33u);
  EXPECT_GE(rested, std::chrono::seconds(10));
  EXPECT_LT(rested, std::chrono::seconds(11));
  EXPECT_EQ(log.AllNumbers(), (Numbers{1}));

  sqlite3_close(other);
  EXPECT_EQ(source.Report("text"), 0u);
}

TEST_F(EventStoreFailure, TheRestsBeforeALockedStoreGrowToAMillisecond) {
  std::chrono::nanoseconds rested{0};
  std::vector<long long> rests;
  Host::ClockOperations clock = ClockPassingByRests(rested);
  clock.Rest = [&](std::chrono::nanoseconds duration) {
    rested += duration;
    rests.push_back(std::chrono::duration_cast<std::chrono::microseconds>(duration).count());
  };
  const PreparedOperations prepared(Host::Clock(), clock);
  Write("Log", {"text"});
  const SourceHandle source(Operations(), "Log");
  sqlite3* other = nullptr;
  ASSERT_EQ(sqlite3_open(Path().c_str(), &other), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(other, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);
  rests.clear();
  EXPECT_EQ(source.Report("text"), 33u);
  rests.resize(7);
  EXPECT_EQ(rests, (std::vector<long long>{200, 400, 600, 800, 1000, 1000, 1000}));
  sqlite3_close(other);
}

TEST_F(EventStoreFailure, AStoreThatAnotherProgramKeepsToItselfIsALockViolationAfterTenSeconds) {
  std::chrono::nanoseconds rested{0};
  const PreparedOperations clock(Host::Clock(), ClockPassingByRests(rested));
  Write("Log", {"text"});
  sqlite3* other = nullptr;
  ASSERT_EQ(sqlite3_open(Path().c_str(), &other), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(other, "PRAGMA locking_mode=EXCLUSIVE; DELETE FROM log WHERE id = 99",
                         nullptr, nullptr, nullptr),
            SQLITE_OK);

  EXPECT_EQ(OpenError(), 33u);
  EXPECT_GE(rested, std::chrono::seconds(10));
  EXPECT_LT(rested, std::chrono::seconds(11));
  sqlite3_close(other);
  EXPECT_EQ(OpenError(), 0u);
}

TEST_F(EventStoreFailure, AFolderThatAnotherProgramLocksIsALockViolationAfterTenSeconds) {
  std::chrono::nanoseconds rested{0};
  const PreparedOperations clock(Host::Clock(), ClockPassingByRests(rested));
  {
    const Host::FileDescriptor folder(
        open(std::filesystem::path(Path()).parent_path().c_str(), O_RDONLY | O_CLOEXEC));
    ASSERT_EQ(flock(folder.Number(), LOCK_EX | LOCK_NB), 0);
    EXPECT_EQ(OpenError(), 33u);
  }
  EXPECT_GE(rested, std::chrono::seconds(10));
  EXPECT_LT(rested, std::chrono::seconds(11));
  EXPECT_EQ(OpenError(), 0u);
}

TEST_F(EventStoreFailure, AFailureOfTheDiskIsReportedAndTheNextReportSucceeds) {
  struct Row {
    const char* what;
    void (FaultyFiles::*fail)(int, int);
    int result;
    int errnoValue;
    ULong error;
  };
  const std::array<Row, 7> rows{{
      {"no space", &FaultyFiles::FailWrites, SQLITE_FULL, 0, 112},
      {"no quota", &FaultyFiles::FailWrites, SQLITE_IOERR_WRITE, EDQUOT, 112},
      {"file too large", &FaultyFiles::FailWrites, SQLITE_IOERR_WRITE, EFBIG, 112},
      {"write error", &FaultyFiles::FailWrites, SQLITE_IOERR_WRITE, EIO, 1117},
      {"synchronisation error", &FaultyFiles::FailSyncs, SQLITE_IOERR_FSYNC, EIO, 1117},
      {"no space when synchronised", &FaultyFiles::FailSyncs, SQLITE_IOERR_FSYNC, ENOSPC, 112},
      {"no memory", &FaultyFiles::FailWrites, SQLITE_IOERR_NOMEM, ENOMEM, 8},
  }};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    FaultyFiles files;
    const std::size_t earlier = NumbersOf(row.what).size();
    const SourceHandle source(Operations(), row.what);
    ASSERT_EQ(source.Report("before"), 0u);

    (files.*row.fail)(row.result, row.errnoValue);
    EXPECT_EQ(source.Report("failed"), row.error);
    (files.*row.fail)(SQLITE_OK, 0);

    EXPECT_EQ(source.Report("after"), 0u);
    EXPECT_EQ(earlier, 0u);
    EXPECT_EQ(NumbersOf(row.what), (Numbers{1, 2}));
  }
  EXPECT_EQ(RunSql(Path(), "PRAGMA integrity_check"), "ok");
}

TEST_F(EventStoreFailure, AReadErrorOfTheDiskIsReportedAndTheNextReadSucceeds) {
  Write("Log", {"text"});
  FaultyFiles files;
  const LogHandle log(Operations(), "Log");

  files.FailReads(SQLITE_IOERR_READ, EIO);
  EXPECT_EQ(log.Read(kSequentialForwards).error, 1117u);
  EXPECT_EQ(OpenError(), 1117u);
  files.FailReads(SQLITE_OK, 0);

  EXPECT_EQ(log.AllNumbers(), (Numbers{1}));
}

TEST_F(EventStoreFailure, AFullDiskWhileTheStoreIsCreatedLeavesNothingInTheWay) {
  FaultyFiles files;
  files.FailWrites(SQLITE_FULL, 0);
  ExpectNoEntry(112);
  files.FailWrites(SQLITE_OK, 0);

  Write("Log", {"text"});
  EXPECT_EQ(NumbersOf("Log"), (Numbers{1}));
}

TEST_F(EventStoreFailure, AFileThatMayNotGrowIsADiskThatIsFull) {
  const SourceHandle source(Operations(), "Log");
  ASSERT_EQ(source.Report("before"), 0u);
  const auto earlier = std::signal(SIGXFSZ, SIG_IGN);
  {
    const ResourceLimit limit(RLIMIT_FSIZE, 50'000);
    EXPECT_EQ(source.Report(std::string(31'000, 't')), 112u);
  }
  std::signal(SIGXFSZ, earlier);

  EXPECT_EQ(source.Report("after"), 0u);
  EXPECT_EQ(NumbersOf("Log"), (Numbers{1, 2}));
}

TEST_F(EventStoreFailure, TooManyOpenFilesAreReported) {
  Write("Log", {"text"});
  const int next = open("/dev/null", O_RDONLY);
  close(next);
  {
    const ResourceLimit limit(RLIMIT_NOFILE, static_cast<rlim_t>(next));
    ExpectNoEntry(4);
  }
  EXPECT_EQ(NumbersOf("Log"), (Numbers{1}));
}

TEST_F(EventStoreFailure, MemoryThatRunsOutIsReported) {
  Write("Log", {"text"});
  const SourceHandle source(Operations(), "Log");
  const LogHandle log(Operations(), "Log");
  ASSERT_EQ(source.Report("text"), 0u);

  const sqlite3_int64 earlier = sqlite3_hard_heap_limit64(sqlite3_memory_used() + 1000);
  const ULong reportError = source.Report(std::string(100'000, 't'));
  const ULong openError = OpenError();
  const ULong registerError = RegisterError();
  sqlite3_hard_heap_limit64(earlier);

  EXPECT_EQ(reportError, 8u);
  EXPECT_EQ(openError, 8u);
  EXPECT_EQ(registerError, 8u);
  EXPECT_EQ(source.Report("text"), 0u);
  EXPECT_EQ(log.AllNumbers(), (Numbers{1, 2, 3}));
}

TEST(DatabaseErrors, EveryKindOfResultHasItsNumber) {
  struct Row {
    int result;
    int errnoValue;
    ULong error;
  };
  constexpr std::array<Row, 25> kRows{{
      {SQLITE_FULL, 0, 112},
      {SQLITE_BUSY, 0, 33},
      {SQLITE_BUSY_RECOVERY, 0, 33},
      {SQLITE_LOCKED, 0, 33},
      {SQLITE_PROTOCOL, 0, 33},
      {SQLITE_CORRUPT, 0, 1500},
      {SQLITE_CORRUPT_VTAB, 0, 1500},
      {SQLITE_NOTADB, 0, 1500},
      {SQLITE_ERROR, 0, 1500},
      {SQLITE_CONSTRAINT_PRIMARYKEY, 0, 1500},
      {SQLITE_NOMEM, 0, 8},
      {SQLITE_IOERR_NOMEM, EIO, 8},
      {SQLITE_READONLY, 0, 5},
      {SQLITE_READONLY_DIRECTORY, 0, 5},
      {SQLITE_PERM, 0, 5},
      {SQLITE_TOOBIG, 0, 1502},
      {SQLITE_CANTOPEN, 0, 5},
      {SQLITE_CANTOPEN, ENOENT, 5},
      {SQLITE_CANTOPEN, EACCES, 5},
      {SQLITE_CANTOPEN, ENOTDIR, 3},
      {SQLITE_CANTOPEN, EROFS, 5},
      {SQLITE_CANTOPEN, EMFILE, 4},
      {SQLITE_IOERR_WRITE, ENOSPC, 112},
      {SQLITE_IOERR_READ, EIO, 1117},
      {SQLITE_MISUSE, 0, 31},
  }};
  for (const Row& row : kRows)
    EXPECT_EQ(Host::ErrorFromSqlite(row.result, row.errnoValue), row.error)
        << row.result << ", " << row.errnoValue;
}

}  // namespace
}  // namespace Ondrel
