#include "Tool/Watch/Linux/Database.h"

#include <cstring>

namespace Tool::Watch {

namespace {

constexpr int kPatience = 2000;  // Milliseconds, for the queue's commands beside the service.

}  // namespace

Database::Database(const std::string& path, Access access) {
  int flags = SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_READWRITE;
  if (access == Access::Create) flags |= SQLITE_OPEN_CREATE;
  if (access == Access::ReadOnly) flags = SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_READONLY;
  sqlite3* connection = nullptr;
  const int result = sqlite3_open_v2(path.c_str(), &connection, flags, nullptr);
  m_connection.reset(connection);
  if (connection == nullptr) throw DatabaseError("out of memory");
  if (result != SQLITE_OK) Throw();
  sqlite3_extended_result_codes(connection, 1);
  sqlite3_busy_timeout(connection, kPatience);
}

// "disk I/O error" and "unable to open" leave open why.
void Database::Throw() const {
  std::string words = sqlite3_errmsg(m_connection.get());
  const int kind = sqlite3_errcode(m_connection.get()) & 0xFF;
  const int system = sqlite3_system_errno(m_connection.get());
  if ((kind == SQLITE_IOERR || kind == SQLITE_CANTOPEN) && system != 0)
    words.append(" (").append(std::strerror(system)).append(")");
  throw DatabaseError(words);
}

void Database::Execute(const char* sql) {
  if (sqlite3_exec(m_connection.get(), sql, nullptr, nullptr, nullptr) != SQLITE_OK) Throw();
}

std::int64_t Database::Integer(const char* sql) {
  Query query(*this, sql);
  return query.Step() ? query.Integer(0) : 0;
}

Query::Query(Database& database, const char* sql) : m_database(database) {
  sqlite3_stmt* statement = nullptr;
  const int result = sqlite3_prepare_v2(database.Handle(), sql, -1, &statement, nullptr);
  m_statement.reset(statement);
  if (result != SQLITE_OK) database.Throw();
}

bool Query::Step() {
  const int result = sqlite3_step(m_statement.get());
  if (result == SQLITE_ROW) return true;
  if (result != SQLITE_DONE) m_database.Throw();
  return false;
}

void Query::Bind(int place, std::int64_t value) {
  if (sqlite3_bind_int64(m_statement.get(), place, value) != SQLITE_OK) m_database.Throw();
}

void Query::Bind(int place, const std::string& text) {
  if (sqlite3_bind_text(m_statement.get(), place, text.c_str(), static_cast<int>(text.size()),
                        SQLITE_TRANSIENT) != SQLITE_OK)
    m_database.Throw();
}

std::int64_t Query::Integer(int column) const {
  return sqlite3_column_int64(m_statement.get(), column);
}

std::string Query::Text(int column) const {
  const unsigned char* const text = sqlite3_column_text(m_statement.get(), column);
  const int size = sqlite3_column_bytes(m_statement.get(), column);
  if (text == nullptr) return {};
  return {reinterpret_cast<const char*>(text), static_cast<std::size_t>(size)};
}

void Change::Commit() {
  m_database.Execute("COMMIT");
  m_isDone = true;
}

Change::~Change() {
  // A failed commit may have ended the transaction by itself.
  if (!m_isDone && sqlite3_get_autocommit(m_database.Handle()) == 0)
    sqlite3_exec(m_database.Handle(), "ROLLBACK", nullptr, nullptr, nullptr);
}

}  // namespace Tool::Watch
