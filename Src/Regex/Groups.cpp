#include "Regex/Elements.h"

namespace Pirsk::Regex {

using Capture = CMatchContext;

inline bool CBracketElxT<char>::Open(CMatchContext& context) const {
  auto& captures = context.m_captureStack;
  context.m_captureIndex.Prepare(m_group, -1);
  const std::int64_t record = context.FindCapture(m_group);
  if (record >= 0 && captures[record + Capture::kEnd] < 0) {
    --captures[record + Capture::kSerial];
    return true;
  }
  const std::int64_t opened = captures.Size();
  context.m_captureIndex[m_group] = opened;
  captures.Restore(opened + Capture::kCaptureSize);
  captures[opened + Capture::kGroup] = m_group;
  captures[opened + Capture::kBegin] = context.m_currentPosition;
  captures[opened + Capture::kEnd] = -1;
  captures[opened + Capture::kSerial] = 0;
  return true;
}

// Undoes `Open`.
inline void CBracketElxT<char>::Drop(CMatchContext& context) const {
  auto& captures = context.m_captureStack;
  const std::int64_t record = context.FindCapture(m_group);
  if (record < 0) return;
  if (captures[record + Capture::kSerial] < 0) {
    ++captures[record + Capture::kSerial];
    return;
  }
  captures.Restore(captures.Size() - Capture::kCaptureSize);
  context.m_captureIndex[m_group] = context.FindCapture(m_group);
}

inline void CBracketElxT<char>::Close(CMatchContext& context) const {
  auto& captures = context.m_captureStack;
  const std::int64_t record = context.FindCapture(m_group);
  if (record < 0) return;
  if (captures[record + Capture::kSerial] < 0) {
    ++captures[record + Capture::kSerial];
    return;
  }
  captures[record + Capture::kEnd] = context.m_currentPosition;
  captures[record + Capture::kSerial] = context.m_captureSerial++;
}

// Undoes `Close`.
inline void CBracketElxT<char>::Reopen(CMatchContext& context) const {
  auto& captures = context.m_captureStack;
  const std::int64_t record = context.FindCapture(m_group);
  if (record < 0) return;
  if (captures[record + Capture::kEnd] < 0) {
    --captures[record + Capture::kSerial];
    return;
  }
  captures[record + Capture::kEnd] = -1;
  captures[record + Capture::kSerial] = 0;
}

bool CBracketElxT<char>::Match(CMatchContext& context) const {
  if (m_group < 0) return false;
  if (m_closing == 0) return Open(context);
  Close(context);
  return true;
}

bool CBracketElxT<char>::MatchNext(CMatchContext& context) const {
  if (m_group < 0) return false;
  if (m_closing == 0)
    Drop(context);
  else
    Reopen(context);
  return false;
}

bool CBackrefElxT<char>::Match(CMatchContext& context) const {
  if (m_group < 0 || m_group >= context.m_captureIndex.Size()) return false;
  const std::int64_t record = context.m_captureIndex[m_group];
  if (record < 0) return false;

  // The record may have been dropped from the stack meanwhile; what it held still counts.
  const std::int64_t* const fields = context.m_captureStack.Data() + record;
  std::int64_t begin = fields[Capture::kBegin];
  std::int64_t end = fields[Capture::kEnd];
  if (end < 0) end = context.m_currentPosition;
  if (begin > end) std::swap(begin, end);

  const std::int64_t size = end - begin;
  const std::int64_t place = context.m_currentPosition - (m_rightToLeft != 0 ? size : 0);
  if (place < 0 || size > context.m_textLength - place) return false;
  const char* const text = context.m_text + begin;
  const char* const here = context.m_text + place;
  const bool isEqual = m_ignoreCase != 0 ? CBufferRefT<char>(text, size).CompareNoCase(here) == 0
                                         : std::equal(text, text + size, here);
  if (!isEqual) return false;

  context.m_stack.Push(context.m_currentPosition);
  context.m_currentPosition = m_rightToLeft != 0 ? place : place + size;
  return true;
}

bool CBackrefElxT<char>::MatchNext(CMatchContext& context) const {
  context.m_currentPosition = context.m_stack.Pop();
  return false;
}

bool CConditionElxT<char>::Holds(CMatchContext& context) const {
  if (m_group >= 0)
    return m_group < context.m_captureIndex.Size() && context.m_captureIndex[m_group] >= 0;
  if (m_assertion == nullptr) return true;
  const Mark mark = Mark::Of(context);
  const bool holds = m_assertion->Match(context);
  context.m_stack.Restore(mark.stack);
  context.m_currentPosition = mark.position;
  return holds;
}

bool CConditionElxT<char>::Match(CMatchContext& context) const {
  const std::int64_t captures = context.m_captureStack.Size();
  const bool holds = Holds(context);
  const ElxInterface* const branch = holds ? m_yes : m_no;
  if (branch != nullptr && !branch->Match(context)) {
    context.m_captureStack.Restore(captures);
    return false;
  }
  context.m_stack.Push(captures);
  context.m_stack.Push(holds ? 1 : 0);
  return true;
}

bool CConditionElxT<char>::MatchNext(CMatchContext& context) const {
  const std::int64_t holds = context.m_stack.Pop();
  const std::int64_t captures = context.m_stack.Pop();
  const ElxInterface* const branch = holds != 0 ? m_yes : m_no;
  if (branch == nullptr || !branch->MatchNext(context)) {
    context.m_captureStack.Restore(captures);
    return false;
  }
  context.m_stack.Push(captures);
  context.m_stack.Push(holds);
  return true;
}

bool CDelegateElxT<char>::Match(CMatchContext& context) const {
  if (m_target == nullptr) return true;
  if (context.m_recursionAllowance < 1) return false;
  // Going back into a recursion does not lower the allowance; this bounds the call stack there.
  if (context.m_recursionDepth >= context.m_recursionLimit) return false;
  --context.m_recursionAllowance;
  ++context.m_recursionDepth;
  const bool isMatched = m_target->Match(context);
  --context.m_recursionDepth;
  ++context.m_recursionAllowance;
  return isMatched;
}

bool CDelegateElxT<char>::MatchNext(CMatchContext& context) const {
  if (m_target == nullptr) return false;
  ++context.m_recursionDepth;
  const bool isMatched = m_target->MatchNext(context);
  --context.m_recursionDepth;
  return isMatched;
}

}  // namespace Pirsk::Regex
