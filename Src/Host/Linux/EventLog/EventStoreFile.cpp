#include "Host/Linux/EventLog/EventStoreFile.h"

#include "Host/ClockOperations.h"
#include "Host/Linux/FileDescriptor.h"
#include "Host/Linux/LastError.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <fcntl.h>
#include <memory>
#include <span>
#include <string_view>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace Ondrel::Host {

namespace {

constexpr char kDefaultFolder[] = ONDREL_STATE_DIRECTORY;

constexpr std::uint32_t kApplicationId = 0x4F4E4452;  // "ONDR"
constexpr std::uint32_t kLayoutVersion = 1;

constexpr char kSchema[] =
    "CREATE TABLE log("
    "  id INTEGER PRIMARY KEY,"
    "  name TEXT NOT NULL UNIQUE,"
    "  last_number INTEGER NOT NULL,"
    "  last_sequence INTEGER NOT NULL,"
    // The largest number whose record was removed to make room or by command; what is missing above
    // it was lost. Null in a log that an earlier version made.
    "  dropped INTEGER,"
    "  checksum INTEGER);"
    // A record's id is that of its log in the upper 32 bits and its number in the lower: a log is
    // one range of ids. Its sequence counts over all logs.
    "CREATE TABLE record("
    "  id INTEGER PRIMARY KEY,"
    "  sequence INTEGER NOT NULL,"
    "  image BLOB NOT NULL,"
    "  checksum INTEGER);"
    "CREATE TABLE store(identity TEXT NOT NULL);"
    "INSERT INTO store VALUES(lower(hex(randomblob(16))));";

// What an earlier version's store lacks. Its programs go on with it as it is then: they name the
// columns that they know.
constexpr char kHasAllColumns[] =
    "SELECT count(*) FROM pragma_table_info('record') WHERE name='checksum'";
constexpr char kAddColumns[] =
    "ALTER TABLE log ADD COLUMN dropped INTEGER;"
    "ALTER TABLE log ADD COLUMN checksum INTEGER;"
    "ALTER TABLE record ADD COLUMN checksum INTEGER;"
    "CREATE TABLE store(identity TEXT NOT NULL);"
    "INSERT INTO store VALUES(lower(hex(randomblob(16))));";

// Where SQLite's published file format has the fields that say whose file it is.
constexpr std::size_t kHeaderSize = 100;
constexpr std::string_view kHeaderMark{"SQLite format 3\0", 16};
constexpr std::size_t kWriteVersionOffset = 18;
constexpr std::uint8_t kWriteAheadLogVersion = 2;
constexpr std::size_t kUserVersionOffset = 60;
constexpr std::size_t kApplicationIdOffset = 68;

struct Companion {
  const char* ending;
  off_t leastInUse;  // Size from which on it holds something.
};

// The index has a first page of 32 KiB as soon as the store is in use; an attempt for which there
// was no room leaves a shorter one.
constexpr std::array kCompanions = {Companion{"-wal", 1}, Companion{"-shm", off_t{32} * 1024},
                                    Companion{"-journal", 1}};

constexpr std::chrono::milliseconds kLockPause{2};
constexpr std::chrono::seconds kLockPatience{10};

std::string FolderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return path.substr(0, std::max<std::size_t>(slash, 1));
}

[[noreturn]] void ThrowSystemError(int errnoValue) {
  throw DatabaseError{ErrorFromErrno(errnoValue, Purpose::kFileThatIsCreated)};
}

/// Keeps other processes and threads from creating or clearing away a store in the same folder.
class FolderLock {
public:
  explicit FolderLock(const std::string& folder)
      : m_folder(Uninterrupted(
            [&] { return open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); })) {
    if (!m_folder.IsOpen()) ThrowSystemError(errno);
    const auto deadline = Clock().SteadyTime() + kLockPatience;
    while (flock(m_folder.Number(), LOCK_EX | LOCK_NB) != 0) {
      if (errno == EINTR) continue;
      if (errno != EWOULDBLOCK || Clock().SteadyTime() >= deadline) ThrowSystemError(errno);
      Clock().Rest(kLockPause);
    }
  }

private:
  FileDescriptor m_folder;
};

bool IsThere(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) == 0) {
    if (!S_ISREG(status.st_mode)) throw DatabaseError{ERROR_ACCESS_DENIED};
    return true;
  }
  if (errno != ENOENT) ThrowSystemError(errno);
  return false;
}

void CreateDefaultFolder(const std::string& folder) {
  if (folder != kDefaultFolder || mkdir(folder.c_str(), 0700) != 0) return;
  const FileDescriptor parent(Uninterrupted(
      [&] { return open(FolderOf(folder).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); }));
  if (parent.IsOpen()) fsync(parent.Number());
}

