#pragma once

#include "Host/Linux/EventLog/EventStore.h"

#include <optional>

namespace Ondrel::Host {

/// The event store that a log opened now lives in; nothing when it is the journal.
std::optional<EventStoreChoice> ChosenEventStore();

}  // namespace Ondrel::Host
