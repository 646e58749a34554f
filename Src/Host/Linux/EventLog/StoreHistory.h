#pragma once

#include "Host/EventHistory.h"
#include "Host/Linux/EventLog/EventStore.h"

#include <memory>
#include <string>
#include <vector>

namespace Ondrel::Host {

/// The records of a log of an event store. A store that is not there has none, and is not created.
std::unique_ptr<EventHistory> OpenStoreHistory(const EventStoreChoice& choice,
                                               const std::string& log, const EventLogRange& range,
                                               ULong& error);

std::unique_ptr<RecordImport> OpenStoreImport(const EventStoreChoice& choice,
                                              const std::string& log, ULong& error);

ULong ListStoredLogs(const EventStoreChoice& choice, std::vector<EventLogSummary>& logs);

ULong ClearStoredLog(const EventStoreChoice& choice, const std::string& log,
                     std::optional<ULong> time, std::uint64_t& removed);

}  // namespace Ondrel::Host
