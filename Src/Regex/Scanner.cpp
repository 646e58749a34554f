#include "Regex/Pattern.h"

namespace Pirsk::Regex {

namespace {

constexpr int kHexadecimal = 16;

// The value of a hexadecimal digit, or -1.
int HexadecimalValue(char c) {
  if (IsDigit(c)) return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

int UpperCase(int character) { return std::toupper(character); }

int LowerCase(int character) { return std::tolower(character); }

}  // namespace

void CPatternT::NextToken() {
  m_lexer.previous = m_lexer.current;
  m_lexer.current = m_lexer.next;
  m_lexer.next = m_lexer.afterNext;
  while (!ScanToken()) {
  }
}

// What is left of the pattern is ignored.
void CPatternT::EndPattern() {
  m_lexer.position = m_pattern.Size();
  for (int slot = 0; slot < 3; ++slot) NextToken();
}

// The character at a place of the pattern; 0 after its end.
char CPatternT::PatternAt(std::int64_t position) const {
  return position < m_pattern.Size() ? m_pattern[position] : '\0';
}

// The next `length` characters of the pattern are this token.
void CPatternT::Take(char character, std::int32_t kind, std::int64_t length) {
  m_lexer.afterNext = {character, kind, m_lexer.position, length};
  m_lexer.position += length;
}

// Fills the slot after-next; false when something was only skipped.
bool CPatternT::ScanToken() {
  if (m_lexer.position >= m_pattern.Size()) {
    m_lexer.position = m_pattern.Size();
    Take('\0', kControl, 0);
    return true;
  }
  if (m_lexer.quote != 0) return ScanQuoted();
  const char character = m_pattern[m_lexer.position];
  return character == '\\' ? ScanEscape() : ScanPlain(character);
}

bool CPatternT::ScanQuoted() {
  const char character = m_pattern[m_lexer.position];
  if (character == '\\' && PatternAt(m_lexer.position + 1) == 'E') {
    m_lexer.position += 2;
    m_lexer.quote = 0;
    m_lexer.convert = nullptr;
    return false;
  }
  const bool isConverted = m_lexer.convert != nullptr;
  Take(isConverted ? static_cast<char>(m_lexer.convert(static_cast<unsigned char>(character)))
                   : character,
       kLiteral, 1);
  return true;
}

bool CPatternT::ScanPlain(char character) {
  const bool isInBrackets = m_lexer.depth > 0;
  const bool isExtended = (m_flags & FLAG_EXTENDED) != 0;
  std::int32_t kind = kLiteral;
  switch (character) {
    case '\t':
    case '\n':
    case '\v':
    case '\f':
    case '\r':
    case ' ':
      if (!isExtended) break;
      ++m_lexer.position;
      return false;
    case '#':
      if (!isExtended) break;
      while (m_lexer.position < m_pattern.Size() && !IsOneOf(PatternAt(m_lexer.position), "\n\r"))
        ++m_lexer.position;
      return false;
    case '(':
      if (PatternAt(m_lexer.position + 1) == '?' && PatternAt(m_lexer.position + 2) == '#')
        return SkipComment();
      [[fallthrough]];
    case '$':
    case ')':
    case '*':
    case '+':
    case '.':
    case '?':
    case '{':
    case '|':
    case '}':
      kind = isInBrackets ? kLiteral : kControl;
      break;
    case '-':
      kind = isInBrackets ? kControl : kLiteral;
      break;
    case ':':
      if (m_lexer.next.Is('[')) kind = kControl;
      break;
    case '[':
      if (!isInBrackets || PatternAt(m_lexer.position + 1) == ':') {
        kind = kControl;
        ++m_lexer.depth;
      }
      break;
    case ']':
      if (isInBrackets) {
        kind = kControl;
        --m_lexer.depth;
      }
      break;
    case '^':
      if (!isInBrackets || m_lexer.next.Is('[') ||
          (m_lexer.next.Is(':') && m_lexer.current.Is('[')))
        kind = kControl;
      break;
    default:
      break;
  }
  Take(character, kind, 1);
  return true;
}

// One without an end ends the pattern, and the token before it stays in its slot to come again.
bool CPatternT::SkipComment() {
  std::int64_t place = m_lexer.position;
  while (place < m_pattern.Size() && m_pattern[place] != ')') ++place;
  const bool isEnded = place < m_pattern.Size();
  m_lexer.position = isEnded ? place + 1 : place;
  return !isEnded;
}

bool CPatternT::ScanEscape() {
  const bool isInBrackets = m_lexer.depth > 0;
  if (m_lexer.position + 1 >= m_pattern.Size()) {
    Take('\\', kLiteral, 1);
    return true;
  }
  const char letter = m_pattern[m_lexer.position + 1];
  if (IsDigit(letter)) {
    Take('\\', kControl, 1);
    return true;
  }
  if (IsOneOf(letter, "ABDSWZdgkswz")) {
    Take(letter, kControl, 2);
    return true;
  }
  switch (letter) {
    case 'b':
      Take(isInBrackets ? '\b' : 'b', isInBrackets ? kLiteral : kControl, 2);
      return true;
    case 'G':
      if (isInBrackets) break;
      Take('G', kControl, 2);
      return true;
    case 'Q':
      m_lexer.quote = 1;
      break;
    case 'U':
    case 'L':
      m_lexer.quote = 1;
      if (m_lexer.convert == nullptr) m_lexer.convert = letter == 'U' ? &UpperCase : &LowerCase;
      break;
    case 'E':
      m_lexer.quote = 0;
      m_lexer.convert = nullptr;
      break;
    case 'x':
    case 'u':
      return ScanHexadecimal(letter);
    default: {
      static constexpr char kLetters[] = "aefnrtv";
      static constexpr char kCharacters[] = "\a\x1B\f\n\r\t\v";
      const char* const found = letter != '\0' ? std::strchr(kLetters, letter) : nullptr;
      Take(found != nullptr ? kCharacters[found - kLetters] : letter, kLiteral, 2);
      return true;
    }
  }
  m_lexer.position += 2;
  return false;
}

bool CPatternT::ScanHexadecimal(char letter) {
  constexpr std::int64_t kMostInBraces = 8;
  const bool isInBraces = PatternAt(m_lexer.position + 2) == '{';
  const std::int64_t begin = m_lexer.position + (isInBraces ? 3 : 2);
  const std::int64_t most = isInBraces ? kMostInBraces : letter == 'x' ? 2 : 4;

  std::uint32_t value = 0;
  std::int64_t end = begin;
  for (; end < begin + most && HexadecimalValue(PatternAt(end)) >= 0; ++end)
    value = value * kHexadecimal + static_cast<std::uint32_t>(HexadecimalValue(PatternAt(end)));
  if (isInBraces) {
    while (end < m_pattern.Size() && m_pattern[end] != '}') ++end;
    if (end < m_pattern.Size()) ++end;
  } else if (end == begin) {
    value = static_cast<unsigned char>(letter);
  }
  Take(static_cast<char>(value), kLiteral, end - m_lexer.position);
  return true;
}

}  // namespace Pirsk::Regex
