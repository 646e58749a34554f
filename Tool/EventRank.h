#pragma once

#include <Ondrel/Smtp.h>
#include <Ondrel/StatusTransition.h>
#include <Ondrel/SystemLog.h>

#include <array>
#include <cstdint>

namespace Tool {

/// What an event of each severity is in the event log and in mail.
struct EventRank {
  Ondrel::Severity severity;
  Ondrel::EventType eventType;
  Ondrel::CSmtpXPriority priority;
};

inline constexpr std::array kEventRanks = {
    EventRank{Ondrel::kSeverityInformation, Ondrel::kEventTypeInformation, Ondrel::XPRIORITY_LOW},
    EventRank{Ondrel::kSeverityWarning, Ondrel::kEventTypeWarning, Ondrel::XPRIORITY_NORMAL},
    EventRank{Ondrel::kSeverityError, Ondrel::kEventTypeError, Ondrel::XPRIORITY_HIGH},
};

/// The rank of a severity; of one that is not in the table, that of an error.
inline const EventRank& RankOf(std::int32_t severity) {
  for (const EventRank& rank : kEventRanks)
    if (rank.severity == severity) return rank;
  return kEventRanks.back();
}

}  // namespace Tool
