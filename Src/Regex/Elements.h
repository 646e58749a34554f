#pragma once

#include "Regex/Context.h"

#include <array>
#include <memory>

/// The elements of a compiled pattern. What an element must remember between `Match` and
/// `MatchNext` lies on the stacks of the context; no element owns another.

namespace Pirsk::Regex {

/// The maximum of a loop without one.
inline constexpr std::int64_t kUnbounded = 0x7FFFFFFF;

template <int>
class CEmptyElxT;
template <int>
class CGlobalElxT;
template <int>
class CAlternativeElxT;
template <int>
class CAssertElxT;
template <int>
class CIndependentElxT;
template <int>
class CListElxT;
template <int>
class CRepeatElxT;
template <int>
class CGreedyElxT;
template <int>
class CReluctantElxT;
template <int>
class CPossessiveElxT;
template <class>
class CBackrefElxT;
template <class>
class CBoundaryElxT;
template <class>
class CBracketElxT;
template <class>
class CConditionElxT;
template <class>
class CDelegateElxT;
template <class>
class CPosixElxT;
template <class>
class CRangeElxT;
template <class>
class CStringElxT;

/// Matches nothing, everywhere.
template <>
class CEmptyElxT<0> final : public ElxInterface {
public:
  bool Match(CMatchContext& context) const override;
  bool MatchNext(CMatchContext& context) const override;
  bool IsPlain() const override { return true; }
  bool HasOneWay() const override { return true; }
  bool IsTransparent() const override { return true; }
  void AddTo(Beginning&) const override {}
};

/// Matches where the search began.
template <>
class CGlobalElxT<0> final : public ElxInterface {
public:
  bool Match(CMatchContext& context) const override;
  bool MatchNext(CMatchContext& context) const override;
  bool IsPlain() const override { return true; }
  bool HasOneWay() const override { return true; }
  void AddTo(Beginning&) const override {}
};

/// The first of its branches that matches. Record: the branch.
template <>
class CAlternativeElxT<0> final : public ElxInterface {
public:
  bool Match(CMatchContext& context) const override;
  bool MatchNext(CMatchContext& context) const override;
  bool AddSecondTo(std::array<bool, 256>& set) const override;
  bool AddWholeTo(std::array<bool, 256>& set) const override;
  bool IsPlain() const override { return true; }
  void AddTo(Beginning& beginning) const override;
  void SetFollowing(const Beginning& following) override;

  CBufferT<ElxInterface*> m_branches;

private:
  bool MatchFrom(std::int64_t branch, CMatchContext& context) const;
};

/// Looks whether its inner element matches, or does not, and stays where it is. Record: the height
/// of the captures.
template <>
class CAssertElxT<0> final : public ElxInterface {
public:
  CAssertElxT(ElxInterface* inner, bool isDirect) : m_inner(inner), m_sense(isDirect ? 1 : 0) {}
  bool Match(CMatchContext& context) const override;
  bool MatchNext(CMatchContext& context) const override;
  void AddTo(Beginning&) const override {}

  ElxInterface* m_inner;
  std::int32_t m_sense;
};

/// The text of a group, once more. Record: the position before it.
template <>
class CBackrefElxT<char> final : public ElxInterface {
public:
  CBackrefElxT(std::int64_t group, bool isRightToLeft, bool ignoresCase)
      : m_group(group), m_rightToLeft(isRightToLeft ? 1 : 0), m_ignoreCase(ignoresCase ? 1 : 0) {}
  bool Match(CMatchContext& context) const override;
  bool MatchNext(CMatchContext& context) const override;
  bool HasOneWay() const override { return true; }

  std::int64_t m_group;
  std::int32_t m_rightToLeft;
  std::int32_t m_ignoreCase;
  CBufferT<char> m_name;
};

/// A condition on the characters on both sides of the position.
template <>
class CBoundaryElxT<char> final : public ElxInterface {
public:
  enum Type : std::int32_t {
    kTextStart = 0,
    kTextEnd = 1,
    kTextEndOrLastLineEnd = 2,
    kLineStart = 3,
    kLineEnd = 4,
    kWordStart = 5,
    kWordEnd = 6,
    kWordBoundary = 7,
  };

  CBoundaryElxT(std::int32_t type, bool isDirect) : m_type(type), m_sense(isDirect ? 1 : 0) {}
  bool Match(CMatchContext& context) const override;
  bool MatchNext(CMatchContext& context) const override;
  bool IsPlain() const override { return true; }
  bool HasOneWay() const override { return true; }
  bool IsBoundToTextStart() const override;
  void AddTo(Beginning&) const override {}

