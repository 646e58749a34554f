#include "LanguageFileParser.h"

#include <Pirsk/Strings.h>

#include <algorithm>
#include <charconv>
#include <string_view>
#include <system_error>
#include <utility>

namespace Pirsk::Language_Support {

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

std::string_view Trimmed(std::string_view text) {
  constexpr std::string_view kSpaces = " \t\r";
  const std::size_t first = text.find_first_not_of(kSpaces);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kSpaces) - first + 1);
}

std::optional<std::size_t> ParsedIndex(std::string_view text) {
  std::size_t index = 0;
  const char* end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, index);
  if (error != std::errc() || rest != end) return std::nullopt;
  return index;
}

std::nullopt_t Broken(std::string* fault, std::string text) {
  if (fault != nullptr) *fault = std::move(text);
  return std::nullopt;
}

}  // namespace

std::optional<LanguageTexts> ParseLanguageFile(const std::string& text, std::size_t count,
                                               std::string* fault) {
  if (text.find('\0') != std::string::npos) return Broken(fault, "it has a zero byte");
  if (Strings::UTF8length(text) == static_cast<std::size_t>(-1))
    return Broken(fault, "it is not UTF-8");

  std::string_view rest = text;
  if (rest.starts_with(kByteOrderMark)) rest.remove_prefix(kByteOrderMark.size());

  LanguageTexts texts;
  std::size_t number = 0;
  const auto brokenLine = [&number, fault](const char* what) {
    return Broken(fault, "line " + std::to_string(number) + what);
  };
  while (!rest.empty()) {
    ++number;
    const std::size_t lineEnd = std::min(rest.find('\n'), rest.size());
    const std::string_view line = Trimmed(rest.substr(0, lineEnd));
    rest.remove_prefix(std::min(lineEnd + 1, rest.size()));
    if (line.empty() || line.front() == '#') continue;

    const std::size_t equals = line.find('=');
    if (equals == std::string_view::npos) return brokenLine(" is not of the form index = text");
    const std::optional<std::size_t> index = ParsedIndex(Trimmed(line.substr(0, equals)));
    if (!index || *index >= count) return brokenLine(" has no index of a text");
    const std::string_view value = Trimmed(line.substr(equals + 1));
    if (!texts.emplace(*index, value).second) return brokenLine(" has an index once more");
  }
  return texts;
}

}  // namespace Pirsk::Language_Support
