#include "Engines.h"

#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <string>
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

// The groups' texts as the examples write them.
std::string Shown(const Spans& spans, const std::string& text) {
  if (spans.empty()) return "nothing";
  std::string shown;
  for (const auto& [begin, end] : spans) {
    if (!shown.empty()) shown += ", ";
    shown += begin < 0 ? "none"
                       : "`" +
                             text.substr(static_cast<std::size_t>(begin),
                                         static_cast<std::size_t>(end - begin)) +
                             "`";
  }
  return shown;
}

TEST(PatternDocument, EveryRowOfTheGrammarHasAnExampleThatHolds) {
  std::ifstream document(ONDREL_SOURCE_FOLDER "/Docs/patterns.md");
  const std::regex example("^\\| .* \\| .* \\| `(.+)` on `(.*)` finds (.*) \\|$");
  int rows = 0;
  bool isInGrammar = false;
  for (std::string line; std::getline(document, line);) {
    if (line.starts_with("## ")) isInGrammar = line == "## Grammar";
    if (!isInGrammar || !line.starts_with("| `")) continue;
    ++rows;
    std::smatch parts;
    ASSERT_TRUE(std::regex_match(line, parts, example)) << line;
    const std::string text = Meant(parts[2]);
    EXPECT_EQ(Shown(Own(Meant(parts[1])).Find(text), text), Meant(parts[3])) << line;
  }
  EXPECT_EQ(rows, 23);
}

}  // namespace
}  // namespace Pirsk::Regex::Testing
