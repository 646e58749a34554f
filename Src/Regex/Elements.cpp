#include "Regex/Elements.h"

namespace Pirsk::Regex {

namespace {

bool IsWordCharacter(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_';
}

// The character that an element would take, or null outside the text.
const char* CharacterAt(const CMatchContext& context, std::int32_t rightToLeft) {
  const std::int64_t place = context.m_currentPosition - (rightToLeft != 0 ? 1 : 0);
  return place >= 0 && place < context.m_textLength ? context.m_text + place : nullptr;
}

void Step(CMatchContext& context, std::int32_t rightToLeft) {
  context.m_currentPosition += rightToLeft != 0 ? -1 : 1;
}

}  // namespace

bool CEmptyElxT<0>::Match(CMatchContext&) const { return true; }

bool CEmptyElxT<0>::MatchNext(CMatchContext&) const { return false; }

bool CGlobalElxT<0>::Match(CMatchContext& context) const {
  return context.m_currentPosition == context.m_beginPosition;
}

bool CGlobalElxT<0>::MatchNext(CMatchContext&) const { return false; }

bool CAlternativeElxT<0>::Match(CMatchContext& context) const {
  return m_branches.Size() == 0 || MatchFrom(0, context);
}

bool CAlternativeElxT<0>::MatchNext(CMatchContext& context) const {
  if (m_branches.Size() == 0) return false;
  const std::int64_t branch = context.m_stack.Pop();
  if (m_branches[branch]->MatchNext(context)) {
    context.m_stack.Push(branch);
    return true;
  }
  return MatchFrom(branch + 1, context);
}

bool CAlternativeElxT<0>::MatchFrom(std::int64_t branch, CMatchContext& context) const {
  for (; branch < m_branches.Size(); ++branch) {
    if (m_branches[branch]->Match(context)) {
      context.m_stack.Push(branch);
      return true;
    }
  }
  return false;
}

bool CAssertElxT<0>::Match(CMatchContext& context) const {
  const Mark mark = Mark::Of(context);
  const bool isMatched = m_inner->Match(context) == (m_sense != 0);
  context.m_stack.Restore(mark.stack);
  context.m_currentPosition = mark.position;
  if (isMatched)
    context.m_stack.Push(mark.captures);
  else
    context.m_captureStack.Restore(mark.captures);
  return isMatched;
}

bool CAssertElxT<0>::MatchNext(CMatchContext& context) const {
  context.m_captureStack.Restore(context.m_stack.Pop());
  return false;
}

bool CIndependentElxT<0>::Match(CMatchContext& context) const {
  const Mark mark = Mark::Of(context);
  const bool isMatched = m_inner->Match(context);
  context.m_stack.Restore(mark.stack);
  if (isMatched) {
    context.m_stack.Push(mark.position);
    context.m_stack.Push(mark.captures);
  }
  return isMatched;
}

bool CIndependentElxT<0>::MatchNext(CMatchContext& context) const {
  context.m_captureStack.Restore(context.m_stack.Pop());
  context.m_currentPosition = context.m_stack.Pop();
  return false;
}

bool CBoundaryElxT<char>::Match(CMatchContext& context) const {
  const char* const text = context.m_text;
  const std::int64_t length = context.m_textLength;
  const std::int64_t position = context.m_currentPosition;
  const char before = position > 0 ? text[position - 1] : '\0';
  const char after = position < length ? text[position] : '\0';

  bool holds = false;
  switch (m_type) {
    case kTextStart:
      holds = position < 1;
      break;
    case kTextEnd:
      holds = position >= length;
      break;
    case kTextEndOrLastLineEnd:
      holds = position == length || (position == length - 1 && after == '\n') ||
              (position == length - 2 && after == '\r' && text[position + 1] == '\n');
      break;
    case kLineStart:
      holds = position < 1 || before == '\n' || (before == '\r' && after != '\n');
      break;
    case kLineEnd:
      holds = position == length || after == '\r' || (after == '\n' && before != '\r');
      break;
    case kWordStart:
      holds = !IsWordCharacter(before) && IsWordCharacter(after);
      break;
    case kWordEnd:
      holds = IsWordCharacter(before) && !IsWordCharacter(after);
      break;
    case kWordBoundary:
      holds = IsWordCharacter(before) != IsWordCharacter(after);
      break;
    default:
      break;
  }
  return holds == (m_sense != 0);
}

bool CBoundaryElxT<char>::MatchNext(CMatchContext&) const { return false; }

bool CListElxT<0>::Match(CMatchContext& context) const { return MatchFrom(0, context); }

bool CListElxT<0>::MatchNext(CMatchContext& context) const {
  std::ptrdiff_t index = m_items.Size();
  return RetryBefore(index, context) && MatchFrom(index, context);
}

bool CListElxT<0>::MatchStraight(CMatchContext& context) const {
  for (std::ptrdiff_t index = 0; index < m_items.Size(); ++index)
    if (!Item(index)->Match(context)) return false;
  return true;
}

bool CListElxT<0>::MatchFrom(std::ptrdiff_t index, CMatchContext& context) const {
  const std::ptrdiff_t count = m_items.Size();
  while (index < count) {
    if (Item(index)->Match(context))
      ++index;
    else if (!RetryBefore(index, context))
      return false;
  }
  return true;
}

bool CharacterElx::MatchNext(CMatchContext& context) const {
  context.m_currentPosition += m_rightToLeft != 0 ? 1 : -1;
  return false;
}

CPosixElxT<char>::CPosixElxT(Test test, bool isRightToLeft, bool isDirect, bool isFixed)
    : CharacterElx(isRightToLeft), m_test(test), m_sense(isDirect ? 1 : 0) {
  if (!isFixed) return;
  for (unsigned int character = 0; character < m_table.size(); ++character)
    m_table[character] = Takes(static_cast<char>(character));
  m_hasTable = true;
}

bool CPosixElxT<char>::Match(CMatchContext& context) const {
  const char* const character = CharacterAt(context, m_rightToLeft);
  if (m_test == nullptr || character == nullptr || !Takes(*character)) return false;
  Step(context, m_rightToLeft);
  return true;
}

bool CPosixElxT<char>::Takes(char character) const {
  return m_test != nullptr && (m_test(static_cast<signed char>(character)) != 0) == (m_sense != 0);
}

bool CRangeElxT<char>::Match(CMatchContext& context) const {
  const char* const character = CharacterAt(context, m_rightToLeft);
  if (character == nullptr || !Takes(*character)) return false;
  Step(context, m_rightToLeft);
  return true;
}

bool CRangeElxT<char>::Takes(char character) const {
  if (m_hasTable) return m_table[static_cast<unsigned char>(character)];
  return Contains(character) == (m_sense != 0);
}

bool CRangeElxT<char>::Contains(char character) const {
  const auto value = static_cast<signed char>(character);
  for (std::ptrdiff_t i = 0; i + 1 < m_ranges.Size(); i += 2)
    if (static_cast<signed char>(m_ranges[i]) <= value &&
        value <= static_cast<signed char>(m_ranges[i + 1]))
      return true;
  for (std::ptrdiff_t i = 0; i < m_characters.Size(); ++i)
    if (m_characters[i] == character) return true;
  for (std::ptrdiff_t i = 0; i < m_embedded.Size(); ++i)
    if (m_embedded[i]->AsCharacter()->Takes(character)) return true;
  return false;
}

void CRangeElxT<char>::MakeTable() {
  for (std::ptrdiff_t i = 0; i < m_embedded.Size(); ++i)
    if (m_embedded[i]->AsCharacter()->Table() == nullptr) return;
  for (unsigned int character = 0; character < m_table.size(); ++character)
    m_table[character] = Contains(static_cast<char>(character)) == (m_sense != 0);
  m_hasTable = true;
  if (std::count(m_table.begin(), m_table.end(), false) == 1)
    m_onlyRefused =
        static_cast<int>(std::find(m_table.begin(), m_table.end(), false) - m_table.begin());
}

bool CStringElxT<char>::IsAt(const char* place) const {
  if (m_ignoreCase != 0) return m_text.CompareNoCase(place) == 0;
  return m_text.Compare(place) == 0;
}

bool CStringElxT<char>::Match(CMatchContext& context) const {
  const std::int64_t size = m_text.Size();
  if (m_rightToLeft != 0) {
    if (size > context.m_currentPosition) return false;
    if (!IsAt(context.m_text + (context.m_currentPosition - size))) return false;
    context.m_currentPosition -= size;
  } else {
    if (size > context.m_textLength - context.m_currentPosition) return false;
    if (!IsAt(context.m_text + context.m_currentPosition)) return false;
    context.m_currentPosition += size;
  }
  return true;
}

bool CStringElxT<char>::MatchNext(CMatchContext& context) const {
  context.m_currentPosition += m_rightToLeft != 0 ? m_text.Size() : -m_text.Size();
  return false;
}

}  // namespace Pirsk::Regex
