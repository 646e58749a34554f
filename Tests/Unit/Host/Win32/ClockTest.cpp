#include "Host/ClockOperations.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

namespace Ondrel {
namespace {

// A zone of this process for one scope, in the form of the C runtime, whose summer is that of
// the United States.
class ZoneOfProcess {
public:
  explicit ZoneOfProcess(const char* zone) { _putenv_s("TZ", zone); }
  ~ZoneOfProcess() {
    _putenv_s("TZ", "");
    _tzset();
  }
};

TEST(Clock, GivesTheZonesStandardTimeAlsoInSummer) {
  const ZoneOfProcess zone("CET-1CST");
  const Host::ClockOperations clock = Host::MakeClockOperations();
  std::tm local{};

  ASSERT_TRUE(clock.LocalTime(1718971200, local));  // 21 June 2024, 12:00:00 UTC

  EXPECT_EQ(local.tm_hour, 14);
  EXPECT_EQ(local.tm_isdst, 1);
  EXPECT_EQ(clock.StandardTimeWestOfUtc(), -3600);
}

TEST(Clock, FollowsAChangeOfTheProcessesZone) {
  const Host::ClockOperations clock = Host::MakeClockOperations();
  std::tm local{};
  const ZoneOfProcess east("EAS-5:30");
  clock.LocalTime(0, local);
  ASSERT_EQ(clock.StandardTimeWestOfUtc(), -19800);

  const ZoneOfProcess west("WES3:30");
  clock.LocalTime(0, local);

  EXPECT_EQ(clock.StandardTimeWestOfUtc(), 12600);
  EXPECT_EQ(local.tm_hour, 20);
  EXPECT_EQ(local.tm_min, 30);
}

}  // namespace
}  // namespace Ondrel
