#include "Regex/Builder.h"

namespace Pirsk::Regex {

namespace {

constexpr std::int64_t kRecursionAllowance = 100;

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
  context->m_recursionLimit = kDeepestRecursion / m_deepest;
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
  const std::int64_t step = IsRightToLeft(m_flags) ? -1 : 1;
  const std::int64_t stop = IsRightToLeft(m_flags) ? -1 : context.m_textLength + 1;
  std::int64_t required = -1;
  for (;;) {
    context.m_currentPosition = PassOver(context, required);
    if (context.m_currentPosition == stop) return {};
    if (MatchHere(context)) break;
    context.m_currentPosition = NextPosition(context);
  }

  context.m_captureStack[CMatchContext::kEnd] = context.m_currentPosition;
  CMatchResult result = MakeResult(context);
  // Repeated matching must not stand still after an empty match.
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
  if (!m_shortcuts.isStraight) return m_root->Match(context);
  const std::int64_t position = context.m_currentPosition;
  if (m_root->MatchStraight(context)) return true;
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

}  // namespace Pirsk::Regex
