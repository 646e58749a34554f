#pragma once

#include "Host/Types.h"

#include <sqlite3.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

/// A thin layer over SQLite: a connection, its prepared statements, transactions, and the Win32
/// numbers of its failures. A failure is thrown as a `DatabaseError` and caught where a host
/// operation answers.
namespace Ondrel::Host {

/// A failed database operation with its Win32 error number.
struct DatabaseError {
  ULong error;
};

/// The Win32 number for an extended result code of SQLite and the system error beneath it.
ULong ErrorFromSqlite(int result, int systemErrno);

class Database;

/// A prepared statement. Bound and stepped by one thread at a time.
class Statement {
public:
  Statement(Database& database, std::string_view sql);

  Statement& Bind(int place, std::int64_t value);
  Statement& Bind(int place, const std::string& text);
  /// Binds bytes that stay in place until the statement is reset.
  Statement& Bind(int place, std::span<const std::byte> bytes);

  /// True while there is a row.
  bool Step();

  /// Steps to the end and resets.
  void Run();

  std::int64_t Integer(int column) const;
  /// The bytes of a column, until the next step or reset.
  std::span<const std::byte> Bytes(int column) const;

  void Reset() noexcept;

private:
  struct Finalize {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
  };

  Database& m_database;
  std::unique_ptr<sqlite3_stmt, Finalize> m_statement;
};

/// Resets a statement when its use ends, so that no read transaction stays open.
class StatementUse {
public:
  explicit StatementUse(Statement& statement) : m_statement(statement) {}
  ~StatementUse() { m_statement.Reset(); }

  StatementUse(const StatementUse&) = delete;
  StatementUse& operator=(const StatementUse&) = delete;

private:
  Statement& m_statement;
};

/// A connection to a database file that exists.
class Database {
public:
  explicit Database(const std::string& path);

  sqlite3* Handle() const { return m_connection.get(); }

  void Execute(const char* sql);
  std::int64_t Integer(const char* sql);

  /// True when the file may only be read.
  bool IsReadOnly() const;

  /// True when the path no longer leads to the opened file.
  bool HasMoved() const;

  [[noreturn]] void Throw(int result) const;

private:
  struct Close {
    void operator()(sqlite3* connection) const { sqlite3_close_v2(connection); }
  };

  std::unique_ptr<sqlite3, Close> m_connection;
};

/// A write transaction; undone when it is left without `Commit`.
class Transaction {
public:
  explicit Transaction(Database& database);
  ~Transaction();

  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  /// Makes the changes lasting: they are on disk when this returns.
  void Commit();

private:
  Database& m_database;
  bool m_isOpen = true;
};

}  // namespace Ondrel::Host
