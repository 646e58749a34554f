#include "Host/ClockOperations.h"

#include <ctime>
#include <mutex>

namespace Ondrel::Host {

namespace {

// tzset writes what reading the zone reads: this library's threads take turns.
constinit std::mutex g_zoneMutex;

}  // namespace

ClockOperations MakeClockOperations() {
  return ClockOperations{
      .CurrentTime = [] { return std::time(nullptr); },
      .LocalTime =
          [](std::time_t time, std::tm& local) {
            const std::lock_guard lock(g_zoneMutex);
            // localtime_r alone need not look at the zone anew.
            tzset();
            return localtime_r(&time, &local) != nullptr;
          },
      .StandardTimeWestOfUtc =
          [] {
            const std::lock_guard lock(g_zoneMutex);
            return timezone;
          },
  };
}

}  // namespace Ondrel::Host
