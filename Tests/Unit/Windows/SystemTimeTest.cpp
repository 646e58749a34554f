#include "Support/GroupingLocale.h"
#include "Support/PreparedTime.h"

#include <Ondrel/SystemTime.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

namespace Ondrel {
namespace {

using Testing::PreparedOperations;
using Testing::TimeWithOffset;

constexpr unsigned long long kSecond = 1000;
constexpr unsigned long long kDay = 86400 * kSecond;

CSystemDate_Win DateOf(unsigned year, unsigned month, unsigned day, unsigned hour = 0,
                       unsigned minute = 0, unsigned second = 0) {
  return {.Year = year,
          .Month = month,
          .Day = day,
          .WeekDay = 0,
          .WeekOfMonth = 0,
          .Hour = hour,
          .Minute = minute,
          .Second = second};
}

unsigned long long TimeOf(const CSystemDate_Win& date) {
  unsigned long long timeStamp = 4711;
  CSystemTime_Win::GetTime(date, timeStamp);
  return timeStamp;
}

CSystemDate_Win DateByWeek(unsigned year, unsigned month, unsigned weekDay, unsigned week,
                           unsigned hour = 2) {
  CSystemDate_Win rule = DateOf(year, month, 4711, hour, 30, 15);
  rule.WeekDay = weekDay;
  rule.WeekOfMonth = week;
  CSystemDate_Win date{};
  CSystemTime_Win::GetDateByWeek(rule, date);
  return date;
}

class SystemTimeInUtc : public testing::Test {
private:
  PreparedOperations<Host::TimeOperations> m_operations{Host::Time(), TimeWithOffset(0)};
};

TEST(SystemDate, IsARecordOfEightNumbersInOrder) {
  static_assert(sizeof(CSystemDate_Win) == 32);
  const CSystemDate_Win date{1, 2, 3, 4, 5, 6, 7, 8};
  EXPECT_EQ(date.Year, 1U);
  EXPECT_EQ(date.Month, 2U);
  EXPECT_EQ(date.Day, 3U);
  EXPECT_EQ(date.WeekDay, 4U);
  EXPECT_EQ(date.WeekOfMonth, 5U);
  EXPECT_EQ(date.Hour, 6U);
  EXPECT_EQ(date.Minute, 7U);
  EXPECT_EQ(date.Second, 8U);
}

TEST(SystemDate, FieldsOfTheWeekDoNotCount) {
  CSystemDate_Win left = DateOf(2022, 3, 31, 12, 41, 59);
  CSystemDate_Win right = left;
  right.WeekDay = 6;
  right.WeekOfMonth = 5;
  EXPECT_TRUE(left == right);
  EXPECT_FALSE(left != right);
  EXPECT_FALSE(left < right);
  EXPECT_TRUE(left <= right);
  EXPECT_FALSE(left > right);
  EXPECT_TRUE(left >= right);
}

TEST(SystemDate, EarlierFieldsDecideAsUnsignedNumbers) {
  // Each date is below the next, though all its later fields are greater.
  const CSystemDate_Win dates[] = {DateOf(1, 9, 9, 9, 9, 9), DateOf(2, 1, 9, 9, 9, 9),
                                   DateOf(2, 2, 1, 9, 9, 9), DateOf(2, 2, 2, 1, 9, 9),
                                   DateOf(2, 2, 2, 2, 1, 9), DateOf(2, 2, 2, 2, 2, 1),
                                   DateOf(2, 2, 2, 2, 2, 2), DateOf(0xFFFFFFFF, 0, 0)};
  for (std::size_t i = 0; i + 1 < std::size(dates); ++i) {
    EXPECT_TRUE(dates[i] < dates[i + 1]) << i;
    EXPECT_TRUE(dates[i] <= dates[i + 1]) << i;
    EXPECT_TRUE(dates[i] != dates[i + 1]) << i;
    EXPECT_TRUE(dates[i + 1] > dates[i]) << i;
    EXPECT_TRUE(dates[i + 1] >= dates[i]) << i;
    EXPECT_FALSE(dates[i + 1] < dates[i]) << i;
    EXPECT_FALSE(dates[i] == dates[i + 1]) << i;
  }
}

TEST_F(SystemTimeInUtc, DateOfATimeStampLeavesTheWeekOfMonth) {
  CSystemDate_Win date{};
  date.WeekOfMonth = 4711;
  CSystemTime_Win::GetDate(1648730519999, date);
  EXPECT_EQ(date.Year, 2022U);
  EXPECT_EQ(date.Month, 3U);
  EXPECT_EQ(date.Day, 31U);
  EXPECT_EQ(date.WeekDay, 4U);
  EXPECT_EQ(date.WeekOfMonth, 4711U);
  EXPECT_EQ(date.Hour, 12U);
  EXPECT_EQ(date.Minute, 41U);
  EXPECT_EQ(date.Second, 59U);
}

TEST_F(SystemTimeInUtc, TimeStampComesBackRoundedDownToTheSecond) {
  for (const unsigned long long stamp :
       {0ULL, 999ULL, 951782400123ULL, 4102444799999ULL, 253402300799000ULL}) {
    CSystemDate_Win date{};
    CSystemTime_Win::GetDate(stamp, date);
    EXPECT_EQ(TimeOf(date), stamp / kSecond * kSecond) << stamp;
  }
}

TEST_F(SystemTimeInUtc, ImpossibleDayIsTheFirstOfTheNextMonth) {
  const struct {
    unsigned month;
    unsigned day;
    unsigned nextMonth;
  } rows[] = {{1, 32, 2},  {2, 30, 3},   {2, 31, 3},   {2, 4711, 3}, {3, 32, 4},
              {4, 31, 5},  {5, 32, 6},   {6, 31, 7},   {7, 32, 8},   {8, 32, 9},
              {9, 31, 10}, {10, 32, 11}, {11, 31, 12}, {4, 32, 5}};
  for (const auto& row : rows)
    EXPECT_EQ(TimeOf(DateOf(2022, row.month, row.day, 10)),
              TimeOf(DateOf(2022, row.nextMonth, 1, 10)))
        << row.month << '/' << row.day;
}

TEST_F(SystemTimeInUtc, LastDaysOfMonthsArePossible) {
  EXPECT_EQ(TimeOf(DateOf(2022, 1, 31)), 19023 * kDay);
  EXPECT_EQ(TimeOf(DateOf(2022, 4, 30)), 19112 * kDay);
  EXPECT_EQ(TimeOf(DateOf(2024, 2, 29)), 19782 * kDay);
}

TEST_F(SystemTimeInUtc, TwentyNinthOfFebruaryOfACommonYearIsTheFirstOfMarch) {
  EXPECT_EQ(TimeOf(DateOf(2022, 2, 29, 7)), TimeOf(DateOf(2022, 3, 1, 7)));
}

TEST_F(SystemTimeInUtc, ThirtySecondOfDecemberHasNoMeaning) {
  // No time is found, which counts as 1601.
  EXPECT_EQ(TimeOf(DateOf(2022, 12, 32)), 0ULL - 11644473600000ULL);
}

TEST(SystemTime, FailedConversionIsTriedOnceMoreForTheLeapDayAlone) {
  std::vector<std::string> asked;
  Host::TimeOperations operations = TimeWithOffset(0);
  operations.TzSpecificLocalTimeToSystemTime = [&asked](const TIME_ZONE_INFORMATION* zone,
                                                        const SYSTEMTIME* local, SYSTEMTIME*) {
    EXPECT_EQ(zone, nullptr);
    EXPECT_EQ(local->wMilliseconds, 0);
    asked.push_back(std::to_string(local->wMonth) + "/" + std::to_string(local->wDay));
    return 0;
  };
  const PreparedOperations<Host::TimeOperations> prepared(Host::Time(), operations);
  TimeOf(DateOf(2022, 2, 28));
  TimeOf(DateOf(2022, 2, 29));
  EXPECT_THAT(asked, testing::ElementsAre("2/28", "2/29", "3/1"));
}

TEST_F(SystemTimeInUtc, NthWeekdayOfAMonth) {
  // March 2022 begins on a Tuesday and ends on a Thursday.
  EXPECT_EQ(DateByWeek(2022, 3, 0, 5), DateOf(2022, 3, 27, 2, 30, 15));
  EXPECT_EQ(DateByWeek(2022, 3, 4, 5), DateOf(2022, 3, 31, 2, 30, 15));
  EXPECT_EQ(DateByWeek(2022, 3, 5, 5), DateOf(2022, 3, 25, 2, 30, 15));
  EXPECT_EQ(DateByWeek(2022, 3, 2, 1), DateOf(2022, 3, 1, 2, 30, 15));
  EXPECT_EQ(DateByWeek(2022, 3, 1, 1), DateOf(2022, 3, 7, 2, 30, 15));
  EXPECT_EQ(DateByWeek(2022, 3, 0, 2), DateOf(2022, 3, 13, 2, 30, 15));
  EXPECT_EQ(DateByWeek(2022, 3, 2, 4), DateOf(2022, 3, 22, 2, 30, 15));
}

TEST_F(SystemTimeInUtc, WeekDayAndWeekAreCopiedFromTheRule) {
  const CSystemDate_Win date = DateByWeek(2022, 3, 6, 3);
  EXPECT_EQ(date.WeekDay, 6U);
  EXPECT_EQ(date.WeekOfMonth, 3U);
}

TEST_F(SystemTimeInUtc, LastWeekOfDecemberGoesBackFromJanuary) {
  EXPECT_EQ(DateByWeek(2022, 12, 6, 5), DateOf(2022, 12, 31, 2, 30, 15));
  EXPECT_EQ(DateByWeek(2022, 12, 0, 5), DateOf(2022, 12, 25, 2, 30, 15));
}

TEST_F(SystemTimeInUtc, WeekAbove5IsTheLast) {
  EXPECT_EQ(DateByWeek(2022, 3, 0, 6), DateOf(2022, 3, 27, 2, 30, 15));
}

TEST_F(SystemTimeInUtc, WeekZeroIsAWeekBeforeTheFirst) {
  // 1 + 6 + 0 - 7: the Monday after a Tuesday the first, a week earlier.
  EXPECT_EQ(DateByWeek(2022, 3, 1, 0).Day, 0U);
}

TEST(SystemTime, DayAbove31LosesTheReferenceDay) {
  // The reference day is 30 April where local time is late by more than the rule's hour gives.
  Host::TimeOperations operations = TimeWithOffset(0);
  operations.SystemTimeToTzSpecificLocalTime = [](const TIME_ZONE_INFORMATION*, const SYSTEMTIME*,
                                                  SYSTEMTIME* local) {
    *local = {};
    local->wYear = 2022;
    local->wMonth = 4;
    local->wDay = 30;
    local->wDayOfWeek = 6;
    return 1;
  };
  const PreparedOperations<Host::TimeOperations> prepared(Host::Time(), operations);
  EXPECT_EQ(DateByWeek(2022, 5, 0, 1).Day, 31U);  // 30 + 1, not above 31.
  EXPECT_EQ(DateByWeek(2022, 5, 1, 1).Day, 2U);   // 30 + 2 - 30
  EXPECT_EQ(DateByWeek(2022, 5, 6, 2).Day, 7U);   // 30 + 7 - 30
  EXPECT_EQ(DateByWeek(2022, 5, 6, 1).Day, 30U);
}

TEST(SystemTime, HourIsOneMoreWhereTheNewYearHasBegunInLocalTimeAlone) {
  const PreparedOperations<Host::TimeOperations> prepared(Host::Time(), TimeWithOffset(120));
  // 1 January 2023 at 1:30:15 local is still 2022 in UTC.
  EXPECT_EQ(DateByWeek(2023, 1, 0, 1, 1), DateOf(2023, 1, 1, 2, 30, 15));
  EXPECT_EQ(DateByWeek(2023, 1, 0, 1, 5), DateOf(2023, 1, 1, 5, 30, 15));
}

TEST(SystemTime, LocalToUtcGoesByEstimateWhereTheHostCannot) {
  Host::TimeOperations operations = TimeWithOffset(-210);
  operations.TzSpecificLocalTimeToSystemTime = nullptr;
  const PreparedOperations<Host::TimeOperations> prepared(Host::Time(), operations);
  EXPECT_EQ(TimeOf(DateOf(2022, 3, 31, 12, 41, 59)), (1648730519ULL + 210 * 60) * kSecond);
}

TEST(SystemTime, EstimateIsCorrectedByWhatTheZoneAddsToItsBias) {
  // The bias is one hour less than what is in force: daylight time.
  Host::TimeOperations operations = TimeWithOffset(120);
  operations.TzSpecificLocalTimeToSystemTime = nullptr;
  operations.GetTimeZoneInformation = [](TIME_ZONE_INFORMATION* zone) -> ULong {
    zone->Bias = -60;
    return TIME_ZONE_ID_DAYLIGHT;
  };
  const PreparedOperations<Host::TimeOperations> prepared(Host::Time(), operations);
  EXPECT_EQ(TimeOf(DateOf(2022, 7, 1, 2)), 1656633600ULL * kSecond);
}

TEST(SystemTime, EstimateFailsWithoutAZone) {
  for (const ULong answer : {ULong{TIME_ZONE_ID_UNKNOWN}, ULong{TIME_ZONE_ID_INVALID}}) {
    Host::TimeOperations operations = TimeWithOffset(0);
    operations.TzSpecificLocalTimeToSystemTime = nullptr;
    operations.GetTimeZoneInformation = [answer](TIME_ZONE_INFORMATION*) { return answer; };
    const PreparedOperations<Host::TimeOperations> prepared(Host::Time(), operations);
    EXPECT_EQ(TimeOf(DateOf(2022, 7, 1, 2)), 0ULL - 11644473600000ULL);
  }
}

TEST(SystemTime, EstimateTriesTheFirstOfMarchForTheLeapDayOfACommonYear) {
  Host::TimeOperations operations = TimeWithOffset(0);
  operations.TzSpecificLocalTimeToSystemTime = nullptr;
  const PreparedOperations<Host::TimeOperations> prepared(Host::Time(), operations);
  EXPECT_EQ(TimeOf(DateOf(2022, 2, 29)), TimeOf(DateOf(2022, 3, 1)));
}

TEST(SystemTime, UpTimeIsTheDifferenceOfTheHostsTimes) {
  Host::TimeOperations operations = TimeWithOffset(0);
  operations.NtQuerySystemInformation = [](int informationClass, void* information, ULong length,
                                           ULong*) -> std::int32_t {
    EXPECT_EQ(informationClass, 3);
    EXPECT_EQ(length, 32U);
    const std::uint64_t times[] = {1000000, 987654321};
    std::memcpy(information, times, sizeof times);
    return 0;
  };
  const PreparedOperations<Host::TimeOperations> prepared(Host::Time(), operations);
  EXPECT_EQ(CSystemTime_Win::UpTime(), 98665ULL);
}

TEST(SystemTime, UpTimeIsZeroWhereTheHostDoesNotReportIt) {
  Host::TimeOperations operations = TimeWithOffset(0);
  operations.NtQuerySystemInformation = nullptr;
  const PreparedOperations<Host::TimeOperations> prepared(Host::Time(), operations);
  EXPECT_EQ(CSystemTime_Win::UpTime(), 0ULL);
  Host::Time().NtQuerySystemInformation = [](int, void*, ULong, ULong*) -> std::int32_t {
    return static_cast<std::int32_t>(0xC0000003);
  };
  EXPECT_EQ(CSystemTime_Win::UpTime(), 0ULL);
}

TEST(SystemTime, UpTimeOfThisHostRises) {
  const unsigned long long before = CSystemTime_Win::UpTime();
  EXPECT_GT(before, 0ULL);
  EXPECT_GE(CSystemTime_Win::UpTime(), before);
}

TEST_F(SystemTimeInUtc, TextIsMonthFirst) {
  EXPECT_EQ(timeStampToStrDateTime(0), "01/01/1970 00:00:00");
  EXPECT_EQ(timeStampToStrDateTime(1648730519000), "03/31/2022 12:41:59");
  EXPECT_EQ(timeStampToStrDateTime(253402300799000).size(), 19U);
}

TEST_F(SystemTimeInUtc, ProgramLocaleDoesNotGroupTheDigitsOfTheText) {
  const Testing::GroupingLocale grouping;
  EXPECT_EQ(timeStampToStrDateTime(1648730519000), "03/31/2022 12:41:59");
}

TEST(SystemTime, FailuresOfTheHostLeaveZeros) {
  Host::TimeOperations operations = TimeWithOffset(0);
  operations.FileTimeToSystemTime = [](const FILETIME*, SYSTEMTIME*) { return 0; };
  const PreparedOperations<Host::TimeOperations> prepared(Host::Time(), operations);
  CSystemDate_Win date{};
  CSystemTime_Win::GetDate(1648730519000, date);
  EXPECT_EQ(date, DateOf(0, 0, 0));
}

}  // namespace
}  // namespace Ondrel
