#include "Regex/Beginning.h"
#include "Regex/Builder.h"

namespace Pirsk::Regex {

namespace {

constexpr std::int64_t kRecursionAllowance = 100;

std::int64_t StepOf(std::uint32_t flags) { return IsRightToLeft(flags) ? -1 : 1; }

}  // namespace

CMatchContext* CPatternT::PrepareMatch(const char* text, std::int64_t length, std::int64_t start,
                                       CMatchContext* context) const {
  if (context == nullptr) context = new CMatchContext;
  // Room for most matches, so that they need not grow the stacks step by step.
  for (auto* const stack : {&context->m_stack, &context->m_captureStack}) {
    constexpr std::ptrdiff_t kUsualHeight = 64;
    stack->Restore(kUsualHeight);
    stack->Restore(0);
  }
  context->m_captureSerial = 0;
  context->m_lastBeginPosition = -1;
  context->m_recursionDepth = 0;
  context->m_recursionLimit = std::max<std::int64_t>(1, kDeepestRecursion / m_deepest);
  context->m_recursionAllowance = std::min(kRecursionAllowance, context->m_recursionLimit);
  context->m_text = text;
  context->m_textLength = length;
  const bool isRightToLeft = IsRightToLeft(m_flags);
  if (start < 0) start = isRightToLeft ? length : 0;
  if (start > length) start = isRightToLeft ? length : length + 1;
  context->m_currentPosition = start;
  context->m_beginPosition = start;
  return context;
}

CMatchResult CPatternT::Match(const char* text, std::int64_t length, std::int64_t start,
                              CMatchContext* context) const {
  CMatchContext own;
  return Match(*PrepareMatch(text, length, start, context != nullptr ? context : &own));
}

CMatchResult CPatternT::Match(const char* text) const {
  return Match(text, CBufferRefT<char>(text).Size());
}

CMatchResult CPatternT::Match(CMatchContext& context) const {
  if (m_root == nullptr) return {};
  const std::int64_t step = StepOf(m_flags);
  const std::int64_t stop = IsRightToLeft(m_flags) ? -1 : context.m_textLength + 1;
  for (;;) {
    context.m_currentPosition = PassOver(context);
    if (context.m_currentPosition == stop) return {};
    if (MatchHere(context)) break;
    context.m_currentPosition = NextPosition(context);
  }

  context.m_captureStack[CMatchContext::kEnd] = context.m_currentPosition;
  CMatchResult result = MakeResult(context);
  // Repeated matching must not stand still behind an empty match.
  if (context.m_captureStack[CMatchContext::kBegin] == context.m_currentPosition)
    context.m_currentPosition += step;
  context.m_lastBeginPosition = context.m_beginPosition;
  context.m_beginPosition = context.m_currentPosition;
  return result;
}

// Tries the root at the current position, which stays where it is on false.
bool CPatternT::MatchHere(CMatchContext& context) const {
  context.m_stack.Restore(0);
  context.m_captureStack.Restore(CMatchContext::kCaptureSize);
  context.m_captureStack[CMatchContext::kGroup] = 0;
  context.m_captureStack[CMatchContext::kBegin] = context.m_currentPosition;
  context.m_captureStack[CMatchContext::kEnd] = -1;
  context.m_captureStack[CMatchContext::kSerial] = -1;
  context.m_captureIndex.Restore(m_groupCount + 1);
  context.m_captureIndex[0] = 0;
  for (std::ptrdiff_t group = 1; group <= m_groupCount; ++group) context.m_captureIndex[group] = -1;
  if (m_straightRoot == nullptr) return m_root->Match(context);
  const std::int64_t position = context.m_currentPosition;
  if (m_straightRoot->MatchStraight(context)) return true;
  context.m_currentPosition = position;
  return false;
}

CMatchResult CPatternT::MakeResult(const CMatchContext& context) const {
  CMatchResult result;
  result.Prepare(2 * m_groupCount + 3, -1);
  result[0] = 1;
  result[1] = m_groupCount;
  for (std::int64_t group = 0; group <= m_groupCount; ++group) {
    const std::int64_t record = context.FindCapture(group);
    if (record < 0) continue;
    const std::int64_t begin = context.m_captureStack[record + CMatchContext::kBegin];
    const std::int64_t end = context.m_captureStack[record + CMatchContext::kEnd];
    result[2 * group + 2] = std::min(begin, end);
    result[2 * group + 3] = std::max(begin, end);
  }
  return result;
}

// ---- Shortcuts

bool CPatternT::LeavesNothingBehind() const {
  for (std::ptrdiff_t i = 0; i < m_objects.Size(); ++i) {
    const ElxInterface* const element = m_objects[i];
    if (dynamic_cast<const CBackrefElxT<char>*>(element) != nullptr ||
        dynamic_cast<const CDelegateElxT<char>*>(element) != nullptr ||
        dynamic_cast<const CConditionElxT<char>*>(element) != nullptr ||
        dynamic_cast<const CAssertElxT<0>*>(element) != nullptr ||
        dynamic_cast<const CIndependentElxT<0>*>(element) != nullptr ||
        dynamic_cast<const CPossessiveElxT<0>*>(element) != nullptr)
      return false;
  }
  return true;
}

void CPatternT::ForgetShortcuts() {
  m_beginnings = {};
  m_leadingLoop = nullptr;
  m_straightRoot = nullptr;
  for (std::ptrdiff_t i = 0; i < m_objects.Size(); ++i)
    if (auto* const loop = dynamic_cast<CharacterLoop*>(m_objects[i])) loop->ForgetFollowing();
}

void CPatternT::FindShortcuts() {
  if (HasOneWay(m_root)) m_straightRoot = dynamic_cast<const CListElxT<0>*>(m_root);
  if (LeavesNothingBehind()) {
    Beginning anything;
    anything.isUnknown = true;
    TellLoopsWhatFollows(m_root, anything);
    m_leadingLoop = LeadingLoop(m_root);
  }
  Beginning beginning;
  beginning.Add(m_root, IsRightToLeft(m_flags));
  m_beginnings.isTextBegin = !IsRightToLeft(m_flags) && IsBoundToTextBegin(m_root);
  if (beginning.mayBeEmpty || beginning.isUnknown) return;
  m_beginnings.isKnown = true;
  m_beginnings.set = beginning.set;
  const auto count = std::count(beginning.set.begin(), beginning.set.end(), true);
  if (count == 1)
    m_beginnings.only = static_cast<std::int32_t>(
        std::find(beginning.set.begin(), beginning.set.end(), true) - beginning.set.begin());
}

// The position to try behind one at which nothing matched. A loop that the pattern begins with has
// offered all ends of its characters: from a later one of them it offers no other.
std::int64_t CPatternT::NextPosition(const CMatchContext& context) const {
  const std::int64_t position = context.m_currentPosition;
  if (m_leadingLoop == nullptr) return position + StepOf(m_flags);
  const std::array<bool, 256>& characters = *m_leadingLoop->Characters();
  std::int64_t end = position;
  const std::int64_t last = std::min(context.m_textLength, position + m_leadingLoop->m_span);
  while (end < last && characters[static_cast<unsigned char>(context.m_text[end])]) ++end;
  return std::max(end, position + 1);
}

// The next position, this one included, at which a match can begin; else the stop position.
std::int64_t CPatternT::PassOver(const CMatchContext& context) const {
  std::int64_t position = context.m_currentPosition;
  const std::int64_t length = context.m_textLength;
  const auto* const text = reinterpret_cast<const unsigned char*>(context.m_text);
  if (m_beginnings.isTextBegin && position >= 1) return length + 1;
  if (!m_beginnings.isKnown) return position;
  if (IsRightToLeft(m_flags)) {
    while (position > 0 && !m_beginnings.set[text[position - 1]]) --position;
    return position > 0 ? position : -1;
  }
  if (m_beginnings.only >= 0 && position < length) {
    const void* const found = std::memchr(text + position, m_beginnings.only,
                                          static_cast<std::size_t>(length - position));
    return found != nullptr ? static_cast<const unsigned char*>(found) - text : length + 1;
  }
  while (position < length && !m_beginnings.set[text[position]]) ++position;
  return position < length ? position : length + 1;
}

}  // namespace Pirsk::Regex
