#pragma once

#include <locale>
#include <string>

namespace Ondrel::Testing {

/// Makes the program's global locale one that groups the digits of numbers, for one scope.
class GroupingLocale {
public:
  GroupingLocale()
      : m_earlier(std::locale::global(std::locale(std::locale::classic(), new GroupedDigits))) {}
  ~GroupingLocale() { std::locale::global(m_earlier); }

  GroupingLocale(const GroupingLocale&) = delete;
  GroupingLocale& operator=(const GroupingLocale&) = delete;

private:
  class GroupedDigits : public std::numpunct<char> {
  protected:
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
  };

  std::locale m_earlier;
};

}  // namespace Ondrel::Testing
