#include "Tool/Dates.h"
#include "Tool/Facts.h"
#include "Tool/Failure.h"
#include "Tool/NVMeCheck.h"
#include "Tool/Options.h"
#include "Tool/Watch/StateJson.h"

#include <Ondrel/CodeNames.h>
#include <Ondrel/OSInfo.h>
#include <Ondrel/System.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

// What the command reads from lines, words and its own files: facts of a system, the states that
// the watch service and `nvme check` keep, dates, durations, numbers and versions.

namespace {

using Tool::Json;

void Require(bool holds) {
  if (!holds) std::abort();
}

void ReadFacts(const std::string& text) {
  Ondrel::OS_FACTS facts{};
  if (const std::optional<Tool::FactsError> error = Tool::ReadFacts(text, facts)) {
    Require(error->offset <= text.size() && !error->text.empty());
    return;
  }
  Require(Json::accept(text));
  Ondrel::OS_FACTS again{};
  Require(!Tool::ReadFacts(Tool::JsonOf(facts).dump(), again));
  Require(std::memcmp(&facts, &again, sizeof facts) == 0);
  std::string members = "{";
  Tool::AppendMembers(members, facts);
  Require(Json::parse(members + "}") == Tool::JsonOf(facts));
}

void ReadStates(const std::string& text) {
  try {
    const Tool::Watch::WatchState state = Tool::Watch::StateOfText(text);
    const std::string written = Tool::Watch::TextOfState(state);
    Require(Tool::Watch::TextOfState(Tool::Watch::StateOfText(written)) == written);
    for (const auto& drive : state.drives) Tool::Watch::JsonOfDrive(drive).dump();
    for (const auto& array : state.arrays) Tool::Watch::JsonOfArray(array).dump();
    const std::string memory = Tool::TextOfMemory(Tool::MemoryOfText(text));
    Require(Tool::TextOfMemory(Tool::MemoryOfText(memory)) == memory);
  } catch (const nlohmann::json::exception&) {
    // Not a state.
  }
}

void ReadWords(const std::string& text) {
  if (const auto date = Tool::ParseDate(text)) {
    Require(date->fields.Month >= 1 && date->fields.Month <= 12);
    Require(date->fields.Day >= 1 && date->fields.Day <= 31 && date->milliseconds < 1000);
    Tool::TimeStampOf(*date);
  }
  Ondrel::CSystemDate_Win time{};
  if (Tool::ParseTimeOfDay(text, time)) Require(Tool::FieldsText(time).ends_with("T" + text));
  try {
    Tool::DateText(Tool::ParseTimeStamp(text));
  } catch (const Tool::UsageError&) {
    // Not a point in time.
  }
  if (const auto duration = Tool::ParseDuration(text))
    Require(duration->count() >= 0 && *duration <= Tool::kLongestDuration);
  constexpr std::int64_t kMost = 1000;
  if (const auto number = Tool::ParseNumber(text, -kMost, kMost))
    Require(*number >= -kMost && *number <= kMost);
}

int SignOf(int order) { return (order > 0) - (order < 0); }

// The text as two versions with a zero byte between them.
void CompareVersions(const std::string& text) {
  const std::size_t end = std::min(text.find('\0'), text.size());
  const std::string first = text.substr(0, end);
  const std::string second = text.substr(std::min(end + 1, text.size()));
  for (const unsigned int count : {0U, 1U, 3U}) {
    const int order = Ondrel::CSystem::VersionCompare(first, second, count);
    Require(SignOf(order) == -SignOf(Ondrel::CSystem::VersionCompare(second, first, count)));
    Require(Ondrel::CSystem::VersionCompare(first, first, count) == 0);
  }
  Ondrel::COSProbe().ParseServicePack(first.c_str());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  ReadFacts(text);
  ReadStates(text);
  ReadWords(text);
  CompareVersions(text);
  return 0;
}
