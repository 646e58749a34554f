#include "Host/Linux/Messages/FormatMessage.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <optional>

namespace Ondrel::Host {

namespace {

constexpr int kMaxArguments = 99;
constexpr int kMaxFieldSize = 65535;
constexpr int kPointerDigits = 16;

constexpr bool IsDigit(char character) { return '0' <= character && character <= '9'; }

/// What stands between the exclamation marks of an insert.
struct Conversion {
  std::string flags;
  std::optional<int> width;
  std::optional<int> precision;
  bool isWidthArgument = false;
  bool isPrecisionArgument = false;
  std::string_view size;
  char kind = 's';
};

/// Reads one conversion from front to back.
class ConversionParser {
public:
  explicit ConversionParser(std::string_view text) : m_rest(text) {}

  std::optional<Conversion> Parse() {
    Conversion conversion;
    while (!m_rest.empty() && std::string_view("-+ #0").find(m_rest.front()) != m_rest.npos)
      conversion.flags += Take();
    if (!TakeField(conversion.width, conversion.isWidthArgument)) return std::nullopt;
    if (TakeWord(".")) {
      if (!TakeField(conversion.precision, conversion.isPrecisionArgument)) return std::nullopt;
      // A point alone means a precision of 0.
      if (!conversion.precision) conversion.precision = 0;
    }
    for (const std::string_view size : {"I64", "I32", "I", "ll", "l", "h"}) {
      if (!TakeWord(size)) continue;
      conversion.size = size;
      break;
    }
    if (m_rest.size() != 1) return std::nullopt;
    conversion.kind = Take();
    return conversion;
  }

private:
  char Take() {
    const char character = m_rest.front();
    m_rest.remove_prefix(1);
    return character;
  }

  bool TakeWord(std::string_view word) {
    if (!m_rest.starts_with(word)) return false;
    m_rest.remove_prefix(word.size());
    return true;
  }

  bool TakeField(std::optional<int>& value, bool& isArgument) {
    isArgument = TakeWord("*");
    if (isArgument) return true;
    while (!m_rest.empty() && IsDigit(m_rest.front())) {
      value = value.value_or(0) * 10 + (Take() - '0');
      if (*value > kMaxFieldSize) return false;
    }
    return true;
  }

  std::string_view m_rest;
};

bool StartsCharacter(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) != 0x80; }

// The text's first characters only; what follows them is not read.
std::string_view FirstCharacters(const char* text, std::optional<int> limit) {
  if (!limit) return text;
  const char* end = text;
  for (int characters = 0; *end != '\0'; ++end)
    if (StartsCharacter(*end) && ++characters > *limit) break;
  return {text, static_cast<std::size_t>(end - text)};
}

std::string Padded(std::string_view text, const Conversion& conversion) {
  std::size_t characters = 0;
  for (const char byte : text) characters += StartsCharacter(byte) ? 1 : 0;
  const auto width = static_cast<std::size_t>(conversion.width.value_or(0));
  const std::string filling(width > characters ? width - characters : 0, ' ');
  const bool isLeft = conversion.flags.find('-') != std::string::npos;
  return isLeft ? std::string(text) + filling : filling + std::string(text);
}

std::string NumberText(const Conversion& conversion, long long number) {
  std::string format = "%" + conversion.flags + "*";
  if (conversion.precision) format += ".*";
  format += "ll";
  format += conversion.kind;
  const int width = conversion.width.value_or(0);
  const auto print = [&](char* buffer, std::size_t size) {
    return conversion.precision
               ? std::snprintf(buffer, size, format.c_str(), width, *conversion.precision, number)
               : std::snprintf(buffer, size, format.c_str(), width, number);
  };
  const int length = print(nullptr, 0);
  if (length < 0) return {};
  std::string text(static_cast<std::size_t>(length), '\0');
  print(text.data(), text.size() + 1);
  return text;
}

// The bits of the argument that a conversion of this size takes, with or without their sign.
long long Narrowed(std::intptr_t argument, std::string_view size, bool isSigned) {
  if (size == "ll" || size == "I64" || size == "I") return argument;
  if (size == "h")
    return isSigned ? static_cast<std::int16_t>(argument) : static_cast<std::uint16_t>(argument);
  return isSigned ? std::int64_t{static_cast<std::int32_t>(argument)}
                  : std::int64_t{static_cast<std::uint32_t>(argument)};
}

/// Formats one definition from front to back, until it ends or something is wrong.
class Formatter {
public:
  Formatter(std::string_view definition, const MessageFormat& format)
      : m_rest(definition), m_format(format) {}

