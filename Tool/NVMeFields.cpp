#include "Tool/NVMeFields.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <ostream>
#include <string_view>
#include <utility>

namespace Tool {

namespace {

constexpr int kKelvinOfZeroCelsius = 273;
constexpr std::size_t kNameWidth = 9;

// Both hosts' compilers have it; standard C++ does not.
__extension__ typedef unsigned __int128 Wide128;

Wide128 WideOf(std::uint64_t low, std::uint64_t high) { return Wide128{high} << 64 | low; }

std::string Formatted(const char* format, double value, const char* unit) {
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), format, value, unit);
  return text.data();
}

std::string HexNumber(std::uint64_t value, int digits) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "0x%0*llX", digits,
                static_cast<unsigned long long>(value));
  return text.data();
}

std::string DecimalText(Wide128 value) {
  std::string text;
  do {
    text += static_cast<char>('0' + static_cast<int>(value % 10));
    value /= 10;
  } while (value != 0);
  std::reverse(text.begin(), text.end());
  return text;
}

std::string SizeTextOf(Wide128 bytes) {
  constexpr std::array kUnits = {"kB", "MB", "GB", "TB", "PB", "EB", "ZB", "YB"};
  std::string text = DecimalText(bytes) + " bytes";
  if (bytes < 1000) return text;
  double value = static_cast<double>(bytes) / 1000;
  std::size_t unit = 0;
  // What would be rounded to 1000.00 of a unit is 1.00 of the next.
  while (value >= 999.995 && unit + 1 < kUnits.size()) {
    value /= 1000;
    ++unit;
  }
  return text + Formatted(" (%.2f %s)", value, kUnits[unit]);
}

void PrintParts(std::ostream& out, const std::string& indent, std::uint64_t value,
                const std::vector<BitPart>& parts) {
  constexpr std::size_t kPlaceWidth = 12;
  std::size_t nameWidth = 0;
  for (const BitPart& part : parts)
    nameWidth = std::max(nameWidth, std::string_view(part.name).size());
  for (const BitPart& part : parts) {
    const std::string first = std::to_string(part.firstBit);
    std::string place = "bit " + first;
    if (!part.IsFlag())
      place = "bits " + first + "-" + std::to_string(part.firstBit + part.bits - 1);
    std::string name = part.name;
    place.resize(kPlaceWidth, ' ');
    name.resize(nameWidth + 2, ' ');
    out << indent << place << name << part.ValueIn(value) << '\n';
  }
}

std::string WithUnit(const std::string& number, const char* unit) {
  return *unit == '\0' ? number : number + " " + unit;
}

}  // namespace

std::string DecimalOf(std::uint64_t low, std::uint64_t high) {
  return DecimalText(WideOf(low, high));
}

std::string SizeText(std::uint64_t bytes) { return SizeTextOf(bytes); }

std::string HexOf(std::span<const std::uint8_t> bytes) {
  constexpr const char* kDigits = "0123456789abcdef";
  std::string text;
  text.reserve(bytes.size() * 2);
  for (const std::uint8_t byte : bytes) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 0xF];
  }
  return text;
}

void Fields::Number(const char* name, const char* meaning, std::uint64_t value, const char* unit) {
  Add(name, meaning, value, WithUnit(std::to_string(value), unit));
}

void Fields::Hexadecimal(const char* name, const char* meaning, std::uint64_t value, int digits) {
  Add(name, meaning, value, HexNumber(value, digits));
}

void Fields::Wide(const char* name, const char* meaning, std::uint64_t low, std::uint64_t high,
                  const char* unit) {
  const std::string number = DecimalOf(low, high);
  Add(name, meaning, number, WithUnit(number, unit));
}

void Fields::DataUnits(const char* name, const char* bytesName, const char* meaning,
                       std::uint64_t low, std::uint64_t high) {
  constexpr unsigned int kUnitBytes = 512000;
  const Wide128 units = WideOf(low, high);
  const bool isHeld = units <= ~Wide128{0} / kUnitBytes;
  const std::string text = DecimalText(units);
  const std::string counted = text + " x " + std::to_string(kUnitBytes) + " bytes";
  Add(name, meaning, text, isHeld ? counted + " = " + SizeTextOf(units * kUnitBytes) : counted);
  m_json[bytesName] = isHeld ? Json(DecimalText(units * kUnitBytes)) : Json(nullptr);
}