const std::string& CreatedWhenMissing(const std::string& path) {
  if (IsThere(path)) return path;
  const std::string folder = FolderOf(path);
  CreateDefaultFolder(folder);
  const FolderLock lock(folder);
  if (IsThere(path)) return path;

  // What remains of a removed store is not the new one's.
  for (const Companion& companion : kCompanions) unlink((path + companion.ending).c_str());
  // Not by open: closing that would give up the locks that this process has on the file by then.
  if (mknod(path.c_str(), S_IFREG | 0600, 0) != 0) {
    // A link that leads nowhere is in the way.
    if (errno == EEXIST) throw DatabaseError{ERROR_FILE_NOT_FOUND};
    ThrowSystemError(errno);
  }
  return path;
}

enum class Content { kUnfinished, kEvents, kForeign };

std::uint32_t BigEndianAt(std::span<const std::uint8_t> bytes, std::size_t offset) {
  std::uint32_t value = 0;
  for (const std::uint8_t byte : bytes.subspan(offset, 4)) value = value << 8 | byte;
  return value;
}

// Looks at the file's first bytes without taking part in it as a database: that alone would create
// companions beside a file of somebody else, and put their content into it.
Content ContentOf(Database& database) {
  sqlite3_file* file = nullptr;
  sqlite3_file_control(database.Handle(), "main", SQLITE_FCNTL_FILE_POINTER, &file);
  std::array<std::uint8_t, kHeaderSize> header{};
  const int result = file->pMethods->xRead(file, header.data(), kHeaderSize, 0);
  if (result != SQLITE_OK && result != SQLITE_IOERR_SHORT_READ) database.Throw(result);

  // Zeros are what a creator that was cut off may leave, the last step of creation the mode.
  if (std::all_of(header.begin(), header.end(), [](std::uint8_t byte) { return byte == 0; }))
    return Content::kUnfinished;
  if (!std::equal(kHeaderMark.begin(), kHeaderMark.end(), header.begin()) ||
      BigEndianAt(header, kApplicationIdOffset) != kApplicationId ||
      BigEndianAt(header, kUserVersionOffset) != kLayoutVersion)
    return Content::kForeign;
  return header[kWriteVersionOffset] == kWriteAheadLogVersion ? Content::kEvents
                                                              : Content::kUnfinished;
}

// Several processes may come here at once: the first creates, the others find it done.
void CreateTables(Database& database) {
  Transaction::Statements statements(database);
  Transaction transaction(statements);
  if (database.Integer("PRAGMA application_id") == kApplicationId) return;
  if (database.Integer("SELECT count(*) FROM sqlite_schema") != 0)
    throw DatabaseError{ERROR_EVENTLOG_FILE_CORRUPT};

  database.Execute(kSchema);
  database.Execute(("PRAGMA application_id=" + std::to_string(kApplicationId)).c_str());
  database.Execute(("PRAGMA user_version=" + std::to_string(kLayoutVersion)).c_str());
  transaction.Commit();
}

void EnterWriteAheadLogMode(Database& database) {
  for (int tries = 0;; ++tries) {
    try {
      Statement statement(database, "PRAGMA journal_mode=WAL");
      // A file system without shared memory stays in the mode that it has.
      if (!statement.Step() || statement.Text(0) != "wal") throw DatabaseError{ERROR_NOT_SUPPORTED};
      return;
    } catch (const DatabaseError& failure) {
      // SQLite does not wait here itself.
      if (failure.error != ERROR_LOCK_VIOLATION || !database.WaitForTurn(tries)) throw;
    }
  }
}

// Whether the file is in the mode that its header names: a creator that was cut off in the step
// that enters it leaves a journal, which takes that step back as soon as the file is read.
bool IsInWriteAheadLogMode(Database& database) {
  Statement statement(database, "PRAGMA journal_mode");
  return statement.Step() && statement.Text(0) == "wal";
}

void PrepareConnection(Database& database, bool isUnchanging) {
  const Content content = ContentOf(database);
  if (content == Content::kForeign) throw DatabaseError{ERROR_EVENTLOG_FILE_CORRUPT};
  if (content == Content::kUnfinished || (!isUnchanging && !IsInWriteAheadLogMode(database))) {
    if (database.IsReadOnly()) throw DatabaseError{ERROR_ACCESS_DENIED};
    CreateTables(database);
    EnterWriteAheadLogMode(database);
  }

  // Whoever wrote the file, nothing in it is run.
  sqlite3_db_config(database.Handle(), SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr);
  sqlite3_db_config(database.Handle(), SQLITE_DBCONFIG_ENABLE_VIEW, 0, nullptr);
  sqlite3_db_config(database.Handle(), SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
  database.Execute("PRAGMA synchronous=FULL; PRAGMA cell_size_check=ON; PRAGMA temp_store=MEMORY");
  // The header may be older than what the write-ahead log says.
  if (database.Integer("PRAGMA user_version") != kLayoutVersion)
    throw DatabaseError{ERROR_EVENTLOG_FILE_CORRUPT};
}

std::optional<FileStamp> StampOf(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return std::nullopt;
  return FileStamp{status.st_mtim.tv_sec, status.st_mtim.tv_nsec, status.st_size};
}

// Whether the file itself has all that was written to it, and nobody has it open: the companions
// are not there, or hold nothing.
bool IsQuiet(const std::string& path) {
  const std::unique_ptr<char, decltype(&std::free)> file(realpath(path.c_str(), nullptr),
                                                         &std::free);
  if (!file) return false;
  return std::ranges::all_of(kCompanions, [&](const Companion& companion) {
    struct stat status {};
    const std::string name = std::string(file.get()) + companion.ending;
    return stat(name.c_str(), &status) == 0 ? status.st_size < companion.leastInUse
                                            : errno == ENOENT;
  });
}

// Whether an attempt failed only because the companions cannot be made.
bool IsReadableAsItStands(const std::string& path, ULong error) {
  struct statvfs system {};
  const bool hasNoRoom = error == ERROR_DISK_FULL;
  const bool isReadOnly = statvfs(path.c_str(), &system) == 0 && (system.f_flag & ST_RDONLY) != 0;
  return (hasNoRoom || isReadOnly) && IsQuiet(path);
}

bool HasAllColumns(Database& database) { return database.Integer(kHasAllColumns) != 0; }

void RemoveIfStillThere(const std::string& path, const std::optional<FileIdentity>& file) {
  if (file && IdentityOf(path) == file) unlink(path.c_str());
}

}  // namespace