  FormattedMessage Format() {
    while (!m_rest.empty()) {
      PutNext();
      if (m_text.size() > kMaxMessageLength) Fail(ERROR_MORE_DATA);
    }
    if (m_error != ERROR_SUCCESS) return {.error = m_error, .text = {}};
    return {.error = ERROR_SUCCESS, .text = std::move(m_text)};
  }

private:
  void PutNext() {
    const char character = Take();
    if (character == '%') {
      PutEscape();
    } else if (character == '\r' || character == '\n') {
      if (character == '\r' && !m_rest.empty() && m_rest.front() == '\n') Take();
      m_text += m_format.ignoreLineBreaks ? " " : "\r\n";
    } else {
      m_text += character;
    }
  }

  void PutEscape() {
    if (m_rest.empty()) return Fail(ERROR_INVALID_PARAMETER);
    if ('1' <= m_rest.front() && m_rest.front() <= '9') return PutInsert();
    switch (const char character = Take()) {
      case '0':
        m_rest = {};
        break;
      case 'n':
        m_text += "\r\n";
        break;
      case 'r':
        m_text += '\r';
        break;
      case 't':
        m_text += '\t';
        break;
      case 'b':
        m_text += ' ';
        break;
      default:
        m_text += character;
    }
  }

  void PutInsert() {
    int number = Take() - '0';
    if (!m_rest.empty() && IsDigit(m_rest.front())) number = number * 10 + (Take() - '0');
    if (m_format.ignoreInserts) {
      // A conversion after it is plain text then.
      m_text += '%';
      m_text += std::to_string(number);
      return;
    }
    std::optional<Conversion> conversion = TakeConversion();
    if (!conversion || m_format.arguments == nullptr) return Fail(ERROR_INVALID_PARAMETER);
    m_nextArgument = number;
    if (!FillFields(*conversion) || m_nextArgument > kMaxArguments)
      return Fail(ERROR_INVALID_PARAMETER);
    PutArgument(*conversion, m_format.arguments[m_nextArgument - 1]);
  }

  std::optional<Conversion> TakeConversion() {
    if (m_rest.empty() || m_rest.front() != '!') return Conversion{};
    const std::size_t end = m_rest.find('!', 1);
    if (end == std::string_view::npos) return std::nullopt;
    const std::string_view text = m_rest.substr(1, end - 1);
    m_rest.remove_prefix(end + 1);
    return ConversionParser(text).Parse();
  }

  // Width and precision from the arguments, as printf takes them: a negative width is one with the
  // flag for left, a negative precision is none.
  bool FillFields(Conversion& conversion) {
    if (conversion.isWidthArgument) {
      int width = 0;
      if (!TakeField(width)) return false;
      if (width < 0) conversion.flags += '-';
      conversion.width = std::abs(width);
    }
    if (conversion.isPrecisionArgument) {
      int precision = 0;
      if (!TakeField(precision)) return false;
      conversion.precision = precision >= 0 ? std::optional(precision) : std::nullopt;
    }
    return true;
  }

  bool TakeField(int& value) {
    if (m_nextArgument > kMaxArguments) return false;
    const char* argument = m_format.arguments[m_nextArgument++ - 1];
    value = static_cast<std::int32_t>(reinterpret_cast<std::intptr_t>(argument));
    return -kMaxFieldSize <= value && value <= kMaxFieldSize;
  }

  void PutArgument(Conversion conversion, const char* argument) {
    const auto number = reinterpret_cast<std::intptr_t>(argument);
    switch (conversion.kind) {
      case 's':
        if (!conversion.size.empty() && conversion.size != "h")
          return Fail(ERROR_INVALID_PARAMETER);
        m_text +=
            Padded(FirstCharacters(argument != nullptr ? argument : "(null)", conversion.precision),
                   conversion);
        return;
      case 'c': {
        const char character = static_cast<char>(number);
        m_text += Padded({&character, character != '\0' ? std::size_t{1} : 0}, conversion);
        return;
      }
      case 'd':
      case 'i':
        m_text += NumberText(conversion, Narrowed(number, conversion.size, true));
        return;
      case 'u':
      case 'o':
      case 'x':
      case 'X':
        m_text += NumberText(conversion, Narrowed(number, conversion.size, false));
        return;
      case 'p':
        conversion.kind = 'X';
        conversion.precision = kPointerDigits;
        m_text += NumberText(conversion, number);
        return;
      default:
        Fail(ERROR_INVALID_PARAMETER);
    }
  }

  char Take() {
    const char character = m_rest.front();
    m_rest.remove_prefix(1);
    return character;
  }

  void Fail(ULong error) {
    m_error = error;
    m_rest = {};
  }

  std::string_view m_rest;
  const MessageFormat& m_format;
  int m_nextArgument = 0;
  std::string m_text;
  ULong m_error = ERROR_SUCCESS;
};

}  // namespace

FormattedMessage FormatDefinition(std::string_view definition, const MessageFormat& format) {
  return Formatter(definition, format).Format();
}

}  // namespace Ondrel::Host
