#include "Tool/Output.h"

#include "Tool/Host/Terminal.h"
#include "Tool/Progress.h"

#include <Pirsk/Exceptions.h>
#include <Pirsk/Strings.h>

#include <chrono>
#include <cstdio>
#include <iostream>

namespace Tool {

namespace {

template <class... Values>
std::string Print(const char* format, Values... values) {
  char text[64];
  const int length = std::snprintf(text, sizeof text, format, values...);
  return std::string(text, static_cast<std::size_t>(length));
}

/// Valid JSON with the control characters that JSON leaves as they are, and a terminal does not,
/// written as numbers: U+007F to U+009F. They stand within texts alone.
std::string ForTerminals(const std::string& json) {
  std::string safe;
  std::size_t shown = 0;
  for (std::size_t at = 0; (at = json.find_first_of("\x7F\xC2", at)) != std::string::npos; ++at) {
    const bool isDelete = json[at] == '\x7F';
    const unsigned code = isDelete ? 0x7F : static_cast<unsigned char>(json[at + 1]);
    if (code >= 0xA0) continue;
    safe += json.substr(shown, at - shown) + Print("\\u%04x", code);
    shown = at + (isDelete ? 1 : 2);
  }
  return shown == 0 ? json : safe + json.substr(shown);
}

}  // namespace

void Answer(const GlobalOptions& globals, const Json& json, const std::string& text) {
  if (globals.json)
    PrintJson(json);
  else
    std::cout << text << '\n';
}

void PrintJson(const Json& object) { std::cout << JsonLine(object) << std::endl; }

std::string JsonLine(const Json& object) {
  const std::string members =
      ForTerminals(object.dump(-1, ' ', false, Json::error_handler_t::replace));
  const std::string version = "{\"jsonVersion\":" + std::to_string(kJsonVersion);
  return version + (object.empty() ? "" : ",") + members.substr(1);
}

void AppendJsonText(std::string& json, std::string_view text) {
  const bool isPlain = std::ranges::all_of(text, [](char character) {
    return character >= ' ' && character < 0x7F && character != '"' && character != '\\';
  });
  if (isPlain)
    json.append(1, '"').append(text).append(1, '"');
  else
    json += ForTerminals(Json(text).dump(-1, ' ', false, Json::error_handler_t::replace));
}

Json JsonOfError(unsigned int number) { return JsonOfError(Pirsk::Exceptions::ReportOf(number)); }

void PrintErrorReport(unsigned int number) {
  Say(WordsOfError(Pirsk::Exceptions::ReportOf(number)));
}

std::ostream& StandardOutputStream() { return std::cout; }

std::string Coloured(std::string_view text, Colour colour) {
  static const bool isShown = ShowsColours();
  if (!isShown) return std::string(text);
  return Print("\033[%dm", static_cast<int>(colour)) + std::string(text) + "\033[0m";
}

void Say(std::string_view text) {
  // What was printed before stands before it where both go to one place.
  if (std::cout.good()) std::cout << std::flush;
  const NoProgress noProgress;
  std::cerr << "ondrel: " << text << std::endl;
}

std::string OneLine(std::string_view text) { return Pirsk::Strings::Printable(text); }

std::string TimeText(std::uint32_t secondsSince1970) {
  using namespace std::chrono;
  const sys_seconds time{seconds{secondsSince1970}};
  const sys_days day = floor<days>(time);
  const year_month_day date{day};
  const hh_mm_ss clock{time - day};
  return Print("%04d-%02u-%02uT%02d:%02d:%02dZ", static_cast<int>(date.year()),
               static_cast<unsigned int>(date.month()), static_cast<unsigned int>(date.day()),
               static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
               static_cast<int>(clock.seconds().count()));
}

std::string PciLocation(int segment, int bus, int device, int function) {
  return Print("%04x:%02x:%02x.%x", static_cast<unsigned int>(segment),
               static_cast<unsigned int>(bus), static_cast<unsigned int>(device),
               static_cast<unsigned int>(function));
}

}  // namespace Tool
