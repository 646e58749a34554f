#pragma once

#include "Tool/Watch/StateJson.h"

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

/// The watch service, as its subcommand runs it. Whether a host has drives to watch is the
/// library's to say (`CDriveMonitor::IsSupported`); each host has its own `RunWatch`.
namespace Tool::Watch {

enum class WatchMode { Service, Once, Status, CheckConfiguration, TestMail, Queue };

/// What the command line asks for.
struct WatchRequest {
  WatchMode mode = WatchMode::Service;
  std::string configuration;        ///< Path; empty for the default one, which may be missing.
  std::string queueAction;          ///< "list", "retry" or "drop".
  std::vector<std::int64_t> mails;  ///< Numbers of mails to retry or drop; empty for all.

  /// The event log that the command line names, in place of the configuration's.
  bool isJournalAsked = false;
  std::string store;
  std::optional<std::uint64_t> storeCapacity;
};

/// A result for the terminal.
struct WatchAnswer {
  Json json = Json::object();
  std::string text;  ///< With a line end, unless it is empty.
  int exitStatus = 0;
};

/// The host does not let the service do what it is asked to.
class WatchError : public std::runtime_error {
public:
  /// `task` says what was tried and on what, `reason` why it failed.
  WatchError(const std::string& task, const std::string& reason)
      : std::runtime_error(task + ": " + reason), m_task(task), m_reason(reason) {}

  const std::string& Task() const { return m_task; }
  const std::string& Reason() const { return m_reason; }

private:
  std::string m_task;
  std::string m_reason;
};

/// Does what is asked; the service itself comes back when it is ended by a signal. Throws
/// `WatchError` and `SettingsError`.
WatchAnswer RunWatch(const WatchRequest& request);

}  // namespace Tool::Watch
