#include "Regex/Shortcuts.h"

#include "Regex/Builder.h"

namespace Pirsk::Regex {

// ---- Beginnings

void Beginning::Add(const ElxInterface& element) {
  if (mayBeEmpty && !isUnknown) element.AddTo(*this);
}

void Beginning::Add(const Beginning& following) {
  if (!mayBeEmpty) return;
  AddToSet(following.set);
  mayBeEmpty = following.mayBeEmpty;
  isUnknown = isUnknown || following.isUnknown;
}

void Beginning::AddToSet(const std::array<bool, 256>& characters) {
  for (std::size_t c = 0; c < set.size(); ++c) set[c] = set[c] || characters[c];
}

void ElxInterface::AddTo(Beginning& beginning) const { beginning.isUnknown = true; }

void CListElxT<0>::AddTo(Beginning& beginning) const {
  for (std::ptrdiff_t i = 0; i < m_items.Size(); ++i) beginning.Add(*Item(i));
}

void CAlternativeElxT<0>::AddTo(Beginning& beginning) const {
  bool isAnyEmpty = m_branches.Size() == 0;
  for (std::ptrdiff_t i = 0; i < m_branches.Size(); ++i) {
    Beginning branch;
    branch.Add(*m_branches[i]);
    beginning.AddToSet(branch.set);
    isAnyEmpty = isAnyEmpty || branch.mayBeEmpty;
    beginning.isUnknown = beginning.isUnknown || branch.isUnknown;
  }
  beginning.mayBeEmpty = isAnyEmpty;
}

void CRepeatElxT<0>::AddTo(Beginning& beginning) const {
  beginning.Add(*m_inner);
  if (m_count == 0) beginning.mayBeEmpty = true;
}

void CIndependentElxT<0>::AddTo(Beginning& beginning) const { beginning.Add(*m_inner); }

void CStringElxT<char>::AddTo(Beginning& beginning) const {
  const std::ptrdiff_t size = m_text.Size();
  if (size == 0) return;
  const char first = m_text[m_rightToLeft != 0 ? size - 1 : 0];
  beginning.mayBeEmpty = false;
  // Which characters are one in either case depends on the locale at the time of the search.
  if (m_ignoreCase != 0)
    beginning.isUnknown = true;
  else
    beginning.set[static_cast<unsigned char>(first)] = true;
}

void CharacterElx::AddTo(Beginning& beginning) const {
  beginning.mayBeEmpty = false;
  if (const std::array<bool, 256>* const table = Table())
    beginning.AddToSet(*table);
  else
    beginning.isUnknown = true;
}

// ---- What follows

void CListElxT<0>::SetFollowing(const Beginning& following) {
  Beginning rest = following;
  for (std::ptrdiff_t i = m_items.Size(); i > 0; --i) {
    ElxInterface& item = *m_items[PlaceOf(i - 1)];
    item.SetFollowing(rest);
    Beginning withItem;
    withItem.Add(item);
    withItem.Add(rest);
    rest = withItem;
  }
}

void CAlternativeElxT<0>::SetFollowing(const Beginning& following) {
  for (std::ptrdiff_t i = 0; i < m_branches.Size(); ++i) m_branches[i]->SetFollowing(following);
}

void CGreedyElxT<0>::SetFollowing(const Beginning& following) {
  if (following.IsKnown()) OfferOnlyBefore(following.set);
}

void CReluctantElxT<0>::SetFollowing(const Beginning& following) {
  if (following.IsKnown()) OfferOnlyBefore(following.set);
}

// ---- What a pattern begins with

bool CBoundaryElxT<char>::IsBoundToTextStart() const {
  return m_type == kTextStart && m_sense != 0;
}

const ElxInterface* CListElxT<0>::FirstDemand() const {
  if (m_rightToLeft != 0) return nullptr;
  for (std::ptrdiff_t i = 0; i < m_items.Size(); ++i)
    if (!m_items[i]->IsTransparent()) return m_items[i];
  return nullptr;
}

bool CListElxT<0>::IsBoundToTextStart() const {
  const ElxInterface* const first = FirstDemand();
  return first != nullptr && first->IsBoundToTextStart();
}

const std::array<bool, 256>* CListElxT<0>::LeadingRun() const {
  const ElxInterface* const first = FirstDemand();
  return first != nullptr ? first->LeadingRun() : nullptr;
}

const std::array<bool, 256>* CGreedyElxT<0>::LeadingRun() const {
  return m_count + m_span == kUnbounded && !IsRightToLeft() ? Characters() : nullptr;
}

bool CListElxT<0>::HasOneWay() const {
  for (std::ptrdiff_t i = 0; i < m_items.Size(); ++i)
    if (!m_items[i]->HasOneWay()) return false;
  return true;
}

// ---- The decision

void CPatternT::FindShortcuts() {
  const bool isRightToLeft = IsRightToLeft(m_flags);
  const auto isPlain = [](const ElxInterface* element) { return element->IsPlain(); };
  if (std::all_of(m_objects.Data(), m_objects.Data() + m_objects.Size(), isPlain)) {
    Beginning anything;
    anything.isUnknown = true;
    m_root->SetFollowing(anything);
    for (std::ptrdiff_t i = 0; i < m_objects.Size(); ++i) m_objects[i]->RelyOnPositions();
    if (!isRightToLeft) m_shortcuts.leadingRun = m_root->LeadingRun();
  }
  m_shortcuts.isStraight = m_root->HasOneWay();
  m_shortcuts.isBoundToTextStart = !isRightToLeft && m_root->IsBoundToTextStart();

  Beginning beginning;
  beginning.Add(*m_root);
  if (!beginning.IsKnown()) return;
  m_shortcuts.isBeginningKnown = true;
  m_shortcuts.beginning = beginning.set;
  const auto& set = beginning.set;
  if (std::count(set.begin(), set.end(), true) == 1)
    m_shortcuts.onlyBeginning =
        static_cast<std::int32_t>(std::find(set.begin(), set.end(), true) - set.begin());
}

void CPatternT::ForgetShortcuts() {
  m_shortcuts = {};
  for (std::ptrdiff_t i = 0; i < m_objects.Size(); ++i) m_objects[i]->ForgetShortcuts();
}

// ---- The search

// The position to try after one at which nothing matched.
std::int64_t CPatternT::NextPosition(const CMatchContext& context) const {
  const std::int64_t position = context.m_currentPosition;
  // In a longer text a loop may reach its bound before the end of a run.
  if (m_shortcuts.leadingRun == nullptr || context.m_textLength >= kUnbounded)
    return position + (IsRightToLeft(m_flags) ? -1 : 1);
  const std::array<bool, 256>& characters = *m_shortcuts.leadingRun;
  std::int64_t end = position;
  while (end < context.m_textLength && characters[static_cast<unsigned char>(context.m_text[end])])
    ++end;
  return std::max(end, position + 1);
}

// The next position, this one included, at which a match can begin; else the stop position.
std::int64_t CPatternT::PassOver(const CMatchContext& context) const {
  std::int64_t position = context.m_currentPosition;
  const std::int64_t length = context.m_textLength;
  const auto* const text = reinterpret_cast<const unsigned char*>(context.m_text);
  if (m_shortcuts.isBoundToTextStart && position >= 1) return length + 1;
  if (!m_shortcuts.isBeginningKnown) return position;
  if (IsRightToLeft(m_flags)) {
    while (position > 0 && !m_shortcuts.beginning[text[position - 1]]) --position;
    return position > 0 ? position : -1;
  }
  if (m_shortcuts.onlyBeginning >= 0 && position < length) {
    const void* const found = std::memchr(text + position, m_shortcuts.onlyBeginning,
                                          static_cast<std::size_t>(length - position));
    return found != nullptr ? static_cast<const unsigned char*>(found) - text : length + 1;
  }
  while (position < length && !m_shortcuts.beginning[text[position]]) ++position;
  return position < length ? position : length + 1;
}

}  // namespace Pirsk::Regex
