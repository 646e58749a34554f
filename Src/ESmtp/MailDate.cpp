#include "ESmtp/MailDate.h"

#include "Host/ClockOperations.h"

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <ctime>

namespace Ondrel {

namespace {

constexpr std::size_t kDateTextSize = 64;

// What a clock shows that cannot be read: a Thursday, as 1 January 1970 was.
std::tm BeginningOfTime() {
  std::tm time{};
  time.tm_year = 70;
  time.tm_mday = 1;
  time.tm_wday = 4;
  return time;
}

std::string LocalDateAndTime() {
  std::tm local{};
  if (!Host::Clock().LocalTime(Host::Clock().CurrentTime(), local)) local = BeginningOfTime();

  // The tab after the comma belongs to the mail as receivers know it.
  char text[kDateTextSize];
  const std::size_t length = std::strftime(text, sizeof(text), "%a,\t%d %b %Y %H:%M:%S", &local);
  return std::string(text, length);
}

}  // namespace

std::string MailDate() {
  // Local time first: reading it is what sets the zone that the offset is taken from.
  const std::string dateAndTime = LocalDateAndTime();

  // Standard time even in summer, so that the offset is the zone's fixed one.
  const long west = Host::Clock().StandardTimeWestOfUtc();
  const char sign = west < 0 ? '+' : '-';
  const long hours = std::labs(west) / 3600;
  const long minutes = std::labs(west) / 60 % 60;
  char offset[48];
  std::snprintf(offset, sizeof offset, " %c%02ld%02ld", sign, hours, minutes);
  return dateAndTime + offset;
}

}  // namespace Ondrel
