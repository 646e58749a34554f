#pragma once

#include "Tool/Options.h"
#include "Tool/Output.h"

#include <Ondrel/StatusTransition.h>

#include <cstdint>
#include <optional>
#include <string>

namespace Tool {

/// A status change as the command line names it, and the positionals that do so.
struct StatusChange {
  std::string kind;  ///< "pd" for a physical drive, "ld" for a logical one.
  Ondrel::CStateChange change{};
};

/// Adds the positionals `pd|ld OLD NEW`.
void AddStatusChange(CLI::App& app, StatusChange& target);

/// The event that a status change is reported as, if there is one.
std::optional<Ondrel::CStateChangeEvent> FindEvent(const StatusChange& change);

/// Name of a status, or its number when it has none.
std::string StatusName(std::int32_t status);

/// "OPERATIONAL (40093) -> FAILED (40095)".
std::string ChangeText(const StatusChange& change);

/// "event 10471 (PD_STATE_CHANGE_OP_TO_FAIL), severity 4 (error)".
std::string EventText(const Ondrel::CStateChangeEvent& event);

/// {"kind","old","oldName","new","newName","event","eventName","severity"}; the last three are null
/// without an event, a name is null for a number that has none.
Json JsonOfChange(const StatusChange& change,
                  const std::optional<Ondrel::CStateChangeEvent>& event);

}  // namespace Tool
