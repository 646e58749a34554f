#pragma once

#include "Tool/Output.h"

#include <Ondrel/NVMe.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <span>
#include <string>
#include <vector>

namespace Tool {

/// A number of 128 bits in decimal.
std::string DecimalOf(std::uint64_t low, std::uint64_t high);

/// A size in bytes with its decimal unit, as "2000398934016 bytes (2.00 TB)".
std::string SizeText(std::uint64_t bytes);

/// Bytes as hexadecimal digits.
std::string HexOf(std::span<const std::uint8_t> bytes);

/// One part of a field of bits: a yes or no where it has one bit, else a small number.
struct BitPart {
  const char* name;
  unsigned int firstBit;
  unsigned int bits = 1;

  bool IsFlag() const { return bits == 1; }
  std::uint64_t ValueIn(std::uint64_t field) const {
    return field >> firstBit & ((std::uint64_t{1} << bits) - 1);
  }
};

/// How much of a record a person sees.
struct FieldsView {
  bool withNames = false;  ///< The standard's mnemonics.
  bool withBits = false;   ///< Every part of the fields of bits, on lines of its own.
};

/// The fields of a record in the record's order: as lines for a person, and as one JSON object with
/// each field under its name.
class Fields {
public:
  /// `unit` follows the number for a person.
  void Number(const char* name, const char* meaning, std::uint64_t value, const char* unit = "");
  /// A number that a person reads in hexadecimal, with at least `digits` digits.
  void Hexadecimal(const char* name, const char* meaning, std::uint64_t value, int digits);
  /// A number of 128 bits; in JSON it is text, because few readers keep it exact as a number.
  void Wide(const char* name, const char* meaning, std::uint64_t low, std::uint64_t high,
            const char* unit = "");
  /// A number of 128 bits that counts 1000 blocks of 512 bytes each; also in bytes, which JSON has
  /// under `bytesName` as text, or null where 128 bits do not hold them.
  void DataUnits(const char* name, const char* bytesName, const char* meaning, std::uint64_t low,
                 std::uint64_t high);
  /// A power of `value` times `unit` ten-thousandths of a watt; in watts under `wattsName` too,
  /// where JSON has null and a person "not reported" for a value or unit of 0.
  void Power(const char* name, const char* wattsName, const char* meaning, std::uint16_t value,
             unsigned int unit);
  /// A number whose value of all ones stands for none; a person sees "none" then.
  template <class Value>
  void NumberOrNone(const char* name, const char* meaning, Value value);
  /// A temperature; a person sees Celsius too, and of 0 that it is not reported.
  void Kelvin(const char* name, const char* meaning, std::uint16_t value);
  void Text(const char* name, const char* meaning, const std::string& value);
  /// Bytes that are one value.
  void Identifier(const char* name, const char* meaning, std::span<const std::uint8_t> bytes);
  /// Bytes that are not interpreted; a person sees how many of them are not zero.
  void Area(const char* name, const char* meaning, std::span<const std::uint8_t> bytes);
  /// A field of bits: its whole value, and its parts. A person sees the parts that are not zero,
  /// or all of them.
  void Bits(const char* name, const char* meaning, std::uint64_t value, std::vector<BitPart> parts);
  /// The same where JSON has the value alone, and a person sees parts only when all are asked for.
  void PlainBits(const char* name, const char* meaning, std::uint64_t value,
                 std::span<const BitPart> parts);
  /// A value that a person reads in words of its own.
  void Add(const char* name, const char* meaning, Json value, std::string text);

  /// Shows lines of other fields below, moved to the right, and their objects as one array.
  /// The entry `inUse` is marked so; it may lie after the last.
  void List(const char* name, const char* meaning, std::vector<Fields> entries,
            std::size_t inUse = kNoEntry);

  const Json& AsJson() const { return m_json; }

  /// The lines, each with the name where names are shown, the meaning and the value.
  void Print(std::ostream& out, const FieldsView& view) const { Print(out, view, ""); }

  static constexpr std::size_t kNoEntry = std::numeric_limits<std::size_t>::max();

private:
  struct Line {
    std::string name;
    std::string meaning;
    std::string text;
    std::vector<Fields> entries;
    std::size_t inUse = kNoEntry;
    std::uint64_t value = 0;  ///< Of a field of bits.
    std::vector<BitPart> parts = {};
  };

  void Print(std::ostream& out, const FieldsView& view, const std::string& indent) const;

  Json m_json = Json::object();
  std::vector<Line> m_lines;
};

template <class Value>
void Fields::NumberOrNone(const char* name, const char* meaning, Value value) {
  Add(name, meaning, value,
      value == std::numeric_limits<Value>::max() ? "none" : std::to_string(value));
}

/// The whole value of a field of bits.
template <class Field>
std::uint64_t WholeOf(const Field& field) {
  static_assert(sizeof(Field) <= sizeof(std::uint64_t));
  std::uint64_t value = 0;
  std::memcpy(&value, reinterpret_cast<const unsigned char*>(&field), sizeof field);
  return value;
}

Fields FieldsOf(Ondrel::NVME_IDENTIFY_CONTROLLER& controller);
Fields FieldsOf(Ondrel::NVME_IDENTIFY_NAMESPACE& nameSpace);
Fields FieldsOf(Ondrel::NVME_SMART_HEALTH_INFORMATION_LOG& log);
Fields FieldsOf(Ondrel::NVME_ERROR_INFORMATION_LOG_ENTRY& entry);

}  // namespace Tool
