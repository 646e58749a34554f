#pragma once

#include "Tool/Watch/Linux/Store.h"
#include "Tool/Watch/Settings.h"

#include <string>

namespace Tool::Watch {

/// Chooses the event log that the settings name, for what is opened from now on. Throws
/// `WatchError` when it is not to be had.
void UseEventLog(const LogSettings& settings);

/// Where events of that log go, as "the log RAID in the journal".
std::string PlaceOfEvents(const LogSettings& settings);

/// Writes one event and reads it back. Empty when it is in the log, else why it is not.
std::string WriteEvent(const std::string& log, const StoredEvent& event);

/// Whether an event is in the log that a report was begun for earlier.
bool IsInLog(const std::string& log, const StoredEvent& event);

}  // namespace Tool::Watch
