#pragma once

#include "Regex/Pattern.h"

/// What the parts of the compiler share.
namespace Pirsk::Regex {

/// Counts a level of nesting while it lives.
class CPatternT::Nesting {
public:
  explicit Nesting(CPatternT& pattern) : m_pattern(pattern) {
    ++pattern.m_nesting;
    pattern.m_deepest = std::max(pattern.m_deepest, pattern.m_nesting);
  }
  ~Nesting() { --m_pattern.m_nesting; }

  Nesting(const Nesting&) = delete;
  Nesting& operator=(const Nesting&) = delete;

  bool IsTooDeep() const { return m_pattern.m_nesting > kDeepestNesting; }

private:
  CPatternT& m_pattern;
};

template <class Element>
Element* CPatternT::Keep(std::unique_ptr<Element> element) {
  m_objects.Push(element.get());
  return element.release();
}

inline bool IsRightToLeft(std::uint32_t flags) { return (flags & FLAG_RIGHTTOLEFT) != 0; }

inline bool IgnoresCase(std::uint32_t flags) { return (flags & FLAG_IGNORECASE) != 0; }

/// Reads one to three digits with white space around them, from `place` on; a fourth is left
/// unread. False, with `place` at the first character that is neither, where no digit stands.
bool ReadDecimal(const std::string& text, std::size_t& place, std::int64_t& number);

/// The number that a name is: one to three digits, with nothing but white space around them.
bool IsNumber(const std::string& name, std::int64_t& number);

/// The bracket that opens the group of a list.
CBracketElxT<char>* OpeningBracket(const CListElxT<0>& list);

/// The bracket that closes it.
CBracketElxT<char>* ClosingBracket(const CListElxT<0>& list);

}  // namespace Pirsk::Regex
