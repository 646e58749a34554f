#pragma once

#include <Ondrel/Types.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

/// The message table through which a log viewer shows the events of this library.
///
/// An event's text is composed by its caller and handed over as the one insertion string, so that
/// all ids have the same message; the table exists so that each event keeps its own number in the
/// log. The bytes have the published layout of a message table resource (MESSAGE_RESOURCE_DATA):
/// the number of blocks; for each block its first id, its last id and the offset of its entries
/// from the start; then the entries, one for each id: length and flags, 16 bits each, and the
/// zero-terminated text, filled up to a multiple of four bytes. All numbers are little-endian.
namespace Ondrel {

/// One run of message ids without a gap.
struct MessageIdBlock {
  ULong firstId;
  ULong lastId;
};

/// The ids are 0x20000000 and an event code. The codes 10353, 10354 and 10541 have no message,
/// which is intentional: their events are logged all the same.
inline constexpr std::array<MessageIdBlock, 3> kEventMessageBlocks = {{
    {0x20002710, 0x20002870},
    {0x20002873, 0x2000292C},
    {0x2000292E, 0x20002B65},
}};

/// The text of every message: the one insertion string and a line end.
inline constexpr std::u16string_view kEventMessageText = u"%1\r\n";

/// Marks an entry's text as UTF-16.
inline constexpr std::uint16_t kMessageTextIsUtf16 = 1;

/// Number of ids of all blocks together.
constexpr std::size_t EventMessageCount() {
  std::size_t count = 0;
  for (const MessageIdBlock& block : kEventMessageBlocks) count += block.lastId - block.firstId + 1;
  return count;
}

inline constexpr std::size_t kMessageTableHeaderSize = 4;
inline constexpr std::size_t kMessageBlockSize = 12;
inline constexpr std::size_t kMessageEntryHeaderSize = 4;

/// Bytes of one entry: its head, the text with its closing zero, and the filling.
inline constexpr std::size_t kEventMessageEntrySize =
    (kMessageEntryHeaderSize + (kEventMessageText.size() + 1) * sizeof(char16_t) + 3) / 4 * 4;

inline constexpr std::size_t kEventMessageTableSize =
    kMessageTableHeaderSize + kEventMessageBlocks.size() * kMessageBlockSize +
    EventMessageCount() * kEventMessageEntrySize;

using EventMessageTableBytes = std::array<std::uint8_t, kEventMessageTableSize>;

/// The table's bytes. They stand in a section of the file that holds nothing else, for programs
/// that read the file; no code of the library refers to them.
extern const EventMessageTableBytes g_eventMessageTable;

}  // namespace Ondrel
