#include "Regex/Pattern.h"

#include <cstdlib>
#include <string>

namespace {

// Two recursions on each of a hundred levels would not end.
bool MayRecur(const std::string& pattern) {
  return pattern.find('?') != std::string::npos &&
         pattern.find_first_of("R0123456789") != std::string::npos;
}

}  // namespace

// The first byte is the flags, the second the length of the pattern; the rest is the text.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace Pirsk::Regex;
  // Short, so that no pattern takes long: loops within loops multiply.
  constexpr std::size_t kLongestPattern = 24;
  constexpr std::size_t kLongestText = 24;
  if (size < 2) return 0;
  const std::size_t wanted = std::min<std::size_t>(data[1] % (kLongestPattern + 1), size - 2);
  const std::string pattern(reinterpret_cast<const char*>(data + 2), wanted);
  const std::string text(reinterpret_cast<const char*>(data + 2 + wanted),
                         std::min(size - 2 - wanted, kLongestText));

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
