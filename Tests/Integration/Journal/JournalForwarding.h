#pragma once

#include "Support/Process.h"
#include "Support/TemporaryFolder.h"

#include <memory>
#include <string>
#include <vector>

namespace Ondrel::Testing {

/// The journal's own forwarding, with both ends on this machine: while the object lives, what the
/// journal holds and takes comes over TLS to a collector on the loopback address, whose certificate
/// the uploader checks.
class JournalForwarding {
public:
  JournalForwarding();
  ~JournalForwarding();

  JournalForwarding(const JournalForwarding&) = delete;
  JournalForwarding& operator=(const JournalForwarding&) = delete;

  /// The folder of the collector's journal files.
  std::string Collected() const { return m_folder.Path("collected"); }

  /// Shows the collected log `log` as JSON, until `text` is among it or half a minute has passed.
  ProcessResult Await(const std::string& log, const std::string& text);

  /// Runs the command with the collected journal as its event log.
  ProcessResult RunCommand(const std::vector<std::string>& arguments) const;

  /// This machine's name, as its entries have it.
  static std::string HostName();

private:
  void StartUploader();

  TemporaryFolder m_folder;
  std::string m_port;
  std::unique_ptr<Process> m_collector;
  std::unique_ptr<Process> m_uploader;
};

}  // namespace Ondrel::Testing
