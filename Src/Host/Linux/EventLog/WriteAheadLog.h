#pragma once

#include <string>

namespace Ondrel::Host {

/// Whether a write-ahead log has committed frames that SQLite leaves out without a word, since
/// something before them is damaged. `path` is the log's own. False where it is not there.
///
/// After a loss of power the last commit may look the same, though no report had been answered by
/// it: what cannot be distinguished counts as damage. So does a commit that is being written: only
/// under the lock of writers the answer is certain.
bool LooksWriteAheadLogDamaged(const std::string& path);

}  // namespace Ondrel::Host
