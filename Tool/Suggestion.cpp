#include "Tool/Suggestion.h"

#include <algorithm>
#include <cstddef>

namespace Tool {

namespace {

// No name here is longer; it also bounds the work that a hostile word makes.
constexpr std::size_t kLongestWord = 80;

char UpperCase(char letter) {
  return letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter;
}

/// Number of letters to add, leave out, replace or exchange with a neighbour.
std::size_t Distance(std::string_view left, std::string_view right) {
  std::vector<std::vector<std::size_t>> table(left.size() + 1,
                                              std::vector<std::size_t>(right.size() + 1));
  for (std::size_t i = 0; i <= left.size(); ++i) table[i][0] = i;
  for (std::size_t j = 0; j <= right.size(); ++j) table[0][j] = j;
  for (std::size_t i = 1; i <= left.size(); ++i) {
    for (std::size_t j = 1; j <= right.size(); ++j) {
      const bool isSame = UpperCase(left[i - 1]) == UpperCase(right[j - 1]);
      table[i][j] = std::min(
          {table[i - 1][j] + 1, table[i][j - 1] + 1, table[i - 1][j - 1] + (isSame ? 0 : 1)});
      const bool isExchange = i > 1 && j > 1 && UpperCase(left[i - 1]) == UpperCase(right[j - 2]) &&
                              UpperCase(left[i - 2]) == UpperCase(right[j - 1]);
      if (isExchange) table[i][j] = std::min(table[i][j], table[i - 2][j - 2] + 1);
    }
  }
  return table[left.size()][right.size()];
}

}  // namespace

std::string Suggestion(std::string_view word, const std::vector<std::string>& names) {
  if (word.empty() || word.size() > kLongestWord) return "";
  const std::string* nearest = nullptr;
  std::size_t least = 1 + word.size() / 3;
  for (const std::string& name : names) {
    const std::size_t longer = std::max(name.size(), word.size());
    if (longer - std::min(name.size(), word.size()) > least) continue;
    const std::size_t distance = Distance(word, name);
    // Of names that are equally near the first is taken; one that shares no letter is not near.
    if (distance >= longer || distance > least || (nearest != nullptr && distance == least))
      continue;
    nearest = &name;
    least = distance;
  }
  return nearest != nullptr ? ", did you mean " + *nearest + "?" : "";
}

}  // namespace Tool
