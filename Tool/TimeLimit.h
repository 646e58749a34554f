#pragma once

#include <chrono>
#include <functional>

namespace Tool {

/// Does `work` and waits for it no longer than `limit`. False when the limit passed first: the work
/// then goes on beside the command, which must not wait for it; it has to own what it uses.
/// Exceptions of the work are thrown on.
bool IsDoneWithin(std::chrono::milliseconds limit, std::function<void()> work);

/// Whether some work goes on that was not waited for. The process then has to end without the
/// destruction of what that work may use.
bool IsWorkLeftBehind();

}  // namespace Tool
