#include "Unit/Regex/Model.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <set>

namespace Pirsk::Regex::Testing {

namespace {

enum Flag : std::uint32_t {
  kSingleLine = 1,
  kMultiline = 2,
  kGlobal = 4,
  kIgnoreCase = 8,
  kFromRight = 16,
  kExtended = 32,
};

constexpr std::int64_t kNoMaximum = 2147483647;
constexpr std::int64_t kNameIsOpen = -3;

bool Has(std::uint32_t flags, Flag flag) { return (flags & flag) != 0; }

bool IsIn(char c, const char* characters) {
  return c != 0 && std::strchr(characters, c) != nullptr;
}

bool IsFigure(char c) { return c >= '0' && c <= '9'; }

int HexDigit(char c) {
  const char* const digits = "0123456789abcdef";
  const char* const found =
      c != 0 ? std::strchr(digits, std::tolower(static_cast<unsigned char>(c))) : nullptr;
  return found != nullptr ? static_cast<int>(found - digits) : -1;
}

void SkipWhite(const std::string& text, std::size_t& at) {
  while (at < text.size() && IsIn(text[at], " \t\n\v\f\r")) ++at;
}

std::optional<std::int64_t> Decimal(const std::string& text, std::size_t& at) {
  SkipWhite(text, at);
  if (at >= text.size() || !IsFigure(text[at])) return std::nullopt;
  std::int64_t number = 0;
  for (int digit = 0; digit < 3 && at < text.size() && IsFigure(text[at]); ++digit)
    number = number * 10 + text[at++] - '0';
  SkipWhite(text, at);
  return number;
}

std::optional<std::int64_t> WholeNumber(const std::string& text) {
  std::size_t at = 0;
  const auto number = Decimal(text, at);
  return number && at == text.size() ? number : std::nullopt;
}

std::size_t Byte(char c) { return static_cast<unsigned char>(c); }

// Compares as signed characters do.
void AddRange(std::array<bool, 256>& set, char low, char high) {
  for (int c = -128; c < 128; ++c)
    if (static_cast<signed char>(low) <= c && c <= static_cast<signed char>(high))
      set[Byte(static_cast<char>(c))] = true;
}

}  // namespace

Model::Model(const std::string& pattern, std::uint32_t flags) : m_pattern(pattern), m_flags(flags) {
  Scan(flags);
  m_root = ReadAlternative(flags);
  Resolve();
}

void Model::Add(char character, bool isControl, std::size_t position) {
  m_tokens.push_back({character, isControl, position});
}

void Model::Scan(std::uint32_t flags) {
  int depth = 0;
  for (std::size_t at = 0; at < m_pattern.size();) {
    const char c = m_pattern[at];
    const Token last = m_tokens.empty() ? Token() : m_tokens.back();
    const Token beforeLast = m_tokens.size() < 2 ? Token() : m_tokens[m_tokens.size() - 2];
    if (c == '\\') {
      at = ScanEscape(at, depth);
      continue;
    }
    if (Has(flags, kExtended) && IsIn(c, "\t\n\v\f\r ")) {
      ++at;
      continue;
    }
    if (Has(flags, kExtended) && c == '#') {
      while (at < m_pattern.size() && m_pattern[at] != '\n' && m_pattern[at] != '\r') ++at;
      continue;
    }
    if (m_pattern.compare(at, 3, "(?#") == 0) {
      const std::size_t end = m_pattern.find(')', at);
      if (end == std::string::npos) {
        m_tokens.push_back(last);
        break;
      }
      at = end + 1;
      continue;
    }
    bool isControl = false;
    if (IsIn(c, "$)*+.?{|}(")) {
      isControl = depth == 0;
    } else if (c == '-') {
      isControl = depth > 0;
    } else if (c == ':') {
      isControl = last.Is('[');
    } else if (c == '[') {
      isControl = depth == 0 || m_pattern.compare(at + 1, 1, ":") == 0;
      if (isControl) ++depth;
    } else if (c == ']') {
      isControl = depth > 0;
      if (isControl) --depth;
    } else if (c == '^') {
      isControl = depth == 0 || last.Is('[') || (last.Is(':') && beforeLast.Is('['));
    }
    Add(c, isControl, at++);
  }
  Add('\0', true, m_pattern.size());
}

// At a backslash; gives the place after all that it stands for.
std::size_t Model::ScanEscape(std::size_t at, int depth) {
  if (at + 1 == m_pattern.size()) {
    Add('\\', false, at);
    return at + 1;
  }
  const char letter = m_pattern[at + 1];
  if (IsFigure(letter)) {
    Add('\\', true, at);
    return at + 1;
  }
  if (IsIn(letter, "QUL")) {
    for (at += 2; at < m_pattern.size(); ++at) {
      if (m_pattern.compare(at, 2, "\\E") == 0) return at + 2;
      const auto byte = static_cast<unsigned char>(m_pattern[at]);
      const int shown = letter == 'U'   ? std::toupper(byte)
                        : letter == 'L' ? std::tolower(byte)
                                        : byte;
      Add(static_cast<char>(shown), false, at);
    }
    return at;
  }
  if (letter == 'E' || (letter == 'G' && depth > 0)) return at + 2;
  if (IsIn(letter, "ABDSWZdgkswzG")) {
    Add(letter, true, at);
  } else if (letter == 'b') {
    Add(depth > 0 ? '\b' : 'b', depth == 0, at);
  } else if (letter == 'x' || letter == 'u') {
    const bool isBraced = m_pattern.compare(at + 2, 1, "{") == 0;
    const std::size_t begin = at + (isBraced ? 3 : 2);
    const std::size_t most = isBraced ? 8 : letter == 'x' ? 2 : 4;
    std::size_t end = begin;
    std::uint32_t value = 0;
    for (; end < m_pattern.size() && end < begin + most && HexDigit(m_pattern[end]) >= 0; ++end)
      value = value * 16 + static_cast<std::uint32_t>(HexDigit(m_pattern[end]));
    if (!isBraced && end == begin) value = static_cast<unsigned char>(letter);
    if (isBraced) end = std::min(m_pattern.find('}', end), m_pattern.size() - 1) + 1;
    Add(static_cast<char>(value), false, at);
    return end;
  } else {
    const std::string letters = "aefnrtv";
    const std::string characters = "\x07\x1B\x0C\x0A\x0D\x09\x0B";
    const std::size_t index = letters.find(letter);
    Add(index != std::string::npos ? characters[index] : letter, false, at);
  }
  return at + 2;
}

// The last token stays for ever.
const Model::Token& Model::At(std::size_t ahead) const {
  return m_tokens[std::min(m_at + ahead, m_tokens.size() - 1)];
}

Model::Node* Model::Make(Kind kind) {
  m_nodes.push_back(std::make_unique<Node>());
  m_nodes.back()->kind = kind;
  return m_nodes.back().get();
}

Model::Node* Model::ReadAlternative(std::uint32_t flags) {
  if (At().Is('\0')) return Make(Kind::kEmpty);
  Node* const first = ReadList(flags);
  if (!At().Is('|')) return first;
  Node* const made = Make(Kind::kAlternative);
  made->parts = {first};
  while (At().Is('|')) {
    ++m_at;
    made->parts.push_back(ReadList(flags));
  }
  return made;
}

Model::Node* Model::ReadList(std::uint32_t& flags) {
  const auto isAtEnd = [this] { return At().Is('\0') || At().Is('|') || At().Is(')'); };
  std::vector<Node*> items;
  while (!isAtEnd()) items.push_back(ReadRepeat(flags));
  if (items.empty()) return Make(Kind::kEmpty);
  if (items.size() == 1) return items[0];
  Node* const made = Make(Kind::kList);
  made->parts = items;
  made->isFromRight = Has(flags, kFromRight);
  return made;
}

Model::Node* Model::ReadRepeat(std::uint32_t& flags) {
  Node* const item = ReadSimple(flags);
  if (!At().Is('*') && !At().Is('+') && !At().Is('?') && !At().Is('{')) return item;
  std::int64_t minimum = At().Is('+') ? 1 : 0;
  std::int64_t maximum = At().Is('?') ? 1 : kNoMaximum;
  if (At().Is('{')) {
    std::string text;
    for (++m_at; !At().Is('}') && !At().Is('\0'); ++m_at) text += At().character;
    std::size_t place = 0;
    const auto first = Decimal(text, place);
    minimum = maximum = first.value_or(0);
    if (first && text.compare(place, 1, ",") == 0) {
      const auto second = Decimal(text, ++place);
      maximum = second ? std::max(minimum, *second) : kNoMaximum;
    }
  }
  ++m_at;
  const char suffix = At().Is('?') || At().Is('+') ? At().character : '\0';
  if (suffix != '\0') ++m_at;
  if (maximum == 0) return Make(Kind::kEmpty);
  Node* const made = Make(minimum == maximum ? Kind::kRepeat
                          : suffix == '?'    ? Kind::kReluctant
                          : suffix == '+'    ? Kind::kPossessive
                                             : Kind::kGreedy);
  made->parts = {item};
  made->number = minimum;
  made->span = maximum - minimum;
  return made;
}

Model::Node* Model::ReadSimple(std::uint32_t& flags) {
  std::string text;
  for (;;) {
    const Token token = At();
    if (!token.isControl) {
      const Token next = At(1);
      const bool isRepeated = next.Is('{') || next.Is('?') || next.Is('*') || next.Is('+');
      if (isRepeated && !text.empty()) break;
      text += token.character;
      ++m_at;
      if (isRepeated) break;
    } else if (IsIn(token.character, ")|") || token.character == '\0' || !text.empty()) {
      break;
    } else if (token.character == '(') {
      return ReadGroup(flags);
    } else if (IsIn(token.character, ".DSW[dsw")) {
      return ReadClass(flags);
    } else if (IsIn(token.character, "$ABGZ^bz")) {
      return ReadBoundary(flags);
    } else if (IsIn(token.character, "\\gk")) {
      return ReadReference(flags);
    } else {
      text += token.character;
      ++m_at;
    }
  }
  if (text.empty()) return Make(Kind::kEmpty);
  Node* const made = Make(Kind::kString);
  made->text = text;
  made->isFromRight = Has(flags, kFromRight);
  made->ignoresCase = Has(flags, kIgnoreCase);
  return made;
}

Model::Node* Model::ReadBoundary(std::uint32_t flags) {
  const char letter = At().character;
  ++m_at;
  if (letter == 'G') return Make(Has(flags, kGlobal) ? Kind::kGlobal : Kind::kEmpty);
  const bool isMultiline = Has(flags, kMultiline);
  Node* const made = Make(Kind::kBoundary);
  made->sense = letter != 'B';
  made->number = letter == 'A'   ? 0
                 : letter == 'z' ? 1
                 : letter == 'Z' ? 2
                 : letter == '^' ? (isMultiline ? 3 : 0)
                 : letter == '$' ? (isMultiline ? 4 : 1)
                                 : 7;
  return made;
}

Model::Node* Model::ReadReference(std::uint32_t flags) {
  ++m_at;
  Node* const made = Make(Kind::kReference);
  made->isFromRight = Has(flags, kFromRight);
  made->ignoresCase = Has(flags, kIgnoreCase);
  if (!IsIn(At().character, "<'")) {
    made->number = ReadDigits();
    return made;
  }
  made->text = ReadName();
  if (const auto number = WholeNumber(made->text))
    made->number = *number;
  else
    m_references.push_back(made);
  return made;
}

// At the character that opens it, whose partner is consumed too.
std::string Model::ReadName() {
  const char closing = At().character == '<' ? '>' : '\'';
  std::string name;
  for (++m_at; !At().Is('\0') && At().character != closing; ++m_at) name += At().character;
  if (!At().Is('\0')) ++m_at;
  return name;
}

std::int64_t Model::ReadDigits() {
  std::int64_t number = 0;
  for (int digit = 0; digit < 3 && IsFigure(At().character); ++digit, ++m_at)
    number = number * 10 + At().character - '0';
  return number;
}

Model::Node* Model::Stock(char letter, bool isFromRight, bool isSingleLine) {
  Node* const made = Make(Kind::kSet);
  made->isFromRight = isFromRight;
  made->sense = IsIn(letter, "wsd");
  if (letter == '.' && !isSingleLine) made->set[Byte('\n')] = true;
  if (IsIn(letter, "wW")) {
    AddRange(made->set, 'A', 'Z');
    AddRange(made->set, 'a', 'z');
    made->set[Byte('_')] = true;
  }
  if (IsIn(letter, "wWdD")) AddRange(made->set, '0', '9');
  if (IsIn(letter, "sS"))
    for (const char c : std::string(isFromRight ? " \t\r\n\f\v" : " \t\r\n"))
      made->set[Byte(c)] = true;
  return made;
}

Model::Node* Model::ReadClass(std::uint32_t flags) {
  const bool isFromRight = Has(flags, kFromRight);
  const char letter = At().character;
  ++m_at;
  if (letter != '[') return Stock(letter, isFromRight, Has(flags, kSingleLine));
  if (At().Is(':')) {
    const std::size_t before = m_at;
    if (Node* const named = ReadNamedClass(flags)) return named;
    m_at = before;
  }
  Node* const made = Make(Kind::kSet);
  made->isFromRight = isFromRight;
  if (At().Is('^')) {
    made->sense = false;
    ++m_at;
  }
  while (!At().Is(']') && !At().Is('\0')) {
    const Token token = At();
    if ((token.isControl && IsIn(token.character, ".DSWdsw")) || (token.Is('[') && At(1).Is(':'))) {
      made->parts.push_back(ReadClass(flags));
    } else if (At(1).Is('-') && !At(2).isControl) {
      AddRange(made->set, token.character, At(2).character);
      m_at += 3;
    } else {
      made->set[Byte(token.character)] = true;
      ++m_at;
    }
  }
  ++m_at;
  if (!Has(flags, kIgnoreCase)) return made;
  const std::array<bool, 256> before = made->set;
  for (int c = 'A'; c <= 'Z'; ++c) {
    const int other = std::tolower(c);
    if (before[static_cast<std::size_t>(c)]) made->set[static_cast<std::size_t>(other)] = true;
    if (before[static_cast<std::size_t>(other)]) made->set[static_cast<std::size_t>(c)] = true;
  }
  return made;
}

// At the colon; null, anywhere, for a name that there is not.
Model::Node* Model::ReadNamedClass(std::uint32_t flags) {
  std::string name;
  for (++m_at; !At().Is(']') && !At().Is('\0'); ++m_at) name += At().character;
  ++m_at;
  const bool isInverted = name.compare(0, 1, "^") == 0;
  if (isInverted) name.erase(0, 1);
  const struct {
    const char* name;
    int (*test)(int);
  } kNames[] = {{"alnum:", std::isalnum}, {"alpha:", std::isalpha},  {"cntrl:", std::iscntrl},
                {"digit:", std::isdigit}, {"graph:", std::isgraph},  {"lower:", std::islower},
                {"print:", std::isprint}, {"punct:", std::ispunct},  {"space:", std::isspace},
                {"upper:", std::isupper}, {"xdigit:", std::isxdigit}};
  Node* const made = Make(Kind::kSet);
  made->isFromRight = Has(flags, kFromRight);
  made->sense = !isInverted;
  if (name.rfind("ascii:", 0) == 0) {
    AddRange(made->set, 0, 127);
    return made;
  }
  if (name.rfind("blank:", 0) == 0) {
    made->set[Byte(' ')] = made->set[Byte('\t')] = true;
    return made;
  }
  for (const auto& row : kNames) {
    if (name.rfind(row.name, 0) != 0) continue;
    for (int c = 0; c < 256; ++c) made->set[static_cast<std::size_t>(c)] = row.test(c) != 0;
    return made;
  }
  return nullptr;
}

Model::Node* Model::ReadGroup(std::uint32_t& flags) {
  ++m_at;
  Node* made = nullptr;
  if (At().Is('?')) {
    ++m_at;
    made = ReadExtension(flags);
  } else {
    const std::int64_t number = ++m_groups;
    m_captures.push_back(nullptr);
    made = ReadCapture(number, flags);
    m_captures[static_cast<std::size_t>(number) - 1] = made;
  }
  if (At().Is(')')) ++m_at;
  return made;
}

Model::Node* Model::ReadExtension(std::uint32_t& flags) {
  const char first = At().character;
  const char second = At(1).character;
  const bool isBehind = first == '<' && IsIn(second, "=!");
  if (IsIn(first, "=!") || isBehind) {
    Node* const made = Make(Kind::kAssertion);
    made->sense = (isBehind ? second : first) == '=';
    m_at += isBehind ? 2 : 1;
    const std::uint32_t others = flags & ~std::uint32_t{kFromRight};
    made->parts = {ReadAlternative(isBehind ? others | kFromRight : others)};
    return made;
  }
  if (IsIn(first, "<'")) return ReadNamedGroup(flags);
  if (first == 'P' && IsIn(second, "<'")) {
    ++m_at;
    return ReadNamedGroup(flags);
  }
  if (first == '>') {
    ++m_at;
    Node* const made = Make(Kind::kIndependent);
    made->parts = {ReadAlternative(flags)};
    return made;
  }
  if (At().Is('(')) return ReadCondition(flags);
  if (first == 'R') ++m_at;
  if (first == 'R' || IsFigure(first)) return ReadRecursion();
  return ReadFlags(flags);
}

Model::Node* Model::ReadCapture(std::int64_t number, std::uint32_t flags) {
  Node* const opening = Make(Kind::kOpening);
  Node* const closing = Make(Kind::kClosing);
  opening->number = closing->number = number;
  Node* const made = Make(Kind::kList);
  made->isFromRight = Has(flags, kFromRight);
  Node* const inner = ReadAlternative(flags);
  made->parts = {opening, inner, closing};
  if (made->isFromRight) std::swap(made->parts[0], made->parts[2]);
  return made;
}

Model::Node* Model::BracketOf(const Node& list, Kind kind) {
  return list.parts[list.parts[0]->kind == kind ? 0 : 2];
}

Model::Node* Model::ReadNamedGroup(std::uint32_t flags) {
  const std::string name = ReadName();
  const std::size_t place = m_named.size();
  m_named.push_back(nullptr);
  const auto number = WholeNumber(name);
  Node* const made = ReadCapture(number.value_or(-1), flags);
  if (!number) BracketOf(*made, Kind::kOpening)->text = name;
  m_named[place] = made;
  return made;
}

Model::Node* Model::ReadCondition(std::uint32_t& flags) {
  Node* const made = Make(Kind::kCondition);
  if (At(1).Is('?')) {
    made->assertion = ReadGroup(flags);
  } else {
    ++m_at;
    const std::size_t begin = At().position;
    Node* const inner = ReadAlternative(flags);
    made->text = m_pattern.substr(begin, At().position - begin);
    if (At().Is(')')) ++m_at;
    if (const auto number = WholeNumber(made->text)) {
      made->number = *number;
    } else {
      made->assertion = Make(Kind::kAssertion);
      made->assertion->parts = {inner};
      m_conditions.push_back(made);
    }
  }
  made->yes = ReadList(flags);
  if (At().Is('|')) {
    ++m_at;
    made->no = ReadAlternative(flags);
  }
  return made;
}

Model::Node* Model::ReadRecursion() {
  Node* const made = Make(Kind::kRecursion);
  if (IsIn(At().character, "<'")) {
    made->text = ReadName();
    made->number = kNameIsOpen;
  } else {
    made->number = ReadDigits();
  }
  m_recursions.push_back(made);
  return made;
}

Model::Node* Model::ReadFlags(std::uint32_t& flags) {
  std::uint32_t changed = flags;
  bool isOn = true;
  for (;; ++m_at) {
    const Token token = At();
    if (token.Is(')') || token.Is('\0')) {
      flags = changed;
      return Make(Kind::kEmpty);
    }
    if (token.Is('(')) return ReadAlternative(changed);
    if (token.character == ':') {
      ++m_at;
      return ReadAlternative(changed);
    }
    if (token.character == '-') isOn = false;
    const std::string letters = "sSmMgGiI";
    const std::size_t index = letters.find(token.character);
    if (index == std::string::npos) continue;
    const std::uint32_t bit = 1U << (index / 2);
    changed = isOn ? changed | bit : changed & ~bit;
  }
}

std::int64_t Model::NumberOf(const std::string& name, std::size_t before) const {
  for (std::size_t i = 0; i < before; ++i) {
    const Node& opening = *BracketOf(*m_named[i], Kind::kOpening);
    if (opening.text.size() == name.size() &&
        std::equal(name.begin(), name.end(), opening.text.begin(),
                   [this](char left, char right) { return IsSame(left, right, true); }))
      return opening.number;
  }
  return kNameIsOpen;
}

void Model::Resolve() {
  std::set<std::int64_t> taken;
  for (const Node* list : m_named) taken.insert(BracketOf(*list, Kind::kOpening)->number);
  std::int64_t next = m_groups;
  for (std::size_t i = 0; i < m_named.size(); ++i) {
    Node& opening = *BracketOf(*m_named[i], Kind::kOpening);
    if (opening.number < 0) {
      opening.number = NumberOf(opening.text, i);
      if (opening.number < 0) {
        do ++next;
        while (taken.count(next) != 0);
        opening.number = next;
      }
    }
    BracketOf(*m_named[i], Kind::kClosing)->number = opening.number;
    m_groups = std::max(m_groups, opening.number);
  }
  std::vector<Node*> table = m_captures;
  table.insert(table.end(), m_named.begin(), m_named.end());
  for (Node* recursion : m_recursions) {
    if (recursion->number == kNameIsOpen)
      recursion->number = NumberOf(recursion->text, m_named.size());
    if (recursion->number == 0) recursion->parts = {m_root};
    if (recursion->number < 1 || recursion->number > m_groups) continue;
    for (Node* list : table)
      if (recursion->parts.empty() && BracketOf(*list, Kind::kOpening)->number == recursion->number)
        recursion->parts = {list};
  }
  for (Node* reference : m_references)
    reference->number = NumberOf(reference->text, m_named.size());
  for (Node* condition : m_conditions) {
    const std::int64_t number = NumberOf(condition->text, m_named.size());
    if (number < 0) continue;
    condition->number = number;
    condition->assertion = nullptr;
  }
}

}  // namespace Pirsk::Regex::Testing
