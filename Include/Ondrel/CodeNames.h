#pragma once

/// The five code vocabularies: every number that the product reports through has a name here.
///
/// A vocabulary is an ordered map from a signed 32-bit code to a name. It is laid out by the
/// compiler: loading the library builds nothing, a lookup allocates nothing, and a vocabulary may
/// be used from any static constructor or destructor of a program that links the library. Any
/// number of threads may read at the same time.
///
/// How the rows are kept is the library's own affair and may change from build to build: a program
/// holds nothing but a code, a name or an iterator.
///
/// A name is given as `std::string_view` into the library's own constant data and lives as long as
/// the library is loaded. A program that wants a map of its own strings converts:
///
///     const std::map<std::int32_t, std::string> names(Ondrel::EventCodeNames);

#include <Ondrel/Export.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <iterator>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Ondrel {

namespace CodeNames {
struct Table;
}

/// One vocabulary: a constant map from code to name, in order of code.
///
/// It has every operation of a constant `std::map` that does not concern memory or node handles,
/// and the lookups `Name`, `Code` and `Codes` of its own. Rows are given by value. There is no
/// `operator[]`, which would have to insert.
class CCodeNames {
public:
  using key_type = std::int32_t;
  using mapped_type = std::string_view;
  using value_type = std::pair<key_type, mapped_type>;
  using key_compare = std::less<key_type>;
  using size_type = std::size_t;
  using difference_type = std::ptrdiff_t;
  using reference = value_type;
  using const_reference = value_type;

  class const_iterator;
  using iterator = const_iterator;
  using const_reverse_iterator = std::reverse_iterator<const_iterator>;
  using reverse_iterator = const_reverse_iterator;

  /// Only the library's own vocabularies are made this way; a program has no use for it.
  constexpr explicit CCodeNames(const CodeNames::Table& table) noexcept : m_table(&table) {}

  /// Number of codes.
  [[nodiscard]] ONDREL_API size_type size() const noexcept;
  [[nodiscard]] bool empty() const noexcept { return size() == 0; }
  [[nodiscard]] size_type max_size() const noexcept { return size(); }

  /// The rows in order of code, each as a pair of code and name.
  [[nodiscard]] const_iterator begin() const noexcept;
  [[nodiscard]] const_iterator end() const noexcept;
  [[nodiscard]] const_iterator cbegin() const noexcept;
  [[nodiscard]] const_iterator cend() const noexcept;

  /// The rows in falling order of code.
  [[nodiscard]] const_reverse_iterator rbegin() const noexcept;
  [[nodiscard]] const_reverse_iterator rend() const noexcept;
  [[nodiscard]] const_reverse_iterator crbegin() const noexcept;
  [[nodiscard]] const_reverse_iterator crend() const noexcept;

  /// The row of `code`, or `end()` when the vocabulary does not list it.
  [[nodiscard]] ONDREL_API const_iterator find(key_type code) const noexcept;

  /// Whether the vocabulary lists `code`.
  [[nodiscard]] bool contains(key_type code) const noexcept { return Name(code).has_value(); }

  /// 1 when the vocabulary lists `code`, else 0.
  [[nodiscard]] size_type count(key_type code) const noexcept { return contains(code) ? 1 : 0; }

  /// The name of `code`. Throws `std::out_of_range` when the vocabulary does not list it.
  [[nodiscard]] ONDREL_API mapped_type at(key_type code) const;

  /// The first row whose code is not below `code`, or `end()`.
  [[nodiscard]] ONDREL_API const_iterator lower_bound(key_type code) const noexcept;

  /// The first row whose code is above `code`, or `end()`.
  [[nodiscard]] ONDREL_API const_iterator upper_bound(key_type code) const noexcept;

  /// `lower_bound` and `upper_bound`: at most one row apart.
  [[nodiscard]] std::pair<const_iterator, const_iterator> equal_range(key_type code) const noexcept;

  /// The order of the codes: that of signed numbers.
  [[nodiscard]] key_compare key_comp() const noexcept { return {}; }

