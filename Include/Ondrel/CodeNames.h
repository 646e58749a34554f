#pragma once

/// The five code vocabularies: every number that the product reports through has a name here.
///
/// A vocabulary is an ordered map from a signed 32-bit code to a name. It is laid out by the
/// compiler: loading the library builds nothing, a lookup allocates nothing, and a vocabulary may
/// be used from any static constructor or destructor of a program that links the library. Any
/// number of threads may read at the same time.
///
/// A name is given as `std::string_view` into the library's own constant data and lives as long as
/// the library is loaded. A program that wants a map of its own strings converts:
///
///     const std::map<std::int32_t, std::string> names(Ondrel::EventCodeNames);

#include <Ondrel/Export.h>

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace Ondrel {

/// One vocabulary: a constant map from code to name, in order of code.
///
/// The low bits of a code are its slot, and no two codes of a vocabulary share one: that is how a
/// lookup goes to the only row that can be the right one.
class CCodeNames {
public:
  using key_type = std::int32_t;
  using mapped_type = std::string_view;
  using value_type = std::pair<key_type, mapped_type>;
  using size_type = std::size_t;

  /// A row as it is stored: its name is `length` characters of the text from `offset` on.
  struct CRow {
    std::int32_t code;
    std::uint16_t offset;
    std::uint16_t length;
  };

  class const_iterator;
  using iterator = const_iterator;

  /// Only the library's own vocabularies are made this way; a program has no use for it.
  ///
  /// `rows` are in order of code without repetition. `slots` holds a row's index for each value of
  /// the low bits of a code, `lowBits` selects them. `text` holds each name and a zero after it.
  constexpr CCodeNames(const CRow* rows, size_type size, const std::uint16_t* slots,
                       std::uint32_t lowBits, const char* text) noexcept
      : m_rows(rows), m_slots(slots), m_text(text), m_size(size), m_lowBits(lowBits) {}

  /// Number of codes.
  [[nodiscard]] constexpr size_type size() const noexcept { return m_size; }
  [[nodiscard]] constexpr bool empty() const noexcept { return m_size == 0; }

  /// The rows in order of code, each as a pair of code and name.
  [[nodiscard]] constexpr const_iterator begin() const noexcept;
  [[nodiscard]] constexpr const_iterator end() const noexcept;

  /// The row of `code`, or `end()` when the vocabulary does not list it.
  [[nodiscard]] constexpr const_iterator find(key_type code) const noexcept;

  /// 1 when the vocabulary lists `code`, else 0.
  [[nodiscard]] constexpr size_type count(key_type code) const noexcept {
    return CandidateRow(code).code == code ? 1 : 0;
  }

  /// A map of the program's own with the same rows.
  explicit operator std::map<std::int32_t, std::string>() const;

  /// The name of `code`; nothing when the vocabulary does not list it.
  ///
  /// An empty name is a name: the result then holds an empty text. The characters are followed by
  /// a zero, so that `data()` may be used as a C string.
  [[nodiscard]] constexpr std::optional<std::string_view> Name(key_type code) const noexcept {
    const CRow& row = CandidateRow(code);
    if (row.code != code) return std::nullopt;
    return NameOf(row);
  }

private:
  [[nodiscard]] constexpr const CRow& CandidateRow(key_type code) const noexcept {
    return m_rows[m_slots[static_cast<std::uint32_t>(code) & m_lowBits]];
  }
  [[nodiscard]] constexpr std::string_view NameOf(const CRow& row) const noexcept {
    return {m_text + row.offset, row.length};
  }

  const CRow* m_rows;
  const std::uint16_t* m_slots;
  const char* m_text;
  size_type m_size;
  std::uint32_t m_lowBits;
};

/// Walks a vocabulary in order of code. Yields pairs by value; stays valid while the library is
/// loaded.
class CCodeNames::const_iterator {
public:
  using iterator_concept = std::bidirectional_iterator_tag;
  using iterator_category = std::input_iterator_tag;  // What it yields is no reference.
  using value_type = CCodeNames::value_type;
  using difference_type = std::ptrdiff_t;
  using reference = value_type;

  /// Keeps the pair alive that `->` reads from.
  class pointer {
  public:
    constexpr explicit pointer(const value_type& row) noexcept : m_row(row) {}
    constexpr const value_type* operator->() const noexcept { return &m_row; }

  private:
    value_type m_row;
  };

  constexpr const_iterator() noexcept = default;
  constexpr const_iterator(const CCodeNames& names, const CRow* row) noexcept
      : m_names(&names), m_row(row) {}

  constexpr reference operator*() const noexcept { return {m_row->code, m_names->NameOf(*m_row)}; }
  constexpr pointer operator->() const noexcept { return pointer(**this); }

  constexpr const_iterator& operator++() noexcept {
    ++m_row;
    return *this;
  }
  constexpr const_iterator operator++(int) noexcept {
    const const_iterator before = *this;
    ++m_row;
    return before;
  }
  constexpr const_iterator& operator--() noexcept {
    --m_row;
    return *this;
  }
  constexpr const_iterator operator--(int) noexcept {
    const const_iterator before = *this;
    --m_row;
    return before;
  }

  friend constexpr bool operator==(const const_iterator& left,
                                   const const_iterator& right) noexcept {
    return left.m_row == right.m_row;
  }
  friend constexpr bool operator!=(const const_iterator& left,
                                   const const_iterator& right) noexcept {
    return left.m_row != right.m_row;
  }

private:
  const CCodeNames* m_names = nullptr;
  const CRow* m_row = nullptr;
};

constexpr CCodeNames::const_iterator CCodeNames::begin() const noexcept { return {*this, m_rows}; }

constexpr CCodeNames::const_iterator CCodeNames::end() const noexcept {
  return {*this, m_rows + m_size};
}

constexpr CCodeNames::const_iterator CCodeNames::find(key_type code) const noexcept {
  const CRow& row = CandidateRow(code);
  return row.code == code ? const_iterator(*this, &row) : end();
}

inline CCodeNames::operator std::map<std::int32_t, std::string>() const {
  std::map<std::int32_t, std::string> names;
  for (const auto [code, name] : *this) names.emplace_hint(names.end(), code, name);
  return names;
}

/// Names of error numbers: 0 and from 20000. They are not the module error numbers 0x2005nnnn.
extern ONDREL_API const CCodeNames ErrorCodeNames;

/// Names of operations: 1, from 50000, and 50500. `ADD_SERVER` stands at 50108 and at 50500.
extern ONDREL_API const CCodeNames OperationCodeNames;

/// Names of events: 1 to 5, from 10000, from 12000 and from 12200.
extern ONDREL_API const CCodeNames EventCodeNames;

/// Names of properties: 0 to 3, from 29900, 29999, 35000, 35100 and 35200, and 0x7fffffff for
/// `UNSPECIFIED`. A few names stand at two codes, as `RAID_LEVEL` does at 29904 and at 30045.
extern ONDREL_API const CCodeNames PropertyCodeNames;

/// Names of the values that properties take, statuses among them: 0, whose name is empty, 1, and
/// from 40000.
extern ONDREL_API const CCodeNames ValueCodeNames;

}  // namespace Ondrel
