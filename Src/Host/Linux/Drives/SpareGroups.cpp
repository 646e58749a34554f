#include "Host/Linux/Drives/DriveFiles.h"
#include "Host/Linux/Drives/DrivePicture.h"

#include <algorithm>
#include <cctype>

namespace Ondrel::Host {

namespace {

char LowerOf(char character) {
  return static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
}

bool IsSameWord(std::string_view left, std::string_view right) {
  return std::ranges::equal(left, right, {}, LowerOf, LowerOf);
}

// The value of "key=value", whose key may be in either case.
std::string_view ValueOf(std::string_view word, std::string_view key) {
  const std::size_t sign = word.find('=');
  if (sign == std::string_view::npos || !IsSameWord(word.substr(0, sign), key)) return {};
  return word.substr(sign + 1);
}

void AddArray(const std::vector<std::string_view>& words, std::set<std::string>& arrays) {
  if (words.empty() || !IsSameWord(words.front(), "array")) return;
  const auto hasGroup = [](std::string_view word) { return !ValueOf(word, "spare-group").empty(); };
  if (std::ranges::none_of(words, hasGroup)) return;
  constexpr std::string_view kFolder = "/dev/";
  for (std::size_t index = 1; index < words.size(); ++index) {
    const std::string_view word = words[index];
    const std::string digits = DigitsOfUuid(ValueOf(word, "uuid"));
    if (!digits.empty()) arrays.insert(digits);
    if (word.starts_with(kFolder)) arrays.emplace(word.substr(kFolder.size()));
  }
}

}  // namespace

std::string DigitsOfUuid(std::string_view text) {
  constexpr std::size_t kDigits = 32;
  std::string digits;
  for (const char character : text) {
    if (character == '-' || character == ':') continue;
    if (std::isxdigit(static_cast<unsigned char>(character)) == 0) return {};
    digits += LowerOf(character);
  }
  if (digits.size() != kDigits || digits.find_first_not_of('0') == std::string::npos) return {};
  return digits;
}

std::set<std::string> ArraysWithSpareGroup(std::string_view configuration) {
  std::set<std::string> arrays;
  std::vector<std::string_view> words;
  while (!configuration.empty()) {
    const std::size_t end = std::min(configuration.find('\n'), configuration.size());
    const std::string_view line = configuration.substr(0, end);
    configuration.remove_prefix(std::min(end + 1, configuration.size()));
    // A line that begins with a space goes on with the one before it.
    const bool goesOn = line.starts_with(' ') || line.starts_with('\t');
    const std::vector<std::string_view> more = WordsOf(line.substr(0, line.find('#')));
    if (!goesOn && !more.empty()) {
      AddArray(words, arrays);
      words.clear();
    }
    words.insert(words.end(), more.begin(), more.end());
  }
  AddArray(words, arrays);
  return arrays;
}

}  // namespace Ondrel::Host
