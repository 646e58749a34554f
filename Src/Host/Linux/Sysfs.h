#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Reading the small files in which the kernel shows its devices, each with one value.
namespace Ondrel::Host {

/// The text of such a file without its line end, up to 64 KiB; nothing when it cannot be read.
std::optional<std::string> ReadSysfsText(const std::string& path);

/// A text that is one whole number, "0x" before a hexadecimal one allowed; nothing for another
/// text.
std::optional<std::uint64_t> SysfsNumber(std::string_view text, int base = 10);

/// The number that such a file holds; nothing when it cannot be read or holds another text.
std::optional<std::uint64_t> ReadSysfsNumber(const std::string& path, int base = 10);

/// The names in a folder without those that begin with a dot, in their order; none when it cannot
/// be read.
std::vector<std::string> SysfsEntries(const std::string& folder);

/// Why the calls above could not read something in this thread for want of descriptors or memory:
/// an errno, the last one since this was asked before; 0 when nothing was missed for that.
int TakeSysfsShortage();

/// Notes an errno with which something else could not be read, when it is one of those.
void NoteSysfsShortage(int error);

}  // namespace Ondrel::Host
