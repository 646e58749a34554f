#include "Host/Linux/EventLog/Database.h"

#include "Host/ClockOperations.h"
#include "Host/Linux/LastError.h"

#include <algorithm>
#include <cctype>
#include <cerrno>

namespace Ondrel::Host {

namespace {

constexpr std::chrono::microseconds kFirstPause{200};
constexpr std::chrono::microseconds kLongestPause{1000};

// The path as a URI with the option by which SQLite takes no locks and needs no companions.
std::string UnchangingName(const std::string& path) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string name = "file:";
  for (const char character : path) {
    const auto byte = static_cast<unsigned char>(character);
    if (std::isalnum(byte) != 0 || character == '/' || character == '.') {
      name += character;
    } else {
      name.append("%").append(1, kDigits[byte >> 4]).append(1, kDigits[byte & 0xF]);
    }
  }
  return name + "?immutable=1";
}

}  // namespace

ULong ErrorFromSqlite(int result, int systemErrno) {
  if (result == SQLITE_IOERR_NOMEM) return ERROR_NOT_ENOUGH_MEMORY;
  switch (result & 0xFF) {
    case SQLITE_FULL:
      return ERROR_DISK_FULL;
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
    case SQLITE_PROTOCOL:
      return ERROR_LOCK_VIOLATION;
    case SQLITE_ERROR:  // Our statements are sound: these tables are not ours.
    case SQLITE_CONSTRAINT:
    case SQLITE_MISMATCH:
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
    case SQLITE_FORMAT:
    case SQLITE_SCHEMA:
      return ERROR_EVENTLOG_FILE_CORRUPT;
    case SQLITE_NOMEM:
      return ERROR_NOT_ENOUGH_MEMORY;
    case SQLITE_READONLY:
    case SQLITE_PERM:
    case SQLITE_AUTH:
      return ERROR_ACCESS_DENIED;
    case SQLITE_TOOBIG:
      return ERROR_LOG_FILE_FULL;
    case SQLITE_CANTOPEN:
      // The file itself was there: on a read-only file system this is a companion that is missing.
      if (systemErrno == 0 || systemErrno == ENOENT) return ERROR_ACCESS_DENIED;
      return ErrorFromErrno(systemErrno, Purpose::kFileThatIsCreated);
    case SQLITE_IOERR:
      return ErrorFromErrno(systemErrno) == ERROR_DISK_FULL ? ERROR_DISK_FULL : ERROR_IO_DEVICE;
    default:
      return ERROR_GEN_FAILURE;
  }
}

Database::Database(const std::string& path, bool isUnchanging) {
  sqlite3* connection = nullptr;
  errno = 0;
  const int access = isUnchanging ? SQLITE_OPEN_READONLY | SQLITE_OPEN_URI : SQLITE_OPEN_READWRITE;
  const std::string name = isUnchanging ? UnchangingName(path) : path;
  const int result = sqlite3_open_v2(
      name.c_str(), &connection,
      access | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_PRIVATECACHE | SQLITE_OPEN_EXRESCODE, nullptr);
  m_connection.reset(connection);
  if (connection == nullptr) throw DatabaseError{ERROR_NOT_ENOUGH_MEMORY};
  if (result != SQLITE_OK) Throw(result);
  sqlite3_busy_handler(connection, OnBusy, this);
  sqlite3_wal_hook(connection, OnCommit, this);
}

void Database::SetPatience(std::chrono::milliseconds patience) {
  // What is left in errno from elsewhere must not explain a failure of ours.
  errno = 0;
  m_deadline = Clock().SteadyTime() + patience;
}

bool Database::WaitForTurn(int earlierTries) {
  if (Clock().SteadyTime() >= m_deadline) return false;
  // Long pauses would let a crowd of busy writers starve one: it has to find the lock free.
  Clock().Rest(std::min(kFirstPause * (earlierTries + 1), kLongestPause));
  return true;
}

int Database::OnBusy(void* database, int earlierTries) {
  return static_cast<Database*>(database)->WaitForTurn(earlierTries) ? 1 : 0;
}

int Database::OnCommit(void* database, sqlite3*, const char*, int pages) {
  static_cast<Database*>(database)->m_writeAheadLogPages = pages;
  return SQLITE_OK;
}

void Database::Throw(int result) const {
  // SQLite does not keep the system error of a commit that failed.
  const bool isInputOutput = (result & 0xFF) == SQLITE_IOERR;
  const int systemErrno = isInputOutput ? errno : sqlite3_system_errno(Handle());
  throw DatabaseError{ErrorFromSqlite(result, systemErrno)};
}

