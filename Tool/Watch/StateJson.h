#pragma once

#include "Tool/Watch/Step.h"

#include <nlohmann/json.hpp>

#include <string>

namespace Tool::Watch {

/// Objects keep the order in which their members are added.
using Json = nlohmann::ordered_json;

/// What a later start has to know of a state: without how far an array's action has got, and of
/// health the critical warning, the media errors and the used life alone. The rest changes with
/// every look and is not worth a commit.
WatchState EssenceOf(WatchState state);

/// What is known of all drives and arrays, as the state file keeps it.
std::string TextOfState(const WatchState& state);

/// The other way round. Throws `nlohmann::json::exception` for text that is not of that form.
WatchState StateOfText(const std::string& text);

/// {"event","eventName","severity","object","id","name","text","oldStatus","newStatus","recovery"};
/// "object" is "drive", "array" or "service".
Json JsonOfWatchEvent(const WatchEvent& event);

/// Name of a status, or its number when it has none.
std::string NameOfStatus(std::int32_t status);

/// Name of an event, or its number when it has none.
std::string NameOfEvent(std::int32_t code);

/// "rebuild", "resync", "check" or "reshape"; empty for an array that does nothing else.
std::string NameOfAction(Ondrel::Host::ArrayAction action);

/// {"id","name","model","nvme","present","status","statusName","well","health"}.
Json JsonOfDrive(const DriveRecord& drive);

/// {"id","name","level","status","statusName","well","size","places","lostPlaces","action",
/// "progress","mismatches","stopped","members"}.
Json JsonOfArray(const ArrayRecord& record);

}  // namespace Tool::Watch
