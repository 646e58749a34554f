#include "Regex/Beginning.h"

namespace Pirsk::Regex {

namespace {

template <class Element>
const Element* As(const ElxInterface* element) {
  return dynamic_cast<const Element*>(element);
}

// Takes no character, and what it demands of the place may be left out of account.
bool IsWithoutWidth(const ElxInterface* element) {
  return As<CEmptyElxT<0>>(element) != nullptr || As<CGlobalElxT<0>>(element) != nullptr ||
         As<CBoundaryElxT<char>>(element) != nullptr || As<CAssertElxT<0>>(element) != nullptr ||
         As<CBracketElxT<char>>(element) != nullptr;
}

}  // namespace

void Beginning::Add(const ElxInterface* element, bool isRightToLeft) {
  if (!mayBeEmpty || isUnknown || IsWithoutWidth(element)) return;
  if (const auto* const list = As<CListElxT<0>>(element))
    AddList(*list, isRightToLeft);
  else if (const auto* const alternative = As<CAlternativeElxT<0>>(element))
    AddAlternative(*alternative, isRightToLeft);
  else if (const auto* const repeat = As<CRepeatElxT<0>>(element))
    AddRepeat(*repeat, isRightToLeft);
  else if (const auto* const independent = As<CIndependentElxT<0>>(element))
    Add(independent->m_inner, isRightToLeft);
  else if (const auto* const string = As<CStringElxT<char>>(element))
    AddString(*string);
  else if (const auto* const character = As<CharacterElx>(element))
    AddCharacter(*character);
  else
    isUnknown = true;
}

void Beginning::Add(const Beginning& behind) {
  if (!mayBeEmpty) return;
  for (std::size_t c = 0; c < set.size(); ++c) set[c] = set[c] || behind.set[c];
  mayBeEmpty = behind.mayBeEmpty;
  isUnknown = isUnknown || behind.isUnknown;
}

void Beginning::AddList(const CListElxT<0>& list, bool isRightToLeft) {
  const std::ptrdiff_t count = list.m_items.Size();
  for (std::ptrdiff_t i = 0; i < count; ++i)
    Add(list.m_items[list.m_rightToLeft != 0 ? count - 1 - i : i], isRightToLeft);
}

void Beginning::AddAlternative(const CAlternativeElxT<0>& alternative, bool isRightToLeft) {
  bool isAnyEmpty = alternative.m_branches.Size() == 0;
  for (std::ptrdiff_t i = 0; i < alternative.m_branches.Size(); ++i) {
    Beginning branch;
    branch.Add(alternative.m_branches[i], isRightToLeft);
    for (std::size_t c = 0; c < set.size(); ++c) set[c] = set[c] || branch.set[c];
    isAnyEmpty = isAnyEmpty || branch.mayBeEmpty;
    isUnknown = isUnknown || branch.isUnknown;
  }
  mayBeEmpty = isAnyEmpty;
}

void Beginning::AddRepeat(const CRepeatElxT<0>& repeat, bool isRightToLeft) {
  Add(repeat.m_inner, isRightToLeft);
  if (repeat.m_count == 0) mayBeEmpty = true;
}

void Beginning::AddString(const CStringElxT<char>& string) {
  const std::ptrdiff_t size = string.m_text.Size();
  if (size == 0) return;
  const char first = string.m_text[string.m_rightToLeft != 0 ? size - 1 : 0];
  mayBeEmpty = false;
  if (string.m_ignoreCase != 0) {
    // Which characters are one in either case depends on the locale at the time of the search.
    isUnknown = true;
    return;
  }
  set[static_cast<unsigned char>(first)] = true;
}

void Beginning::AddCharacter(const CharacterElx& element) {
  mayBeEmpty = false;
  const std::array<bool, 256>* const table = element.Table();
  if (table == nullptr) {
    isUnknown = true;
    return;
  }
  for (std::size_t c = 0; c < set.size(); ++c) set[c] = set[c] || (*table)[c];
}

void TellLoopsWhatFollows(ElxInterface* element, const Beginning& behind) {
  if (auto* const list = dynamic_cast<CListElxT<0>*>(element)) {
    Beginning rest = behind;
    for (std::ptrdiff_t i = list->m_items.Size(); i > 0; --i) {
      const bool isRightToLeft = list->m_rightToLeft != 0;
      ElxInterface* const item = list->m_items[isRightToLeft ? list->m_items.Size() - i : i - 1];
      TellLoopsWhatFollows(item, rest);
      Beginning withItem;
      withItem.Add(item, isRightToLeft);
      withItem.Add(rest);
      rest = withItem;
    }
  } else if (auto* const alternative = dynamic_cast<CAlternativeElxT<0>*>(element)) {
    for (std::ptrdiff_t i = 0; i < alternative->m_branches.Size(); ++i)
      TellLoopsWhatFollows(alternative->m_branches[i], behind);
  } else if (auto* const loop = dynamic_cast<CharacterLoop*>(element)) {
    if (behind.IsKnown()) loop->SetFollowing(behind.set);
  }
}

const CGreedyElxT<0>* LeadingLoop(const ElxInterface* element) {
  constexpr std::int64_t kLongerThanAnyText = std::int64_t{1} << 30;
  if (const auto* const list = As<CListElxT<0>>(element)) {
    if (list->m_rightToLeft != 0) return nullptr;
    for (std::ptrdiff_t i = 0; i < list->m_items.Size(); ++i)
      if (As<CBracketElxT<char>>(list->m_items[i]) == nullptr) return LeadingLoop(list->m_items[i]);
    return nullptr;
  }
  const auto* const loop = As<CGreedyElxT<0>>(element);
  return loop != nullptr && !loop->IsRightToLeft() && loop->m_span > kLongerThanAnyText &&
                 loop->Characters() != nullptr
             ? loop
             : nullptr;
}

bool HasOneWay(const ElxInterface* element) {
  if (const auto* const list = As<CListElxT<0>>(element)) {
    for (std::ptrdiff_t i = 0; i < list->m_items.Size(); ++i)
      if (!HasOneWay(list->m_items[i])) return false;
    return true;
  }
  return As<CharacterElx>(element) != nullptr || As<CStringElxT<char>>(element) != nullptr ||
         As<CBracketElxT<char>>(element) != nullptr || As<CBackrefElxT<char>>(element) != nullptr ||
         As<CBoundaryElxT<char>>(element) != nullptr || As<CEmptyElxT<0>>(element) != nullptr;
}

bool IsBoundToTextBegin(const ElxInterface* element) {
  if (const auto* const boundary = As<CBoundaryElxT<char>>(element))
    return boundary->m_type == CBoundaryElxT<char>::kTextBegin && boundary->m_sense != 0;
  if (const auto* const list = As<CListElxT<0>>(element)) {
    if (list->m_rightToLeft != 0) return false;
    for (std::ptrdiff_t i = 0; i < list->m_items.Size(); ++i) {
      const ElxInterface* const item = list->m_items[i];
      if (IsBoundToTextBegin(item)) return true;
      if (As<CBracketElxT<char>>(item) == nullptr) return false;
    }
  }
  return false;
}

}  // namespace Pirsk::Regex
