#include "Regex/Shortcuts.h"

namespace Pirsk::Regex {

bool CRepeatElxT<0>::Match(CMatchContext& context) const { return RepeatMatch(context); }

bool CRepeatElxT<0>::MatchNext(CMatchContext& context) const { return RepeatMatchNext(context); }

bool CRepeatElxT<0>::RepeatMatch(CMatchContext& context) const {
  if (m_count == 0) return true;
  if (!IsOverCharacter()) return MatchFrom(0, context);
  if (CountTaken(m_count, context) < m_count) return false;
  MoveOver(m_count, context);
  return true;
}

bool CRepeatElxT<0>::RepeatMatchNext(CMatchContext& context) const {
  if (IsOverCharacter()) {
    MoveOver(-m_count, context);
    return false;
  }
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

void CharacterLoop::Take(const CharacterElx* character) {
  m_character = character;
  m_table = character != nullptr ? character->Table() : nullptr;
  m_onlyRefused = character != nullptr ? character->OnlyRefused() : -1;
}

void CharacterLoop::OfferOnlyBefore(const Beginning& following) {
  if (m_character == nullptr) return;
  m_following = following.set;
  m_followingText = following.text;
  m_hasFollowing = true;
}

void CharacterLoop::LoopOver(const std::array<bool, 256>& characters, bool isRightToLeft) {
  constexpr bool kIsDirect = true;
  m_set = std::make_unique<CRangeElxT<char>>(isRightToLeft, kIsDirect);
  for (std::size_t c = 0; c < characters.size(); ++c)
    if (characters[c]) m_set->m_characters.Push(static_cast<char>(c));
  m_set->MakeTable();
  Take(m_set.get());
}

std::int64_t CharacterLoop::CountTaken(std::int64_t most, const CMatchContext& context) const {
  const bool isRightToLeft = m_character->m_rightToLeft != 0;
  const std::int64_t room =
      isRightToLeft ? context.m_currentPosition : context.m_textLength - context.m_currentPosition;
  most = std::min(room, most);
  const char* const begin = context.m_text + context.m_currentPosition - (isRightToLeft ? 1 : 0);
  std::int64_t taken = 0;
  if (m_onlyRefused >= 0 && !isRightToLeft && most > 1) {
    const void* const end = std::memchr(begin, m_onlyRefused, static_cast<std::size_t>(most));
    return end != nullptr ? static_cast<const char*>(end) - begin : most;
  }
  if (m_table != nullptr && !isRightToLeft)
    while (taken < most && (*m_table)[static_cast<unsigned char>(begin[taken])]) ++taken;
  else if (isRightToLeft)
    while (taken < most && m_character->Takes(begin[-taken])) ++taken;
  else
    while (taken < most && m_character->Takes(begin[taken])) ++taken;
  return taken;
}

std::int64_t CharacterLoop::LastOffered(std::int64_t count, const CMatchContext& context) const {
  if (m_followingText != nullptr) return LastBeforeText(count, context);
  const std::int64_t step = m_character->m_rightToLeft != 0 ? 1 : -1;
  for (std::int64_t position = context.m_currentPosition; count >= 0; --count, position += step)
    if (IsOffered(position, context)) return count;
  return -1;
}

// The same for a text that follows, from left to right.
std::int64_t CharacterLoop::LastBeforeText(std::int64_t count, const CMatchContext& context) const {
  const CBufferT<char>& wanted = *m_followingText;
  const std::int64_t start = context.m_currentPosition - count;
  const char* const text = context.m_text + start;
  count = std::min(count, context.m_textLength - start - wanted.Size());
  for (const char first = wanted[0]; count >= 0; --count)
    if (text[count] == first && wanted.Compare(text + count) == 0) return count;
  return -1;
}

CGreedyElxT<0>::CGreedyElxT(ElxInterface* inner, std::int64_t minimum, std::int64_t span)
    : CRepeatElxT<0>(inner, minimum), m_span(span) {}

bool CGreedyElxT<0>::Match(CMatchContext& context) const {
  if (!RepeatMatch(context)) return false;
  while (!GreedyExtend(context))
    if (!RepeatMatchNext(context)) return false;
  return true;
}

bool CGreedyElxT<0>::MatchNext(CMatchContext& context) const {
  if (GreedyRetreat(context)) return true;
  do {
    if (!RepeatMatchNext(context)) return false;
  } while (!GreedyExtend(context));
  return true;
}

// Iterates from `count` on while the inner element matches and moves; yields the count reached, or
// -1 at a position that had been passed before.
std::int64_t CGreedyElxT<0>::Iterate(std::int64_t count, PositionSet* passed,
                                     CMatchContext& context) const {
  if (IsOverCharacter()) {
    const std::int64_t taken = CountTaken(m_span - count, context);
    MoveOver(taken, context);
    return count + taken;
  }
  while (count < m_span) {
    if (passed != nullptr && !passed->Add(context.m_currentPosition)) return -1;
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

// False, with nothing changed, when no end is to be offered.
bool CGreedyElxT<0>::GreedyExtend(CMatchContext& context) const {
  const Mark start = Mark::Of(context);
  std::int64_t count = Iterate(0, nullptr, context);
  if (IsOverCharacter()) {
    const std::int64_t offered = LastOffered(count, context);
    if (offered < 0) {
      context.m_currentPosition = start.position;
      return false;
    }
    MoveOver(offered - count, context);
    count = offered;
    CaptureLast(count, context);
  }
  auto& stack = context.m_stack;
  stack.Push(start.captures);
  stack.Push(start.stack);
  stack.Push(context.m_currentPosition);
  stack.Push(1);
  stack.Push(start.position);
  stack.Push(count);
  return true;
}

// Of the record only the count changes.
bool CGreedyElxT<0>::RetreatOverCharacters(CMatchContext& context) const {
  constexpr std::ptrdiff_t kRecordOfOneEnd = 6;
  auto& stack = context.m_stack;
  std::int64_t& count = stack[stack.Size() - 1];
  DropLast(count, context);
  if (count > 0) {
    MoveOver(-1, context);
    const std::int64_t offered = LastOffered(count - 1, context);
    if (offered >= 0) {
      MoveOver(offered - (count - 1), context);
      count = offered;
      CaptureLast(count, context);
      return true;
    }
    MoveOver(-(count - 1), context);
  }
  stack.Restore(stack.Size() - kRecordOfOneEnd);
  return false;
}

// Puts brackets around the last iteration: the last of `count`, or else of the fixed ones.
void CGreedyElxT<0>::CaptureLast(std::int64_t count, CMatchContext& context) const {
  if (m_group == nullptr || m_count + count == 0) return;
  MoveOver(-1, context);
  m_group->Item(0)->Match(context);
  MoveOver(1, context);
  m_group->Item(2)->Match(context);
}

// Undoes `CaptureLast`.
void CGreedyElxT<0>::DropLast(std::int64_t count, CMatchContext& context) const {
  if (m_group == nullptr || m_count + count == 0) return;
  m_group->Item(2)->MatchNext(context);
  m_group->Item(0)->MatchNext(context);
}

bool CGreedyElxT<0>::GreedyRetreat(CMatchContext& context) const {
  if (IsOverCharacter()) return RetreatOverCharacters(context);
  auto& stack = context.m_stack;
  std::int64_t count = stack.Pop();
  const std::int64_t startPosition = stack.Pop();
  const std::int64_t seenCount = stack.Pop();
  const std::int64_t firstEnd = stack.Pop();
  const std::int64_t startStack = stack.Pop();
  const std::int64_t startCaptures = stack.Pop();
  std::unique_ptr<LoopNotes> notes;
  if (seenCount > 1) notes = context.TakeNotes(stack.Size());
  if (count == 0) {
    context.DropNotes(std::move(notes));
    return false;
  }

  if (!m_inner->MatchNext(context)) {
    --count;
  } else if (context.m_currentPosition == startPosition) {
    Mark{.stack = startStack, .captures = startCaptures, .position = startPosition}.Restore(
        context);
    context.DropNotes(std::move(notes));
    return false;
  } else {
    if (notes == nullptr) notes = context.NewNotes();
    count = ExtendAgain(count, firstEnd, *notes, context);
  }

  const std::int64_t height = stack.Size();
  stack.Push(startCaptures);
  stack.Push(startStack);
  stack.Push(firstEnd);
  stack.Push(notes != nullptr ? 2 : 1);
  stack.Push(startPosition);
  stack.Push(count);
  if (notes != nullptr) context.PutNotes(height, std::move(notes));
  return true;
}

// Extends itself as far as possible once more, unless that leads to an end that has been offered:
// the guard against exponential retrying. Yields the count of iterations.
std::int64_t CGreedyElxT<0>::ExtendAgain(std::int64_t count, std::int64_t firstEnd,
                                         LoopNotes& notes, CMatchContext& context) const {
  const Mark mark = Mark::Of(context);
  const bool isByPosition = m_isByPosition && context.m_textLength < m_span;
  const std::int64_t extended = Iterate(count, isByPosition ? &notes.passed : nullptr, context);
  const std::int64_t end = context.m_currentPosition;
  if (extended >= 0 && end != firstEnd && notes.ends.Find(end) < 0) {
    notes.ends.Add(end);
    return extended;
  }
  mark.Restore(context);
  return count;
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

bool CReluctantElxT<0>::Match(CMatchContext& context) const {
  if (!RepeatMatch(context)) return false;
  context.m_stack.Push(0);
  if (!IsOverCharacter() || IsOffered(context.m_currentPosition, context)) return true;
  return MatchNext(context);
}

bool CReluctantElxT<0>::MatchNext(CMatchContext& context) const {
  if (ReluctantAdvance(context)) return true;
  while (RepeatMatchNext(context)) {
    context.m_stack.Push(0);
    if (!IsOverCharacter() || IsOffered(context.m_currentPosition, context)) return true;
    if (ReluctantAdvance(context)) return true;
  }
  return false;
}

// On false the position is back where the iterations began.
bool CReluctantElxT<0>::AdvanceOverCharacters(std::int64_t count, CMatchContext& context) const {
  while (count < m_span && CountTaken(1, context) == 1) {
    MoveOver(1, context);
    ++count;
    if (!IsOffered(context.m_currentPosition, context)) continue;
    context.m_stack.Push(count);
    return true;
  }
  MoveOver(-count, context);
  return false;
}

bool CReluctantElxT<0>::ReluctantAdvance(CMatchContext& context) const {
  auto& stack = context.m_stack;
  std::int64_t count = stack.Pop();
  if (IsOverCharacter()) return AdvanceOverCharacters(count, context);
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
