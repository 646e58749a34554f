#include "Host/Linux/Database.h"

#include "Host/Linux/LastError.h"

#include <cerrno>

namespace Ondrel::Host {

namespace {

constexpr int kPatienceMilliseconds = 10'000;

}  // namespace

ULong ErrorFromSqlite(int result, int systemErrno) {
  switch (result & 0xFF) {
    case SQLITE_FULL:
      return ERROR_DISK_FULL;
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
    case SQLITE_PROTOCOL:
      return ERROR_LOCK_VIOLATION;
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
      return systemErrno != 0 ? ErrorFromErrno(systemErrno) : ERROR_ACCESS_DENIED;
    case SQLITE_IOERR:
      return systemErrno == ENOSPC || systemErrno == EDQUOT ? ERROR_DISK_FULL : ERROR_IO_DEVICE;
    default:
      return ERROR_GEN_FAILURE;
  }
}

Database::Database(const std::string& path) {
  sqlite3* connection = nullptr;
  const int result =
      sqlite3_open_v2(path.c_str(), &connection,
                      SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE, nullptr);
  m_connection.reset(connection);
  if (connection == nullptr) throw DatabaseError{ERROR_NOT_ENOUGH_MEMORY};
  if (result != SQLITE_OK) Throw(result);
  sqlite3_busy_timeout(connection, kPatienceMilliseconds);
}

void Database::Throw(int result) const {
  throw DatabaseError{ErrorFromSqlite(result, sqlite3_system_errno(Handle()))};
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

Statement& Statement::Bind(int place, const std::string& text) {
  const int result = sqlite3_bind_text64(m_statement.get(), place, text.data(), text.size(),
                                         SQLITE_TRANSIENT, SQLITE_UTF8);
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

std::int64_t Statement::Integer(int column) const {
  return sqlite3_column_int64(m_statement.get(), column);
}

std::span<const std::byte> Statement::Bytes(int column) const {
  const auto* bytes = static_cast<const std::byte*>(sqlite3_column_blob(m_statement.get(), column));
  return {bytes, static_cast<std::size_t>(sqlite3_column_bytes(m_statement.get(), column))};
}

void Statement::Reset() noexcept {
  // The outcome repeats that of the step, which has been dealt with.
  sqlite3_reset(m_statement.get());
  sqlite3_clear_bindings(m_statement.get());
}

Transaction::Transaction(Database& database) : m_database(database) {
  database.Execute("BEGIN IMMEDIATE");
}

Transaction::~Transaction() {
  // SQLite may have undone it already, as on a full disk; then there is nothing left to do.
  if (m_isOpen && sqlite3_get_autocommit(m_database.Handle()) == 0)
    sqlite3_exec(m_database.Handle(), "ROLLBACK", nullptr, nullptr, nullptr);
}

void Transaction::Commit() {
  m_database.Execute("COMMIT");
  m_isOpen = false;
}

}  // namespace Ondrel::Host
