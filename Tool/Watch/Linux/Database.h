#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

/// A thin layer over SQLite. Failures are thrown as `DatabaseError`.
namespace Tool::Watch {

class DatabaseError : public std::runtime_error {
public:
  using std::runtime_error::runtime_error;
};

class Database {
public:
  enum class Access { ReadOnly, ReadWrite, Create };

  Database(const std::string& path, Access access);

  void Execute(const char* sql);

  /// First column of the first row of a query; 0 when there is none.
  std::int64_t Integer(const char* sql);

  std::int64_t LastRow() const { return sqlite3_last_insert_rowid(m_connection.get()); }
  int Changes() const { return sqlite3_changes(m_connection.get()); }

  sqlite3* Handle() const { return m_connection.get(); }
  [[noreturn]] void Throw() const;

private:
  struct Close {
    void operator()(sqlite3* connection) const { sqlite3_close_v2(connection); }
  };
  std::unique_ptr<sqlite3, Close> m_connection;
};

/// A prepared statement, used once.
class Query {
public:
  Query(Database& database, const char* sql);

  template <class... Values>
  Query& With(const Values&... values) {
    int place = 0;
    (Bind(++place, values), ...);
    return *this;
  }

  /// True while there is a row.
  bool Step();
  void Run() {
    while (Step()) {
    }
  }

  std::int64_t Integer(int column) const;
  int Int(int column) const { return static_cast<int>(Integer(column)); }
  std::string Text(int column) const;

private:
  struct Finalize {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
  };

  void Bind(int place, std::int64_t value);
  void Bind(int place, int value) { Bind(place, std::int64_t{value}); }
  void Bind(int place, bool value) { Bind(place, std::int64_t{value}); }
  void Bind(int place, const std::string& text);

  Database& m_database;
  std::unique_ptr<sqlite3_stmt, Finalize> m_statement;
};

/// A write transaction: begun with the object, undone with it unless committed.
class Change {
public:
  explicit Change(Database& database) : m_database(database) {
    m_database.Execute("BEGIN IMMEDIATE");
  }
  ~Change();
  Change(const Change&) = delete;
  Change& operator=(const Change&) = delete;

  void Commit();

private:
  Database& m_database;
  bool m_isDone = false;
};

}  // namespace Tool::Watch
