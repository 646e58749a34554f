#include "ESmtp/MailDate.h"
#include "Host/ClockOperations.h"
#include "Support/PreparedClock.h"
#include "Support/PreparedOperations.h"

#include <gtest/gtest.h>

#include <ctime>
#include <locale>
#include <ostream>
#include <string>
#include <vector>

namespace Ondrel {
namespace {

using Testing::ClockStandingStill;
using Testing::PreparedOperations;

std::string MailDateBy(Host::ClockOperations clock) {
  const PreparedOperations prepared(Host::Clock(), std::move(clock));
  return MailDate();
}

struct ZoneRow {
  const char* name;
  long secondsWestOfUtc;
  const char* date;
};

void PrintTo(const ZoneRow& row, std::ostream* out) { *out << row.name; }

class MailDateInZone : public ::testing::TestWithParam<ZoneRow> {};

INSTANTIATE_TEST_SUITE_P(
    Zones, MailDateInZone,
    ::testing::Values(ZoneRow{"TwoHoursEast", -7200, "Thu,\t07 Mar 2024 09:05:03 +0200"},
                      ZoneRow{"FiveHoursWest", 18000, "Thu,\t07 Mar 2024 09:05:03 -0500"},
                      ZoneRow{"IndiaEast", -19800, "Thu,\t07 Mar 2024 09:05:03 +0530"},
                      ZoneRow{"NepalEast", -20700, "Thu,\t07 Mar 2024 09:05:03 +0545"},
                      ZoneRow{"NewfoundlandWest", 12600, "Thu,\t07 Mar 2024 09:05:03 -0330"},
                      ZoneRow{"UtcHasAMinusSign", 0, "Thu,\t07 Mar 2024 09:05:03 -0000"},
                      ZoneRow{"FourteenHoursEast", -50400, "Thu,\t07 Mar 2024 09:05:03 +1400"},
                      ZoneRow{"SecondsOfAZoneAreDropped", 3661,
                              "Thu,\t07 Mar 2024 09:05:03 -0101"}),
    [](const ::testing::TestParamInfo<ZoneRow>& row) { return row.param.name; });

TEST_P(MailDateInZone, HasATabAfterTheCommaAndTheZonesOffset) {
  EXPECT_EQ(MailDateBy(ClockStandingStill(GetParam().secondsWestOfUtc)), GetParam().date);
}

TEST(MailDate, OffsetStaysThatOfStandardTimeInSummer) {
  Host::ClockOperations clock = ClockStandingStill(-3600);
  clock.LocalTime = [](std::time_t, std::tm& local) {
    local = {};
    local.tm_hour = 14;
    local.tm_mday = 21;
    local.tm_mon = 5;
    local.tm_year = 124;
    local.tm_wday = 5;
    local.tm_isdst = 1;
    return true;
  };

  EXPECT_EQ(MailDateBy(clock), "Fri,\t21 Jun 2024 14:00:00 +0100");
}

TEST(MailDate, IsTheLocalFormOfTheCurrentTime) {
  Host::ClockOperations clock = ClockStandingStill(0);
  std::time_t asked = 0;
  clock.CurrentTime = [] { return std::time_t{1234567890}; };
  clock.LocalTime = [&asked, show = clock.LocalTime](std::time_t time, std::tm& local) {
    asked = time;
    return show(time, local);
  };

  MailDateBy(clock);

  EXPECT_EQ(asked, 1234567890);
}

TEST(MailDate, ZoneIsReadAfterTheLocalTimeThatSetsIt) {
  Host::ClockOperations clock = ClockStandingStill(0);
  std::vector<std::string> calls;
  clock.LocalTime = [&calls, show = clock.LocalTime](std::time_t time, std::tm& local) {
    calls.push_back("LocalTime");
    return show(time, local);
  };
  clock.StandardTimeWestOfUtc = [&calls] {
    calls.push_back("StandardTimeWestOfUtc");
    return 0L;
  };

  MailDateBy(clock);

  EXPECT_EQ(calls, (std::vector<std::string>{"LocalTime", "StandardTimeWestOfUtc"}));
}

TEST(MailDate, TimeThatCannotBeShownReadsAsTheFirstOfJanuary1970) {
  Host::ClockOperations clock = ClockStandingStill(0);
  clock.LocalTime = [](std::time_t, std::tm&) { return false; };

  EXPECT_EQ(MailDateBy(clock), "Thu,\t01 Jan 1970 00:00:00 -0000");
}

TEST(Clock, ReadsTheSystemsTime) {
  const std::time_t before = std::time(nullptr);

  const std::time_t now = Host::MakeClockOperations().CurrentTime();

  EXPECT_GE(now, before);
  EXPECT_LE(now, std::time(nullptr));
}

TEST(Clock, IsThatOfTheHostUnlessATestPutsAnotherInPlace) {
  EXPECT_TRUE(Host::Clock().CurrentTime);
  EXPECT_TRUE(Host::Clock().LocalTime);
  EXPECT_TRUE(Host::Clock().StandardTimeWestOfUtc);
  EXPECT_TRUE(Host::Clock().SteadyTime);
  EXPECT_TRUE(Host::Clock().Rest);
}

}  // namespace
}  // namespace Ondrel
