#include "Tool/Watch/Settings.h"

#include <boost/property_tree/ini_parser.hpp>
#include <boost/property_tree/ptree.hpp>

#include <algorithm>
#include <charconv>
#include <functional>
#include <optional>
#include <sstream>
#include <utility>

namespace Tool::Watch {

namespace {

constexpr std::string_view kSpaces = " \t\r\n";
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr int kFreezingPoint = 273;

std::string_view Trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(kSpaces);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kSpaces) - first + 1);
}

/// Why a value cannot be used; the reader adds where it stands.
struct BadValue {
  std::string why;
};

int NumberOf(const std::string& text, int min, int max) {
  int number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size() || number < min || number > max)
    throw BadValue{"is not a number of " + std::to_string(min) + " to " + std::to_string(max)};
  return number;
}

bool YesOrNo(const std::string& text) {
  if (text == "yes") return true;
  if (text == "no") return false;
  throw BadValue{"is neither yes nor no"};
}

std::string Filled(const std::string& text) {
  if (text.empty()) throw BadValue{"is empty"};
  return text;
}

std::string Path(const std::string& text) {
  if (!text.starts_with('/')) throw BadValue{"is not an absolute path"};
  return text;
}

std::string Protocol(const std::string& text) {
  if (text != "smtp" && text != "smtps") throw BadValue{"is neither smtp nor smtps"};
  return text;
}

// Spaces and brackets would begin something else in a mail's header or envelope.
std::string Address(const std::string& text) {
  const bool hasAt = text.find('@') != std::string::npos;
  if (!hasAt || text.find_first_of(" \t<>,;\"") != std::string::npos)
    throw BadValue{"is not a mail address"};
  return text;
}

std::vector<std::string> Addresses(const std::string& text) {
  std::vector<std::string> addresses;
  std::size_t begin = 0;
  while (begin <= text.size()) {
    const std::size_t end = std::min(text.find_first_of(",;", begin), text.size());
    addresses.push_back(Address(std::string(Trimmed(text.substr(begin, end - begin)))));
    begin = end + 1;
  }
  return addresses;
}

std::uint16_t Temperature(const std::string& text) {
  return static_cast<std::uint16_t>(NumberOf(text, 1, 200) + kFreezingPoint);
}

struct Key {
  std::string section;
  std::string name;
  std::function<void(Settings& settings, const std::string& value)> set;
};

const std::vector<Key>& Keys() {
  using S = Settings;
  using V = const std::string;
  static const std::vector<Key> keys = {
      {"log", "name", [](S& s, V& v) { s.log.name = Filled(v); }},
      {"log", "store", [](S& s, V& v) { s.log.store = Path(v); }},
      {"log", "journal", [](S& s, V& v) { s.log.isJournal = YesOrNo(v); }},
      {"mail", "server", [](S& s, V& v) { s.mail.server = Filled(v); }},
      {"mail", "port",
       [](S& s, V& v) { s.mail.port = static_cast<unsigned short>(NumberOf(v, 1, 65535)); }},
      {"mail", "protocol", [](S& s, V& v) { s.mail.protocol = Protocol(v); }},
      {"mail", "from", [](S& s, V& v) { s.mail.from = Address(v); }},
      {"mail", "to", [](S& s, V& v) { s.mail.to = Addresses(v); }},
      {"mail", "user", [](S& s, V& v) { s.mail.user = Filled(v); }},
      {"mail", "password-file", [](S& s, V& v) { s.mail.passwordFile = Path(v); }},
      {"mail", "min-severity", [](S& s, V& v) { s.mail.minSeverity = NumberOf(v, 2, 4); }},
      {"health", "interval", [](S& s, V& v) { s.health.interval = NumberOf(v, 1, 86400); }},
      {"health", "arm-events", [](S& s, V& v) { s.health.armEvents = YesOrNo(v); }},
      {"health", "used-warning",
       [](S& s, V& v) { s.health.thresholds.usedWarning = NumberOf(v, 1, 255); }},
      {"health", "used-critical",
       [](S& s, V& v) { s.health.thresholds.usedCritical = NumberOf(v, 1, 255); }},
      {"health", "temperature-warning",
       [](S& s, V& v) { s.health.thresholds.warningTemperature = Temperature(v); }},
      {"health", "temperature-critical",
       [](S& s, V& v) { s.health.thresholds.criticalTemperature = Temperature(v); }},
      {"metrics", "file", [](S& s, V& v) { s.metricsFile = Path(v); }},
      {"exec", "program", [](S& s, V& v) { s.exec.program = Path(v); }},
      {"exec", "time-limit", [](S& s, V& v) { s.exec.timeLimit = NumberOf(v, 1, 3600); }},
      {"state", "file", [](S& s, V& v) { s.stateFile = Path(v); }},
  };
  return keys;
}

bool IsControl(char character) {
  const auto code = static_cast<unsigned char>(character);
  return code < 0x20 || code == 0x7F;
}

bool IsSpace(char character) { return kSpaces.find(character) != std::string_view::npos; }

// A comment takes a line of its own: the parser would take this one for a part of the value.
bool HasComment(const std::string& value) {
  for (std::size_t place = 1; place < value.size(); ++place)
    if ((value[place] == ';' || value[place] == '#') && IsSpace(value[place - 1])) return true;
  return false;
}

class SettingsReader {
public:
  SettingsReader(std::string text, const std::string& file)
      : m_text(std::move(text)), m_file(file) {}

