#include "Regex/Elements.h"

namespace Pirsk::Regex {

// ---- A fixed number of times

bool CRepeatElxT<0>::Match(CMatchContext& context) const { return RepeatMatch(context); }

bool CRepeatElxT<0>::MatchNext(CMatchContext& context) const { return RepeatMatchNext(context); }

bool CRepeatElxT<0>::RepeatMatch(CMatchContext& context) const { return MatchFrom(0, context); }

bool CRepeatElxT<0>::RepeatMatchNext(CMatchContext& context) const {
  std::int64_t done = m_count;
  return RetryBefore(done, context) && MatchFrom(done, context);
}

// Goes back to the last of `done` iterations that has another way; `done` counts it again.
bool CRepeatElxT<0>::RetryBefore(std::int64_t& done, CMatchContext& context) const {
  while (done > 0) {
    if (m_inner->MatchNext(context)) return true;
    --done;
  }
  return false;
}

bool CRepeatElxT<0>::MatchFrom(std::int64_t done, CMatchContext& context) const {
  while (done < m_count) {
    if (m_inner->Match(context))
      ++done;
    else if (!RetryBefore(done, context))
      return false;
  }
  return true;
}

// ---- As often as possible

CGreedyElxT<0>::CGreedyElxT(ElxInterface* inner, std::int64_t minimum, std::int64_t span)
    : CRepeatElxT<0>(inner, minimum),
      m_span(span),
      m_character(dynamic_cast<const CharacterElx*>(inner)) {}

bool CGreedyElxT<0>::Match(CMatchContext& context) const {
  if (!RepeatMatch(context)) return false;
  GreedyExtend(context);
  return true;
}

bool CGreedyElxT<0>::MatchNext(CMatchContext& context) const {
  if (GreedyRetreat(context)) return true;
  if (!RepeatMatchNext(context)) return false;
  GreedyExtend(context);
  return true;
}

// Iterates from `count` on while the inner element matches and moves; yields the count reached.
std::int64_t CGreedyElxT<0>::Iterate(std::int64_t count, CMatchContext& context) const {
  if (m_character != nullptr) return IterateCharacter(count, context);
  while (count < m_span) {
    const Mark mark = Mark::Of(context);
    if (!m_inner->Match(context)) break;
    if (context.m_currentPosition == mark.position) {
      // An empty iteration would go on for ever.
      if (!m_inner->MatchNext(context)) break;
      if (context.m_currentPosition == mark.position) {
        mark.Restore(context);
        break;
      }
    }
    ++count;
  }
  return count;
}

// One character an iteration, and no records.
std::int64_t CGreedyElxT<0>::IterateCharacter(std::int64_t count, CMatchContext& context) const {
  const std::array<bool, 256>* const table = m_character->Table();
  const bool isRightToLeft = m_character->m_rightToLeft != 0;
  const std::int64_t room =
      isRightToLeft ? context.m_currentPosition : context.m_textLength - context.m_currentPosition;
  const std::int64_t most = std::min(room, m_span - count);
  const char* const begin = context.m_text + context.m_currentPosition - (isRightToLeft ? 1 : 0);
  std::int64_t taken = 0;
  if (table != nullptr && !isRightToLeft)
    while (taken < most && (*table)[static_cast<unsigned char>(begin[taken])]) ++taken;
  else if (isRightToLeft)
    while (taken < most && m_character->Takes(begin[-taken])) ++taken;
  else
    while (taken < most && m_character->Takes(begin[taken])) ++taken;
  context.m_currentPosition += isRightToLeft ? -taken : taken;
  return count + taken;
}

void CGreedyElxT<0>::GreedyExtend(CMatchContext& context) const {
  const Mark start = Mark::Of(context);
  const std::int64_t count = Iterate(0, context);
  auto& stack = context.m_stack;
  stack.Push(start.captures);
  stack.Push(start.stack);
  stack.Push(context.m_currentPosition);
  stack.Push(1);
  stack.Push(start.position);
  stack.Push(count);
}

bool CGreedyElxT<0>::GreedyRetreat(CMatchContext& context) const {
  auto& stack = context.m_stack;
  if (m_character != nullptr) {
    // One character back: of the record only the count changes.
    std::int64_t& count = stack[stack.Size() - 1];
    if (count > 0) {
      --count;
      context.m_currentPosition += m_character->m_rightToLeft != 0 ? 1 : -1;
      return true;
    }
    constexpr std::ptrdiff_t kRecordOfOneEnd = 6;
    stack.Restore(stack.Size() - kRecordOfOneEnd);
    return false;
  }

  std::int64_t count = stack.Pop();
  const std::int64_t startPosition = stack.Pop();
  const std::int64_t seenCount = stack.Pop();
  CMatchContext::SeenList seen(context);
  stack.Restore(stack.Size() - seenCount);
  seen->Assign(stack.Data() + stack.Size(), seenCount);
  const std::int64_t startStack = stack.Pop();
  const std::int64_t startCaptures = stack.Pop();
  if (count == 0) return false;

  if (!m_inner->MatchNext(context)) {
    --count;
  } else if (context.m_currentPosition == startPosition) {
    Mark{.stack = startStack, .captures = startCaptures, .position = startPosition}.Restore(
        context);
    return false;
  } else {
    const Mark mark = Mark::Of(context);
    const std::int64_t extended = Iterate(count, context);
    // Each end is offered only once: the guard against exponential retrying.
    if (seen->Find(context.m_currentPosition) < 0) {
      seen->Add(context.m_currentPosition);
      count = extended;
    } else {
      mark.Restore(context);
    }
  }

  stack.Push(startCaptures);
  stack.Push(startStack);
  for (std::ptrdiff_t i = 0; i < seen->Size(); ++i) stack.Push((*seen)[i]);
  stack.Push(seen->Size());
  stack.Push(startPosition);
  stack.Push(count);
  return true;
}

bool CPossessiveElxT<0>::Match(CMatchContext& context) const {
  const Mark mark = Mark::Of(context);
  const bool isMatched = CGreedyElxT<0>::Match(context);
  context.m_stack.Restore(mark.stack);
  if (isMatched) {
    context.m_stack.Push(mark.position);
    context.m_stack.Push(mark.captures);
  }
  return isMatched;
}

bool CPossessiveElxT<0>::MatchNext(CMatchContext& context) const {
  context.m_captureStack.Restore(context.m_stack.Pop());
  context.m_currentPosition = context.m_stack.Pop();
  return false;
}

// ---- As seldom as possible

bool CReluctantElxT<0>::Match(CMatchContext& context) const {
  if (!RepeatMatch(context)) return false;
  context.m_stack.Push(0);
  return true;
}

bool CReluctantElxT<0>::MatchNext(CMatchContext& context) const {
  if (ReluctantAdvance(context)) return true;
  if (!RepeatMatchNext(context)) return false;
  context.m_stack.Push(0);
  return true;
}

bool CReluctantElxT<0>::ReluctantAdvance(CMatchContext& context) const {
  auto& stack = context.m_stack;
  std::int64_t count = stack.Pop();
  const std::int64_t position = context.m_currentPosition;
  if (count < m_span) {
    bool isMatched = m_inner->Match(context);
    while (isMatched && context.m_currentPosition == position)
      isMatched = m_inner->MatchNext(context);
    if (isMatched) {
      stack.Push(position);
      stack.Push(count + 1);
      return true;
    }
  }
  for (; count > 0; --count) {
    const std::int64_t previous = stack.Pop();
    while (m_inner->MatchNext(context)) {
      if (context.m_currentPosition == previous) continue;
      stack.Push(previous);
      stack.Push(count);
      return true;
    }
  }
  return false;
}

}  // namespace Pirsk::Regex
