#pragma once

#include "Tool/Watch/Step.h"

#include <cstdint>
#include <string>

namespace Tool::Watch {

/// What a mail about an event says.
struct MailText {
  std::string subject;
  std::string body;
};

/// The mail about an event. `time` is in seconds since 1 January 1970 UTC.
MailText MailAbout(const WatchEvent& event, const std::string& host, std::int64_t time,
                   const std::string& log);

/// What the body of a mail begins with that its receiver may have got before.
extern const char* const kRepeatNote;

/// Seconds since 1 January 1970 as "2024-05-01 12:34:56 UTC".
std::string UtcText(std::int64_t time);

}  // namespace Tool::Watch
