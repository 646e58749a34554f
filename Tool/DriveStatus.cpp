#include "Tool/DriveStatus.h"

#include "Tool/Names.h"
#include "Tool/Options.h"
#include "Tool/Suggestion.h"

#include <CLI/Error.hpp>

#include <algorithm>
#include <array>
#include <limits>
#include <string_view>
#include <vector>

namespace Tool {

namespace {

// Every status that a table knows: the physical drive's, then what only a logical drive has.
constexpr auto kStatuses = [] {
  std::array<Ondrel::DriveStatus, 18> statuses{};
  auto last = std::copy(Ondrel::kPhysicalDriveStatuses.begin(),
                        Ondrel::kPhysicalDriveStatuses.end(), statuses.begin());
  for (const Ondrel::DriveStatus status : Ondrel::kLogicalDriveStatuses)
    if (std::find(statuses.begin(), last, status) == last) *last++ = status;
  return statuses;
}();

struct NamedSeverity {
  Ondrel::Severity number;
  std::string_view name;
};

constexpr std::array kSeverities = {
    NamedSeverity{Ondrel::kSeverityInformation, "information"},
    NamedSeverity{Ondrel::kSeverityWarning, "warning"},
    NamedSeverity{Ondrel::kSeverityError, "error"},
};

std::vector<std::string> KnownNames() {
  std::vector<std::string> names;
  names.reserve(kStatuses.size());
  for (const Ondrel::DriveStatus status : kStatuses) names.push_back(StatusName(status));
  return names;
}

std::int32_t StatusOf(const std::string& positional, const std::string& text) {
  for (const Ondrel::DriveStatus status : kStatuses)
    if (IsSameWord(StatusName(status), text)) return status;

  const auto number = ParseNumber(text, std::numeric_limits<std::int32_t>::min(),
                                  std::numeric_limits<std::int32_t>::max());
  for (const Ondrel::DriveStatus status : kStatuses)
    if (number == status) return status;
  throw CLI::ValidationError(
      positional, "\"" + OneLine(text) + "\" is not a status" + Suggestion(text, KnownNames()));
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
      ->check(IsOneOf({"pd", "ld"}));
  app.add_option_function<std::string>(
         "OLD",
         [&target](const std::string& text) { target.change.OldStatus = StatusOf("OLD", text); },
         "Status before the change, a name in any case or a number")
      ->required()
      ->type_name("");
  app.add_option_function<std::string>(
         "NEW",
         [&target](const std::string& text) { target.change.NewStatus = StatusOf("NEW", text); },
         "Status after the change")
      ->required()
      ->type_name("");
}

std::optional<Ondrel::CStateChangeEvent> FindEvent(const StatusChange& change) {
  Ondrel::CStateChangeEvent event{};
  const bool isFound = change.kind == "pd" ? Ondrel::FindStatusTransitionPD(change.change, event)
                                           : Ondrel::FindStatusTransitionLD(change.change, event);
  if (!isFound) return std::nullopt;
  return event;
}

std::string StatusName(std::int32_t status) {
  const std::string_view name = Ondrel::ValueCodeNames.Name(status).value_or("");
  return name.empty() ? std::to_string(status) : std::string(name);
}

std::string ChangeText(const StatusChange& change) {
  return NameAndCode(change.change.OldStatus) + " -> " + NameAndCode(change.change.NewStatus);
}

std::string EventText(const Ondrel::CStateChangeEvent& event) {
  std::string text = "event " + NumberAndName(Ondrel::EventCodeNames, event.EventCode) +
                     ", severity " + std::to_string(event.Severity);
  for (const NamedSeverity& severity : kSeverities)
    if (severity.number == event.Severity) text.append(" (").append(severity.name).append(")");
  return text;
}

Json JsonOfChange(const StatusChange& change,
                  const std::optional<Ondrel::CStateChangeEvent>& event) {
  Json result = {{"kind", change.kind},
                 {"old", change.change.OldStatus},
                 {"oldName", JsonOfName(Ondrel::ValueCodeNames, change.change.OldStatus)},
                 {"new", change.change.NewStatus},
                 {"newName", JsonOfName(Ondrel::ValueCodeNames, change.change.NewStatus)},
                 {"event", nullptr},
                 {"eventName", nullptr},
                 {"severity", nullptr}};
  if (event) {
    result["event"] = event->EventCode;
    result["eventName"] = JsonOfName(Ondrel::EventCodeNames, event->EventCode);
    result["severity"] = event->Severity;
  }
  return result;
}

}  // namespace Tool
