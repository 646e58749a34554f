#pragma once

#include <string>

namespace Tool {

/// Puts `text` into the file `path`, in place of what it has, and creates it where it is missing.
/// Whatever ends the program or the machine meanwhile: the file has what it had, or `text`. Throws
/// `std::system_error` when it cannot be written; then the file has what it had, and nothing of the
/// attempt stays beside it.
void KeepInFile(const std::string& path, const std::string& text);

}  // namespace Tool