void Fields::Power(const char* name, const char* wattsName, const char* meaning,
                   std::uint16_t value, unsigned int unit) {
  constexpr double kParts = 10000;
  const bool isReported = value != 0 && unit != 0;
  const double watts = static_cast<double>(value) * unit / kParts;
  Add(name, meaning, value,
      isReported ? Formatted(unit == 1 ? "%.4f %s" : "%.2f %s", watts, "W") : "not reported");
  m_json[wattsName] = isReported ? Json(watts) : Json(nullptr);
}

void Fields::Kelvin(const char* name, const char* meaning, std::uint16_t value) {
  const std::string celsius = std::to_string(value - kKelvinOfZeroCelsius);
  Add(name, meaning, value,
      value == 0 ? "not reported" : std::to_string(value) + " K (" + celsius + " C)");
}

void Fields::Text(const char* name, const char* meaning, const std::string& value) {
  Add(name, meaning, value, value);
}

void Fields::Identifier(const char* name, const char* meaning,
                        std::span<const std::uint8_t> bytes) {
  const std::string text = HexOf(bytes);
  Add(name, meaning, text, text);
}

void Fields::Area(const char* name, const char* meaning, std::span<const std::uint8_t> bytes) {
  const auto zeros = std::count(bytes.begin(), bytes.end(), std::uint8_t{0});
  const std::size_t others = bytes.size() - static_cast<std::size_t>(zeros);
  Add(name, meaning, HexOf(bytes),
      std::to_string(bytes.size()) + " bytes, " +
          (others == 0 ? "all zero" : std::to_string(others) + " not zero"));
}

void Fields::Bits(const char* name, const char* meaning, std::uint64_t value,
                  std::vector<BitPart> parts) {
  Json json = {{"value", value}};
  std::string text;
  for (const BitPart& part : parts) {
    const std::uint64_t number = part.ValueIn(value);
    json[part.name] = part.IsFlag() ? Json(number != 0) : Json(number);
    if (number == 0) continue;
    if (!text.empty()) text += ", ";
    text += part.name;
    if (!part.IsFlag()) text.append(" ").append(std::to_string(number));
  }
  Add(name, meaning, std::move(json),
      HexNumber(value, 1) + (text.empty() ? std::string() : " (" + text + ")"));
  m_lines.back().value = value;
  m_lines.back().parts = std::move(parts);
}

void Fields::PlainBits(const char* name, const char* meaning, std::uint64_t value,
                       std::span<const BitPart> parts) {
  Hexadecimal(name, meaning, value, 1);
  m_lines.back().value = value;
  m_lines.back().parts.assign(parts.begin(), parts.end());
}

void Fields::Add(const char* name, const char* meaning, Json value, std::string text) {
  m_json[name] = std::move(value);
  m_lines.push_back({name, meaning, std::move(text), {}});
}

void Fields::List(const char* name, const char* meaning, std::vector<Fields> entries,
                  std::size_t inUse) {
  Json list = Json::array();
  for (const Fields& entry : entries) list.push_back(entry.AsJson());
  if (inUse < list.size()) list[inUse]["inUse"] = true;
  m_json[name] = std::move(list);
  m_lines.push_back({name, meaning, "", std::move(entries), inUse});
}

void Fields::Print(std::ostream& out, const FieldsView& view, const std::string& indent) const {
  std::size_t meaningWidth = 0;
  for (const Line& line : m_lines)
    if (line.entries.empty()) meaningWidth = std::max(meaningWidth, line.meaning.size());

  for (const Line& line : m_lines) {
    std::string start = indent;
    if (view.withNames)
      start += line.name +
               std::string(line.name.size() < kNameWidth ? kNameWidth - line.name.size() : 1, ' ');
    start += line.meaning;
    if (line.entries.empty()) {
      out << start << std::string(meaningWidth - line.meaning.size() + 2, ' ') << OneLine(line.text)
          << '\n';
      if (view.withBits) PrintParts(out, indent + "    ", line.value, line.parts);
      continue;
    }
    for (std::size_t index = 0; index < line.entries.size(); ++index) {
      out << start << ' ' << index << (index == line.inUse ? ", in use" : "") << '\n';
      line.entries[index].Print(out, view, indent + "    ");
    }
  }
}

}  // namespace Tool
