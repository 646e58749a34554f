#pragma once

#include <nlohmann/json.hpp>

#include <cstdint>
#include <string>
#include <string_view>

namespace Tool {

/// Objects keep the order in which their members are added.
using Json = nlohmann::ordered_json;

/// Prints one JSON value on a line of its own and flushes it. Bytes that are not UTF-8 are
/// replaced.
void PrintJson(const Json& value);

/// What is known of a module error that was just caught, as
/// {"number","hex","text","detail","systemError","context"}.
Json JsonOfError(unsigned int number);

/// Prints what is known of a module error that was just caught, as text on standard error.
void PrintErrorReport(unsigned int number);

/// Prints "ondrel: " and `text` as a line on standard error.
void Say(std::string_view text);

/// The text on one line: without its line ends at the end, and with control characters within it
/// written as \n, \r, \t or \xNN.
std::string OneLine(std::string_view text);

/// Seconds since 1 January 1970 as "2024-05-01T12:34:56Z".
std::string TimeText(std::uint32_t secondsSince1970);

/// A PCI location as "0000:00:1f.2".
std::string PciLocation(int segment, int bus, int device, int function);

}  // namespace Tool
