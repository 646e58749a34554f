#pragma once

#include "Tool/Watch/StateJson.h"

#include <cstdint>
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
};

/// A result for the terminal.
struct WatchAnswer {
  Json json = Json::object();
  std::string text;  ///< With a line end, unless it is empty.
  int exitStatus = 0;
};

/// The service cannot do what it is asked to; says what and why. Ends with `exitStatus`.
class WatchError : public std::runtime_error {
public:
  WatchError(const std::string& what, int exitStatus)
      : std::runtime_error(what), m_exitStatus(exitStatus) {}

  int ExitStatus() const { return m_exitStatus; }

private:
  int m_exitStatus;
};

/// Does what is asked; the service itself comes back when it is ended by a signal. Throws
/// `WatchError` and `SettingsError`.
WatchAnswer RunWatch(const WatchRequest& request);

}  // namespace Tool::Watch