  std::int32_t m_type;
  std::int32_t m_sense;
};

/// The start or the end of a group. The pair lets a recursion enter an open group again without
/// losing its outer start.
template <>
class CBracketElxT<char> final : public ElxInterface {
public:
  CBracketElxT(std::int64_t group, bool isClosing) : m_group(group), m_closing(isClosing ? 1 : 0) {}
  bool Match(CMatchContext& context) const override;
  bool MatchNext(CMatchContext& context) const override;
  bool IsPlain() const override { return true; }
  bool HasOneWay() const override { return true; }
  bool IsTransparent() const override { return m_group >= 0; }
  void AddTo(Beginning&) const override {}

  std::int64_t m_group;
  std::int32_t m_closing;
  CBufferT<char> m_name;

private:
  bool Open(CMatchContext& context) const;
  void Reopen(CMatchContext& context) const;
  void Close(CMatchContext& context) const;
  void Drop(CMatchContext& context) const;
};

/// One of two branches, by whether a group took part or an assertion holds. Record: the height of
/// the captures, the condition.
template <>
class CConditionElxT<char> final : public ElxInterface {
public:
  bool Match(CMatchContext& context) const override;
  bool MatchNext(CMatchContext& context) const override;

  std::int64_t m_group = -1;
  CBufferT<char> m_name;
  ElxInterface* m_assertion = nullptr;
  ElxInterface* m_yes = nullptr;
  ElxInterface* m_no = nullptr;

private:
  bool Holds(CMatchContext& context) const;
};

/// A recursion into the whole pattern or a group.
template <>
class CDelegateElxT<char> final : public ElxInterface {
public:
  static constexpr std::int64_t kPendingName = -3;

  explicit CDelegateElxT(std::int64_t group) : m_group(group) {}
  bool Match(CMatchContext& context) const override;
  bool MatchNext(CMatchContext& context) const override;

  ElxInterface* m_target = nullptr;
  std::int64_t m_group;
  CBufferT<char> m_name;
};

/// The first way of its inner element, with no way back into it. Record: position, height of the
/// captures.
template <>
class CIndependentElxT<0> final : public ElxInterface {
public:
  explicit CIndependentElxT(ElxInterface* inner) : m_inner(inner) {}
  bool Match(CMatchContext& context) const override;
  bool MatchNext(CMatchContext& context) const override;
  int RequiredCharacter() const override;
  void AddTo(Beginning& beginning) const override;

  ElxInterface* m_inner;
};

/// Its items one after the other.
template <>
class CListElxT<0> final : public ElxInterface {
public:
  explicit CListElxT(bool isRightToLeft) : m_rightToLeft(isRightToLeft ? 1 : 0) {}
  bool Match(CMatchContext& context) const override;
  bool MatchNext(CMatchContext& context) const override;
  bool AddSecondTo(std::array<bool, 256>& set) const override;
  const CBufferT<char>* LeadingText() const override;
  int RequiredCharacter() const override;
  bool MatchStraight(CMatchContext& context) const override;
  bool IsPlain() const override { return true; }
  bool HasOneWay() const override;
  bool IsBoundToTextStart() const override;
  void AddTo(Beginning& beginning) const override;
  void SetFollowing(const Beginning& following) override;
  const std::array<bool, 256>* LeadingRun() const override;
  const CListElxT<0>* AsGroup() const override;

  /// Items count in the order in which they are matched.
  const ElxInterface* Item(std::ptrdiff_t index) const { return m_items[PlaceOf(index)]; }

  CBufferT<ElxInterface*> m_items;
  std::int32_t m_rightToLeft;

private:
  bool MatchFrom(std::ptrdiff_t index, CMatchContext& context) const;

  // Goes back to the nearest item before `index` that has another way, and puts `index` after it.
  bool RetryBefore(std::ptrdiff_t& index, CMatchContext& context) const {
    while (index > 0) {
      if (Item(index - 1)->MatchNext(context)) return true;
      --index;
    }
    return false;
  }

  std::ptrdiff_t PlaceOf(std::ptrdiff_t index) const {
    return m_rightToLeft != 0 ? m_items.Size() - 1 - index : index;
  }

  // The first item that is not transparent, from left to right; else null.
  const ElxInterface* FirstDemand() const;
};

/// An element that takes one character and keeps no record.
class CharacterElx : public ElxInterface {
public:
  explicit CharacterElx(bool isRightToLeft) : m_rightToLeft(isRightToLeft ? 1 : 0) {}

  /// Whether the element takes the character.
  virtual bool Takes(char character) const = 0;

  /// The characters that it takes, where these are known before the search; else null.
  virtual const std::array<bool, 256>* Table() const { return nullptr; }

  /// The one character that it does not take; -1 where that is none, or not one alone.
  virtual int OnlyRefused() const { return -1; }

  bool MatchNext(CMatchContext& context) const final;
  bool IsPlain() const final { return true; }
  bool HasOneWay() const final { return true; }
  const CharacterElx* AsCharacter() const final { return this; }
  void AddTo(Beginning& beginning) const final;
  bool AddWholeTo(std::array<bool, 256>& set) const final;

