#pragma once

#include <gmock/gmock.h>

#include <string>

namespace Ondrel::Testing {

/// Whether a whole text matches an ECMAScript pattern.
bool IsMatchOfPattern(const std::string& text, const std::string& pattern);

}  // namespace Ondrel::Testing

/// The whole text matches an ECMAScript pattern. GoogleTest's own matcher knows no character
/// classes where the host has no POSIX patterns.
MATCHER_P(MatchesPattern, pattern, "matches \"" + std::string(pattern) + "\"") {
  return Ondrel::Testing::IsMatchOfPattern(arg, pattern);
}
