#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Ondrel::Testing {

/// The bytes of a message table resource, put together number by number.
class MessageTableBytes {
public:
  MessageTableBytes& Put16(std::uint32_t value) {
    m_bytes += static_cast<char>(value & 0xFF);
    m_bytes += static_cast<char>(value >> 8 & 0xFF);
    return *this;
  }

  MessageTableBytes& Put32(std::uint32_t value) { return Put16(value & 0xFFFF).Put16(value >> 16); }

  MessageTableBytes& Block(std::uint32_t firstId, std::uint32_t lastId, std::uint32_t entries) {
    return Put32(firstId).Put32(lastId).Put32(entries);
  }

  /// An entry of narrow text, with its closing zero and filled up to a multiple of four.
  MessageTableBytes& Narrow(std::string_view text) { return Entry(0, std::string(text) + '\0'); }

  /// An entry of UTF-16 text, in the same way.
  MessageTableBytes& Wide(std::u16string_view text) {
    MessageTableBytes units;
    for (const char16_t unit : text) units.Put16(unit);
    return Entry(1, units.Put16(0).m_bytes);
  }

  /// An entry of these flags whose text is these bytes, filled up.
  MessageTableBytes& Entry(std::uint32_t flags, std::string_view text) {
    const std::size_t length = (4 + text.size() + 3) / 4 * 4;
    Put16(static_cast<std::uint32_t>(length)).Put16(flags);
    m_bytes += text;
    m_bytes.append(length - 4 - text.size(), '\0');
    return *this;
  }

  const std::string& Text() const { return m_bytes; }
  std::span<const std::byte> Bytes() const { return std::as_bytes(std::span(m_bytes)); }

private:
  std::string m_bytes;
};

}  // namespace Ondrel::Testing
