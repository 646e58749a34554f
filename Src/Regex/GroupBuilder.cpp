#include "Regex/Builder.h"

namespace Pirsk::Regex {

namespace {

// The flag of a letter; 0 for any other letter.
std::uint32_t FlagOf(char letter) {
  switch (letter) {
    case 's':
    case 'S':
      return FLAG_SINGLELINE;
    case 'm':
    case 'M':
      return FLAG_MULTILINE;
    case 'g':
    case 'G':
      return FLAG_GLOBAL;
    case 'i':
    case 'I':
      return FLAG_IGNORECASE;
    default:
      return 0;
  }
}

}  // namespace

CBracketElxT<char>* OpeningBracket(const CListElxT<0>& list) {
  const std::ptrdiff_t index = list.m_rightToLeft != 0 ? list.m_items.Size() - 1 : 0;
  return static_cast<CBracketElxT<char>*>(list.m_items[index]);
}

CBracketElxT<char>* ClosingBracket(const CListElxT<0>& list) {
  const std::ptrdiff_t index = list.m_rightToLeft != 0 ? 0 : list.m_items.Size() - 1;
  return static_cast<CBracketElxT<char>*>(list.m_items[index]);
}

// At "(".
ElxInterface* CPatternT::BuildGroup(std::uint32_t& flags) {
  const Nesting nesting(*this);
  if (nesting.IsTooDeep()) {
    m_isTooDeep = true;
    EndPattern();
    return Stock(0);
  }
  NextToken();
  ElxInterface* const group = BuildGroupContent(flags);
  if (m_lexer.current.Is(')'))
    NextToken();
  else
    m_isUnbalanced = true;
  return group;
}

// Up to the ")", which the caller consumes.
ElxInterface* CPatternT::BuildGroupContent(std::uint32_t& flags) {
  if (!m_lexer.current.Is('?')) return BuildCapture(flags);
  NextToken();
  return BuildExtension(flags);
}

ElxInterface* CPatternT::BuildExtension(std::uint32_t& flags) {
  const char first = m_lexer.current.character;
  const char second = m_lexer.next.character;
  if (m_lexer.current.IsEnd()) return BuildFlags(flags);
  switch (first) {
    case '=':
    case '!':
      return BuildAssertion(flags & ~std::uint32_t{FLAG_RIGHTTOLEFT});
    case '<':
      if (second == '=' || second == '!') {
        NextToken();
        return BuildAssertion(flags | FLAG_RIGHTTOLEFT);
      }
      return BuildNamedGroup(flags);
    case '\'':
      return BuildNamedGroup(flags);
    case 'P':
      if (second != '<' && second != '\'') return BuildFlags(flags);
      NextToken();
      return BuildNamedGroup(flags);
    case '>': {
      NextToken();
      ElxInterface* const inner = BuildAlternative(flags);
      return Keep(std::make_unique<CIndependentElxT<0>>(inner));
    }
    case '(':
      return m_lexer.current.Is('(') ? BuildCondition(flags) : BuildFlags(flags);
    case 'R':
      NextToken();
      return BuildRecursion();
    default:
      return IsDigit(first) ? BuildRecursion() : BuildFlags(flags);
  }
}

// The two brackets of a group with its content between them, in the order of the text.
CListElxT<0>* CPatternT::MakeBracketed(std::int64_t group, std::uint32_t flags) {
  const bool isRightToLeft = IsRightToLeft(flags);
  CListElxT<0>* const list = Keep(std::make_unique<CListElxT<0>>(isRightToLeft));
  CBracketElxT<char>* const first =
      Keep(std::make_unique<CBracketElxT<char>>(group, isRightToLeft));
  CBracketElxT<char>* const last =
      Keep(std::make_unique<CBracketElxT<char>>(group, !isRightToLeft));
  list->m_items.Push(first);
  list->m_items.Push(BuildAlternative(flags));
  list->m_items.Push(last);
  return list;
}

void CPatternT::EnterGroup(std::int64_t group, ElxInterface* list) {
  m_groups.Prepare(group, nullptr);
  m_groups[group] = list;
}

ElxInterface* CPatternT::BuildCapture(std::uint32_t flags) {
  const std::int64_t group = ++m_groupCount;
  CListElxT<0>* const list = MakeBracketed(group, flags);
  EnterGroup(group, list);
  return list;
}

// At "<" or "'".
ElxInterface* CPatternT::BuildNamedGroup(std::uint32_t flags) {
  const char opening = m_lexer.current.character;
  NextToken();
  const std::string name = ReadName(opening == '<' ? '>' : '\'');
  std::int64_t group = -1;
  const bool isNumber = IsNumber(name, group);
  // In the order of the pattern, which is that of the opening brackets.
  const std::ptrdiff_t place = m_namedGroups.Size();
  m_namedGroups.Push(nullptr);
  ++m_namedGroupCount;
  CListElxT<0>* const list = MakeBracketed(group, flags);
  if (!isNumber)
    OpeningBracket(*list)->m_name.Assign(name.data(), static_cast<std::ptrdiff_t>(name.size()));
  m_namedGroups[place] = list;
  return list;
}

// At "=" or "!".
ElxInterface* CPatternT::BuildAssertion(std::uint32_t flags) {
  const bool isDirect = m_lexer.current.character == '=';
  NextToken();
  ElxInterface* const inner = BuildAlternative(flags);
  return Keep(std::make_unique<CAssertElxT<0>>(inner, isDirect));
}

// At the inner "(".
ElxInterface* CPatternT::BuildCondition(std::uint32_t& flags) {
  CConditionElxT<char>* const condition = Keep(std::make_unique<CConditionElxT<char>>());
  if (m_lexer.next.Is('?')) {
    condition->m_assertion = BuildGroup(flags);
  } else {
    NextToken();
    const std::int64_t begin = m_lexer.current.position;
    ElxInterface* const inner = BuildAlternative(flags);
    const std::string text(m_pattern.Data() + begin,
                           static_cast<std::size_t>(m_lexer.current.position - begin));
    condition->m_assertion = Keep(std::make_unique<CAssertElxT<0>>(inner, true));
    if (m_lexer.current.Is(')')) NextToken();
    if (IsNumber(text, condition->m_group)) {
      condition->m_assertion = nullptr;
    } else {
      condition->m_name.Assign(text.data(), static_cast<std::ptrdiff_t>(text.size()));
      m_namedConditions.Push(condition);
    }
  }
  condition->m_yes = BuildList(flags);
  if (m_lexer.current.Is('|')) {
    NextToken();
    condition->m_no = BuildAlternative(flags);
  }
  return condition;
}

// After "R", or at the digits.
ElxInterface* CPatternT::BuildRecursion() {
  CDelegateElxT<char>* const recursion = Keep(std::make_unique<CDelegateElxT<char>>(0));
  const char first = m_lexer.current.character;
  if (first == '<' || first == '\'') {
    NextToken();
    const std::string name = ReadName(first == '<' ? '>' : '\'');
    recursion->m_group = CDelegateElxT<char>::kPendingName;
    recursion->m_name.Assign(name.data(), static_cast<std::ptrdiff_t>(name.size()));
  } else {
    recursion->m_group = ReadDigits();
  }
  m_recursions.Push(recursion);
  return recursion;
}

// At the letters, or at the colon without any.
ElxInterface* CPatternT::BuildFlags(std::uint32_t& flags) {
  std::uint32_t changed = flags;
  bool isOn = true;
  while (IsWhiteSpace(m_lexer.current.character)) NextToken();
  for (;; NextToken()) {
    const Token& token = m_lexer.current;
    if (token.IsEnd() || token.Is(')')) {
      flags = changed;
      return Stock(0);
    }
    if (token.Is('(')) break;
    if (token.character == ':') {
      NextToken();
      break;
    }
    if (token.character == '-') isOn = false;
    const std::uint32_t flag = FlagOf(token.character);
    changed = isOn ? changed | flag : changed & ~flag;
  }
  return BuildAlternative(changed);
}

}  // namespace Pirsk::Regex
