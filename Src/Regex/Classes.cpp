#include "Regex/Builder.h"

#include <string_view>

namespace Pirsk::Regex {

namespace {

// Bytes above 127 come as negative numbers, which the C library's tests do not take.
template <int (*Test)(int)>
int Tests(int character) {
  return Test(static_cast<unsigned char>(character));
}

int IsAscii(int character) { return character >= 0 && character <= 127 ? 1 : 0; }

int IsSpaceOrTab(int character) { return character == ' ' || character == '\t' ? 1 : 0; }

struct PosixClass {
  std::string_view name;  // With the colon after it.
  CPosixElxT<char>::Test test;
  bool isFixed = false;  // It does not depend on the locale.
};

constexpr PosixClass kPosixClasses[] = {
    {"alnum:", &Tests<std::isalnum>},
    {"alpha:", &Tests<std::isalpha>},
    {"ascii:", &IsAscii, true},
    {"cntrl:", &Tests<std::iscntrl>},
    {"digit:", &Tests<std::isdigit>, true},
    {"graph:", &Tests<std::isgraph>},
    {"lower:", &Tests<std::islower>},
    {"print:", &Tests<std::isprint>},
    {"punct:", &Tests<std::ispunct>},
    {"space:", &Tests<std::isspace>},
    {"upper:", &Tests<std::isupper>},
    {"xdigit:", &Tests<std::isxdigit>, true},
    {"blank:", &IsSpaceOrTab, true},
};

const PosixClass* FindPosixClass(std::string_view name) {
  for (const PosixClass& row : kPosixClasses)
    if (name.starts_with(row.name)) return &row;
  return nullptr;
}

// The other case of what a range has in common with A to Z or a to z, unless the whole of that lies
// in the range already.
void AddOtherCase(CRangeElxT<char>& range, char low, char high, char first, char last,
                  char (*convert)(char)) {
  const auto smaller = [](char left, char right) {
    return static_cast<signed char>(left) < static_cast<signed char>(right);
  };
  const char begin = smaller(low, first) ? first : low;
  const char end = smaller(last, high) ? last : high;
  if (smaller(end, begin)) return;
  const char otherBegin = convert(begin);
  const char otherEnd = convert(end);
  if (!smaller(otherBegin, low) && !smaller(high, otherEnd)) return;
  range.m_ranges.Push(otherBegin);
  range.m_ranges.Push(otherEnd);
}

void AddOtherCases(CRangeElxT<char>& range) {
  const std::ptrdiff_t ranges = range.m_ranges.Size();
  const std::ptrdiff_t characters = range.m_characters.Size();
  for (std::ptrdiff_t i = 0; i + 1 < ranges; i += 2) {
    const char low = range.m_ranges[i];
    const char high = range.m_ranges[i + 1];
    AddOtherCase(range, low, high, 'A', 'Z', &ToLower);
    AddOtherCase(range, low, high, 'a', 'z', &ToUpper);
  }
  for (std::ptrdiff_t i = 0; i < characters; ++i) {
    const char character = range.m_characters[i];
    const auto byte = static_cast<unsigned char>(character);
    if (std::isupper(byte) != 0 && !range.Contains(ToLower(character)))
      range.m_characters.Push(ToLower(character));
    if (std::islower(byte) != 0 && !range.Contains(ToUpper(character)))
      range.m_characters.Push(ToUpper(character));
  }
}

}  // namespace

ElxInterface* CPatternT::BuildCharacterClass(std::uint32_t flags) {
  if (!m_lexer.current.Is('[')) return BuildStockClass(flags);
  const Nesting nesting(*this);
  if (nesting.IsTooDeep()) {
    m_isTooDeep = true;
    EndPattern();
    return Stock(1);  // A class takes part in classes alone; this pattern never matches.
  }
  NextToken();
  if (m_lexer.current.Is(':')) {
    const Lexer before = m_lexer;
    if (ElxInterface* const named = BuildPosixClass(flags)) return named;
    m_lexer = before;
  }

  const bool isInverted = m_lexer.current.Is('^');
  if (isInverted) NextToken();
  CRangeElxT<char>* const range =
      Keep(std::make_unique<CRangeElxT<char>>(IsRightToLeft(flags), !isInverted));
  while (!m_lexer.current.Is(']') && !m_lexer.current.IsEnd()) AddClassItem(*range, flags);
  if (m_lexer.current.IsEnd()) m_isUnbalanced = true;
  NextToken();
  if (IgnoresCase(flags)) AddOtherCases(*range);
  range->MakeTable();
  return range;
}

ElxInterface* CPatternT::BuildStockClass(std::uint32_t flags) {
  static constexpr std::string_view kLetters = "wWsSdD";
  constexpr std::size_t kFirstLetter = 3;
  constexpr std::size_t kTwin = 8;
  const char letter = m_lexer.current.character;
  NextToken();
  const std::size_t index = letter == '.' ? ((flags & FLAG_SINGLELINE) != 0 ? 1 : 2)
                                          : kFirstLetter + kLetters.find(letter);
  return Stock(IsRightToLeft(flags) ? index + kTwin : index);
}

// At the opening colon. Null when the text names no class.
ElxInterface* CPatternT::BuildPosixClass(std::uint32_t flags) {
  NextToken();
  std::string text;
  for (; !m_lexer.current.Is(']') && !m_lexer.current.IsEnd(); NextToken())
    text += m_lexer.current.character;
  if (m_lexer.current.IsEnd()) m_isUnbalanced = true;
  NextToken();

  std::string_view name = text;
  const bool isInverted = name.starts_with('^');
  if (isInverted) name.remove_prefix(1);
  const PosixClass* const found = FindPosixClass(name);
  if (found == nullptr) return nullptr;
  return Keep(std::make_unique<CPosixElxT<char>>(found->test, IsRightToLeft(flags), !isInverted,
                                                 found->isFixed));
}

void CPatternT::AddClassItem(CRangeElxT<char>& range, std::uint32_t flags) {
  const Token& token = m_lexer.current;
  const bool isClassLetter = token.kind == kControl && token.character != '\0' &&
                             std::strchr(".DSWdsw", token.character) != nullptr;
  const bool isNested = token.Is('[') && m_lexer.next.Is(':');
  if (isClassLetter || isNested) {
    range.m_embedded.Push(BuildCharacterClass(flags));
  } else if (m_lexer.next.Is('-') && m_lexer.afterNext.IsLiteral()) {
    // Their order is not looked at: a reversed range never matches.
    range.m_ranges.Push(token.character);
    range.m_ranges.Push(m_lexer.afterNext.character);
    for (int i = 0; i < 3; ++i) NextToken();
  } else {
    range.m_characters.Push(token.character);
    NextToken();
  }
}

}  // namespace Pirsk::Regex
