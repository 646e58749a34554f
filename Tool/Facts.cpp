#include "Tool/Facts.h"

#include "Tool/Output.h"
#include "Tool/Utf8.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <limits>

namespace Tool {

namespace {

using Ondrel::OS_FACTS;
using Ondrel::OS_VERSION_HALF;

enum class FieldKind { kNumber, kText, kHalf, kKind, kVersion };

/// A field of a record or of one of its halves, by its place.
struct Field {
  std::string_view name;
  FieldKind kind;
  std::size_t offset;
  std::size_t size;
};

#define ONDREL_NUMBER(Record, name) \
  Field { #name, FieldKind::kNumber, offsetof(Record, name), sizeof(Record::name) }

constexpr std::array kHalfFields = {
    ONDREL_NUMBER(OS_VERSION_HALF, major),
    ONDREL_NUMBER(OS_VERSION_HALF, minor),
    ONDREL_NUMBER(OS_VERSION_HALF, build),
    ONDREL_NUMBER(OS_VERSION_HALF, platform),
    ONDREL_NUMBER(OS_VERSION_HALF, processor),
    Field{"csdVersion", FieldKind::kText, offsetof(OS_VERSION_HALF, csdVersion),
          sizeof(OS_VERSION_HALF::csdVersion)},
    ONDREL_NUMBER(OS_VERSION_HALF, spMajor),
    ONDREL_NUMBER(OS_VERSION_HALF, spMinor),
};

constexpr std::array kFields = {
    Field{"jsonVersion", FieldKind::kVersion, 0, 0},
    Field{"kind", FieldKind::kKind, 0, 0},
    Field{"reported", FieldKind::kHalf, offsetof(OS_FACTS, reported), sizeof(OS_VERSION_HALF)},
    Field{"underlying", FieldKind::kHalf, offsetof(OS_FACTS, underlying), sizeof(OS_VERSION_HALF)},
    ONDREL_NUMBER(OS_FACTS, suite1),
    ONDREL_NUMBER(OS_FACTS, suite2),
    ONDREL_NUMBER(OS_FACTS, suite3),
    ONDREL_NUMBER(OS_FACTS, suite4),
    ONDREL_NUMBER(OS_FACTS, osType),
    ONDREL_NUMBER(OS_FACTS, ubr),
    ONDREL_NUMBER(OS_FACTS, productInfo),
    ONDREL_NUMBER(OS_FACTS, semiAnnual),
    ONDREL_NUMBER(OS_FACTS, deviceFamilyVersion),
    ONDREL_NUMBER(OS_FACTS, deviceFamily),
    ONDREL_NUMBER(OS_FACTS, deviceForm),
};

#undef ONDREL_NUMBER

constexpr std::string_view kWindows = "windows";

/// Reads one text from its front to its end, without going back, and writes the record as it goes.
class Reader {
public:
  explicit Reader(std::string_view text) : m_text(text) {}

  std::optional<FactsError> Read(OS_FACTS& facts) {
    SkipSpace();
    if (Peek() != '{') {
      Fail(m_place, "a JSON object is expected");
    } else if (ReadObject(kFields, reinterpret_cast<char*>(&facts))) {
      SkipSpace();
      if (m_place < m_text.size()) Fail(m_place, "more follows the object");
    }
    return std::move(m_error);
  }

private:
  // A zero byte is a character as any other: only the place says where the text ends.
  char Peek() const { return m_place < m_text.size() ? m_text[m_place] : '\0'; }

  void SkipSpace() {
    while (m_place < m_text.size() &&
           (Peek() == ' ' || Peek() == '\t' || Peek() == '\r' || Peek() == '\n'))
      ++m_place;
  }

  bool Fail(std::size_t offset, std::string text) {
    if (!m_error) m_error = FactsError{offset, std::move(text)};
    return false;
  }

  bool Expect(char character) {
    SkipSpace();
    if (m_place < m_text.size() && Peek() == character) {
      ++m_place;
      return true;
    }
    const std::string wanted = std::string("\"") + character + "\" is expected";
    return Fail(m_place, m_place < m_text.size() ? wanted : wanted + ", but the text ends");
  }

  template <std::size_t Count>
  bool ReadObject(const std::array<Field, Count>& fields, char* record) {
    static_assert(Count <= 32);
    std::uint32_t seen = 0;
    ++m_place;  // The brace.
    SkipSpace();
    if (m_place < m_text.size() && Peek() == '}') {
      ++m_place;
      return true;
    }
    std::size_t likely = 0;
    do {
      SkipSpace();
      const std::size_t start = m_place;
      std::string_view name;
      if (!ReadText(name)) return false;
      // Fields mostly come in the record's order.
      std::size_t found = likely;
      if (found >= Count || fields[found].name != name)
        for (found = 0; found < Count && fields[found].name != name;) ++found;
      if (found == Count) return Fail(start, "no record has the field \"" + Shown(name) + "\"");
      const std::uint32_t bit = std::uint32_t{1} << found;
      if ((seen & bit) != 0) return Fail(start, "\"" + Shown(name) + "\" is there twice");
      seen |= bit;
      likely = found + 1;
      if (!Expect(':') || !ReadValue(fields[found], record)) return false;
      SkipSpace();
    } while (m_place < m_text.size() && Peek() == ',' && ++m_place != 0);
    return Expect('}');
  }

  bool ReadValue(const Field& field, char* record) {
    SkipSpace();
    const std::size_t start = m_place;
    const auto refuse = [&](const std::string& what) {
      return Fail(start, "\"" + std::string(field.name) + "\" " + what);
    };
    switch (field.kind) {
      case FieldKind::kHalf:
        if (Peek() != '{') return refuse("is not an object");
        return ReadObject(kHalfFields, record + field.offset);
      case FieldKind::kNumber: {
        const std::uint64_t greatest =
            std::numeric_limits<std::uint64_t>::max() >> (64 - 8 * field.size);
        std::uint64_t number = 0;
        if (!ReadNumber(greatest, number))
          return refuse("is not a whole number of 0 to " + std::to_string(greatest));
        // The lowest bytes come first on every host that there is a build for.
        std::memcpy(record + field.offset, &number, field.size);
        return true;
      }
      case FieldKind::kText: {
        if (Peek() != '"') return refuse("is not a text");
        std::string_view text;
        if (!ReadText(text)) return false;
        if (text.find('\0') != std::string_view::npos)
          return refuse("holds a zero byte, at which the record's text would end");
        if (text.size() >= field.size)
          return refuse("is longer than " + std::to_string(field.size - 1) + " bytes");
        std::memcpy(record + field.offset, text.data(), text.size());
        return true;
      }
      case FieldKind::kKind: {
        if (Peek() != '"') return refuse("is not \"windows\"");
        std::string_view text;
        if (!ReadText(text)) return false;
        return text == kWindows || refuse("is not \"windows\"");
      }
      case FieldKind::kVersion: {
        std::uint64_t version = 0;
        return (ReadNumber(kJsonVersion, version) && version == kJsonVersion) ||
               refuse("is not " + std::to_string(kJsonVersion));
      }
    }
    return false;
  }

  bool ReadNumber(std::uint64_t greatest, std::uint64_t& number) {
    const std::size_t start = m_place;
    while (Peek() >= '0' && Peek() <= '9') {
      const auto digit = static_cast<std::uint64_t>(Peek() - '0');
      if (number > (greatest - digit) / 10) return false;
      number = number * 10 + digit;
      ++m_place;
    }
    const bool hasLeadingZero = m_place - start > 1 && m_text[start] == '0';
    return m_place > start && !hasLeadingZero && Peek() != '.' && Peek() != 'e' && Peek() != 'E';
  }

  // The text is good until the next one is read.
  bool ReadText(std::string_view& text) {
    if (!Expect('"')) return false;
    const std::size_t start = m_place;
    bool isCopied = false;
    while (m_place < m_text.size()) {
      const char character = m_text[m_place];
      const auto byte = static_cast<unsigned char>(character);
      if (character == '"') {
        text = isCopied ? std::string_view(m_copy) : m_text.substr(start, m_place - start);
        ++m_place;
        return true;
      }
      if (byte < 0x20) return Fail(m_place, "a text holds a control character");
      if (character == '\\') {
        if (!isCopied) m_copy.assign(m_text, start, m_place - start);
        isCopied = true;
        if (!ReadEscape()) return false;
        continue;
      }
      const std::size_t length = byte < 0x80 ? 1 : CharacterLength(m_text.substr(m_place));
      if (length == 0) return Fail(m_place, "a text is not UTF-8");
      if (isCopied) m_copy.append(m_text, m_place, length);
      m_place += length;
    }
    return Fail(start - 1, "the text that begins here has no end");
  }

  bool ReadEscape() {
    constexpr std::string_view kLetters = "\"\\/bfnrt";
    constexpr std::string_view kMeanings = "\"\\/\b\f\n\r\t";
    const std::size_t start = m_place++;
    const char letter = Peek();
    if (const std::size_t place = kLetters.find(letter); place != std::string_view::npos) {
      m_copy += kMeanings[place];
      ++m_place;
      return true;
    }
    std::uint32_t unit = 0;
    if (letter != 'u' || !ReadUnit(unit)) return Fail(start, "this escape does not exist");
    if (unit >= 0xD800 && unit < 0xE000) {
      std::uint32_t low = 0;
      const bool hasSecond = unit < 0xDC00 && m_text.substr(m_place, 2) == "\\u" &&
                             ++m_place != 0 && ReadUnit(low) && low >= 0xDC00 && low < 0xE000;
      if (!hasSecond) return Fail(start, "this is half a character");
      unit = 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00);
    }
    AppendCharacter(unit);
    return true;
  }

  // The four digits that follow the letter here.
  bool ReadUnit(std::uint32_t& unit) {
    ++m_place;
    for (int i = 0; i < 4; ++i, ++m_place) {
      const char digit = Peek();
      unit <<= 4;
      if (digit >= '0' && digit <= '9')
        unit |= static_cast<std::uint32_t>(digit - '0');
      else if (digit >= 'a' && digit <= 'f')
        unit |= static_cast<std::uint32_t>(digit - 'a' + 10);
      else if (digit >= 'A' && digit <= 'F')
        unit |= static_cast<std::uint32_t>(digit - 'A' + 10);
      else
        return false;
    }
    return true;
  }

  void AppendCharacter(std::uint32_t character) {
    const auto add = [this](std::uint32_t byte) { m_copy += static_cast<char>(byte); };
    if (character < 0x80) {
      add(character);
    } else if (character < 0x800) {
      add(0xC0 | character >> 6);
      add(0x80 | (character & 0x3F));
    } else if (character < 0x10000) {
      add(0xE0 | character >> 12);
      add(0x80 | (character >> 6 & 0x3F));
      add(0x80 | (character & 0x3F));
    } else {
      add(0xF0 | character >> 18);
      add(0x80 | (character >> 12 & 0x3F));
      add(0x80 | (character >> 6 & 0x3F));
      add(0x80 | (character & 0x3F));
    }
  }

  static std::string Shown(std::string_view name) {
    constexpr std::size_t kLongestName = 60;
    const bool isCut = name.size() > kLongestName;
    return OneLine(isCut ? std::string(name.substr(0, kLongestName)) + "..." : std::string(name));
  }

  std::string_view m_text;
  std::size_t m_place = 0;
  std::string m_copy;
  std::optional<FactsError> m_error;
};

template <std::size_t Count>
Json JsonOfFields(const std::array<Field, Count>& fields, const char* record) {
  Json json = Json::object();
  for (const Field& field : fields) {
    const char* const place = record + field.offset;
    const std::string name(field.name);
    switch (field.kind) {
      case FieldKind::kVersion:
        break;  // Printing an object adds it.
      case FieldKind::kKind:
        json[name] = kWindows;
        break;
      case FieldKind::kHalf:
        json[name] = JsonOfFields(kHalfFields, place);
        break;
      case FieldKind::kText:
        json[name] = std::string(place, strnlen(place, field.size));
        break;
      case FieldKind::kNumber: {
        std::uint64_t number = 0;
        std::memcpy(&number, place, field.size);
        json[name] = number;
        break;
      }
    }
  }
  return json;
}

template <std::size_t Count>
void AppendFields(std::string& json, const std::array<Field, Count>& fields, const char* record) {
  const char* separator = "";
  for (const Field& field : fields) {
    if (field.kind == FieldKind::kVersion) continue;
    const char* const place = record + field.offset;
    json.append(separator).append(1, '"').append(field.name).append("\":");
    separator = ",";
    switch (field.kind) {
      case FieldKind::kVersion:
        break;
      case FieldKind::kKind:
        AppendJsonText(json, kWindows);
        break;
      case FieldKind::kHalf:
        json += '{';
        AppendFields(json, kHalfFields, place);
        json += '}';
        break;
      case FieldKind::kText:
        AppendJsonText(json, {place, strnlen(place, field.size)});
        break;
      case FieldKind::kNumber: {
        std::uint64_t number = 0;
        std::memcpy(&number, place, field.size);
        json += std::to_string(number);
        break;
      }
    }
  }
}

}  // namespace

std::optional<FactsError> ReadFacts(std::string_view text, OS_FACTS& facts) {
  facts = OS_FACTS{};
  return Reader(text).Read(facts);
}

Json JsonOf(const OS_FACTS& facts) {
  return JsonOfFields(kFields, reinterpret_cast<const char*>(&facts));
}

void AppendMembers(std::string& json, const OS_FACTS& facts) {
  AppendFields(json, kFields, reinterpret_cast<const char*>(&facts));
}

}  // namespace Tool
