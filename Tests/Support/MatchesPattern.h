#pragma once

#include <gmock/gmock.h>

#include <regex>
#include <string>

/// The whole text matches an ECMAScript pattern. GoogleTest's own matcher knows no character classes
/// where the host has no POSIX patterns.
MATCHER_P(MatchesPattern, pattern, "matches \"" + std::string(pattern) + "\"") {
  return std::regex_match(std::string(arg), std::regex(pattern));
}
