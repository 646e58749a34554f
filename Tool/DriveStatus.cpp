#include "DriveStatus.h"

#include <CLI/Error.hpp>
#include <CLI/Validators.hpp>

#include <algorithm>
#include <array>
#include <limits>
#include <string_view>

namespace Tool {

namespace {

struct NamedStatus {
  std::string_view name;
  std::int32_t code;
};

// The sixteen physical statuses, then the two that only a logical drive has.
constexpr std::array kStatuses = {
    NamedStatus{"AVAILABLE", 40099},
    NamedStatus{"AVAILABLE_SMART", 40180},
    NamedStatus{"FAILED", 40095},
    NamedStatus{"FAILED_SMART", 40181},
    NamedStatus{"GLOBAL_HOTSPARE", 40097},
    NamedStatus{"GLOBAL_HOTSPARE_SMART", 40178},
    NamedStatus{"DEDICATED_HOTSPARE", 40098},
    NamedStatus{"DEDICATED_HOTSPARE_SMART", 40179},
    NamedStatus{"OPERATIONAL", 40093},
    NamedStatus{"OPERATIONAL_SMART", 40176},
    NamedStatus{"REBUILDING", 40096},
    NamedStatus{"REBUILDING_SMART", 40177},
    NamedStatus{"OFFLINE", 40261},
    NamedStatus{"OFFLINE_SMART", 40034},
    NamedStatus{"SYSTEM", 40307},
    NamedStatus{"SYSTEM_SMART", 40308},
    NamedStatus{"DEGRADED", 40094},
    NamedStatus{"PARTIALLY_DEGRADED", 40242},
};

struct Severity {
  std::int32_t number;
  std::string_view name;
};

constexpr std::array kSeverities = {
    Severity{2, "information"},
    Severity{3, "warning"},
    Severity{4, "error"},
};

std::string KnownNames() {
  std::string names;
  for (const NamedStatus& status : kStatuses)
    names.append(names.empty() ? "" : ", ").append(status.name);
  return names;
}

std::int32_t StatusOf(const std::string& positional, const std::string& text) {
  const auto named =
      std::find_if(kStatuses.begin(), kStatuses.end(),
                   [&](const NamedStatus& status) { return IsSameWord(status.name, text); });
  if (named != kStatuses.end()) return named->code;

  const auto number = ParseNumber(text, std::numeric_limits<std::int32_t>::min(),
                                  std::numeric_limits<std::int32_t>::max());
  if (!number) {
    throw CLI::ValidationError(positional,
                               "\"" + text + "\" is neither a number nor one of " + KnownNames());
  }
  return static_cast<std::int32_t>(*number);
}

std::string NameAndCode(std::int32_t status) {
  const std::string name = StatusName(status);
  const std::string code = std::to_string(status);
  return name == code ? code : name + " (" + code + ")";
}

}  // namespace

void AddStatusChange(CLI::App& app, StatusChange& target) {
  app.add_option("KIND", target.kind, "pd for a physical drive, ld for a logical drive")
      ->required()
      ->type_name("pd|ld")
      ->check(CLI::IsMember({"pd", "ld"}).description(""));
  app.add_option_function<std::string>(
         "OLD",
         [&target](const std::string& text) { target.change.OldStatus = StatusOf("OLD", text); },
         "Status before the change, a name or a number")
      ->required()
      ->type_name("STATUS");
  app.add_option_function<std::string>(
         "NEW",
         [&target](const std::string& text) { target.change.NewStatus = StatusOf("NEW", text); },
         "Status after the change")
      ->required()
      ->type_name("STATUS");
}

std::optional<Ondrel::CStateChangeEvent> FindEvent(const StatusChange& change) {
  Ondrel::CStateChangeEvent event{};
  const bool isFound = change.kind == "pd" ? Ondrel::FindStatusTransitionPD(change.change, event)
                                           : Ondrel::FindStatusTransitionLD(change.change, event);
  if (!isFound) return std::nullopt;
  return event;
}

std::string StatusName(std::int32_t status) {
  const auto named = std::find_if(kStatuses.begin(), kStatuses.end(),
                                  [&](const NamedStatus& known) { return known.code == status; });
  return named != kStatuses.end() ? std::string(named->name) : std::to_string(status);
}

std::string ChangeText(const StatusChange& change) {
  return NameAndCode(change.change.OldStatus) + " -> " + NameAndCode(change.change.NewStatus);
}

std::string EventText(const Ondrel::CStateChangeEvent& event) {
  std::string text =
      "event " + std::to_string(event.EventCode) + ", severity " + std::to_string(event.Severity);
  for (const Severity& severity : kSeverities)
    if (severity.number == event.Severity) text.append(" (").append(severity.name).append(")");
  return text;
}

Json JsonOfChange(const StatusChange& change,
                  const std::optional<Ondrel::CStateChangeEvent>& event) {
  Json result = {{"kind", change.kind},
                 {"old", change.change.OldStatus},
                 {"new", change.change.NewStatus},
                 {"event", nullptr},
                 {"severity", nullptr}};
  if (event) {
    result["event"] = event->EventCode;
    result["severity"] = event->Severity;
  }
  return result;
}

}  // namespace Tool
