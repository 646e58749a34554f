#include "Support/MatchesPattern.h"

#include <regex>

namespace Ondrel::Testing {

bool IsMatchOfPattern(const std::string& text, const std::string& pattern) {
  return std::regex_match(text, std::regex(pattern));
}

}  // namespace Ondrel::Testing
