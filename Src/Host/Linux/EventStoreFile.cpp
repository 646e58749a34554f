#include "Host/Linux/EventStoreFile.h"

#include "Host/Linux/EventRecord.h"
#include "Host/Linux/LastError.h"

#include <cerrno>
#include <fcntl.h>
#include <mutex>
#include <sys/stat.h>
#include <unistd.h>

namespace Ondrel::Host {

namespace {

constexpr std::int64_t kApplicationId = 0x4F4E4452;  // "ONDR"
constexpr std::int64_t kSchemaVersion = 1;

// Beside the record itself an append may take new pages for the tables' inner nodes.
constexpr std::uint64_t kPagesForNodes = 8;

// When room is made, this part of the capacity is made free, so that not every append pays.
constexpr std::uint64_t kRoomPart = 32;

constexpr char kSchema[] =
    "CREATE TABLE log("
    "  id INTEGER PRIMARY KEY,"
    "  name TEXT NOT NULL UNIQUE,"
    "  last_number INTEGER NOT NULL);"
    "CREATE TABLE record("
    "  log INTEGER NOT NULL,"
    "  number INTEGER NOT NULL,"
    "  sequence INTEGER NOT NULL,"
    "  image BLOB NOT NULL,"
    "  PRIMARY KEY(log, number)) WITHOUT ROWID;"
    "CREATE UNIQUE INDEX record_sequence ON record(sequence);"
    "CREATE TABLE counter(last_sequence INTEGER NOT NULL);"
    "INSERT INTO counter VALUES(0);";

// Opening a store twice at a time in one process is kept apart: closing the descriptor that created
// the file would give up the locks of another connection to it.
std::mutex g_openMutex;

void CreateFolderOfDefault(const std::string& path) {
  const std::string folder = ONDREL_STATE_DIRECTORY;
  if (path.compare(0, folder.size() + 1, folder + "/") == 0) mkdir(folder.c_str(), 0700);
}

// Creates the file with the mode that it and its companions are to have.
void CreateFile(const std::string& path) {
  CreateFolderOfDefault(path);
  const int file = open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (file >= 0) {
    close(file);
    return;
  }
  const int reason = errno;
  if (reason == EEXIST) return;
  // A file can be missing for one reason here: its folder is.
  throw DatabaseError{reason == ENOENT ? ERROR_PATH_NOT_FOUND : ErrorFromErrno(reason)};
}

bool IsRegularFile(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

bool IsOurs(Database& database) {
  return database.Integer("PRAGMA application_id") == kApplicationId;
}

// A file that holds nothing yet: of no application, of no version, without tables.
bool IsEmpty(Database& database) {
  return database.Integer("PRAGMA application_id") == 0 &&
         database.Integer("PRAGMA user_version") == 0 &&
         database.Integer("SELECT count(*) FROM sqlite_schema") == 0;
}

void CreateSchema(Database& database) {
  database.Execute("PRAGMA journal_mode=WAL");
  Transaction transaction(database);
  if (IsOurs(database)) return;  // Another process was first.
  database.Execute(kSchema);
  database.Execute(("PRAGMA application_id=" + std::to_string(kApplicationId)).c_str());
  database.Execute(("PRAGMA user_version=" + std::to_string(kSchemaVersion)).c_str());
  transaction.Commit();
}

}  // namespace

Database EventStoreFile::Open(const std::string& path) {
  const std::lock_guard lock(g_openMutex);
  CreateFile(path);
  if (!IsRegularFile(path)) throw DatabaseError{ERROR_ACCESS_DENIED};

  Database database(path);
  if (!IsOurs(database)) {
    // The database of somebody else is left as it is.
    if (!IsEmpty(database)) throw DatabaseError{ERROR_EVENTLOG_FILE_CORRUPT};
    CreateSchema(database);
  }
  if (database.Integer("PRAGMA user_version") != kSchemaVersion)
    throw DatabaseError{ERROR_EVENTLOG_FILE_CORRUPT};
  database.Execute("PRAGMA synchronous=FULL");
  database.Execute("PRAGMA journal_size_limit=4194304");
  return database;
}

EventStoreFile::EventStoreFile(const std::string& path)
    : m_database(Open(path)),
      m_findLog(m_database, "SELECT id FROM log WHERE name=?1"),
      m_addLog(m_database,
               "INSERT INTO log(name, last_number) VALUES(?1, 0) ON CONFLICT(name) DO NOTHING"),
      m_nextNumber(m_database,
                   "UPDATE log SET last_number = last_number + 1"
                   " WHERE name=?1 AND last_number < 4294967295 RETURNING id, last_number"),
      m_nextSequence(m_database,
                     "UPDATE counter SET last_sequence = last_sequence + 1"
                     " RETURNING last_sequence"),
      m_insert(m_database, "INSERT INTO record(log, number, sequence, image) VALUES(?1,?2,?3,?4)"),
      m_selectUpwards(m_database,
                      "SELECT number, image FROM record WHERE log=?1 AND number>=?2"
                      " ORDER BY number"),
      m_selectDownwards(m_database,
                        "SELECT number, image FROM record WHERE log=?1 AND number<=?2"
                        " ORDER BY number DESC"),
      m_deleteOldest(m_database,
                     "DELETE FROM record WHERE sequence IN"
                     " (SELECT sequence FROM record ORDER BY sequence LIMIT 64)"),
      m_pageCount(m_database, "PRAGMA page_count"),
      m_freePages(m_database, "PRAGMA freelist_count"),
      m_pageSize(m_database.Integer("PRAGMA page_size")) {}

std::int64_t EventStoreFile::FindLog(const std::string& name) {
  const StatementUse use(m_findLog);
  m_findLog.Bind(1, name);
  return m_findLog.Step() ? m_findLog.Integer(0) : 0;
}

std::uint64_t EventStoreFile::BytesInUse() {
  const StatementUse countUse(m_pageCount);
  const StatementUse freeUse(m_freePages);
  m_pageCount.Step();
  m_freePages.Step();
  return static_cast<std::uint64_t>((m_pageCount.Integer(0) - m_freePages.Integer(0)) * m_pageSize);
}

void EventStoreFile::MakeRoom(std::uint64_t bytes, std::uint64_t capacity) {
  const std::uint64_t needed = bytes + kPagesForNodes * static_cast<std::uint64_t>(m_pageSize);
  if (needed > capacity / 2) throw DatabaseError{ERROR_LOG_FILE_FULL};
  if (BytesInUse() + needed <= capacity) return;
  const std::uint64_t target = capacity - capacity / kRoomPart;
  do {
    m_deleteOldest.Run();
  } while (sqlite3_changes(m_database.Handle()) > 0 && BytesInUse() + needed > target);
}

void EventStoreFile::Append(const std::string& logName, std::span<std::byte> record,
                            std::uint64_t capacity) {
  Transaction transaction(m_database);
  MakeRoom(record.size(), capacity);

  m_addLog.Bind(1, logName).Run();
  std::int64_t log = 0;
  std::int64_t number = 0;
  {
    const StatementUse use(m_nextNumber);
    if (!m_nextNumber.Bind(1, logName).Step()) throw DatabaseError{ERROR_LOG_FILE_FULL};
    log = m_nextNumber.Integer(0);
    number = m_nextNumber.Integer(1);
    m_nextNumber.Step();
  }
  std::int64_t sequence = 0;
  {
    const StatementUse use(m_nextSequence);
    if (!m_nextSequence.Step()) throw DatabaseError{ERROR_EVENTLOG_FILE_CORRUPT};
    sequence = m_nextSequence.Integer(0);
    m_nextSequence.Step();
  }

  SetRecordNumber(record, static_cast<ULong>(number));
  m_insert.Bind(1, log).Bind(2, number).Bind(3, sequence).Bind(4, record).Run();
  transaction.Commit();
}

}  // namespace Ondrel::Host
