#include "Host/Linux/SharedLibrary.h"
#include "Pirsk/Host/Linux/OnDemand/LoadNote.h"

#include <sqlite3.h>

#include <cstdarg>

namespace {

constinit Ondrel::Host::SharedLibrary library("libsqlite3.so.0");

[[gnu::used, gnu::section(".note.dlopen")]] alignas(4) constexpr auto note =
    Pirsk::Host::MakeLoadNote(R"([{"soname":["libsqlite3.so.0"],"feature":"store",)"
                              R"("description":"The event store","priority":"recommended"}])");

}  // namespace

extern "C" {

int sqlite3_open_v2(const char* path, sqlite3** connection, int flags, const char* system) {
  static const auto function = library.Function(&::sqlite3_open_v2, "sqlite3_open_v2");
  return function(path, connection, flags, system);
}

int sqlite3_close_v2(sqlite3* connection) {
  static const auto function = library.Function(&::sqlite3_close_v2, "sqlite3_close_v2");
  return function(connection);
}

int sqlite3_errcode(sqlite3* connection) {
  static const auto function = library.Function(&::sqlite3_errcode, "sqlite3_errcode");
  return function(connection);
}

int sqlite3_system_errno(sqlite3* connection) {
  static const auto function = library.Function(&::sqlite3_system_errno, "sqlite3_system_errno");
  return function(connection);
}

int sqlite3_exec(sqlite3* connection, const char* sql, int (*callback)(void*, int, char**, char**),
                 void* context, char** error) {
  static const auto function = library.Function(&::sqlite3_exec, "sqlite3_exec");
  return function(connection, sql, callback, context, error);
}

int sqlite3_busy_handler(sqlite3* connection, int (*handler)(void*, int), void* context) {
  static const auto function = library.Function(&::sqlite3_busy_handler, "sqlite3_busy_handler");
  return function(connection, handler, context);
}

void* sqlite3_wal_hook(sqlite3* connection, int (*hook)(void*, sqlite3*, const char*, int),
                       void* context) {
  static const auto function = library.Function(&::sqlite3_wal_hook, "sqlite3_wal_hook");
  return function(connection, hook, context);
}

int sqlite3_wal_checkpoint_v2(sqlite3* connection, const char* database, int mode, int* frames,
                              int* copied) {
  static const auto function =
      library.Function(&::sqlite3_wal_checkpoint_v2, "sqlite3_wal_checkpoint_v2");
  return function(connection, database, mode, frames, copied);
}

int sqlite3_file_control(sqlite3* connection, const char* database, int operation, void* value) {
  static const auto function = library.Function(&::sqlite3_file_control, "sqlite3_file_control");
  return function(connection, database, operation, value);
}

// Its options that are called for here take a number and where to put one.
int sqlite3_db_config(sqlite3* connection, int option, ...) {
  static const auto function =
      reinterpret_cast<decltype(&::sqlite3_db_config)>(library.Find("sqlite3_db_config"));
  va_list values;
  va_start(values, option);
  const int value = va_arg(values, int);
  int* const result = va_arg(values, int*);
  va_end(values);
  return function == nullptr ? SQLITE_ERROR : function(connection, option, value, result);
}

const char* sqlite3_db_filename(sqlite3* connection, const char* database) {
  static const auto function = library.Function(&::sqlite3_db_filename, "sqlite3_db_filename");
  return function(connection, database);
}

int sqlite3_db_readonly(sqlite3* connection, const char* database) {
  static const auto function = library.Function(&::sqlite3_db_readonly, "sqlite3_db_readonly");
  return function(connection, database);
}

int sqlite3_get_autocommit(sqlite3* connection) {
  static const auto function =
      library.Function(&::sqlite3_get_autocommit, "sqlite3_get_autocommit");
  return function(connection);
}

sqlite3_int64 sqlite3_last_insert_rowid(sqlite3* connection) {
  static const auto function =
      library.Function(&::sqlite3_last_insert_rowid, "sqlite3_last_insert_rowid");
  return function(connection);
}

int sqlite3_prepare_v3(sqlite3* connection, const char* sql, int length, unsigned int flags,
                       sqlite3_stmt** statement, const char** rest) {
  static const auto function = library.Function(&::sqlite3_prepare_v3, "sqlite3_prepare_v3");
  return function(connection, sql, length, flags, statement, rest);
}

int sqlite3_bind_blob64(sqlite3_stmt* statement, int index, const void* value,
                        sqlite3_uint64 length, void (*release)(void*)) {
  static const auto function = library.Function(&::sqlite3_bind_blob64, "sqlite3_bind_blob64");
  return function(statement, index, value, length, release);
}

int sqlite3_bind_int64(sqlite3_stmt* statement, int index, sqlite3_int64 value) {
  static const auto function = library.Function(&::sqlite3_bind_int64, "sqlite3_bind_int64");
  return function(statement, index, value);
}

int sqlite3_bind_text64(sqlite3_stmt* statement, int index, const char* value,
                        sqlite3_uint64 length, void (*release)(void*), unsigned char encoding) {
  static const auto function = library.Function(&::sqlite3_bind_text64, "sqlite3_bind_text64");
  return function(statement, index, value, length, release, encoding);
}

int sqlite3_clear_bindings(sqlite3_stmt* statement) {
  static const auto function =
      library.Function(&::sqlite3_clear_bindings, "sqlite3_clear_bindings");
  return function(statement);
}

int sqlite3_step(sqlite3_stmt* statement) {
  static const auto function = library.Function(&::sqlite3_step, "sqlite3_step");
  return function(statement);
}

const void* sqlite3_column_blob(sqlite3_stmt* statement, int index) {
  static const auto function = library.Function(&::sqlite3_column_blob, "sqlite3_column_blob");
  return function(statement, index);
}

int sqlite3_column_bytes(sqlite3_stmt* statement, int index) {
  static const auto function = library.Function(&::sqlite3_column_bytes, "sqlite3_column_bytes");
  return function(statement, index);
}

sqlite3_int64 sqlite3_column_int64(sqlite3_stmt* statement, int index) {
  static const auto function = library.Function(&::sqlite3_column_int64, "sqlite3_column_int64");
  return function(statement, index);
}

const unsigned char* sqlite3_column_text(sqlite3_stmt* statement, int index) {
  static const auto function = library.Function(&::sqlite3_column_text, "sqlite3_column_text");
  return function(statement, index);
}

int sqlite3_reset(sqlite3_stmt* statement) {
  static const auto function = library.Function(&::sqlite3_reset, "sqlite3_reset");
  return function(statement);
}

int sqlite3_finalize(sqlite3_stmt* statement) {
  static const auto function = library.Function(&::sqlite3_finalize, "sqlite3_finalize");
  return function(statement);
}

}  // extern "C"
