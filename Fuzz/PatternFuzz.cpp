#include "Regex/Pattern.h"
#include "Unit/Regex/Model.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

using Pirsk::Regex::CMatchContext;
using Pirsk::Regex::CMatchResult;
using Pirsk::Regex::CPatternT;
using Pirsk::Regex::CRegexMatch;
using Pirsk::Regex::Testing::Model;
using Pirsk::Regex::Testing::Spans;

Spans SpansOf(const CMatchResult& match) {
  Spans spans;
  for (std::int64_t group = 0; match.IsMatched() && group <= match.MaxGroupNumber(); ++group)
    spans.emplace_back(match.GroupBegin(group), match.GroupEnd(group));
  return spans;
}

void Require(bool holds) {
  if (!holds) std::abort();
}

// What a pattern gives beside its matches.
void CheckGroups(const CPatternT& pattern, const CMatchResult& match, const std::string& text) {
  for (const auto& [name, number] : pattern.NamedGroups())
    Require(number >= 0 && number <= pattern.GroupCount());
  if (!match.IsMatched()) return;
  const CRegexMatch copy(match, text);
  for (std::int64_t group = 0; group <= match.MaxGroupNumber(); ++group)
    if (match.GroupBegin(group) >= 0)
      Require(copy.Group(group).size() ==
              static_cast<std::size_t>(match.GroupEnd(group) - match.GroupBegin(group)));
  try {
    copy.Group(match.MaxGroupNumber() + 1);
    std::abort();
  } catch (const Pirsk::Regex::range_error&) {
    // There is not such a group.
  }
}

// The same without shortcuts, and by texts that end at a zero byte.
void CheckOtherWays(const CPatternT& compiled, const std::string& pattern, const std::string& text,
                    std::uint32_t flags, std::int64_t start) {
  const auto length = static_cast<std::int64_t>(text.size());
  const CMatchResult match = compiled.Match(text.data(), length, start);
  CheckGroups(compiled, match, text);
  if ((pattern + text).find('\0') != std::string::npos) return;
  CPatternT slow(pattern.c_str(), flags);
  slow.ForgetShortcuts();
  Require(SpansOf(slow.Match(text.data(), length, start)) == SpansOf(match));
  // The model has not tried how long it takes from another place.
  if (start < 0) Require(SpansOf(slow.Match(text.c_str())) == SpansOf(match));
}

}  // namespace

// The first byte is the flags, the second the start, the third the length of the pattern; the rest
// is the text. The engine has to find what the model does, again and again.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::size_t kLongestPattern = 60;
  constexpr std::size_t kLongestText = 300;
  constexpr std::int64_t kMostSteps = 20'000;
  constexpr int kSearches = 6;
  if (size < 3) return 0;
  const std::uint32_t flags = data[0] & 0x3FU;
  const std::size_t wanted = std::min<std::size_t>(data[2] % (kLongestPattern + 1), size - 3);
  const std::string pattern(reinterpret_cast<const char*>(data + 3), wanted);
  const std::string text(reinterpret_cast<const char*>(data + 3 + wanted),
                         std::min(size - 3 - wanted, kLongestText));
  const auto length = static_cast<std::int64_t>(text.size());
  const std::int64_t start = data[1] % (length + 4) - 1;

  CPatternT compiled;
  compiled.Compile(pattern.data(), static_cast<std::ptrdiff_t>(pattern.size()), flags);
  Model model(pattern, flags);
  CMatchContext context;
  compiled.PrepareMatch(text.data(), length, start, &context);
  model.Prepare(text, start);
  for (int search = 0; search < kSearches; ++search) {
    const auto expected = model.Next(kMostSteps);
    if (!expected) return 0;  // It would take the engine too long as well.
    const Spans found = SpansOf(compiled.Match(context));
    if (found != *expected || context.m_currentPosition != model.Position()) {
      std::fprintf(stderr, "pattern '%s', text '%s', flags %u, start %d, search %d\n",
                   pattern.c_str(), text.c_str(), flags, static_cast<int>(start), search + 1);
      std::abort();
    }
    if (search == 0) CheckOtherWays(compiled, pattern, text, flags, start);
    if (expected->empty()) return 0;
  }
  return 0;
}
