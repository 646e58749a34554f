#include "Regex/Shortcuts.h"

#include "Regex/Builder.h"

#include <bit>
#include <functional>
#include <numeric>
#include <string_view>

namespace Pirsk::Regex {

namespace {

constexpr std::int64_t kBlock = 128;

using Hits = std::array<bool, kBlock>;

// The places of a block that are hits. Without a branch in `isHit`, compilers turn it into a few
// steps for the whole block.
template <class IsHit>
Hits HitsOf(const IsHit& isHit) {
  Hits hits;
  for (std::int64_t i = 0; i < kBlock; ++i) hits[static_cast<std::size_t>(i)] = isHit(i);
  return hits;
}

// Whether a block has a hit, eight places at once.
bool HasHit(const Hits& hits) {
  const auto words = std::bit_cast<std::array<std::uint64_t, kBlock / 8>>(hits);
  return std::accumulate(words.begin(), words.end(), std::uint64_t{0}, std::bit_or<>()) != 0;
}

// The place of the next hit of a block; its size for none.
std::int64_t NextHit(const Hits& hits, std::int64_t from) {
  const void* const found =
      std::memchr(hits.data() + from, 1, static_cast<std::size_t>(kBlock - from));
  return found != nullptr ? static_cast<const bool*>(found) - hits.data() : kBlock;
}

// The first place of a character from a position on; the length of the text for none.
std::int64_t FindCharacter(const CMatchContext& context, std::int64_t position, int character) {
  if (position >= context.m_textLength) return context.m_textLength;
  const void* const found = std::memchr(context.m_text + position, character,
                                        static_cast<std::size_t>(context.m_textLength - position));
  return found != nullptr ? static_cast<const char*>(found) - context.m_text : context.m_textLength;
}

// The same for a text of two or more characters: its first and its last are looked for together.
std::int64_t FindText(const CMatchContext& context, std::int64_t position,
                      const CBufferT<char>& wanted) {
  const std::int64_t distance = wanted.Size() - 1;
  const char first = wanted[0];
  const char last = wanted[distance];
  for (; position + kBlock + distance <= context.m_textLength; position += kBlock) {
    const char* const text = context.m_text + position;
    const Hits hits =
        HitsOf([=](std::int64_t i) { return (text[i] == first) & (text[i + distance] == last); });
    if (!HasHit(hits)) continue;
    for (std::int64_t i = NextHit(hits, 0); i < kBlock; i = NextHit(hits, i + 1))
      if (wanted.Compare(text + i) == 0) return position + i;
  }
  const std::string_view rest(context.m_text + position,
                              static_cast<std::size_t>(context.m_textLength - position));
  const std::size_t found =
      rest.find(std::string_view(wanted.Data(), static_cast<std::size_t>(wanted.Size())));
  return found != rest.npos ? position + static_cast<std::int64_t>(found) : context.m_textLength;
}

}  // namespace

void Beginning::Add(const ElxInterface& element) {
  if (mayBeEmpty && !isUnknown) element.AddTo(*this);
}

void Beginning::Add(const Beginning& following) {
  if (!mayBeEmpty) return;
  if (IsSetEmpty()) text = following.text;
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
  if (m_count > 0) return;
  beginning.mayBeEmpty = true;
  beginning.text = nullptr;
}

void CIndependentElxT<0>::AddTo(Beginning& beginning) const { beginning.Add(*m_inner); }

void CStringElxT<char>::AddTo(Beginning& beginning) const {
  const std::ptrdiff_t size = m_text.Size();
  if (size == 0) return;
  const char first = m_text[m_rightToLeft != 0 ? size - 1 : 0];
  beginning.mayBeEmpty = false;
  if (IsExact() && beginning.IsSetEmpty()) beginning.text = &m_text;
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

bool CharacterElx::AddWholeTo(std::array<bool, 256>& set) const {
  const std::array<bool, 256>* const table = Table();
  if (table == nullptr) return false;
  for (std::size_t c = 0; c < set.size(); ++c) set[c] = set[c] || (*table)[c];
  return true;
}

bool CStringElxT<char>::AddWholeTo(std::array<bool, 256>& set) const {
  if (m_text.Size() != 1 || m_ignoreCase != 0) return false;
  set[static_cast<unsigned char>(m_text[0])] = true;
  return true;
}

bool CAlternativeElxT<0>::AddWholeTo(std::array<bool, 256>& set) const {
  for (std::ptrdiff_t i = 0; i < m_branches.Size(); ++i)
    if (!m_branches[i]->AddWholeTo(set)) return false;
  return m_branches.Size() > 0;
}

const CListElxT<0>* CListElxT<0>::AsGroup() const {
  constexpr std::ptrdiff_t kItems = 3;
  return m_items.Size() == kItems && m_items[0]->IsTransparent() && m_items[2]->IsTransparent()
             ? this
             : nullptr;
}

void CGreedyElxT<0>::RelyOnPositions(bool isRightToLeft) {
  m_isByPosition = m_count + m_span == kUnbounded;
  if (IsOverCharacter()) return;
  const CListElxT<0>* const group = m_inner->AsGroup();
  std::array<bool, 256> characters{};
  if (!(group != nullptr ? group->Item(1) : m_inner)->AddWholeTo(characters)) return;
  LoopOver(characters, isRightToLeft);
  m_group = group;
}

void CGreedyElxT<0>::ForgetShortcuts() {
  OfferAll();
  LoopOverInner();
  m_isByPosition = false;
  m_group = nullptr;
}

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
  if (following.IsKnown()) OfferOnlyBefore(following);
}

void CReluctantElxT<0>::SetFollowing(const Beginning& following) {
  if (following.IsKnown()) OfferOnlyBefore(following);
}

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

bool CStringElxT<char>::AddSecondTo(std::array<bool, 256>& set) const {
  if (!IsExact() || m_text.Size() < 2) return false;
  set[static_cast<unsigned char>(m_text[1])] = true;
  return true;
}

bool CListElxT<0>::AddSecondTo(std::array<bool, 256>& set) const {
  const ElxInterface* const first = FirstDemand();
  return first != nullptr && first->AddSecondTo(set);
}

bool CAlternativeElxT<0>::AddSecondTo(std::array<bool, 256>& set) const {
  for (std::ptrdiff_t i = 0; i < m_branches.Size(); ++i)
    if (!m_branches[i]->AddSecondTo(set)) return false;
  return true;
}

const CBufferT<char>* CStringElxT<char>::LeadingText() const {
  return IsExact() ? &m_text : nullptr;
}

const CBufferT<char>* CListElxT<0>::LeadingText() const {
  const ElxInterface* const first = FirstDemand();
  return first != nullptr ? first->LeadingText() : nullptr;
}

int CStringElxT<char>::RequiredCharacter() const {
  return IsExact() ? static_cast<unsigned char>(m_text[m_text.Size() - 1]) : -1;
}

// The last, which the search does not look for anyway.
int CListElxT<0>::RequiredCharacter() const {
  for (std::ptrdiff_t i = m_items.Size(); i > 0; --i)
    if (const int required = m_items[i - 1]->RequiredCharacter(); required >= 0) return required;
  return -1;
}

int CRepeatElxT<0>::RequiredCharacter() const {
  return m_count > 0 ? m_inner->RequiredCharacter() : -1;
}

int CIndependentElxT<0>::RequiredCharacter() const { return m_inner->RequiredCharacter(); }

void CPatternT::FindShortcuts() {
  const bool isRightToLeft = IsRightToLeft(m_flags);
  const auto isPlain = [](const ElxInterface* element) { return element->IsPlain(); };
  if (std::all_of(m_objects.Data(), m_objects.Data() + m_objects.Size(), isPlain)) {
    for (std::ptrdiff_t i = 0; i < m_objects.Size(); ++i)
      m_objects[i]->RelyOnPositions(isRightToLeft);
    Beginning anything;
    anything.isUnknown = true;
    m_root->SetFollowing(anything);
    if (!isRightToLeft) m_shortcuts.leadingRun = m_root->LeadingRun();
  }
  m_shortcuts.isStraight = m_root->HasOneWay();
  FindBeginning();
  if (isRightToLeft) return;
  m_shortcuts.isBoundToTextStart = m_root->IsBoundToTextStart();
  if (m_shortcuts.isBoundToTextStart) return;  // One attempt, for which no search ahead pays.
  m_shortcuts.required = m_root->RequiredCharacter();
  const CBufferT<char>* const text = m_root->LeadingText();
  if (text != nullptr && text->Size() > 1) {
    m_shortcuts.leadingText = text;
    // Where the text is found, so is the character.
    if (std::find(text->Data(), text->Data() + text->Size(), m_shortcuts.required) !=
        text->Data() + text->Size())
      m_shortcuts.required = -1;
  }
  std::array<bool, 256> second{};
  m_shortcuts.isSecondKnown = m_root->AddSecondTo(second);
  for (std::size_t c = 0; c < second.size(); ++c)
    m_shortcuts.places[c] = static_cast<unsigned char>(
        (m_shortcuts.beginning[c] ? Shortcuts::kFirst : 0) | (second[c] ? Shortcuts::kSecond : 0));
  if (!m_shortcuts.isSecondKnown) return;
  m_shortcuts.fewFirst = FewCharacters::Of(m_shortcuts.beginning);
  m_shortcuts.fewSecond = FewCharacters::Of(second);
}

std::optional<FewCharacters> FewCharacters::Of(const std::array<bool, 256>& set) {
  FewCharacters few;
  std::size_t count = 0;
  for (std::size_t c = 0; c < set.size(); ++c) {
    if (!set[c]) continue;
    if (count == kMost) return std::nullopt;
    // Places that are not taken by another character repeat this one.
    std::fill(few.characters + count, few.characters + kMost, static_cast<char>(c));
    ++count;
  }
  return count > 0 ? std::optional(few) : std::nullopt;
}

void CPatternT::FindBeginning() {
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
// `required` is a place of the required character, from which on the next is looked for.
std::int64_t CPatternT::PassOver(const CMatchContext& context, std::int64_t& required) const {
  if (IsRightToLeft(m_flags)) return PassOverFromRight(context);
  const std::int64_t stop = context.m_textLength + 1;
  const std::int64_t position = PassOverBeginnings(context);
  if (m_shortcuts.required < 0 || position <= required || position == stop) return position;
  required = FindCharacter(context, position, m_shortcuts.required);
  return required < context.m_textLength ? position : stop;
}

std::int64_t CPatternT::PassOverFromRight(const CMatchContext& context) const {
  if (!m_shortcuts.isBeginningKnown) return context.m_currentPosition;
  const auto* const text = reinterpret_cast<const unsigned char*>(context.m_text);
  std::int64_t position = context.m_currentPosition;
  while (position > 0 && !m_shortcuts.beginning[text[position - 1]]) --position;
  return position > 0 ? position : -1;
}

std::int64_t CPatternT::PassOverBeginnings(const CMatchContext& context) const {
  std::int64_t position = context.m_currentPosition;
  const std::int64_t length = context.m_textLength;
  const auto* const text = reinterpret_cast<const unsigned char*>(context.m_text);
  if (m_shortcuts.isBoundToTextStart && position >= 1) return length + 1;
  if (!m_shortcuts.isBeginningKnown) return position;
  if (position >= length) return length + 1;
  if (m_shortcuts.leadingText != nullptr) {
    position = FindText(context, position, *m_shortcuts.leadingText);
  } else if (m_shortcuts.onlyBeginning >= 0) {
    position = FindCharacter(context, position, m_shortcuts.onlyBeginning);
  } else if (m_shortcuts.isSecondKnown) {
    return PassOverPairs(context);
  } else {
    while (position < length && !m_shortcuts.beginning[text[position]]) ++position;
  }
  return position < length ? position : length + 1;
}

// The next place of a first character before a second.
std::int64_t CPatternT::PassOverPairs(const CMatchContext& context) const {
  const std::int64_t last = context.m_textLength - 1;
  const auto isPair = [this, &context](std::int64_t place) {
    const auto* const text = reinterpret_cast<const unsigned char*>(context.m_text) + place;
    return (m_shortcuts.places[text[0]] & (m_shortcuts.places[text[1]] >> 1) & Shortcuts::kFirst) !=
           0;
  };
  std::int64_t position = context.m_currentPosition;
  if (position < last && isPair(position)) return position;
  if (m_shortcuts.fewFirst && m_shortcuts.fewSecond) {
    const FewCharacters first = *m_shortcuts.fewFirst;
    const FewCharacters second = *m_shortcuts.fewSecond;
    for (; position + kBlock <= last; position += kBlock) {
      const char* const text = context.m_text + position;
      const Hits hits = HitsOf([=](std::int64_t i) {
        return FewCharacters::ArePair(text[i], first, text[i + 1], second);
      });
      if (HasHit(hits)) return position + NextHit(hits, 0);
    }
  }
  while (position < last && !isPair(position)) ++position;
  return position < last ? position : context.m_textLength + 1;
}

}  // namespace Pirsk::Regex
