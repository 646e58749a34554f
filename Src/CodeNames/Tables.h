#pragma once

/// Makes a vocabulary out of a list of rows while the library is compiled.
///
/// A list gives each code with its name, in the order of its source. `Vocabulary<List>()` keeps the
/// first row of each code, puts the rows in order of code, joins the names to one text and finds
/// the slots. The result is constant data: rows, slots and text hold no address, so that nothing is
/// left to build when the library is loaded, and next to nothing to relocate.

#include <Ondrel/CodeNames.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string_view>

namespace Ondrel::CodeNames {

/// A row as it is stored: its name is `length` characters of the text from `offset` on.
struct Row {
  std::int32_t code;
  std::uint16_t offset;
  std::uint16_t length;
};

/// What a vocabulary looks its codes up in.
///
/// The low bits of a code are its slot, and no two codes of a vocabulary share one: that is how a
/// lookup goes to the only row that can be the right one.
struct Table {
  const Row* rows;             ///< In order of code without repetition.
  const std::uint16_t* slots;  ///< A row's index for each value of the low bits of a code.
  const char* text;            ///< Each name and a zero after it.
  std::size_t size;            ///< Number of rows.
  std::uint32_t lowBits;       ///< Selects the low bits.
};

struct ListedName {
  std::int32_t code;
  std::string_view name;
};

template <std::size_t Capacity>
struct OrderedNames {
  std::array<ListedName, Capacity> rows{};
  std::size_t size = 0;
};

/// Inserts the rows of a list one after the other. A row whose code is already there is dropped.
template <std::size_t Count>
constexpr OrderedNames<Count> KeepFirstOfEachCode(const ListedName (&list)[Count]) {
  OrderedNames<Count> names;
  for (const ListedName& listed : list) {
    std::size_t place = names.size;
    while (place > 0 && names.rows[place - 1].code > listed.code) --place;
    if (place > 0 && names.rows[place - 1].code == listed.code) continue;
    for (std::size_t row = names.size; row > place; --row) names.rows[row] = names.rows[row - 1];
    names.rows[place] = listed;
    ++names.size;
  }
  return names;
}

template <std::size_t SlotCount>
constexpr std::size_t SlotOf(std::int32_t code) {
  return static_cast<std::uint32_t>(code) & (SlotCount - 1);
}

template <std::size_t SlotCount, std::size_t Capacity>
constexpr bool EachCodeHasItsOwnSlot(const OrderedNames<Capacity>& names) {
  std::array<bool, SlotCount> taken{};
  for (std::size_t row = 0; row < names.size; ++row) {
    bool& slot = taken[SlotOf<SlotCount>(names.rows[row].code)];
    if (slot) return false;
    slot = true;
  }
  return true;
}

/// The tables of the vocabulary that `List` describes.
template <const auto& List>
class CTables {
  static constexpr auto kNames = KeepFirstOfEachCode(List);

  /// The smallest power of two at which the low bits of no two codes are the same.
  template <std::size_t SlotCount = 1>
  static constexpr std::size_t SmallestSlotCount() {
    static_assert(SlotCount <= 1U << 16U, "the codes need another way to their slots");
    if constexpr (EachCodeHasItsOwnSlot<SlotCount>(kNames)) {
      return SlotCount;
    } else {
      return SmallestSlotCount<2 * SlotCount>();
    }
  }

  static constexpr std::size_t TextSize() {
    std::size_t size = 0;
    for (std::size_t row = 0; row < kNames.size; ++row) size += kNames.rows[row].name.size() + 1;
    return size;
  }

  static constexpr std::size_t kRowCount = kNames.size;
  static constexpr std::size_t kTextSize = TextSize();
  static constexpr std::size_t kSlotCount = SmallestSlotCount();
  static_assert(kRowCount <= std::numeric_limits<std::uint16_t>::max());
  static_assert(kTextSize <= std::numeric_limits<std::uint16_t>::max());

  static constexpr std::array<Row, kRowCount> Rows() {
    std::array<Row, kRowCount> rows{};
    std::size_t offset = 0;
    for (std::size_t row = 0; row < kRowCount; ++row) {
      const ListedName& listed = kNames.rows[row];
      rows[row] = {listed.code, static_cast<std::uint16_t>(offset),
                   static_cast<std::uint16_t>(listed.name.size())};
      offset += listed.name.size() + 1;
    }
    return rows;
  }

  static constexpr std::array<char, kTextSize> Text() {
    std::array<char, kTextSize> text{};
    std::size_t offset = 0;
    for (std::size_t row = 0; row < kRowCount; ++row) {
      for (const char character : kNames.rows[row].name) text[offset++] = character;
      ++offset;
    }
    return text;
  }

  /// A slot that belongs to no code leads to row 0, whose code is then not the one looked for.
  static constexpr std::array<std::uint16_t, kSlotCount> Slots() {
    std::array<std::uint16_t, kSlotCount> slots{};
    for (std::size_t row = 0; row < kRowCount; ++row) {
      slots[SlotOf<kSlotCount>(kNames.rows[row].code)] = static_cast<std::uint16_t>(row);
    }
    return slots;
  }

  static constexpr std::array<Row, kRowCount> kRows = Rows();
  static constexpr std::array<char, kTextSize> kText = Text();
  static constexpr std::array<std::uint16_t, kSlotCount> kSlots = Slots();

public:
  static constexpr Table kTable = {kRows.data(), kSlots.data(), kText.data(), kRowCount,
                                   kSlotCount - 1};
};

/// The vocabulary of a list with static storage.
template <const auto& List>
constexpr CCodeNames Vocabulary() {
  return CCodeNames(CTables<List>::kTable);
}

}  // namespace Ondrel::CodeNames
