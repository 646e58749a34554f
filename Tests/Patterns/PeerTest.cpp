#include "Engines.h"
#include "Expression.h"
#include "Support/Process.h"
#include "Support/Sanitized.h"
#include "Support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <vector>

// Patterns over two letters, held against PCRE2 and Perl, and against themselves from the other
// side.

namespace Pirsk::Regex::Testing {
namespace {

// Sanitizers take their time: there a part of the patterns, spread over all.
constexpr std::size_t kShare = Ondrel::Testing::WithSanitizer<std::size_t>(41, 1);

// All texts of up to so many letters a and b.
std::vector<std::string> AllTexts(std::size_t length) {
  std::vector<std::string> texts = {""};
  for (std::size_t begin = 0; texts[begin].size() < length; ++begin)
    for (const char letter : {'a', 'b'}) texts.push_back(texts[begin] + letter);
  return texts;
}

// Why another engine may find something else, by what a pattern has; null where it must not. Each
// reason has an example in DifferenceTest.cpp.
const char* ReasonFor(const Expression& expression) {
  if (expression.hasEmptyLoop) return "a loop over something that may be empty";
  const GroupFacts facts = FactsOf(expression.text);
  if (facts.hasReferenceToOpenGroup) return "a reference to a group that is open";
  if (facts.hasReferenceIntoOneWay || (expression.hasReference && expression.hasGroupLoop))
    return "a reference to a group that was given up";
  if (expression.hasLengthsLoop) return "a greedy loop that offers an end once";
  return nullptr;
}

struct Comparison {
  std::size_t questions = 0;
  std::map<std::string, std::size_t> explained;
  std::size_t unexplained = 0;
  std::string firstUnexplained;

  void Add(const Expression& expression, const std::string& text, const Spans& own,
           const Spans& other) {
    ++questions;
    if (own == other) return;
    if (const char* const reason = ReasonFor(expression)) {
      ++explained[reason];
      return;
    }
    if (++unexplained <= 20)
      firstUnexplained += expression.text + " on \"" + text + "\": " + TextOf(own) + ", not " +
                          TextOf(other) + "\n";
  }

