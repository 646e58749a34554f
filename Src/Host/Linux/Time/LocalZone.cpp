#include "Host/Linux/Time/LocalZone.h"

#include <mutex>

namespace Ondrel::Host {

namespace {

// tzset writes what reading the zone reads.
constinit std::mutex g_zoneMutex;

}  // namespace

bool BreakDownLocally(std::time_t time, std::tm& local) {
  return BreakDownAllLocally({&time, 1}, &local) == 1;
}

std::size_t BreakDownAllLocally(std::span<const std::time_t> times, std::tm* locals) {
  const std::lock_guard lock(g_zoneMutex);
  // localtime_r alone need not look at the zone anew.
  tzset();
  std::size_t shown = 0;
  while (shown < times.size() && localtime_r(&times[shown], &locals[shown]) != nullptr) ++shown;
  return shown;
}

long StandardTimeWestOfUtc() {
  const std::lock_guard lock(g_zoneMutex);
  return timezone;
}

bool HasDaylightTime() {
  const std::lock_guard lock(g_zoneMutex);
  return daylight != 0;
}

}  // namespace Ondrel::Host
