#pragma once

#include "Host/Linux/EventLog/Database.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <sys/types.h>

namespace Ondrel::Host {

/// What distinguishes a file from every other one while it is in use.
struct FileIdentity {
  dev_t device;
  ino_t number;

  bool operator==(const FileIdentity&) const = default;
};

/// What changes with every write to a file.
struct FileStamp {
  std::int64_t seconds;
  std::int64_t nanoseconds;
  off_t size;

  bool operator==(const FileStamp&) const = default;
};

/// The file that a path leads to now, if any.
std::optional<FileIdentity> IdentityOf(const std::string& path);

/// Creates the folder that the path stands in where that is the host's own state folder.
void CreateFolderOf(const std::string& path);

/// One connection to the file of an event store.
///
/// SQLite knows its companions, the write-ahead log and the index of that, by their names only. So
/// the file has to be watched: after it was removed or replaced, the connection leads to a file
/// that nobody will find, and its companions would be taken for those of the file that stands
/// there now. All operations throw `DatabaseError`.
class EventStoreFile {
public:
  /// Opens the store, and creates it when it is missing: with mode 0600, in a folder that exists.
  /// The host's own state folder is created as well, with mode 0700.
  ///
  /// A file of another kind or of a later layout is a failure with 1500 and stays as it is.
  ///
  /// For reading, a store that nobody has open is read as it stands where its companions cannot be
  /// made: on a full disk, and on a file system that is mounted for reading only. `IsOverwritten`
  /// says when it is written after all.
  enum class Purpose { kReadingAndWriting, kReading };
  explicit EventStoreFile(const std::string& path, Purpose purpose = Purpose::kReadingAndWriting);

  Database& Connection() { return *m_database; }

  /// Gives a store of an earlier version the columns that it lacks.
  void AddColumns();

  /// True when the store has an identity, checksums of its records and a mark of what was removed.
  bool HasChecks() { return HasChecks(*m_database); }
  static bool HasChecks(Database& database);

  /// Distinguishes this store from every other one; empty where an earlier version made it.
  std::string Identity();

  std::string WriteAheadLogPath() const { return m_database->FilePath() + "-wal"; }

  /// Lets those who watch the file know that a record can be read.
  void Announce() const noexcept;

  /// True while the path leads to the file.
  bool IsInPlace() const;

  /// True when the file was written over by something else than SQLite: it begins with another
  /// content, or its write-ahead log is a new one. What the connection holds of it is worthless.
  bool IsOverwritten();

  /// Lets the end of the connection leave the file and its companions alone.
  void Forget() noexcept;

  /// True while the write-ahead log stands beside the file.
  bool IsWriteAheadLogInPlace() const;

  /// Before the end of a connection whose file is not in place: moves what the write-ahead log
  /// holds into the file, wherever that is, and takes the companions out of its successor's way.
  void Abandon() noexcept;

private:
  void OpenAsItStands(const DatabaseError& failure);

  std::string IndexPath() const { return m_database->FilePath() + "-shm"; }

  std::string m_path;
  std::optional<FileStamp> m_stamp;  ///< Of a file that is read as it stands.
  std::unique_ptr<Database> m_database;
  std::optional<FileIdentity> m_file;
  std::optional<FileIdentity> m_writeAheadLog;
  std::optional<FileIdentity> m_index;
};

}  // namespace Ondrel::Host
