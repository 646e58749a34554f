#pragma once

#define PCRE2_CODE_UNIT_WIDTH 8

#include "Regex/Pattern.h"

#include <cstdint>
#include <memory>
#include <pcre2.h>
#include <string>
#include <utility>
#include <vector>

/// Engines that answer the same question: what a pattern finds first in a text.
namespace Pirsk::Regex::Testing {

/// Begin and end of all groups, the whole match first; -1 for a group that took no part. Empty
/// without a match.
using Spans = std::vector<std::pair<std::int64_t, std::int64_t>>;

inline std::string TextOf(const Spans& spans) {
  std::string text;
  for (const auto& [begin, end] : spans)
    text += "(" + std::to_string(begin) + "," + std::to_string(end) + ")";
  return text.empty() ? "nothing" : text;
}

class Own {
public:
  explicit Own(const std::string& pattern, std::uint32_t flags = 0) {
    m_pattern.Compile(pattern.data(), static_cast<std::ptrdiff_t>(pattern.size()), flags);
  }

  Spans Find(const std::string& text) const {
    const CMatchResult result =
        m_pattern.Match(text.data(), static_cast<std::int64_t>(text.size()));
    Spans spans;
    if (result.IsMatched())
      for (std::int64_t group = 0; group <= result.MaxGroupNumber(); ++group)
        spans.emplace_back(result.GroupBegin(group), result.GroupEnd(group));
    return spans;
  }

  void TakeTheLongWay() { m_pattern.ForgetShortcuts(); }

private:
  CPatternT m_pattern;
};

class Pcre2 {
public:
  /// With its optimisations at the start a pattern such as "(?=a)^a" needs two letters.
  static constexpr std::uint32_t kExact = PCRE2_DOLLAR_ENDONLY | PCRE2_NO_START_OPTIMIZE;

  explicit Pcre2(const std::string& pattern, std::uint32_t options = kExact) {
    int error = 0;
    PCRE2_SIZE place = 0;
    m_code.reset(pcre2_compile(reinterpret_cast<PCRE2_SPTR>(pattern.data()), pattern.size(),
                               options, &error, &place, nullptr));
    if (m_code) m_match.reset(pcre2_match_data_create_from_pattern(m_code.get(), nullptr));
  }

  /// Whether this engine does not take it for a pattern.
  bool IsRefused() const { return !m_code; }

  Spans Find(const std::string& text) const {
    const int count = pcre2_match(m_code.get(), reinterpret_cast<PCRE2_SPTR>(text.data()),
                                  text.size(), 0, 0, m_match.get(), nullptr);
    if (count <= 0) return {};
    std::uint32_t groups = 0;
    pcre2_pattern_info(m_code.get(), PCRE2_INFO_CAPTURECOUNT, &groups);
    const PCRE2_SIZE* const vector = pcre2_get_ovector_pointer(m_match.get());
    Spans spans(groups + 1, {-1, -1});
    for (std::size_t group = 0; group < static_cast<std::size_t>(count); ++group)
      if (vector[2 * group] != PCRE2_UNSET)
        spans[group] = {static_cast<std::int64_t>(vector[2 * group]),
                        static_cast<std::int64_t>(vector[2 * group + 1])};
    return spans;
  }

private:
  struct Free {
    void operator()(pcre2_code* code) const { pcre2_code_free(code); }
    void operator()(pcre2_match_data* data) const { pcre2_match_data_free(data); }
  };

  std::unique_ptr<pcre2_code, Free> m_code;
  std::unique_ptr<pcre2_match_data, Free> m_match;
};

}  // namespace Pirsk::Regex::Testing
