#pragma once

#include "Host/Linux/EventLog/EventStore.h"

#include <Ondrel/Host.h>

#include <string>

namespace Ondrel::Host {

/// Where a log that is opened now lives.
struct EventLogChoice {
  EventLogKind kind;
  EventStoreChoice store;
  std::string files;  // Folder or file of the journal files.
};

EventLogChoice ChosenEventLog();

}  // namespace Ondrel::Host
