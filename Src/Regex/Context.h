#pragma once

#include "Regex/Buffer.h"

#include <array>
#include <memory>
#include <vector>

namespace Pirsk::Regex {

/// Positions, in no order.
class PositionSet {
public:
  void Clear() {
    m_places.assign(kSmallest, kFree);
    m_count = 0;
  }

  /// False for a position that is in the set already.
  bool Add(std::int64_t position);

private:
  static constexpr std::size_t kSmallest = 16;
  static constexpr std::int64_t kFree = -1;

  void Grow();
  std::int64_t& PlaceOf(std::int64_t position);

  std::vector<std::int64_t> m_places;
  std::size_t m_count = 0;
};

/// What a greedy loop notes beside its record on the stack, once it has extended itself again after
/// going back into an iteration. Notes lie beside the stack so that a step back need not move them.
struct LoopNotes {
  CSortedBufferT<std::int64_t> ends;  ///< Ends that were offered after the first.
  PositionSet passed;                 ///< Positions from which it has extended itself again.
};

/// The state of one search, or of a series of searches over one text. Not to be shared by threads.
class CMatchContext {
public:
  CBufferT<std::int64_t> m_stack;         ///< Backtracking records of the elements.
  CBufferT<std::int64_t> m_captureStack;  ///< Capture records: group number, begin, end, serial.
  CBufferT<std::int64_t> m_captureIndex;  ///< Offset of a group's newest record; -1 for none.
  std::int64_t m_currentPosition = 0;
  std::int64_t m_beginPosition = 0;       ///< Where the current match began its search.
  std::int64_t m_lastBeginPosition = -1;  ///< The begin position of the previous match.
  std::int64_t m_captureSerial = 0;
  std::int64_t m_recursionAllowance = 0;  ///< How many levels of recursion are left.
  const char* m_text = nullptr;           ///< Not owned.
  std::int64_t m_textLength = 0;

  /// Places within a capture record.
  enum CaptureField { kGroup = 0, kBegin = 1, kEnd = 2, kSerial = 3, kCaptureSize = 4 };

  /// Offset of a group's newest capture record; negative if there is none.
  std::int64_t FindCapture(std::int64_t group) const {
    if (group < 0 || group >= m_captureIndex.Size()) return -1;
    std::int64_t offset = m_captureIndex[group];
    if (offset < 0) return offset;
    if (offset >= m_captureStack.Size()) offset = m_captureStack.Size() - kCaptureSize;
    while (offset >= 0 && m_captureStack[offset + kGroup] != group) offset -= kCaptureSize;
    return offset;
  }

  /// What a greedy loop has noted that has more than one end, empty; to be given back by `PutNotes`
  /// or `DropNotes`.
  std::unique_ptr<LoopNotes> NewNotes();

  /// Takes the notes of the loop whose record begins at this height of the stack. Those of loops
  /// whose records lay above it and were cut off are dropped.
  std::unique_ptr<LoopNotes> TakeNotes(std::int64_t height);

  /// Keeps the notes for the loop whose record begins at this height of the stack.
  void PutNotes(std::int64_t height, std::unique_ptr<LoopNotes> notes);

  /// Lets notes be used again; null is of no effect.
  void DropNotes(std::unique_ptr<LoopNotes> notes);

  std::int64_t m_recursionDepth = 0;  ///< Levels of recursion that are on the call stack.
  std::int64_t m_recursionLimit = 0;  ///< How many may be.

private:
  struct PlacedNotes {
    std::int64_t height;
    std::unique_ptr<LoopNotes> notes;
  };

  void DropNotesFrom(std::int64_t height);

  std::vector<PlacedNotes> m_notes;  // By height, as the records lie on the stack.
  std::vector<std::unique_ptr<LoopNotes>> m_unusedNotes;
};

/// Heights of both stacks and the position, to come back to.
struct Mark {
  std::int64_t stack;
  std::int64_t captures;
  std::int64_t position;

  static Mark Of(const CMatchContext& context) {
    return {context.m_stack.Size(), context.m_captureStack.Size(), context.m_currentPosition};
  }
  void Restore(CMatchContext& context) const {
    context.m_stack.Restore(stack);
    context.m_captureStack.Restore(captures);
    context.m_currentPosition = position;
  }
};

struct Beginning;
class CharacterElx;
template <int>
class CListElxT;

/// One element of a compiled pattern. Elements are only read while matching.
///
/// The operations below `MatchStraight` answer before any search what shortcuts (Shortcuts.h) want
/// to know of an element. The answers here allow none.
class ElxInterface {
public:
  /// Tries the element for the first time at the current position. On true the position is the end
  /// of the match; on false nothing has changed.
  virtual bool Match(CMatchContext& context) const = 0;

  /// Asks a matched element for its next way of matching. On false it has undone itself: position
  /// and stack are as they were before its `Match`.
  virtual bool MatchNext(CMatchContext& context) const = 0;

  virtual ~ElxInterface() = default;

  /// As `Match`, for an element with one way: on false nothing need be undone, since the caller
  /// throws away what is left.
  virtual bool MatchStraight(CMatchContext& context) const { return Match(context); }

  /// Whether its ways depend on the position alone, and an attempt that fails leaves nothing.
  virtual bool IsPlain() const { return false; }

  /// Whether it has at most one way to match at a position.
  virtual bool HasOneWay() const { return false; }

  /// Whether it takes no character and matches everywhere.
  virtual bool IsTransparent() const { return false; }

  /// Whether it matches at the start of the text alone.
  virtual bool IsBoundToTextStart() const { return false; }

  /// Itself where it takes one character; else null.
  virtual const CharacterElx* AsCharacter() const { return nullptr; }

  /// Adds the characters with which its match can begin. To be called where all that comes before
  /// may be empty.
  virtual void AddTo(Beginning& beginning) const;

  /// Adds the characters that come second in its matches, from left to right. False where that is
  /// not known, or where a match may be shorter than two characters.
  virtual bool AddSecondTo(std::array<bool, 256>&) const { return false; }

  /// The text that all of its matches begin with, from left to right; null where none is known.
  virtual const CBufferT<char>* LeadingText() const { return nullptr; }

  /// A character that all of its matches take, from left to right; -1 where none is known.
  virtual int RequiredCharacter() const { return -1; }

  /// Learns what a match of all that comes after it can begin with.
  virtual void SetFollowing(const Beginning&) {}

  /// Adds the characters of which its match is one. False where a match may be anything else, or
  /// where that is not known.
  virtual bool AddWholeTo(std::array<bool, 256>&) const { return false; }

  /// Itself where it is one item between two that are transparent, as a group is; else null.
  virtual const CListElxT<0>* AsGroup() const { return nullptr; }

  /// Learns that every element of the pattern is plain, and its direction.
  virtual void RelyOnPositions(bool /*isRightToLeft*/) {}

  /// Undoes `SetFollowing` and `RelyOnPositions`, for this element alone.
  virtual void ForgetShortcuts() {}

  /// The characters of the unbounded greedy loop that it begins with, from left to right; null
  /// where it does not begin with one.
  virtual const std::array<bool, 256>* LeadingRun() const { return nullptr; }
};

}  // namespace Pirsk::Regex
