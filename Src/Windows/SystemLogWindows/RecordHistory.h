#pragma once

#include "Host/EventHistory.h"

#include <memory>
#include <string>

/// What the event log of Windows gives beyond the required classes, over its own operations.
namespace Ondrel::Host {

std::unique_ptr<EventHistory> OpenRecordHistory(const std::string& log, const EventLogRange& range,
                                                ULong& error);

/// A source whose reports the host answers.
std::unique_ptr<CheckedSource> OpenAnsweredSource(const std::string& source, ULong& error);

/// Records, numbers and times of one log. Yields 0, or the error.
ULong SummarizeLog(const std::string& log, EventLogSummary& summary);

/// Removes all records of a log; of a part of it this host can do nothing (50).
ULong ClearWholeLog(const std::string& log, bool isPart, std::uint64_t& removed);

}  // namespace Ondrel::Host
