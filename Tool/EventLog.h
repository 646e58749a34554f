#pragma once

#include "Tool/Output.h"

#include <Ondrel/SystemLog.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace Tool {

/// Opens a reader of the log `name`. Null when the log has no records yet: a reader has to be
/// opened at a record, so that what comes first in a log is never delivered. Other failures are
/// raised.
std::unique_ptr<Ondrel::CSystemLogReader_Win> OpenReader(const std::string& name,
                                                         const std::vector<std::string>& sources);

/// {"recordNumber","timeGenerated","eventID","eventName","eventType","args","message"}.
Json JsonOfEvent(const Ondrel::CSystemEvent_Win& event);

/// The time, the event's name if it has one, and the record on one line, without a line end.
std::string EventLine(const Ondrel::CSystemEvent_Win& event);

}  // namespace Tool
