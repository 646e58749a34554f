#pragma once

#include "Tool/Command.h"

#include <concepts>
#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>

namespace Tool {

/// The version of the form of JSON: what a member means and that it is there. Members may be added
/// without a new version.
inline constexpr int kJsonVersion = 1;

/// Gives a result: `json` under --json, else `text` and a line end.
void Answer(const GlobalOptions& globals, const Json& json, const std::string& text);

/// The same for a large result, of which only the form that is asked for is made: `makeJson` yields
/// JSON, `printText` prints to a stream.
template <std::invocable MakeJson, std::invocable<std::ostream&> PrintText>
void Answer(const GlobalOptions& globals, MakeJson&& makeJson, PrintText&& printText);

/// Prints one JSON object on a line of its own, after "jsonVersion" as its first member, and
/// flushes it. Bytes that are not UTF-8 are replaced.
void PrintJson(const Json& object);

/// The line that `PrintJson` prints, without its line end.
std::string JsonLine(const Json& object);

/// Appends a text as `JsonLine` writes it, with its quotation marks.
void AppendJsonText(std::string& json, std::string_view text);

/// What is known of a module error that was just caught; see Failure.h.
Json JsonOfError(unsigned int number);

/// Prints what is known of a module error that was just caught, as text on standard error.
void PrintErrorReport(unsigned int number);

/// Standard output, which throws when it cannot be written.
std::ostream& StandardOutputStream();

/// The colours of text on a terminal.
enum class Colour { kRed = 31, kGreen = 32, kYellow = 33 };

/// The text in a colour, where standard output is a terminal that shows colours and NO_COLOR is
/// not set; else as it is.
std::string Coloured(std::string_view text, Colour colour);

/// Prints "ondrel: " and `text` as a line on standard error.
void Say(std::string_view text);

/// The text on one line: without its line ends at the end, and with control characters within it
/// written as `Pirsk::Strings::Printable` writes them.
std::string OneLine(std::string_view text);

/// Seconds since 1 January 1970 as "2024-05-01T12:34:56Z".
std::string TimeText(std::uint32_t secondsSince1970);

/// A PCI location as "0000:00:1f.2".
std::string PciLocation(int segment, int bus, int device, int function);

template <std::invocable MakeJson, std::invocable<std::ostream&> PrintText>
void Answer(const GlobalOptions& globals, MakeJson&& makeJson, PrintText&& printText) {
  if (globals.json)
    PrintJson(makeJson());
  else
    printText(StandardOutputStream());
}

}  // namespace Tool
