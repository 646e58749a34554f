#pragma once

#include "Host/Linux/Sysfs.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Small reads from the folders in which the kernel shows drives and arrays.
namespace Ondrel::Host {

/// The text of a small file without the spaces and line ends at its end; nothing when it cannot be
/// read. At most 64 KiB.
std::optional<std::string> ReadTextOf(const std::string& path);

/// The same, empty for what cannot be read.
std::string TextOf(const std::string& path);

/// The number that a text begins with, in decimal.
std::optional<std::uint64_t> NumberAtStart(std::string_view text);

/// The number that a file's text begins with; 0 when there is none.
std::uint64_t NumberOf(const std::string& path);

/// The path without links; empty when it leads nowhere.
std::string RealPathOf(const std::string& path);

/// The part of a path after its last slash.
std::string LastPartOf(const std::string& path);

/// The text with what is not printable ASCII replaced by "?", without spaces at both ends.
std::string PrintableOf(std::string_view text);

/// The words of a text, which are separated by spaces, tabs and line ends.
std::vector<std::string_view> WordsOf(std::string_view text);

/// Whether one of the words of a list with commas is `word`.
bool HasWord(std::string_view list, std::string_view word);

/// Sectors in a list of bad blocks: lines of a first sector and a count.
std::uint64_t BadSectorsIn(std::string_view list);

}  // namespace Ondrel::Host
