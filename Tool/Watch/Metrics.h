#pragma once

#include "Tool/Watch/Step.h"

#include <cstdint>
#include <string>

namespace Tool::Watch {

/// What the service counts besides the drives and arrays.
struct ServiceCounts {
  std::uint64_t mailsQueued = 0;  ///< Queued or being sent.
  std::uint64_t mailsSent = 0;    ///< Since the state file was made, as the next.
  std::uint64_t mailsGivenUp = 0;
  std::uint64_t events[3] = {};      ///< Of the severities 2, 3 and 4.
  std::uint64_t eventsUnlogged = 0;  ///< Not yet in the event log.
  std::int64_t lastLook = 0;         ///< Seconds since 1 January 1970 UTC.
};

/// The metrics in the text form that a collector of text files takes.
std::string MetricsText(const WatchState& state, const ServiceCounts& counts);

}  // namespace Tool::Watch
