#include "Resource/EventMessageTable.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Ondrel {
namespace {

// Reads the table on its own, by the published layout.
std::uint32_t Read16(std::size_t offset) {
  return g_eventMessageTable.at(offset) + (std::uint32_t{g_eventMessageTable.at(offset + 1)} << 8);
}

std::uint32_t Read32(std::size_t offset) { return Read16(offset) + (Read16(offset + 2) << 16); }

/// Offset of the entry of a message, walked to from the start of its block.
std::optional<std::size_t> EntryOf(std::uint32_t id) {
  for (std::size_t block = 4; block < 4 + 12 * Read32(0); block += 12) {
    if (id < Read32(block) || id > Read32(block + 4)) continue;
    std::size_t offset = Read32(block + 8);
    for (std::uint32_t before = Read32(block); before < id; ++before) offset += Read16(offset);
    return offset;
  }
  return std::nullopt;
}

std::vector<std::uint32_t> EntryWords(std::size_t offset) {
  std::vector<std::uint32_t> words;
  for (std::size_t word = 0; word < 8; ++word) words.push_back(Read16(offset + 2 * word));
  return words;
}

// Length, flags, "%1\r\n" in UTF-16 with its closing zero, filling.
const std::vector<std::uint32_t> kEntry = {16, 1, u'%', u'1', u'\r', u'\n', 0, 0};

TEST(EventMessageTable, BeginsWithThreeBlocks) {
  EXPECT_EQ(Read32(0), 3U);
  const std::vector<std::uint32_t> expected = {
      0x20002710, 0x20002870, 40,                        // After the number and three blocks.
      0x20002873, 0x2000292C, 40 + 353 * 16,             //
      0x2000292E, 0x20002B65, 40 + 353 * 16 + 186 * 16,  //
  };
  for (std::size_t index = 0; index < expected.size(); ++index)
    EXPECT_EQ(Read32(4 + 4 * index), expected[index]) << "number " << index;
}

TEST(EventMessageTable, HasAllItsEntriesAndNothingAfterThem) {
  EXPECT_EQ(g_eventMessageTable.size(), 40U + 1107 * 16);
}

TEST(EventMessageTable, FirstEntryFollowsTheBlocks) { EXPECT_EQ(EntryWords(40), kEntry); }

TEST(EventMessageTable, LastEntryEndsTheTable) {
  EXPECT_EQ(EntryWords(g_eventMessageTable.size() - 16), kEntry);
}

TEST(EventMessageTable, EveryIdOfABlockHasTheOneText) {
  int entries = 0;
  for (std::uint32_t id = 0x20002700; id <= 0x20002B70; ++id) {
    const std::optional<std::size_t> entry = EntryOf(id);
    if (!entry) continue;
    ++entries;
    EXPECT_EQ(EntryWords(*entry), kEntry) << std::hex << id;
  }
  EXPECT_EQ(entries, 353 + 186 + 568);
}

TEST(EventMessageTable, CoversTheEventCodesWithThreeGaps) {
  for (std::uint32_t id = 0x20002700; id <= 0x20002B70; ++id) {
    const bool isEventCode = id >= 0x20000000 + 10000 && id <= 0x20000000 + 11109;
    const bool isGap = id == 0x20002871 || id == 0x20002872 || id == 0x2000292D;
    EXPECT_EQ(EntryOf(id).has_value(), isEventCode && !isGap) << std::hex << id;
  }
}

// Intentional: events with the codes 10353, 10354 and 10541 are logged without a message.
TEST(EventMessageTable, ThreeEventCodesHaveNoMessage) {
  for (const std::uint32_t code : {10353U, 10354U, 10541U}) {
    EXPECT_FALSE(EntryOf(0x20000000 + code).has_value()) << code;
    EXPECT_TRUE(EntryOf(0x20000000 + code + 2).has_value()) << code;
  }
}

TEST(EventMessageTable, IdsWithoutTheHighBitsHaveNoMessage) {
  EXPECT_FALSE(EntryOf(0x2710).has_value());
  EXPECT_FALSE(EntryOf(0xA0002710).has_value());
}

}  // namespace
}  // namespace Ondrel