  std::int32_t m_rightToLeft;
};

/// One character by a test of the C library.
template <>
class CPosixElxT<char> final : public CharacterElx {
public:
  using Test = int (*)(int character);

  /// `isFixed` where the test does not depend on the locale.
  CPosixElxT(Test test, bool isRightToLeft, bool isDirect, bool isFixed);
  bool Match(CMatchContext& context) const override;
  bool Takes(char character) const override;

  const std::array<bool, 256>* Table() const override { return m_hasTable ? &m_table : nullptr; }

  Test m_test;
  std::int32_t m_sense;

private:
  std::array<bool, 256> m_table{};
  bool m_hasTable = false;
};

/// One character of a set.
template <>
class CRangeElxT<char> final : public CharacterElx {
public:
  CRangeElxT(bool isRightToLeft, bool isDirect)
      : CharacterElx(isRightToLeft), m_sense(isDirect ? 1 : 0) {}
  bool Match(CMatchContext& context) const override;
  bool Takes(char character) const override;
  const std::array<bool, 256>* Table() const override { return m_hasTable ? &m_table : nullptr; }
  int OnlyRefused() const override { return m_onlyRefused; }

  /// Whether ranges, characters or embedded elements hold the character, whatever the sense.
  bool Contains(char character) const;

  /// Tests every character once, so that matching need not. To be called when the set is complete;
  /// does nothing where an embedded test depends on the locale.
  void MakeTable();

  CBufferT<char> m_ranges;  ///< Pairs of low and high.
  CBufferT<char> m_characters;
  CBufferT<ElxInterface*> m_embedded;  ///< Elements of one character.
  std::int32_t m_sense;

private:
  std::array<bool, 256> m_table{};
  bool m_hasTable = false;
  int m_onlyRefused = -1;
};

/// A text.
template <>
class CStringElxT<char> final : public ElxInterface {
public:
  CStringElxT(const char* text, std::ptrdiff_t size, bool isRightToLeft, bool ignoresCase)
      : m_text(text, size),
        m_rightToLeft(isRightToLeft ? 1 : 0),
        m_ignoreCase(ignoresCase ? 1 : 0) {}
  bool Match(CMatchContext& context) const override;
  bool MatchNext(CMatchContext& context) const override;
  bool AddSecondTo(std::array<bool, 256>& set) const override;
  const CBufferT<char>* LeadingText() const override;
  int RequiredCharacter() const override;
  bool IsPlain() const override { return true; }
  bool HasOneWay() const override { return true; }
  void AddTo(Beginning& beginning) const override;
  bool AddWholeTo(std::array<bool, 256>& set) const override;

  CBufferT<char> m_text;
  std::int32_t m_rightToLeft;
  std::int32_t m_ignoreCase;

private:
  bool IsAt(const char* place) const;

  // Whether it is known before the search what the text is, from left to right.
  bool IsExact() const { return m_rightToLeft == 0 && m_ignoreCase == 0 && m_text.Size() > 0; }
};

/// What loops over an element of one character know besides: they need no record of each iteration,
/// and may leave out ends at which that which follows cannot match.
class CharacterLoop {
public:
  explicit CharacterLoop(const ElxInterface* inner) { Take(inner->AsCharacter()); }

  /// Only ends before one of these characters, or this text, are offered from now on. Of no effect
  /// where the loop is one over another element.
  void OfferOnlyBefore(const Beginning& following);

  void OfferAll() {
    m_hasFollowing = false;
    m_followingText = nullptr;
  }

  /// The characters of the loop where they are known before the search; else null.
  const std::array<bool, 256>* Characters() const {
    return m_character != nullptr ? m_character->Table() : nullptr;
  }

  /// Whether it is a loop over characters from right to left.
  bool IsRightToLeft() const { return m_character != nullptr && m_character->m_rightToLeft != 0; }

protected:
  bool IsOverCharacter() const { return m_character != nullptr; }

  /// Makes it a loop over these characters until `LoopOverInner`.
  void LoopOver(const std::array<bool, 256>& characters, bool isRightToLeft);

  void LoopOverInner() {
    if (m_set == nullptr) return;
    Take(nullptr);
    m_set.reset();
  }

  /// How many characters from the position on the loop takes, at most so many.
  std::int64_t CountTaken(std::int64_t most, const CMatchContext& context) const;

  /// Of the ends from `count` characters before the position up to it the last that is offered:
  /// how many characters lie before it. -1 for none.
  std::int64_t LastOffered(std::int64_t count, const CMatchContext& context) const;

  /// Moves the position over so many characters; back for a negative number.
  void MoveOver(std::int64_t count, CMatchContext& context) const {
    context.m_currentPosition += m_character->m_rightToLeft != 0 ? -count : count;
  }

