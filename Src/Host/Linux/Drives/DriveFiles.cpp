#include "Host/Linux/Drives/DriveFiles.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <memory>

namespace Ondrel::Host {

namespace {

constexpr std::string_view kSpaces = " \t\r\n";

struct FreeText {
  void operator()(char* text) const { std::free(text); }
};

}  // namespace

std::optional<std::string> ReadTextOf(const std::string& path) {
  std::optional<std::string> text = ReadSysfsText(path);
  if (text) text->erase(text->find_last_not_of(kSpaces) + 1);
  return text;
}

std::string TextOf(const std::string& path) { return ReadTextOf(path).value_or(""); }

std::optional<std::uint64_t> NumberAtStart(std::string_view text) {
  std::uint64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc()) return std::nullopt;
  return number;
}

std::uint64_t NumberOf(const std::string& path) { return NumberAtStart(TextOf(path)).value_or(0); }

std::string RealPathOf(const std::string& path) {
  const std::unique_ptr<char, FreeText> real(::realpath(path.c_str(), nullptr));
  if (real) return real.get();
  NoteSysfsShortage(errno);
  return {};
}

std::string LastPartOf(const std::string& path) { return path.substr(path.rfind('/') + 1); }

std::string PrintableOf(std::string_view text) {
  // Some serial numbers are filled up with zero bytes.
  const std::size_t first = text.find_first_not_of(std::string_view(" \t\r\n\0", 5));
  if (first == std::string_view::npos) return {};
  const std::size_t last = text.find_last_not_of(std::string_view(" \t\r\n\0", 5));
  std::string printable(text.substr(first, last - first + 1));
  for (char& character : printable)
    if (character < 0x20 || character > 0x7E) character = '?';
  return printable;
}

std::vector<std::string_view> WordsOf(std::string_view text) {
  std::vector<std::string_view> words;
  std::size_t begin = text.find_first_not_of(kSpaces);
  while (begin != std::string_view::npos) {
    const std::size_t end = std::min(text.find_first_of(kSpaces, begin), text.size());
    words.push_back(text.substr(begin, end - begin));
    begin = text.find_first_not_of(kSpaces, end);
  }
  return words;
}

bool HasWord(std::string_view list, std::string_view word) {
  while (true) {
    const std::size_t end = std::min(list.find(','), list.size());
    if (list.substr(0, end) == word) return true;
    if (end == list.size()) return false;
    list.remove_prefix(end + 1);
  }
}

std::uint64_t BadSectorsIn(std::string_view list) {
  const std::vector<std::string_view> words = WordsOf(list);
  std::uint64_t sectors = 0;
  for (std::size_t word = 1; word < words.size(); word += 2)
    sectors += NumberAtStart(words[word]).value_or(0);
  return sectors;
}

}  // namespace Ondrel::Host
