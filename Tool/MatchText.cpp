#include "Tool/MatchText.h"

#include "Tool/Output.h"
#include "Tool/TextWidth.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace Tool {

namespace {

/// Length of the UTF-8 character that `text` begins with; 0 when it does not begin with one, or
/// with a control character.
std::size_t CharacterLength(std::string_view text) {
  const auto byteAt = [&](std::size_t index) { return static_cast<unsigned char>(text[index]); };
  const unsigned char lead = byteAt(0);
  if (lead < 0x80) return lead >= 0x20 && lead != 0x7F ? 1 : 0;
  const std::size_t length = lead >= 0xC2 && lead <= 0xDF   ? 2
                             : lead >= 0xE0 && lead <= 0xEF ? 3
                             : lead >= 0xF0 && lead <= 0xF4 ? 4
                                                            : 0;
  if (length == 0 || text.size() < length) return 0;
  for (std::size_t index = 1; index < length; ++index)
    if ((byteAt(index) & 0xC0) != 0x80) return 0;
  // Overlong forms, surrogates, what lies above U+10FFFF, and the control characters U+0080 to 9F.
  const unsigned char second = byteAt(1);
  const bool isBad = (lead == 0xC2 && second < 0xA0) || (lead == 0xE0 && second < 0xA0) ||
                     (lead == 0xED && second > 0x9F) || (lead == 0xF0 && second < 0x90) ||
                     (lead == 0xF4 && second > 0x8F);
  return isBad ? 0 : length;
}

/// The text as it can be shown, each byte that cannot as "?".
std::string Shown(std::string_view text) {
  std::string shown;
  while (!text.empty()) {
    const std::size_t length = CharacterLength(text);
    if (length == 0) shown += '?';
    shown += text.substr(0, length);
    text.remove_prefix(std::max<std::size_t>(length, 1));
  }
  return shown;
}

std::size_t WidthOf(std::string_view text) { return ColumnsOf(Shown(text)); }

}  // namespace

std::string PictureOf(const std::string& text, const Pirsk::Regex::CMatchResult& match,
                      const std::vector<std::pair<std::string, std::int64_t>>& names) {
  const auto matchBegin = static_cast<std::size_t>(match.GroupBegin(0));
  const std::size_t before = matchBegin == 0 ? std::string::npos : text.rfind('\n', matchBegin - 1);
  const std::size_t lineBegin = before == std::string::npos ? 0 : before + 1;
  const std::size_t lineEnd = std::min(text.find('\n', matchBegin), text.size());
  const std::string_view line = std::string_view(text).substr(lineBegin, lineEnd - lineBegin);

  std::string prefix;
  if (text.find('\n') < text.size() - 1) {
    const auto end = text.begin() + static_cast<std::ptrdiff_t>(lineBegin);
    prefix = std::to_string(1 + std::count(text.begin(), end, '\n')) + ": ";
  }
  std::string picture = prefix + Shown(line) + '\n';
  for (std::int64_t group = 0; group <= match.MaxGroupNumber(); ++group) {
    std::string label = std::to_string(group);
    for (const auto& [name, number] : names)
      if (number == group) label.append(" ").append(Shown(name));
    if (match.GroupBegin(group) < 0) {
      picture += "group " + label + " took no part\n";
      continue;
    }
    // A look-behind may capture before the line, and a match may go on after it.
    const auto begin = static_cast<std::size_t>(match.GroupBegin(group));
    const auto end = static_cast<std::size_t>(match.GroupEnd(group));
    const std::size_t from = std::clamp(begin, lineBegin, lineEnd);
    const std::size_t to = std::clamp(end, from, lineEnd);
    const std::size_t width = WidthOf(std::string_view(text).substr(from, to - from));
    picture += std::string(
        prefix.size() + WidthOf(std::string_view(text).substr(lineBegin, from - lineBegin)), ' ');
    picture += Coloured(width == 0 ? std::string("|") : std::string(width, '^'), Colour::kGreen);
    picture += ' ' + label + " [" + std::to_string(begin) + ", " + std::to_string(end) + ")\n";
  }
  return picture;
}

}  // namespace Tool
