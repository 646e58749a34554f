#pragma once

#include <cstddef>
#include <string>

namespace Tool {

/// The largest file, or text of standard input, that is read as a whole, in bytes. What never ends,
/// such as /dev/zero, is refused there.
inline constexpr std::size_t kLargestFile = std::size_t{64} << 20;

/// All bytes of a file that the command line names; "-" is standard input. Throws `UsageError`,
/// with the path and the host's reason, when it cannot be read or holds more than `largest` bytes.
std::string ReadWholeFile(const std::string& path, std::size_t largest = kLargestFile);

}  // namespace Tool
