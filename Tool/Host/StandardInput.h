#pragma once

#include <cstddef>

namespace Tool {

/// Reads what standard input has, at most `size` bytes, and waits only while it has nothing. Yields
/// the number of bytes, 0 at its end. Throws `std::system_error` when it cannot be read.
std::size_t ReadStandardInput(char* bytes, std::size_t size);

}  // namespace Tool
