#pragma once

namespace Ondrel::Host {

/// Whether this process may restart the machine: by its capability, or because the login manager
/// would do it without a question.
bool MayRestart();

/// Restarts the machine through the login manager, or directly where there is none. False when
/// neither would.
bool RestartMachine();

}  // namespace Ondrel::Host
