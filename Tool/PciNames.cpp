#include "Tool/PciNames.h"

#include "Tool/Options.h"

namespace Tool {

namespace {

constexpr std::size_t kClassDigits = 6;

/// Takes the first line off a text, without its end.
std::string_view TakeLine(std::string_view& text) {
  const std::size_t end = text.find('\n');
  const std::string_view line = text.substr(0, end);
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  return line.ends_with('\r') ? line.substr(0, line.size() - 1) : line;
}

std::size_t TabsOf(std::string_view line) {
  const std::size_t tabs = line.find_first_not_of('\t');
  return tabs == std::string_view::npos ? 0 : tabs;
}

struct Entry {
  std::string_view name;
  std::string_view below;  ///< The lines that follow it, to the end of the text.
};

/// The entry "IDENTIFIER  NAME" with this many tabs before it, above the next entry of a higher
/// level.
bool FindEntry(std::string_view text, std::size_t tabs, std::string_view identifier, Entry& entry) {
  while (!text.empty()) {
    const std::string_view line = TakeLine(text);
    if (line.empty() || line.front() == '#') continue;
    const std::size_t level = TabsOf(line);
    if (level < tabs) return false;
    const std::string_view words = line.substr(level);
    const std::size_t size = identifier.size();
    if (level != tabs || words.size() < size || !IsSameWord(words.substr(0, size), identifier) ||
        words.substr(size, 2) != "  ")
      continue;
    entry = {words.substr(size + 2), text};
    return true;
  }
  return false;
}

}  // namespace

std::string PciNames::Vendor(std::string_view vendor) const {
  Entry entry;
  return FindEntry(m_list, 0, vendor, entry) ? std::string(entry.name) : "";
}

std::string PciNames::Device(std::string_view vendor, std::string_view device) const {
  Entry entry;
  if (!FindEntry(m_list, 0, vendor, entry) || !FindEntry(entry.below, 1, device, entry)) return "";
  return std::string(entry.name);
}

std::string PciNames::Class(std::string_view code) const {
  if (code.size() != kClassDigits) return "";
  Entry entry;
  if (!FindEntry(m_list, 0, "C " + std::string(code.substr(0, 2)), entry)) return "";
  std::string name(entry.name);
  if (!FindEntry(entry.below, 1, code.substr(2, 2), entry)) return name;
  name = entry.name;
  if (FindEntry(entry.below, 2, code.substr(4, 2), entry))
    name.append(" (").append(entry.name).append(")");
  return name;
}

}  // namespace Tool
