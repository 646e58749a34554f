#pragma once

#include "Support/Process.h"

#include <memory>
#include <string>

namespace Ondrel::Testing {

/// A journal that takes entries while the object lives: the host's own where one runs, else a
/// journal daemon started for the purpose (which takes root) and ended again.
class JournalDaemon {
public:
  JournalDaemon();
  ~JournalDaemon();

  JournalDaemon(const JournalDaemon&) = delete;
  JournalDaemon& operator=(const JournalDaemon&) = delete;

  /// Waits until what was sent so far can be read.
  static void Sync();

  /// Runs journalctl and gives what it printed. Throws when it fails.
  static std::string Control(const std::vector<std::string>& arguments);

  /// Ends the daemon where this object started it; its socket stays, and nobody listens there.
  void End();

private:
  bool m_isOwn = false;
  std::unique_ptr<Process> m_daemon;
};

}  // namespace Ondrel::Testing
