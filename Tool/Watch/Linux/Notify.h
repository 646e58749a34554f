#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace Tool::Watch {

/// Sends a state such as "READY=1" to the service manager that started this process. Nothing
/// happens where none did.
///
/// The protocol is the one that sd_notify(3) documents for programs that do not link its library.
void NotifyManager(const std::string& state);

/// How often the manager wants to hear "WATCHDOG=1" at least; nothing where it does not.
std::optional<std::chrono::microseconds> WatchdogInterval();

}  // namespace Tool::Watch
