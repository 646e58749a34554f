#include "Regex/Pattern.h"

#include <algorithm>
#include <cstdlib>
#include <string>

namespace {

// Two recursions on each of a hundred levels would not end.
bool MayRecur(const std::string& pattern) {
  return pattern.find('?') != std::string::npos &&
         pattern.find_first_of("R0123456789") != std::string::npos;
}

// How long a text may be: loops within and after each other multiply, as often as there are any.
std::size_t LongestText(const std::string& pattern) {
  const auto loops = std::count_if(pattern.begin(), pattern.end(), [](char character) {
    return std::string("*+?{").find(character) != std::string::npos;
  });
  if (loops <= 4) return 24;
  if (loops <= 6) return 10;
  if (loops <= 8) return 5;
  return loops <= 12 ? 2 : 0;
}

}  // namespace

// The first byte is the flags, the second the length of the pattern; the rest is the text.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace Pirsk::Regex;
  constexpr std::size_t kLongestPattern = 24;
  if (size < 2) return 0;
  const std::size_t wanted = std::min<std::size_t>(data[1] % (kLongestPattern + 1), size - 2);
  const std::string pattern(reinterpret_cast<const char*>(data + 2), wanted);
  const std::string text(reinterpret_cast<const char*>(data + 2 + wanted),
                         std::min(size - 2 - wanted, LongestText(pattern)));

  if (MayRecur(pattern)) return 0;
  CPatternT compiled;
  compiled.Compile(pattern.data(), static_cast<std::ptrdiff_t>(pattern.size()), data[0] & 0x3FU);
  const CMatchResult match = compiled.Match(text.data(), static_cast<std::int64_t>(text.size()));
  for (std::int64_t group = 0; match.IsMatched() && group <= match.MaxGroupNumber(); ++group) {
    const std::int64_t begin = match.GroupBegin(group);
    const std::int64_t end = match.GroupEnd(group);
    if (begin < -1 || end > static_cast<std::int64_t>(text.size()) || begin > end) std::abort();
  }
  return 0;
}