void CreateFolderOf(const std::string& path) { CreateDefaultFolder(FolderOf(path)); }

std::optional<FileIdentity> IdentityOf(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return std::nullopt;
  return FileIdentity{status.st_dev, status.st_ino};
}

EventStoreFile::EventStoreFile(const std::string& path, Purpose purpose) : m_path(path) {
  const std::optional<FileStamp> stamp = StampOf(path);
  try {
    m_database = std::make_unique<Database>(CreatedWhenMissing(path));
    m_database->SetPatience(kLockPatience);
    PrepareConnection(*m_database, false);
  } catch (const DatabaseError& failure) {
    m_database.reset();
    if (purpose != Purpose::kReading || !IsReadableAsItStands(path, failure.error)) throw;
    m_stamp = stamp;
    OpenAsItStands(failure);
  }

  m_writeAheadLog = IdentityOf(WriteAheadLogPath());
  m_index = IdentityOf(IndexPath());
  m_file = IdentityOf(path);
  // Replaced since it was opened: then this is not the file that is open.
  if (m_database->HasMoved()) m_file.reset();
}

void EventStoreFile::OpenAsItStands(const DatabaseError& failure) {
  try {
    m_database = std::make_unique<Database>(m_path, true);
    PrepareConnection(*m_database, true);
  } catch (const DatabaseError&) {
    // It is not a whole store: then the first failure is the one to report.
    throw DatabaseError(failure);
  }
}

void EventStoreFile::AddColumns() {
  if (HasAllColumns(*m_database)) return;
  Transaction::Statements statements(*m_database);
  Transaction transaction(statements);
  if (!HasAllColumns(*m_database)) m_database->Execute(kAddColumns);
  transaction.Commit();
}

bool EventStoreFile::HasChecks(Database& database) { return HasAllColumns(database); }

std::string EventStoreFile::Identity() {
  if (!HasAllColumns(*m_database)) return {};
  Statement statement(*m_database, "SELECT identity FROM store");
  return statement.Step() ? std::string(statement.Text(0)) : std::string();
}

void EventStoreFile::Announce() const noexcept {
  // A watch of the file sees this; what SQLite writes it shows before the record can be read.
  utimensat(AT_FDCWD, m_path.c_str(), nullptr, 0);
}

bool EventStoreFile::IsInPlace() const { return m_file && IdentityOf(m_path) == m_file; }

bool EventStoreFile::IsOverwritten() {
  if (m_stamp) return StampOf(m_path) != m_stamp || !IsQuiet(m_path);
  const std::optional<FileIdentity> log = IdentityOf(WriteAheadLogPath());
  return ContentOf(*m_database) != Content::kEvents || (log && log != m_writeAheadLog);
}

void EventStoreFile::Forget() noexcept {
  sqlite3_db_config(m_database->Handle(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
}

bool EventStoreFile::IsWriteAheadLogInPlace() const {
  return m_writeAheadLog && IdentityOf(WriteAheadLogPath()) == m_writeAheadLog;
}

void EventStoreFile::Abandon() noexcept {
  sqlite3_db_config(m_database->Handle(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
  sqlite3_wal_checkpoint_v2(m_database->Handle(), "main", SQLITE_CHECKPOINT_PASSIVE, nullptr,
                            nullptr);
  try {
    const FolderLock lock(FolderOf(m_path));
    if (IsInPlace()) return;
    RemoveIfStillThere(WriteAheadLogPath(), m_writeAheadLog);
    RemoveIfStillThere(IndexPath(), m_index);
  } catch (const DatabaseError&) {
    // The folder is gone as well, or not ours to write: nothing can take its place there.
  }
}

}  // namespace Ondrel::Host
