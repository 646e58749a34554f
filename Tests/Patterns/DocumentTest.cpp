#include "Engines.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <utility>
#include <vector>

// The examples of Docs/patterns.md do what it says.

namespace Pirsk::Regex::Testing {
namespace {

void ReplaceAll(std::string& text, const std::string& what, const std::string& by) {
  for (std::size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += by.size())
    text.replace(at, what.size(), by);
}

// A text of a table's cell as it is meant.
std::string Meant(std::string text) {
  ReplaceAll(text, "\\|", "|");
  ReplaceAll(text, "<tab>", "\t");
  ReplaceAll(text, "<line>", "\n");
  return text;
}

std::string PartOf(const std::string& text, const std::pair<std::int64_t, std::int64_t>& span) {
  return text.substr(static_cast<std::size_t>(span.first),
                     static_cast<std::size_t>(span.second - span.first));
}

// The groups' texts as the examples write them.
std::string Shown(const Spans& spans, const std::string& text) {
  if (spans.empty()) return "nothing";
  std::string shown;
  for (const auto& [begin, end] : spans) {
    if (!shown.empty()) shown += ", ";
    shown += begin < 0 ? "none" : "`" + PartOf(text, {begin, end}) + "`";
  }
  return shown;
}

TEST(PatternDocument, EveryRowOfTheGrammarHasAnExampleThatHolds) {
  std::ifstream document(ONDREL_SOURCE_FOLDER "/Docs/patterns.md");
  const Own example("^\\| .* \\| .* \\| `(.+)` on `(.*)` finds (.*) \\|$");
  int rows = 0;
  bool isInGrammar = false;
  for (std::string line; std::getline(document, line);) {
    if (line.starts_with("## ")) isInGrammar = line == "## Grammar";
    if (!isInGrammar || !line.starts_with("| `")) continue;
    ++rows;
    const Spans parts = example.Find(line);
    ASSERT_EQ(parts.size(), 4U) << line;
    const std::string text = Meant(PartOf(line, parts[2]));
    EXPECT_EQ(Shown(Own(Meant(PartOf(line, parts[1]))).Find(text), text),
              Meant(PartOf(line, parts[3])))
        << line;
  }
  EXPECT_EQ(rows, 23);
}

}  // namespace
}  // namespace Pirsk::Regex::Testing
