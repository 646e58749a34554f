#include "Regex/Builder.h"

namespace Pirsk::Regex {

namespace {

void SkipWhiteSpace(const std::string& text, std::size_t& place) {
  while (place < text.size() && IsWhiteSpace(text[place])) ++place;
}

}  // namespace

bool ReadDecimal(const std::string& text, std::size_t& place, std::int64_t& number) {
  constexpr int kMostDigits = 3;
  SkipWhiteSpace(text, place);
  if (place >= text.size() || !IsDigit(text[place])) return false;
  number = 0;
  for (int digits = 0; digits < kMostDigits && place < text.size() && IsDigit(text[place]);
       ++digits)
    number = number * 10 + (text[place++] - '0');
  SkipWhiteSpace(text, place);
  return true;
}

bool IsNumber(const std::string& name, std::int64_t& number) {
  std::size_t place = 0;
  std::int64_t read = 0;
  if (!ReadDecimal(name, place, read) || place != name.size()) return false;
  number = read;
  return true;
}

CPatternT::CPatternT(const char* pattern, std::uint32_t flags) {
  if (pattern != nullptr)
    Compile(pattern, static_cast<std::ptrdiff_t>(std::strlen(pattern)), flags);
}

CPatternT::~CPatternT() { Clear(); }

void CPatternT::Clear() {
  for (std::ptrdiff_t i = 0; i < m_objects.Size(); ++i) delete m_objects[i];
  m_objects.Restore(0);
  m_groups.Restore(0);
  m_recursions.Restore(0);
  m_namedGroups.Restore(0);
  m_namedBackrefs.Restore(0);
  m_namedConditions.Restore(0);
  m_root = nullptr;
  m_groupCount = m_namedGroupCount = m_numberedTableSize = 0;
  m_pattern = {};
  m_lexer = {};
  m_stock = {};
  m_nesting = 0;
  m_deepest = 1;
  m_isTooDeep = m_isUnbalanced = false;
  m_shortcuts = {};
}

void CPatternT::Compile(const char* pattern, std::ptrdiff_t length, std::uint32_t flags) {
  Clear();
  m_pattern = CBufferRefT<char>(pattern, length);
  m_flags = flags;
  for (int slot = 0; slot < 3; ++slot) NextToken();

  m_root = BuildAlternative(flags);
  if (m_isTooDeep) {
    Clear();
    m_isTooDeep = true;
    return;
  }
  if (!m_lexer.current.IsEnd()) m_isUnbalanced = true;
  m_groups.Prepare(0, nullptr);
  m_groups[0] = m_root;
  m_numberedTableSize = m_groups.Size();
  ResolveReferences();
  FindShortcuts();
  m_pattern = {};
}

ElxInterface* CPatternT::Stock(std::size_t index) {
  if (index >= kStockCount) index = 0;
  if (m_stock[index] == nullptr) m_stock[index] = MakeStock(index);
  return m_stock[index];
}

ElxInterface* CPatternT::MakeStock(std::size_t index) {
  if (index == 0) return Keep(std::make_unique<CEmptyElxT<0>>());

  struct Row {
    const char* ranges;
    const char* characters;
    bool isDirect;
  };
  // Intentional: form feed and vertical tab count as white space from right to left only.
  static constexpr Row kRows[] = {
      {"", "", false},           {"", "\n", false},          {"AZaz09", "_", true},
      {"AZaz09", "_", false},    {"", " \t\r\n", true},      {"", " \t\r\n", false},
      {"09", "", true},          {"09", "", false},          {"", "", false},
      {"", "\n", false},         {"AZaz09", "_", true},      {"AZaz09", "_", false},
      {"", " \t\r\n\f\v", true}, {"", " \t\r\n\f\v", false}, {"09", "", true},
      {"09", "", false},
  };
  constexpr std::size_t kFirstRightToLeft = 9;
  const Row& row = kRows[index - 1];
  auto range = std::make_unique<CRangeElxT<char>>(index >= kFirstRightToLeft, row.isDirect);
  for (const char* c = row.ranges; *c != '\0'; ++c) range->m_ranges.Push(*c);
  for (const char* c = row.characters; *c != '\0'; ++c) range->m_characters.Push(*c);
  range->MakeTable();
  return Keep(std::move(range));
}

// One copy of the flags for all branches: a change within lasts to the end of the group.
ElxInterface* CPatternT::BuildAlternative(std::uint32_t flags) {
  if (m_lexer.current.IsEnd()) return Stock(0);
  ElxInterface* const first = BuildList(flags);
  if (!m_lexer.current.Is('|')) return first;
  CAlternativeElxT<0>* const alternative = Keep(std::make_unique<CAlternativeElxT<0>>());
  alternative->m_branches.Push(first);
  while (m_lexer.current.Is('|')) {
    NextToken();
    alternative->m_branches.Push(BuildList(flags));
  }
  return alternative;
}

ElxInterface* CPatternT::BuildList(std::uint32_t& flags) {
  const auto isAtEnd = [this] {
    const Token& token = m_lexer.current;
    return token.IsEnd() || token.Is('|') || token.Is(')');
  };
  if (isAtEnd()) return Stock(0);
  ElxInterface* const first = BuildRepeat(flags);
  if (isAtEnd()) return first;
  // The direction is the one in force after the first item; no letter changes it.
  CListElxT<0>* const list = Keep(std::make_unique<CListElxT<0>>(IsRightToLeft(flags)));
  list->m_items.Push(first);
  while (!isAtEnd()) list->m_items.Push(BuildRepeat(flags));
  return list;
}

ElxInterface* CPatternT::BuildRepeat(std::uint32_t& flags) {
  ElxInterface* const item = BuildSimple(flags);
  std::int64_t minimum = 0;
  std::int64_t maximum = 0;
  if (!ReadQuantifier(minimum, maximum)) return item;

  const bool isReluctant = m_lexer.current.Is('?');
  const bool isPossessive = m_lexer.current.Is('+');
  if (isReluctant || isPossessive) NextToken();
  if (maximum == 0) return Stock(0);
  if (minimum == maximum) return Keep(std::make_unique<CRepeatElxT<0>>(item, minimum));
  const std::int64_t span = maximum - minimum;
  if (isReluctant) return Keep(std::make_unique<CReluctantElxT<0>>(item, minimum, span));
  if (isPossessive) return Keep(std::make_unique<CPossessiveElxT<0>>(item, minimum, span));
  return Keep(std::make_unique<CGreedyElxT<0>>(item, minimum, span));
}

bool CPatternT::ReadQuantifier(std::int64_t& minimum, std::int64_t& maximum) {
  const Token& token = m_lexer.current;
  if (token.Is('{')) {
    NextToken();
    ReadBraces(minimum, maximum);
    return true;
  }
  if (!token.Is('*') && !token.Is('+') && !token.Is('?')) return false;
  minimum = token.Is('+') ? 1 : 0;
  maximum = token.Is('?') ? 1 : kUnbounded;
  NextToken();
  return true;
}

// A number, a number and a comma, or two numbers; anything else is 0.
void CPatternT::ReadBraces(std::int64_t& minimum, std::int64_t& maximum) {
  std::string text;
  for (; !m_lexer.current.IsEnd() && !m_lexer.current.Is('}'); NextToken())
    text += m_lexer.current.character;
  NextToken();

  minimum = maximum = 0;
  std::size_t place = 0;
  if (!ReadDecimal(text, place, minimum)) return;
  maximum = minimum;
  if (place >= text.size() || text[place] != ',') return;
  ++place;
  // A reversed range collapses to its first number.
  maximum = ReadDecimal(text, place, maximum) ? std::max(minimum, maximum) : kUnbounded;
}

ElxInterface* CPatternT::BuildSimple(std::uint32_t& flags) {
  std::string text;
  for (;;) {
    const Token& token = m_lexer.current;
    if (token.IsLiteral()) {
      const Token& next = m_lexer.next;
      const bool isRepeated = next.Is('{') || next.Is('?') || next.Is('*') || next.Is('+');
      if (isRepeated && !text.empty()) break;
      text += token.character;
      NextToken();
      if (isRepeated) break;
      continue;
    }
    if (token.IsEnd() || token.Is(')') || token.Is('|') || !text.empty()) break;
    if (token.Is('(')) return BuildGroup(flags);
    if (IsOneOf(token.character, ".DSW[dsw")) return BuildCharacterClass(flags);
    if (IsOneOf(token.character, "$ABGZ^bz")) return BuildBoundary(flags);
    if (IsOneOf(token.character, "\\gk")) return BuildBackref(flags);
    // A quantifier with nothing to repeat is a literal.
    text += token.character;
    NextToken();
  }
  if (text.empty()) return Stock(0);
  return Keep(std::make_unique<CStringElxT<char>>(text.data(),
                                                  static_cast<std::ptrdiff_t>(text.size()),
                                                  IsRightToLeft(flags), IgnoresCase(flags)));
}

ElxInterface* CPatternT::BuildBoundary(std::uint32_t flags) {
  using Boundary = CBoundaryElxT<char>;
  const bool isMultiline = (flags & FLAG_MULTILINE) != 0;
  const char letter = m_lexer.current.character;
  NextToken();
  std::int32_t type = Boundary::kWordBoundary;
  switch (letter) {
    case 'A':
      type = Boundary::kTextStart;
      break;
    case 'z':
      type = Boundary::kTextEnd;
      break;
    case 'Z':
      type = Boundary::kTextEndOrLastLineEnd;
      break;
    case '^':
      type = isMultiline ? Boundary::kLineStart : Boundary::kTextStart;
      break;
    case '$':
      type = isMultiline ? Boundary::kLineEnd : Boundary::kTextEnd;
      break;
    case 'G':
      if ((flags & FLAG_GLOBAL) == 0) return Stock(0);
      return Keep(std::make_unique<CGlobalElxT<0>>());
    default:
      break;
  }
  return Keep(std::make_unique<Boundary>(type, letter != 'B'));
}

ElxInterface* CPatternT::BuildBackref(std::uint32_t flags) {
  NextToken();
  CBackrefElxT<char>* const reference =
      Keep(std::make_unique<CBackrefElxT<char>>(-1, IsRightToLeft(flags), IgnoresCase(flags)));
  const char first = m_lexer.current.character;
  if (first != '<' && first != '\'') {
    reference->m_group = ReadDigits();
    return reference;
  }
  NextToken();
  const std::string name = ReadName(first == '<' ? '>' : '\'');
  if (IsNumber(name, reference->m_group)) return reference;
  reference->m_name.Assign(name.data(), static_cast<std::ptrdiff_t>(name.size()));
  m_namedBackrefs.Push(reference);
  return reference;
}

// Up to three digits as tokens; 0 without any.
std::int64_t CPatternT::ReadDigits() {
  constexpr int kMostDigits = 3;
  std::int64_t number = 0;
  for (int digits = 0; digits < kMostDigits && IsDigit(m_lexer.current.character); ++digits) {
    number = number * 10 + (m_lexer.current.character - '0');
    NextToken();
  }
  return number;
}

// The characters up to a closing one, which is consumed.
std::string CPatternT::ReadName(char closing) {
  std::string name;
  for (; !m_lexer.current.IsEnd() && m_lexer.current.character != closing; NextToken())
    name += m_lexer.current.character;
  NextToken();
  return name;
}

}  // namespace Pirsk::Regex
