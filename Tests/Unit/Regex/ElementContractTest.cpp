#include "Regex/Pattern.h"
#include "Regex/Shortcuts.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace Pirsk::Regex {
namespace {

/// What an element that undoes itself has to bring back.
struct Snapshot {
  std::vector<std::int64_t> stack;
  std::int64_t position;

  static Snapshot Of(const CMatchContext& context) {
    Snapshot snapshot{{}, context.m_currentPosition};
    for (std::ptrdiff_t i = 0; i < context.m_stack.Size(); ++i)
      snapshot.stack.push_back(context.m_stack[i]);
    return snapshot;
  }
  bool operator==(const Snapshot&) const = default;
};

std::string RandomPattern(std::mt19937& random, int depth) {
  const auto pick = [&random](int count) {
    return std::uniform_int_distribution<int>(0, count - 1)(random);
  };
  static const char* const kLeaves[] = {"a", "b", "ab", ".",   "[ab]", "\\b",
                                        "^", "$", "",   "\\1", "\\w"};
  static const char* const kQuantifiers[] = {"",   "*",  "+",   "?",     "*?",    "+?",
                                             "??", "*+", "{2}", "{1,2}", "{0,2}?"};
  static const char* const kOpenings[] = {"(", "(?:", "(?>", "(?=", "(?!", "(?<=", "(?<!", "(?(1)"};
  std::string pattern;
  for (int items = pick(3) + 1; items > 0; --items) {
    std::string item = depth == 0 || pick(3) == 0 ? kLeaves[pick(std::size(kLeaves))]
                                                  : kOpenings[pick(std::size(kOpenings))] +
                                                        RandomPattern(random, depth - 1) + ")";
    if (!item.empty() && item != "^" && item != "$")
      item += kQuantifiers[pick(std::size(kQuantifiers))];
    pattern += item;
  }
  if (pick(4) == 0) pattern += "|" + RandomPattern(random, depth > 0 ? depth - 1 : 0);
  return pattern;
}

class ElementContract : public testing::TestWithParam<std::uint32_t> {};

TEST_P(ElementContract, FalseMatchNextLeavesWhatWasBeforeItsMatch) {
  std::mt19937 random(20260101 + GetParam());
  for (int round = 0; round < 6000; ++round) {
    const std::string source = RandomPattern(random, 3);
    CPatternT pattern;
    pattern.Compile(source.data(), static_cast<std::ptrdiff_t>(source.size()), GetParam());
    std::string text(std::uniform_int_distribution<std::size_t>(0, 5)(random), 'a');
    for (char& c : text) c = "ab \n"[std::uniform_int_distribution<int>(0, 3)(random)];

    for (std::int64_t start = 0; start <= static_cast<std::int64_t>(text.size()); ++start) {
      CMatchContext context;
      pattern.PrepareMatch(text.data(), static_cast<std::int64_t>(text.size()), start, &context);
      context.m_captureIndex.Prepare(pattern.GroupCount(), -1);
      context.m_captureIndex[0] = 0;
      for (const std::int64_t field : {std::int64_t{0}, start, std::int64_t{-1}, std::int64_t{-1}})
        context.m_captureStack.Push(field);
      context.m_stack.Push(4711);
      const Snapshot before = Snapshot::Of(context);

      bool isMatched = pattern.Root()->Match(context);
      for (int ways = 0; isMatched && ways < 2000; ++ways)
        isMatched = pattern.Root()->MatchNext(context);
      if (isMatched) continue;  // Too many ways to go through all.
      ASSERT_TRUE(Snapshot::Of(context) == before)
          << source << " on \"" << text << "\" from " << start;
    }
  }
}

TEST(Condition, OnANameThatIsFoundHasANumberAndNoAssertion) {
  const CPatternT pattern("(?<n>a)(?(n)b)");
  const auto& list = dynamic_cast<const CListElxT<0>&>(*pattern.Root());
  const auto& condition = dynamic_cast<const CConditionElxT<char>&>(*list.m_items[1]);
  EXPECT_EQ(condition.m_group, 1);
  EXPECT_EQ(condition.m_assertion, nullptr);
}

// The compiler always gives a condition a group or an assertion; the element takes it without.
TEST(Condition, WithoutGroupAndAssertionHolds) {
  CRangeElxT<char> never(false, true);
  CConditionElxT<char> condition;
  CMatchContext context;
  EXPECT_TRUE(condition.Match(context));
  EXPECT_FALSE(condition.MatchNext(context));
  condition.m_no = &never;
  EXPECT_TRUE(condition.Match(context));
  condition.m_yes = &never;
  EXPECT_FALSE(condition.Match(context));
}

/// An element that answers nothing of what shortcuts ask.
class NewElement final : public ElxInterface {
public:
  bool Match(CMatchContext&) const override { return true; }
  bool MatchNext(CMatchContext&) const override { return false; }
};

TEST(ShortcutAnswers, OfAnElementThatGivesNoneAllowNothing) {
  const NewElement element;
  Beginning beginning;
  beginning.Add(element);
  EXPECT_TRUE(beginning.isUnknown);
  EXPECT_FALSE(element.IsPlain());
  EXPECT_FALSE(element.HasOneWay());
  EXPECT_FALSE(element.IsTransparent());
  EXPECT_FALSE(element.IsBoundToTextStart());
  EXPECT_EQ(element.AsCharacter(), nullptr);
  EXPECT_EQ(element.LeadingRun(), nullptr);
}

TEST(ShortcutAnswers, ElementsThatKeepCapturesOrReadThemAreNotPlain) {
  for (const char* const pattern :
       {"(?=a)", "(?!a)", "(?<=a)", "(?>a)", "(?R)", "(?1)", "a*+", "\\1", "(?(1)a)"})
    EXPECT_FALSE(CPatternT(pattern).Root()->IsPlain()) << pattern;
  for (const char* const pattern : {"a", "ab", "", "(a)", "[ab]", "[:alpha:]", "a|b", "a*", "a*?",
                                    "a{2}", "^", "\\b", "(?g)\\G"})
    EXPECT_TRUE(CPatternT(pattern).Root()->IsPlain()) << pattern;
}

INSTANTIATE_TEST_SUITE_P(Directions, ElementContract, testing::Values(0U, 16U));

}  // namespace
}  // namespace Pirsk::Regex