void Database::Execute(const char* sql) {
  const int result = sqlite3_exec(Handle(), sql, nullptr, nullptr, nullptr);
  if (result != SQLITE_OK) Throw(result);
}

std::int64_t Database::Integer(const char* sql) {
  Statement statement(*this, sql);
  return statement.Step() ? statement.Integer(0) : 0;
}

bool Database::IsReadOnly() const { return sqlite3_db_readonly(Handle(), "main") == 1; }

bool Database::HasMoved() const {
  int hasMoved = 0;
  const int result = sqlite3_file_control(Handle(), "main", SQLITE_FCNTL_HAS_MOVED, &hasMoved);
  return result == SQLITE_OK && hasMoved != 0;
}

std::string Database::FilePath() const { return sqlite3_db_filename(Handle(), "main"); }

Statement::Statement(Database& database, std::string_view sql) : m_database(database) {
  sqlite3_stmt* statement = nullptr;
  const int result = sqlite3_prepare_v3(database.Handle(), sql.data(), static_cast<int>(sql.size()),
                                        SQLITE_PREPARE_PERSISTENT, &statement, nullptr);
  m_statement.reset(statement);
  if (result != SQLITE_OK) database.Throw(result);
}

Statement& Statement::Bind(int place, std::int64_t value) {
  const int result = sqlite3_bind_int64(m_statement.get(), place, value);
  if (result != SQLITE_OK) m_database.Throw(result);
  return *this;
}

Statement& Statement::Bind(int place, std::string_view text) {
  const int result = sqlite3_bind_text64(m_statement.get(), place, text.data(), text.size(),
                                         SQLITE_STATIC, SQLITE_UTF8);
  if (result != SQLITE_OK) m_database.Throw(result);
  return *this;
}

Statement& Statement::Bind(int place, std::span<const std::byte> bytes) {
  const int result =
      sqlite3_bind_blob64(m_statement.get(), place, bytes.data(), bytes.size(), SQLITE_STATIC);
  if (result != SQLITE_OK) m_database.Throw(result);
  return *this;
}

bool Statement::Step() {
  const int result = sqlite3_step(m_statement.get());
  if (result == SQLITE_ROW) return true;
  if (result == SQLITE_DONE) return false;
  m_database.Throw(result);
}

void Statement::Run() {
  const StatementUse use(*this);
  while (Step()) {
  }
}

bool Statement::IsNull(int column) const {
  return sqlite3_column_type(m_statement.get(), column) == SQLITE_NULL;
}

std::int64_t Statement::Integer(int column) const {
  return sqlite3_column_int64(m_statement.get(), column);
}

std::string_view Statement::Text(int column) const {
  const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(m_statement.get(), column));
  if (text == nullptr) return {};
  return {text, static_cast<std::size_t>(sqlite3_column_bytes(m_statement.get(), column))};
}

std::span<const std::byte> Statement::Bytes(int column) const {
  const auto* bytes = static_cast<const std::byte*>(sqlite3_column_blob(m_statement.get(), column));
  // SQLite answers null for want of memory as well as for no bytes.
  if (bytes == nullptr && sqlite3_errcode(m_database.Handle()) == SQLITE_NOMEM)
    throw DatabaseError{ERROR_NOT_ENOUGH_MEMORY};
  return {bytes, static_cast<std::size_t>(sqlite3_column_bytes(m_statement.get(), column))};
}

void Statement::Reset() noexcept {
  // The outcome repeats that of the step, which has been dealt with.
  sqlite3_reset(m_statement.get());
  sqlite3_clear_bindings(m_statement.get());
}

Transaction::Statements::Statements(Database& connection)
    : database(connection),
      begin(connection, "BEGIN IMMEDIATE"),
      commit(connection, "COMMIT"),
      rollback(connection, "ROLLBACK") {}

Transaction::Transaction(Statements& statements) : m_statements(statements) {
  statements.begin.Run();
}

Transaction::~Transaction() {
  // After the commit, or where SQLite has undone it already as on a full disk, none is open.
  if (sqlite3_get_autocommit(m_statements.database.Handle()) != 0) return;
  try {
    m_statements.rollback.Run();
  } catch (const DatabaseError&) {
    // The failure that led here is the one to report.
  }
}

void Transaction::Commit() { m_statements.commit.Run(); }

}  // namespace Ondrel::Host
