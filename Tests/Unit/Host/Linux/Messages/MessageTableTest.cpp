#include "Host/Linux/Messages/MessageTable.h"
#include "Resource/EventMessageTable.h"
#include "Support/MessageTableBytes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace Ondrel::Host {
namespace {

using Testing::MessageTableBytes;
using Found = std::optional<std::string>;

/// Looks a message up in a block of exactly the table's size, so that a read past it is seen by
/// the address sanitizer.
Found Find(std::string_view table, ULong id) {
  const auto bytes = std::make_unique<std::byte[]>(table.size());
  std::copy_n(std::as_bytes(std::span(table)).begin(), table.size(), bytes.get());
  return FindMessage({bytes.get(), table.size()}, id);
}

/// Two blocks: 5 to 6 with narrow and wide text, 0x80000001 alone.
MessageTableBytes SoundTable() {
  MessageTableBytes table;
  table.Put32(2).Block(5, 6, 28).Block(0x80000001, 0x80000001, 52);
  table.Narrow("five").Wide(u"six").Narrow("high");
  return table;
}

TEST(MessageTable, FindsEachMessageOfEachBlock) {
  const std::string table = SoundTable().Text();
  EXPECT_EQ(Find(table, 5), "five");
  EXPECT_EQ(Find(table, 6), "six");
  EXPECT_EQ(Find(table, 0x80000001), "high");
}

TEST(MessageTable, IdsOutsideTheBlocksAreNotFound) {
  const std::string table = SoundTable().Text();
  for (const ULong id : {0U, 4U, 7U, 0x80000000U, 0x80000002U, 0xFFFFFFFFU})
    EXPECT_EQ(Find(table, id), std::nullopt) << id;
}

TEST(MessageTable, FindsTheMessagesOfThisLibrary) {
  const std::span<const std::byte> table = std::as_bytes(std::span(g_eventMessageTable));
  EXPECT_EQ(FindMessage(table, 0x20002710), "%1\r\n");
  EXPECT_EQ(FindMessage(table, 0x20002B65), "%1\r\n");
  EXPECT_EQ(FindMessage(table, 0x20002871), std::nullopt);
}

TEST(MessageTable, Utf16TextBecomesUtf8) {
  struct Row {
    const char* name;
    std::u16string_view text;
    std::string_view expected;
  };
  const Row rows[] = {
      {"one byte", u"a\u007F", "a\x7F"},
      {"two bytes", u"\u0080\u07FF", "\xC2\x80\xDF\xBF"},
      {"three bytes", u"\u0800\uFFFD", "\xE0\xA0\x80\xEF\xBF\xBD"},
      {"surrogate pairs", u"\U00010000\U0010FFFF", "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"},
      {"lead alone at the end", u"a\xD800", "a\xEF\xBF\xBD"},
      {"lead before a letter",
       u"\xD800"
       u"b",
       "\xEF\xBF\xBD"
       "b"},
      {"trail alone",
       u"\xDC00"
       u"b",
       "\xEF\xBF\xBD"
       "b"},
      {"two leads", u"\xD800\xD800\xDC00", "\xEF\xBF\xBD\xF0\x90\x80\x80"},
      {"trail before lead", u"\xDC00\xD800", "\xEF\xBF\xBD\xEF\xBF\xBD"},
  };
  for (const Row& row : rows) {
    MessageTableBytes table;
    table.Put32(1).Block(1, 1, 16).Wide(row.text);
    EXPECT_EQ(Find(table.Text(), 1), row.expected) << row.name;
  }
}

TEST(MessageTable, NarrowTextIsTakenAsItIs) {
  MessageTableBytes table;
  table.Put32(1).Block(1, 1, 16).Narrow("\xE9t\xE9");
  EXPECT_EQ(Find(table.Text(), 1), "\xE9t\xE9");
}

TEST(MessageTable, TextEndsWithItsEntryWhenNoZeroDoes) {
  MessageTableBytes table;
  table.Put32(1).Block(1, 3, 16);
  table.Entry(0, "full").Entry(1, std::string_view("a\0b\0", 4)).Narrow("next");
  EXPECT_EQ(Find(table.Text(), 1), "full");
  EXPECT_EQ(Find(table.Text(), 2), "ab");
  EXPECT_EQ(Find(table.Text(), 3), "next");
}

TEST(MessageTable, EntryWithoutTextIsAnEmptyMessage) {
  MessageTableBytes table;
  table.Put32(1).Block(1, 2, 16).Entry(0, "").Entry(1, "");
  EXPECT_EQ(Find(table.Text(), 1), "");
  EXPECT_EQ(Find(table.Text(), 2), "");
}

// Half a UTF-16 unit at the end of an entry is not text.
TEST(MessageTable, OddLengthsAreTakenAsTheyStand) {
  MessageTableBytes table;
  table.Put32(1).Block(1, 2, 16);
  std::string bytes = table.Put16(7).Put16(1).Text() + std::string("a\0b", 3);
  bytes += MessageTableBytes().Put16(6).Put16(0).Text() + "cd";
  EXPECT_EQ(Find(bytes, 1), "a");
  EXPECT_EQ(Find(bytes, 2), "cd");
}

TEST(MessageTable, TheFirstOfOverlappingBlocksDecides) {
  MessageTableBytes table;
  table.Put32(2).Block(1, 2, 28).Block(2, 3, 44);
  table.Narrow("one").Narrow("two").Narrow("second").Narrow("three");
  EXPECT_EQ(Find(table.Text(), 2), "two");
  EXPECT_EQ(Find(table.Text(), 3), "three");
}

TEST(MessageTable, BlocksMayShareTheirEntries) {
  MessageTableBytes table;
  table.Put32(2).Block(1, 1, 28).Block(9, 9, 28).Narrow("both");
  EXPECT_EQ(Find(table.Text(), 1), "both");
  EXPECT_EQ(Find(table.Text(), 9), "both");
}

TEST(MessageTable, DamageIsNotFoundAndNotReadPast) {
  struct Row {
    const char* name;
    std::string table;
    ULong id;
  };
  const auto oneBlock = [](std::uint32_t first, std::uint32_t last, std::uint32_t entries) {
    return MessageTableBytes().Put32(1).Block(first, last, entries);
  };
  const Row rows[] = {
      {"no bytes", "", 1},
      {"half a number of blocks", std::string(3, '\1'), 1},
      {"no block", MessageTableBytes().Put32(0).Text(), 0},
      {"more blocks than bytes", MessageTableBytes().Put32(0xFFFFFFFF).Block(5, 5, 16).Text(), 1},
      {"half a block", MessageTableBytes().Put32(1).Put32(1).Put32(1).Text(), 1},
      {"entries at the end", oneBlock(1, 1, 16).Text(), 1},
      {"entries past the end", oneBlock(1, 1, 17).Text(), 1},
      {"entries at the last offset", oneBlock(1, 1, 0xFFFFFFFF).Narrow("x").Text(), 1},
      {"half an entry's head", oneBlock(1, 1, 16).Put16(8).Text(), 1},
      {"entry past the end", oneBlock(1, 1, 16).Put16(12).Put16(0).Put32(0).Text(), 1},
      {"second entry past the end", oneBlock(1, 2, 16).Narrow("x").Text(), 2},
      {"length 0", oneBlock(1, 2, 16).Put16(0).Put16(0).Narrow("x").Text(), 2},
      {"length 3", oneBlock(1, 2, 16).Put16(3).Put16(0).Narrow("x").Text(), 2},
      {"length 0 of the entry itself", oneBlock(1, 1, 16).Put16(0).Put16(0).Text(), 1},
      {"last id below the first", oneBlock(2, 1, 16).Narrow("x").Text(), 1},
      {"all ids, one entry", oneBlock(0, 0xFFFFFFFF, 16).Narrow("x").Text(), 0xFFFFFFFF},
  };
  for (const Row& row : rows) EXPECT_EQ(Find(row.table, row.id), std::nullopt) << row.name;
}

TEST(MessageTable, EveryTruncationFindsAMessageWholeOrNotAtAll) {
  const std::string table = SoundTable().Text();
  for (std::size_t size = 0; size < table.size(); ++size) {
    const std::string_view part = std::string_view(table).substr(0, size);
    EXPECT_EQ(Find(part, 5), size >= 40 ? Found("five") : std::nullopt) << size;
    EXPECT_EQ(Find(part, 6), size >= 52 ? Found("six") : std::nullopt) << size;
    EXPECT_EQ(Find(part, 0x80000001), std::nullopt) << size;
  }
}

TEST(MessageTable, EveryChangedByteIsReadSafely) {
  const std::string table = SoundTable().Text();
  for (std::size_t position = 0; position < table.size(); ++position) {
    for (const char value : {'\x00', '\x01', '\x7F', '\x80', '\xFF'}) {
      std::string changed = table;
      changed[position] = value;
      for (const ULong id : {0U, 5U, 6U, 0x80000001U, 0xFFFFFFFFU}) {
        const Found found = Find(changed, id);
        EXPECT_LE(found.value_or("").size(), table.size() * 2) << position;
      }
    }
  }
}

}  // namespace
}  // namespace Ondrel::Host
