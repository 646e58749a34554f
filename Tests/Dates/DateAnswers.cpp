// Answers one question about dates a line, for comparing hosts with each other:
//
//   date STAMP                                  the local date of a time stamp
//   stamp YEAR MONTH DAY HOUR MINUTE SECOND     the time stamp of a local date
//   week YEAR MONTH WEEKDAY WEEK HOUR MINUTE SECOND   the date of a rule

#include <Ondrel/SystemTime.h>

#include <iostream>
#include <string>

namespace {

using Ondrel::CSystemDate_Win;
using Ondrel::CSystemTime_Win;

void Print(const CSystemDate_Win& date) {
  for (const unsigned int field : {date.Year, date.Month, date.Day, date.WeekDay, date.WeekOfMonth,
                                   date.Hour, date.Minute, date.Second})
    std::cout << field << ' ';
}

}  // namespace

int main() {
  std::ios::sync_with_stdio(false);
  for (std::string kind; std::cin >> kind;) {
    CSystemDate_Win date{};
    unsigned long long stamp = 0;
    if (kind == "date") {
      std::cin >> stamp;
      CSystemTime_Win::GetDate(stamp, date);
      Print(date);
    } else if (kind == "stamp") {
      std::cin >> date.Year >> date.Month >> date.Day >> date.Hour >> date.Minute >> date.Second;
      CSystemTime_Win::GetTime(date, stamp);
      std::cout << stamp;
    } else if (kind == "week") {
      CSystemDate_Win rule{};
      std::cin >> rule.Year >> rule.Month >> rule.WeekDay >> rule.WeekOfMonth >> rule.Hour >>
          rule.Minute >> rule.Second;
      CSystemTime_Win::GetDateByWeek(rule, date);
      Print(date);
    } else {
      std::cerr << "unknown question: " << kind << '\n';
      return 1;
    }
    std::cout << '\n';
  }
  return std::cin.eof() ? 0 : 1;
}
