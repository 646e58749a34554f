#pragma once

#include "Regex/Buffer.h"

#include <array>
#include <memory>
#include <vector>

namespace Pirsk::Regex {

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

  /// A list of positions for one step of a greedy loop. Steps nest as the pattern does; each level
  /// uses its list again.
  class SeenList {
  public:
    explicit SeenList(CMatchContext& context) : m_context(context) {
      if (context.m_seenDepth == context.m_seenLists.size())
        context.m_seenLists.push_back(std::make_unique<CSortedBufferT<std::int64_t>>());
      m_list = context.m_seenLists[context.m_seenDepth++].get();
      m_list->Restore(0);
    }
    ~SeenList() { --m_context.m_seenDepth; }

    SeenList(const SeenList&) = delete;
    SeenList& operator=(const SeenList&) = delete;

    CSortedBufferT<std::int64_t>* operator->() { return m_list; }
    CSortedBufferT<std::int64_t>& operator*() { return *m_list; }

  private:
    CMatchContext& m_context;
    CSortedBufferT<std::int64_t>* m_list;
  };

  std::int64_t m_recursionDepth = 0;  ///< Levels of recursion that are on the call stack.
  std::int64_t m_recursionLimit = 0;  ///< How many may be.

private:
  std::vector<std::unique_ptr<CSortedBufferT<std::int64_t>>> m_seenLists;
  std::size_t m_seenDepth = 0;
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

  /// Learns what a match of all that comes after it can begin with.
  virtual void SetFollowing(const Beginning&) {}

  /// Undoes `SetFollowing`, for this element alone.
  virtual void ForgetFollowing() {}

  /// The characters of the unbounded greedy loop that it begins with, from left to right; null
  /// where it does not begin with one.
  virtual const std::array<bool, 256>* LeadingRun() const { return nullptr; }
};

}  // namespace Pirsk::Regex
