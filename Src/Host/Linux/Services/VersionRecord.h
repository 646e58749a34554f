#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace Ondrel::Host {

/// Version records in the published form of 16-bit modules: a tree of nodes, each with its length,
/// the length of its value, a zero-terminated key, the value and the nodes below, every part padded
/// to four bytes, all numbers little-endian.

/// The translation that records made here have: US English in the Unicode code page.
inline constexpr std::uint16_t kVersionLanguage = 0x0409;
inline constexpr std::uint16_t kVersionCodePage = 0x04B0;

/// A record with `version` as the file version.
std::vector<char> MakeVersionRecord(const std::string& version);

/// The value of the node that `key` leads to, such as "\VarFileInfo\Translation"; case does not
/// count, and "\" alone is the root. False when it is not there or when the record is damaged on
/// the way: nothing outside `record` is read. A text's last byte within the value is zero, or the
/// value is not given.
bool FindVersionValue(std::span<const char> record, const char* key, std::span<const char>& value);

}  // namespace Ondrel::Host
