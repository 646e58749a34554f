#pragma once

#include "Host/Types.h"

#include <sqlite3.h>

#include <chrono>
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
  /// Binds text that stays in place until the statement is reset.
  Statement& Bind(int place, std::string_view text);
  /// Binds bytes that stay in place until the statement is reset.
  Statement& Bind(int place, std::span<const std::byte> bytes);

  /// True while there is a row.
  bool Step();

  /// Steps to the end and resets.
  void Run();

  bool IsNull(int column) const;
  std::int64_t Integer(int column) const;
  /// The text of a column, until the next step or reset.
  std::string_view Text(int column) const;
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

/// A connection to a database file that exists. A file that may not be written is opened for
/// reading.
class Database {
public:
  /// With `isUnchanging` the file is only read, without locks and companions: nobody may write it
  /// meanwhile.
  explicit Database(const std::string& path, bool isUnchanging = false);

  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  sqlite3* Handle() const { return m_connection.get(); }

  /// Lets the operations from now on wait so long, all together, for locks that others hold.
  void SetPatience(std::chrono::milliseconds patience);

  /// Waits a moment before another try, the `earlierTries`-th again. False when the patience is at
  /// its end.
  bool WaitForTurn(int earlierTries);

  void Execute(const char* sql);

  /// First column of the only row of a query; 0 when there is none.
  std::int64_t Integer(const char* sql);

  bool IsReadOnly() const;

  /// True when the path that the file was opened under no longer leads to it.
  bool HasMoved() const;

  /// Path of the file itself, where the path that it was opened under is a symbolic link.
  std::string FilePath() const;

  /// Pages in the write-ahead log after the last commit.
  int WriteAheadLogPages() const { return m_writeAheadLogPages; }

  [[noreturn]] void Throw(int result) const;

private:
  struct Close {
    void operator()(sqlite3* connection) const { sqlite3_close_v2(connection); }
  };

  static int OnBusy(void* database, int earlierTries);
  static int OnCommit(void* database, sqlite3*, const char*, int pages);

  std::unique_ptr<sqlite3, Close> m_connection;
  std::chrono::steady_clock::time_point m_deadline;
  int m_writeAheadLogPages = 0;
};

/// A write transaction: begun with the object, undone with it unless committed.
class Transaction {
public:
  /// The statements of transactions, prepared once for a connection.
  struct Statements {
    explicit Statements(Database& database);

    Database& database;
    Statement begin;
    Statement commit;
    Statement rollback;
  };

  explicit Transaction(Statements& statements);
  ~Transaction();

  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  void Commit();

private:
  Statements& m_statements;
};

}  // namespace Ondrel::Host