  /// Whether an end at this position is offered.
  bool IsOffered(std::int64_t position, const CMatchContext& context) const {
    if (!m_hasFollowing) return true;
    const std::int64_t place = position - (m_character->m_rightToLeft != 0 ? 1 : 0);
    return place >= 0 && place < context.m_textLength &&
           m_following[static_cast<unsigned char>(context.m_text[place])] &&
           (m_followingText == nullptr || LastBeforeText(0, context) == 0);
  }

private:
  void Take(const CharacterElx* character);
  std::int64_t LastBeforeText(std::int64_t count, const CMatchContext& context) const;

  const CharacterElx* m_character = nullptr;  // What is looped over where it takes one character.
  const std::array<bool, 256>* m_table = nullptr;  // Its characters where they are known.
  int m_onlyRefused = -1;
  std::unique_ptr<CRangeElxT<char>> m_set;  // The same, where the inner element is another.
  std::array<bool, 256> m_following{};
  bool m_hasFollowing = false;
  const CBufferT<char>* m_followingText = nullptr;
};

/// Its inner element a number of times.
template <>
class CRepeatElxT<0> : public ElxInterface, public CharacterLoop {
public:
  CRepeatElxT(ElxInterface* inner, std::int64_t count)
      : CharacterLoop(inner), m_inner(inner), m_count(count) {}
  bool Match(CMatchContext& context) const override;
  bool MatchNext(CMatchContext& context) const override;
  int RequiredCharacter() const override;
  bool IsPlain() const override { return true; }
  void AddTo(Beginning& beginning) const override;

  ElxInterface* m_inner;
  std::int64_t m_count;

protected:
  bool RepeatMatch(CMatchContext& context) const;
  bool RepeatMatchNext(CMatchContext& context) const;

private:
  bool RetryBefore(std::int64_t& done, CMatchContext& context) const;
  bool MatchFrom(std::int64_t done, CMatchContext& context) const;
};

/// A number of times, and then as often as possible up to `m_span` times more. Record: heights of
/// the captures and the stack at the start, the first end that was offered, 2 where there are notes
/// of others and else 1, the start position, the count of iterations.
///
/// A group of one character is looped over as the character, and captures its last iteration alone:
/// where all elements are plain nobody looks at the earlier ones.
template <>
class CGreedyElxT<0> : public CRepeatElxT<0> {
public:
  CGreedyElxT(ElxInterface* inner, std::int64_t minimum, std::int64_t span);
  bool Match(CMatchContext& context) const override;
  bool MatchNext(CMatchContext& context) const override;
  void SetFollowing(const Beginning& following) override;
  void RelyOnPositions(bool isRightToLeft) override;
  void ForgetShortcuts() override;
  const std::array<bool, 256>* LeadingRun() const override;

  std::int64_t m_span;

private:
  bool GreedyExtend(CMatchContext& context) const;
  bool GreedyRetreat(CMatchContext& context) const;
  bool RetreatOverCharacters(CMatchContext& context) const;
  std::int64_t Iterate(std::int64_t count, PositionSet* passed, CMatchContext& context) const;
  std::int64_t ExtendAgain(std::int64_t count, std::int64_t firstEnd, LoopNotes& notes,
                           CMatchContext& context) const;
  void CaptureLast(std::int64_t count, CMatchContext& context) const;
  void DropLast(std::int64_t count, CMatchContext& context) const;

  bool m_isByPosition = false;
  const CListElxT<0>* m_group = nullptr;  // Around the character that is looped over.
};

/// A number of times, and then as seldom as possible up to `m_span` times more. Record: the
/// position before each iteration, of a loop over one character none, then their count.
template <>
class CReluctantElxT<0> final : public CRepeatElxT<0> {
public:
  CReluctantElxT(ElxInterface* inner, std::int64_t minimum, std::int64_t span)
      : CRepeatElxT<0>(inner, minimum), m_span(span) {}
  bool Match(CMatchContext& context) const override;
  bool MatchNext(CMatchContext& context) const override;
  void SetFollowing(const Beginning& following) override;
  void ForgetShortcuts() override { OfferAll(); }

  std::int64_t m_span;

private:
  bool ReluctantAdvance(CMatchContext& context) const;
  bool AdvanceOverCharacters(std::int64_t count, CMatchContext& context) const;
};

/// As often as the greedy loop at first, with no way back into it. Record: position, height of the
/// captures.
template <>
class CPossessiveElxT<0> final : public CGreedyElxT<0> {
public:
  using CGreedyElxT<0>::CGreedyElxT;
  bool Match(CMatchContext& context) const override;
  bool MatchNext(CMatchContext& context) const override;
  bool IsPlain() const override { return false; }  // What it captured stays.
};

}  // namespace Pirsk::Regex
