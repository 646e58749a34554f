#include "Tool/Watch/MailText.h"

#include "Tool/Watch/StateJson.h"

#include <chrono>
#include <cstdio>

namespace Tool::Watch {

const char* const kRepeatNote =
    "This mail may have reached you before: an earlier attempt was cut off. Both have the same "
    "Message-ID.\n";

std::string UtcText(std::int64_t time) {
  using namespace std::chrono;
  const sys_seconds moment{seconds{time}};
  const sys_days day = floor<days>(moment);
  const year_month_day date{day};
  const hh_mm_ss clock{moment - day};
  char text[64];
  std::snprintf(text, sizeof text, "%04d-%02u-%02u %02d:%02d:%02d UTC",
                static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
                static_cast<unsigned>(date.day()), static_cast<int>(clock.hours().count()),
                static_cast<int>(clock.minutes().count()),
                static_cast<int>(clock.seconds().count()));
  return text;
}

MailText MailAbout(const WatchEvent& event, const std::string& host, std::int64_t time,
                   const std::string& log) {
  constexpr const char* kSeverities[] = {"information", "warning", "error"};
  const std::string severity =
      event.severity >= 2 && event.severity <= 4 ? kSeverities[event.severity - 2] : "unknown";
  return {.subject = host + ": " + event.text,
          .body = event.text + "\nHost: " + host + "\nTime: " + UtcText(time) + "\nEvent: " +
                  std::to_string(event.code) + " (" + NameOfEvent(event.code) + "), severity " +
                  std::to_string(event.severity) + " (" + severity + ")\nEvent log: " + log + "\n"};
}

}  // namespace Tool::Watch
