#pragma once

#include <Ondrel/Types.h>

#include <string>

namespace Ondrel {

/// Asks the host to restart at once, as `CSystem::Reboot` does, with a message of the caller's.
/// Yields 0 once it does, else the error number of the step that failed.
ULong RequestRestart(const std::string& message);

}  // namespace Ondrel