  void Check(std::size_t leastQuestions) const {
    for (const auto& [reason, count] : explained)
      testing::Test::RecordProperty(reason, static_cast<int>(count));
    EXPECT_GE(questions, leastQuestions);
    EXPECT_EQ(unexplained, 0U) << firstUnexplained;
  }
};

TEST(Peers, AllSmallPatternsMatchAsPcre2) {
  const std::vector<Expression> expressions = AllExpressions(5);
  const std::vector<std::string> texts = AllTexts(6);
  Comparison comparison;
  for (std::size_t i = 0; i < expressions.size(); i += kShare) {
    const Own own(expressions[i].text);
    const Pcre2 other(expressions[i].text);
    ASSERT_FALSE(other.IsRefused()) << expressions[i].text;
    for (const std::string& text : texts)
      comparison.Add(expressions[i], text, own.Find(text), other.Find(text));
  }
  comparison.Check(10'000'000 / kShare);
}

TEST(Peers, RandomPatternsMatchAsPcre2) {
  std::mt19937 random(20);
  const std::vector<std::string> texts = AllTexts(6);
  Comparison comparison;
  for (std::size_t i = 0; i < 100'000; i += kShare) {
    const Expression expression = RandomExpression(random, 4 + static_cast<int>(random() % 10));
    const Pcre2 other(expression.text);
    // A reference to a group that does not exist.
    if (other.IsRefused()) continue;
    const Own own(expression.text);
    for (int question = 0; question < 20; ++question) {
      const std::string& text = texts[random() % texts.size()];
      comparison.Add(expression, text, own.Find(text), other.Find(text));
    }
  }
  comparison.Check(1'000'000 / kShare);
}

TEST(Peers, RandomPatternsMatchAsPerl) {
  // Answers "pattern<tab>text" by begin and end of each group, or with nothing.
  constexpr char kProgram[] = R"(
    while (<>) {
      chomp;
      my ($pattern, $text) = split /\t/, $_, -1;
      my $groups = () = "" =~ /|$pattern/;
      if ($text =~ /$pattern/) {
        print join(" ", map { (defined $-[$_] ? $-[$_] : -1) . " " . (defined $+[$_] ? $+[$_] : -1) }
                        0 .. $#-), "\n";
      } else { print "\n"; }
    }
  )";
  std::mt19937 random(30);
  const std::vector<std::string> texts = AllTexts(6);
  std::vector<std::pair<Expression, std::string>> questions;
  const Ondrel::Testing::TemporaryFolder folder;
  std::ofstream file(folder.Path("questions"));
  while (questions.size() < 60'000 / kShare) {
    const Expression expression = RandomExpression(random, 3 + static_cast<int>(random() % 8));
    // Perl keeps what a group has captured in a negative assertion that holds. Its "$" also holds
    // before a last line end, of which these texts have none.
    if (Pcre2(expression.text).IsRefused() || FactsOf(expression.text).hasGroupInNegation) continue;
    for (int question = 0; question < 10; ++question) {
      questions.emplace_back(expression, texts[random() % texts.size()]);
      file << expression.text << '\t' << questions.back().second << '\n';
    }
  }
  file.close();
  const auto perl =
      Ondrel::Testing::RunProcess("/usr/bin/perl", {"-e", kProgram, folder.Path("questions")});
  ASSERT_EQ(perl.exitStatus, 0) << perl.errors;

  Comparison comparison;
  std::istringstream answers(perl.output);
  for (const auto& [expression, text] : questions) {
    Spans own = Own(expression.text).Find(text);
    std::string line;
    ASSERT_TRUE(std::getline(answers, line));
    std::istringstream numbers(line);
    Spans spans;
    for (std::int64_t begin = 0, end = 0; numbers >> begin >> end;) spans.emplace_back(begin, end);
    // Perl leaves out last groups that took no part.
    if (!spans.empty() && spans.size() < own.size()) spans.resize(own.size(), {-1, -1});
    // Of a repeated group Perl may keep what an iteration captured that it has taken back.
    if (expression.hasGroupLoop && !own.empty() && !spans.empty()) {
      own.resize(1);
      spans.resize(1);
    }
    comparison.Add(expression, text, own, spans);
  }
  comparison.Check(60'000 / kShare);
}

// From right to left a pattern does to a text what its mirror does to the mirrored text.
TEST(Peers, PatternsFromTheRightMatchAsTheirMirrorsFromTheLeft) {
  const std::vector<Expression> expressions = AllExpressions(4);
  const std::vector<std::string> texts = AllTexts(6);
  for (std::size_t i = 0; i < expressions.size(); i += kShare) {
    const Expression& expression = expressions[i];
    const Own own(expression.text, FLAG_RIGHTTOLEFT);
    const Own mirror(expression.mirror);
    for (const std::string& text : texts) {
      const Spans mirrored = mirror.Find(std::string(text.rbegin(), text.rend()));
      const auto length = static_cast<std::int64_t>(text.size());
      Spans expected(mirrored.size());
      for (std::size_t place = 0; place < mirrored.size(); ++place) {
        const auto [begin, end] = mirrored[place];
        const std::size_t group =
            place == 0 ? 0 : static_cast<std::size_t>(expression.mirrorOrder[place - 1]) + 1;
        expected[group] = begin < 0 ? mirrored[place] : std::pair(length - end, length - begin);
      }
      ASSERT_EQ(TextOf(own.Find(text)), TextOf(expected)) << expression.text << " on " << text;
    }
  }
}

TEST(Peers, ShortcutsChangeNothingOfAllSmallPatterns) {
  const std::vector<Expression> expressions = AllExpressions(4);
  const std::vector<std::string> texts = AllTexts(6);
  for (std::size_t i = 0; i < expressions.size(); i += kShare)
    for (const std::uint32_t flags : {std::uint32_t{0}, std::uint32_t{FLAG_RIGHTTOLEFT}}) {
      const Own own(expressions[i].text, flags);
      Own slow(expressions[i].text, flags);
      slow.TakeTheLongWay();
      for (const std::string& text : texts)
        ASSERT_EQ(own.Find(text), slow.Find(text))
            << expressions[i].text << " on " << text << ", flags " << flags;
    }
}

TEST(Peers, ShortcutsChangeNothing) {
  std::mt19937 random(40);
  for (std::size_t i = 0; i < 100'000; i += kShare) {
    const Expression expression = RandomExpression(random, 2 + static_cast<int>(random() % 10));
    const std::uint32_t flags = random() % 4 == 0 ? std::uint32_t{FLAG_RIGHTTOLEFT} : 0U;
    const Own own(expression.text, flags);
    Own slow(expression.text, flags);
    slow.TakeTheLongWay();
    for (int question = 0; question < 8; ++question) {
      std::string text;
      for (std::size_t length = random() % 24; length > 0; --length)
        text.push_back("aab\n"[random() % 4]);
      ASSERT_EQ(TextOf(own.Find(text)), TextOf(slow.Find(text)))
          << expression.text << " on " << text << ", flags " << flags;
    }
  }
}

}  // namespace
}  // namespace Pirsk::Regex::Testing
