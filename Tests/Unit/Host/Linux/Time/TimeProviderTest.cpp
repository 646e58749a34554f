#include "Host/TimeOperations.h"

#include <Ondrel/SystemTime.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <optional>
#include <string>

namespace Ondrel::Host {
namespace {

/// The zone of the process for one scope.
class Zone {
public:
  explicit Zone(const char* name) {
    if (const char* const earlier = std::getenv("TZ")) m_earlier = earlier;
    setenv("TZ", name, 1);
  }
  ~Zone() {
    if (m_earlier)
      setenv("TZ", m_earlier->c_str(), 1);
    else
      unsetenv("TZ");
  }

  Zone(const Zone&) = delete;
  Zone& operator=(const Zone&) = delete;

private:
  std::optional<std::string> m_earlier;
};

// Seconds since 1970 of a local date.
std::int64_t StampOf(unsigned year, unsigned month, unsigned day, unsigned hour, unsigned minute) {
  unsigned long long stamp = 0;
  CSystemTime_Win::GetTime({year, month, day, 0, 0, hour, minute, 0}, stamp);
  return static_cast<std::int64_t>(stamp) / 1000;
}

TEST(TimeProvider, LocalTimesOfBerlin) {
  const Zone zone("Europe/Berlin");
  EXPECT_EQ(timeStampToStrDateTime(1648723319000), "03/31/2022 12:41:59");
  EXPECT_EQ(StampOf(2022, 1, 1, 1, 0), 1640995200);
  EXPECT_EQ(StampOf(2022, 7, 1, 2, 0), 1656633600);
}

TEST(TimeProvider, HourThatIsRepeatedIsItsFirst) {
  const Zone zone("Europe/Berlin");
  EXPECT_EQ(StampOf(2022, 10, 30, 2, 30), 1667089800);
  EXPECT_EQ(StampOf(2022, 10, 30, 3, 0), 1667095200);
}

TEST(TimeProvider, HourThatIsLeftOutCountsAsDaylightTime) {
  const Zone zone("Europe/Berlin");
  EXPECT_EQ(StampOf(2022, 3, 27, 1, 59), 1648342740);
  EXPECT_EQ(StampOf(2022, 3, 27, 2, 30), 1648341000);
  EXPECT_EQ(StampOf(2022, 3, 27, 3, 0), 1648342800);
}

TEST(TimeProvider, HalfHourOfLordHowe) {
  const Zone zone("Australia/Lord_Howe");
  EXPECT_EQ(timeStampToStrDateTime(1640995200000), "01/01/2022 11:00:00");
  EXPECT_EQ(timeStampToStrDateTime(1656633600000), "07/01/2022 10:30:00");
}

TEST(TimeProvider, DayThatApiaLeftOut) {
  const Zone zone("Pacific/Apia");
  EXPECT_EQ(timeStampToStrDateTime(1325239199000), "12/29/2011 23:59:59");
  EXPECT_EQ(timeStampToStrDateTime(1325239200000), "12/31/2011 00:00:00");
}

TEST(TimeProvider, TimeStampsComeBackThroughLocalTime) {
  for (const char* name : {"UTC", "Europe/Berlin", "America/New_York", "Asia/Kolkata",
                           "Australia/Lord_Howe", "America/Sao_Paulo", "Pacific/Apia"}) {
    const Zone zone(name);
    int repeated = 0;
    for (unsigned long long stamp = 0; stamp < 4102444800000; stamp += 86400000ULL * 37 + 3601000) {
      CSystemDate_Win date{};
      CSystemTime_Win::GetDate(stamp, date);
      unsigned long long back = 0;
      CSystemTime_Win::GetTime(date, back);
      repeated += back != stamp ? 1 : 0;
    }
    // Only an hour that a change repeats does not come back.
    EXPECT_LE(repeated, 1) << name;
  }
}

TEST(TimeProvider, DatesThatDoNotExistAreRefused) {
  const TimeOperations host = MakeTimeOperations();
  const SYSTEMTIME wrong[] = {{1600, 1, 0, 1, 0, 0, 0, 0},  {30828, 1, 0, 1, 0, 0, 0, 0},
                              {2022, 0, 0, 1, 0, 0, 0, 0},  {2022, 13, 0, 1, 0, 0, 0, 0},
                              {2022, 2, 0, 29, 0, 0, 0, 0}, {2022, 1, 0, 0, 0, 0, 0, 0},
                              {2022, 1, 0, 1, 24, 0, 0, 0}, {2022, 1, 0, 1, 0, 60, 0, 0},
                              {2022, 1, 0, 1, 0, 0, 60, 0}, {2022, 1, 0, 1, 0, 0, 0, 1000}};
  for (const SYSTEMTIME& time : wrong) {
    FILETIME fileTime{4711, 4712};
    EXPECT_EQ(host.SystemTimeToFileTime(&time, &fileTime), 0);
    EXPECT_EQ(fileTime.dwLowDateTime, 4711U);
    SYSTEMTIME universal{};
    EXPECT_EQ(host.TzSpecificLocalTimeToSystemTime(nullptr, &time, &universal), 0);
  }
}

TEST(TimeProvider, FileTimesHaveTheirBounds) {
  const TimeOperations host = MakeTimeOperations();
  const FILETIME first{0, 0};
  SYSTEMTIME time{};
  ASSERT_EQ(host.FileTimeToSystemTime(&first, &time), 1);
  EXPECT_EQ(time.wYear, 1601);
  EXPECT_EQ(time.wMonth, 1);
  EXPECT_EQ(time.wDay, 1);
  EXPECT_EQ(time.wDayOfWeek, 1);
  const FILETIME beyond{0, 0x80000000};
  EXPECT_EQ(host.FileTimeToSystemTime(&beyond, &time), 0);
}

TEST(TimeProvider, UpTimeIsThatOfTheKernel) {
  // In hundredths of a second, cut off.
  double before = 0, after = 0;
  std::ifstream("/proc/uptime") >> before;
  const double seconds = static_cast<double>(CSystemTime_Win::UpTime()) / 1000;
  std::ifstream("/proc/uptime") >> after;
  EXPECT_GE(seconds, before - 0.05);
  EXPECT_LE(seconds, after + 0.05);
}

TEST(TimeProvider, TimesOfTheSystemAreItsStartAndNow) {
  constexpr double kUnitsPerSecond = 10'000'000;
  constexpr double kSecondsFrom1601To1970 = 11'644'473'600;
  double upTime = 0;
  std::ifstream("/proc/uptime") >> upTime;
  const auto now = static_cast<double>(std::time(nullptr)) + kSecondsFrom1601To1970;
  std::int64_t times[2] = {};
  ULong size = 0;
  ASSERT_EQ(MakeTimeOperations().NtQuerySystemInformation(3, times, sizeof times, &size), 0);
  EXPECT_EQ(size, sizeof times);
  EXPECT_NEAR(static_cast<double>(times[1]) / kUnitsPerSecond, now, 60.0);
  EXPECT_NEAR(static_cast<double>(times[0]) / kUnitsPerSecond, now - upTime, 60.0);
}

}  // namespace
}  // namespace Ondrel::Host
