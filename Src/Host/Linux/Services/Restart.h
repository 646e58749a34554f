#pragma once

#include <functional>
#include <string>

namespace Ondrel::Host {

/// What restarts this machine.
struct RestartCalls {
  /// Has the login manager restart the machine and show `message` to the users and in the journal.
  /// Yields an empty text once it does, else why it does not.
  std::function<std::string(const std::string& message)> byLoginManager;

  /// Whether the login manager would restart the machine without a question.
  std::function<bool()> wouldLoginManager;

  /// Whether this process has the capability to restart the machine itself.
  std::function<bool()> hasCapability;

  /// Writes what is not yet on the disks and restarts at once, without the login manager. Returns
  /// only when that fails, with the number of the error.
  std::function<int()> directly;
};

/// The calls that reach the real machine.
const RestartCalls& HostRestartCalls();

/// Whether this process may restart the machine: by its capability, or because the login manager
/// would do it without a question.
bool MayRestart(const RestartCalls& calls);

/// Restarts the machine through the login manager and, where that fails and `mayBeDirect` holds,
/// directly. Yields an empty text once the machine restarts, else why it does not.
std::string RestartMachine(const std::string& message, bool mayBeDirect, const RestartCalls& calls);

}  // namespace Ondrel::Host
