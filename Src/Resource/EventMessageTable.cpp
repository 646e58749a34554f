#include "Resource/EventMessageTable.h"

#include "Host/Placement.h"

namespace Ondrel {

namespace {

static_assert(EventMessageCount() == 1107);

/// Writes little-endian numbers one after the other.
class TableWriter {
public:
  constexpr void Put16(std::uint32_t value) {
    m_bytes[m_position++] = static_cast<std::uint8_t>(value);
    m_bytes[m_position++] = static_cast<std::uint8_t>(value >> 8);
  }

  constexpr void Put32(std::uint32_t value) {
    Put16(value);
    Put16(value >> 16);
  }

  // The bytes are zero from the start: what is skipped closes a text and fills the entry up.
  constexpr void SkipTo(std::size_t position) { m_position = position; }

  constexpr std::size_t Position() const { return m_position; }

  constexpr const EventMessageTableBytes& Bytes() const { return m_bytes; }

private:
  EventMessageTableBytes m_bytes{};
  std::size_t m_position = 0;
};

constexpr void PutBlocks(TableWriter& writer) {
  std::size_t entries = kMessageTableHeaderSize + kEventMessageBlocks.size() * kMessageBlockSize;
  for (const MessageIdBlock& block : kEventMessageBlocks) {
    writer.Put32(block.firstId);
    writer.Put32(block.lastId);
    writer.Put32(static_cast<std::uint32_t>(entries));
    entries += (block.lastId - block.firstId + 1) * kEventMessageEntrySize;
  }
}

constexpr void PutEntry(TableWriter& writer) {
  const std::size_t end = writer.Position() + kEventMessageEntrySize;
  writer.Put16(kEventMessageEntrySize);
  writer.Put16(kMessageTextIsUtf16);
  for (const char16_t unit : kEventMessageText) writer.Put16(unit);
  writer.SkipTo(end);
}

constexpr EventMessageTableBytes MakeEventMessageTable() {
  TableWriter writer;
  writer.Put32(kEventMessageBlocks.size());
  PutBlocks(writer);
  for (std::size_t entry = 0; entry < EventMessageCount(); ++entry) PutEntry(writer);
  return writer.Bytes();
}

}  // namespace

alignas(4) ONDREL_IN_MESSAGE_SECTION
    constexpr EventMessageTableBytes g_eventMessageTable = MakeEventMessageTable();

}  // namespace Ondrel