  /// A map of the program's own with the same rows.
  explicit operator std::map<std::int32_t, std::string>() const;

  /// The name of `code`; nothing when the vocabulary does not list it.
  ///
  /// An empty name is a name: the result then holds an empty text. The characters are followed by
  /// a zero, so that `data()` may be used as a C string.
  [[nodiscard]] ONDREL_API std::optional<std::string_view> Name(key_type code) const noexcept;

  /// The lowest code of exactly this name; nothing when no code has it.
  ///
  /// Few names stand at more than one code, and `Codes` gives them all. Compares the name with
  /// every row, which takes some microseconds.
  [[nodiscard]] ONDREL_API std::optional<key_type> Code(std::string_view name) const noexcept;

  /// All codes of exactly this name, in rising order; empty when no code has it.
  [[nodiscard]] ONDREL_API std::vector<key_type> Codes(std::string_view name) const;

private:
  const CodeNames::Table* m_table;
};

/// Walks a vocabulary in order of code. Gives pairs by value; stays valid while the library is
/// loaded.
class CCodeNames::const_iterator {
public:
  using iterator_concept = std::bidirectional_iterator_tag;
  using iterator_category = std::input_iterator_tag;  // What it gives is not a reference.
  using value_type = CCodeNames::value_type;
  using difference_type = CCodeNames::difference_type;
  using reference = value_type;

  /// Keeps the pair alive that `->` reads from.
  class pointer {
  public:
    explicit pointer(const value_type& row) noexcept : m_row(row) {}  ///< Keeps a copy of `row`.
    const value_type* operator->() const noexcept { return &m_row; }  ///< The pair.

  private:
    value_type m_row;
  };

  constexpr const_iterator() noexcept = default;

  [[nodiscard]] ONDREL_API reference operator*() const noexcept;
  [[nodiscard]] pointer operator->() const noexcept { return pointer(**this); }

  const_iterator& operator++() noexcept {
    ++m_place;
    return *this;
  }
  const_iterator operator++(int) noexcept {
    const const_iterator before = *this;
    ++m_place;
    return before;
  }
  const_iterator& operator--() noexcept {
    --m_place;
    return *this;
  }
  const_iterator operator--(int) noexcept {
    const const_iterator before = *this;
    --m_place;
    return before;
  }

  friend bool operator==(const const_iterator& left, const const_iterator& right) noexcept {
    return left.m_place == right.m_place && left.m_table == right.m_table;
  }
  friend bool operator!=(const const_iterator& left, const const_iterator& right) noexcept {
    return !(left == right);
  }

private:
  friend class CCodeNames;

  const_iterator(const CodeNames::Table* table, size_type place) noexcept
      : m_table(table), m_place(place) {}

  const CodeNames::Table* m_table = nullptr;
  size_type m_place = 0;  // Counted from the lowest code.
};

inline CCodeNames::const_iterator CCodeNames::begin() const noexcept { return {m_table, 0}; }
inline CCodeNames::const_iterator CCodeNames::end() const noexcept { return {m_table, size()}; }
inline CCodeNames::const_iterator CCodeNames::cbegin() const noexcept { return begin(); }
inline CCodeNames::const_iterator CCodeNames::cend() const noexcept { return end(); }

inline CCodeNames::const_reverse_iterator CCodeNames::rbegin() const noexcept {
  return const_reverse_iterator(end());
}
inline CCodeNames::const_reverse_iterator CCodeNames::rend() const noexcept {
  return const_reverse_iterator(begin());
}
inline CCodeNames::const_reverse_iterator CCodeNames::crbegin() const noexcept { return rbegin(); }
inline CCodeNames::const_reverse_iterator CCodeNames::crend() const noexcept { return rend(); }

inline std::pair<CCodeNames::const_iterator, CCodeNames::const_iterator> CCodeNames::equal_range(
    key_type code) const noexcept {
  return {lower_bound(code), upper_bound(code)};
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
