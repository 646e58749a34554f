#include "Host/Linux/Messages/MessageTable.h"

#include <boost/locale/utf.hpp>

#include <algorithm>
#include <iterator>
#include <vector>

namespace Ondrel::Host {

namespace {

using Bytes = std::span<const std::byte>;

constexpr std::size_t kTableHeaderSize = 4;
constexpr std::size_t kBlockSize = 12;
constexpr std::size_t kEntryHeaderSize = 4;
constexpr std::uint32_t kUtf16Flag = 1;
constexpr char kReplacementCharacter[] = "\xEF\xBF\xBD";

// The caller has made sure that the bytes are there.
std::uint32_t Read16(Bytes bytes, std::size_t offset) {
  return std::to_integer<std::uint32_t>(bytes[offset]) |
         std::to_integer<std::uint32_t>(bytes[offset + 1]) << 8;
}

std::uint32_t Read32(Bytes bytes, std::size_t offset) {
  return Read16(bytes, offset) | Read16(bytes, offset + 2) << 16;
}

struct Block {
  std::uint32_t firstId;
  std::uint32_t lastId;
  std::uint32_t entries;
};

std::optional<Block> FindBlock(Bytes table, ULong id) {
  if (table.size() < kTableHeaderSize) return std::nullopt;
  const std::size_t room = (table.size() - kTableHeaderSize) / kBlockSize;
  const std::size_t count = std::min<std::size_t>(Read32(table, 0), room);
  for (std::size_t index = 0; index < count; ++index) {
    const std::size_t offset = kTableHeaderSize + index * kBlockSize;
    const Block block{Read32(table, offset), Read32(table, offset + 4), Read32(table, offset + 8)};
    if (block.firstId <= id && id <= block.lastId) return block;
  }
  return std::nullopt;
}

// Entries have lengths of their own: the way to one leads over all before it.
std::optional<Bytes> FindEntry(Bytes table, const Block& block, ULong id) {
  std::size_t offset = block.entries;
  for (std::uint32_t before = id - block.firstId;; --before) {
    if (offset > table.size() || table.size() - offset < kEntryHeaderSize) return std::nullopt;
    const std::size_t length = Read16(table, offset);
    if (length < kEntryHeaderSize || length > table.size() - offset) return std::nullopt;
    if (before == 0) return table.subspan(offset, length);
    offset += length;
  }
}

std::string NarrowText(Bytes text) {
  const auto end = std::find(text.begin(), text.end(), std::byte{0});
  std::string result;
  result.reserve(text.size());
  std::transform(text.begin(), end, std::back_inserter(result),
                 [](std::byte byte) { return static_cast<char>(byte); });
  return result;
}

std::vector<char16_t> Utf16Units(Bytes text) {
  std::vector<char16_t> units;
  units.reserve(text.size() / 2);
  for (std::size_t offset = 0; text.size() - offset >= 2; offset += 2) {
    const auto unit = static_cast<char16_t>(Read16(text, offset));
    if (unit == 0) break;
    units.push_back(unit);
  }
  return units;
}

std::string Utf8FromUtf16(Bytes text) {
  namespace utf = boost::locale::utf;
  const std::vector<char16_t> units = Utf16Units(text);
  std::string result;
  result.reserve(units.size());
  for (auto position = units.begin(); position != units.end();) {
    const auto begin = position;
    const utf::code_point point = utf::utf_traits<char16_t>::decode(position, units.end());
    if (utf::is_valid_codepoint(point)) {
      utf::utf_traits<char>::encode(point, std::back_inserter(result));
    } else {
      // An unpaired surrogate; what follows it stands for itself.
      result += kReplacementCharacter;
      position = begin + 1;
    }
  }
  return result;
}

}  // namespace

std::optional<std::string> FindMessage(Bytes table, ULong id) {
  const std::optional<Block> block = FindBlock(table, id);
  if (!block) return std::nullopt;
  const std::optional<Bytes> entry = FindEntry(table, *block, id);
  if (!entry) return std::nullopt;
  const Bytes text = entry->subspan(kEntryHeaderSize);
  const bool isUtf16 = (Read16(*entry, 2) & kUtf16Flag) != 0;
  return isUtf16 ? Utf8FromUtf16(text) : NarrowText(text);
}

}  // namespace Ondrel::Host
