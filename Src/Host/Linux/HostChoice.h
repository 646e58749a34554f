#pragma once

#include "Host/Linux/EventStore.h"

namespace Ondrel::Host {

/// The event store that a log opened now lives in.
EventStoreChoice ChosenEventStore();

}  // namespace Ondrel::Host
