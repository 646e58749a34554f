#pragma once

namespace Ondrel::Host {

/// Finds `part` in `text` by characters of the host's multi-byte character set, as `_mbsstr` does;
/// null if it is not there.
const char* FindMultiByte(const char* text, const char* part);

}  // namespace Ondrel::Host