  Settings Read() {
    // The parser takes a zero byte for the end of a value.
    const std::size_t zero = m_text.find('\0');
    if (zero != std::string::npos) throw Error(LineAt(zero), "a zero byte");
    std::istringstream stream(m_text);
    boost::property_tree::ptree tree;
    try {
      boost::property_tree::read_ini(stream, tree);
    } catch (const boost::property_tree::ini_parser_error& error) {
      throw Error(error.line(), error.message());
    }
    RefuseUnknownSections();
    for (const auto& [section, keys] : tree) {
      if (keys.empty()) throw Error(LineOf("", section), section + " has no section");
      for (const auto& [name, value] : keys) Set(section, name, value.data());
    }
    Check(tree);
    return m_settings;
  }

private:
  // The parser leaves out sections without keys.
  void RefuseUnknownSections() const {
    std::istringstream lines(m_text);
    std::string text;
    for (unsigned long number = 1; std::getline(lines, text); ++number) {
      const std::string_view line = Trimmed(text);
      if (!line.starts_with('[') || !line.ends_with(']')) continue;
      const std::string section(Trimmed(line.substr(1, line.size() - 2)));
      if (std::ranges::find(Keys(), section, &Key::section) == Keys().end())
        throw Error(number, "there is no section [" + section + "]");
    }
  }

  void Set(const std::string& section, const std::string& name, const std::string& value) {
    for (const Key& key : Keys()) {
      if (section != key.section || name != key.name) continue;
      try {
        // Addresses may be separated in this way; what is not an address is refused there.
        if (name != "to" && HasComment(value))
          throw BadValue{"has a comment, which needs a line of its own"};
        if (std::ranges::any_of(value, IsControl)) throw BadValue{"has a control character"};
        return key.set(m_settings, value);
      } catch (const BadValue& bad) {
        std::string words = name;
        words.append(": \"").append(value).append("\" ").append(bad.why);
        throw Error(LineOf(section, name), words);
      }
    }
    throw Error(LineOf(section, name), "there is no key \"" + name + "\" in [" + section + "]");
  }

  // What only several keys together can get wrong.
  void Check(const boost::property_tree::ptree& tree) {
    const auto has = [&](const char* path) { return tree.get_child_optional(path).has_value(); };
    if (m_settings.mail.protocol == "smtps" && !has("mail.port")) m_settings.mail.port = 465;
    const auto needs = [&](const char* section, const char* key, const char* other) {
      const std::string path = std::string(section) + '.' + key;
      if (has(path.c_str()) && !has((std::string(section) + '.' + other).c_str()))
        throw Error(LineOf(section, key), std::string(key) + " needs " + other + " as well");
    };
    for (const char* const key : {"port", "protocol", "from", "to", "user", "min-severity"})
      needs("mail", key, "server");
    needs("mail", "server", "from");
    needs("mail", "server", "to");
    needs("mail", "user", "password-file");
    needs("mail", "password-file", "user");
    needs("exec", "time-limit", "program");
    if (m_settings.log.isJournal && !m_settings.log.store.empty())
      throw Error(LineOf("log", "journal"), "journal and store exclude each other");
    const Thresholds& limits = m_settings.health.thresholds;
    if (limits.usedWarning > limits.usedCritical)
      throw Error(LineOf("health", has("health.used-warning") ? "used-warning" : "used-critical"),
                  "used-warning is larger than used-critical");
    if (limits.warningTemperature != 0 && limits.criticalTemperature != 0 &&
        limits.warningTemperature > limits.criticalTemperature)
      throw Error(LineOf("health", "temperature-warning"),
                  "temperature-warning is larger than temperature-critical");
  }

  SettingsError Error(unsigned long line, const std::string& what) const {
    return SettingsError(m_file + ":" + std::to_string(line) + ": " + what);
  }

  unsigned long LineAt(std::size_t place) const {
    return 1 + static_cast<unsigned long>(std::count(
                   m_text.begin(), m_text.begin() + static_cast<std::ptrdiff_t>(place), '\n'));
  }

  unsigned long LineOf(const std::string& section, const std::string& key) const {
    return LineOfKey(m_text, section, key);
  }

  const std::string m_text;
  const std::string& m_file;
  Settings m_settings;
};

}  // namespace

Settings ReadSettings(const std::string& text, const std::string& file) {
  // Some editors begin a file with the mark of its encoding.
  const bool hasMark = text.starts_with(kByteOrderMark);
  return SettingsReader(hasMark ? text.substr(kByteOrderMark.size()) : text, file).Read();
}

// The parser does not keep lines. Without a key it is the section's line; without a section, a key
// in front of all sections.
unsigned long LineOfKey(const std::string& text, const std::string& section,
                        const std::string& key) {
  std::istringstream lines(text);
  std::string current;
  std::string word;
  for (unsigned long number = 1; std::getline(lines, word); ++number) {
    const std::string_view line = Trimmed(word);
    if (line.starts_with('[') && line.ends_with(']')) {
      current = Trimmed(line.substr(1, line.size() - 2));
      if (key.empty() && current == section) return number;
      continue;
    }
    const std::string_view name = Trimmed(line.substr(0, line.find('=')));
    if (current == section && !key.empty() && name == key) return number;
    if (section.empty() && current.empty() && name == key) return number;
  }
  return 1;
}

}  // namespace Tool::Watch
