#pragma once

#include <sqlite3.h>

#include <functional>

namespace Ondrel::Testing {

/// Makes the file operations of SQLite fail as a bad disk would, for one scope. One at a time; it
/// has to outlive the connections that are opened within it.
class FaultyFiles {
public:
  FaultyFiles();
  ~FaultyFiles();

  FaultyFiles(const FaultyFiles&) = delete;
  FaultyFiles& operator=(const FaultyFiles&) = delete;

  /// From now on: what writes, synchronisations and reads give, and the system error beside it. 0
  /// lets them through.
  void FailWrites(int result, int errnoValue);
  void FailSyncs(int result, int errnoValue);
  void FailReads(int result, int errnoValue);

  /// Runs once, at the next synchronisation or read.
  void BeforeNextSync(std::function<void()> action);
  void BeforeNextRead(std::function<void()> action);

private:
  sqlite3_vfs m_vfs;
};

}  // namespace Ondrel::Testing
