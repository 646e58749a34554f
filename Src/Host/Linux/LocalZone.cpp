#include "Host/Linux/LocalZone.h"

#include <mutex>

namespace Ondrel::Host {

namespace {

// tzset writes what reading the zone reads.
constinit std::mutex g_zoneMutex;

}  // namespace

bool BreakDownLocally(std::time_t time, std::tm& local) {
  const std::lock_guard lock(g_zoneMutex);
  // localtime_r alone need not look at the zone anew.
  tzset();
  return localtime_r(&time, &local) != nullptr;
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
