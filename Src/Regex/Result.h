#pragma once

#include "Regex/Buffer.h"

#include <stdexcept>
#include <string>

namespace Pirsk::Regex {

/// A group number that the pattern does not have.
class range_error : public std::range_error {
public:
  range_error() : std::range_error("Out of range") {}
};

/// What a search found: 1, the highest group number, then begin and end (exclusive) of every group,
/// group 0 being the whole match; -1 for a group that took no part. Empty when there is no match.
class CMatchResult : public CBufferT<std::int64_t> {
public:
  bool IsMatched() const { return Size() >= 1 && (*this)[0] != 0; }

  std::int64_t MaxGroupNumber() const { return Size() < 2 ? 0 : (*this)[1]; }

  /// -1 also for a group that the pattern does not have.
  std::int64_t GroupBegin(std::int64_t group) const { return Entry(group * 2 + 2); }
  std::int64_t GroupEnd(std::int64_t group) const { return Entry(group * 2 + 3); }

private:
  std::int64_t Entry(std::int64_t index) const {
    return index >= 2 && index < Size() ? (*this)[index] : -1;
  }
};

/// A result with a copy of the subject.
class CRegexMatch {
public:
  CRegexMatch() = default;
  CRegexMatch(CMatchResult result, std::string subject)
      : m_result(std::move(result)), m_subject(std::move(subject)) {}

  const CMatchResult& Result() const { return m_result; }

  /// The text of a group. Throws `range_error` for a number that the pattern does not have, and
  /// std::out_of_range for a group that took no part.
  std::string Group(std::int64_t group) const {
    if (group < 0 || group > m_result.MaxGroupNumber()) throw range_error();
    const std::int64_t begin = m_result.GroupBegin(group);
    const std::int64_t end = m_result.GroupEnd(group);
    return m_subject.substr(static_cast<std::size_t>(begin), static_cast<std::size_t>(end - begin));
  }

private:
  CMatchResult m_result;
  std::string m_subject;
};

}  // namespace Pirsk::Regex
