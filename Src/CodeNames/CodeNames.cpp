#include "CodeNames/Tables.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace Ondrel {

namespace {

using CodeNames::Row;
using CodeNames::Table;

std::span<const Row> RowsOf(const Table& table) { return {table.rows, table.size}; }

std::string_view NameOf(const Table& table, const Row& row) {
  return {table.text + row.offset, row.length};
}

// The row of `code`; null when the table does not list it.
const Row* Find(const Table& table, std::int32_t code) {
  const Row& row = table.rows[table.slots[static_cast<std::uint32_t>(code) & table.lowBits]];
  return row.code == code ? &row : nullptr;
}

std::size_t PlaceOf(const Table& table, const Row& row) {
  return static_cast<std::size_t>(&row - table.rows);
}

}  // namespace

CCodeNames::size_type CCodeNames::size() const noexcept { return m_table->size; }

CCodeNames::const_iterator CCodeNames::find(key_type code) const noexcept {
  const Row* const row = Find(*m_table, code);
  return row != nullptr ? const_iterator(m_table, PlaceOf(*m_table, *row)) : end();
}

CCodeNames::mapped_type CCodeNames::at(key_type code) const {
  const Row* const row = Find(*m_table, code);
  if (row == nullptr)
    throw std::out_of_range("the vocabulary does not list code " + std::to_string(code));
  return NameOf(*m_table, *row);
}

CCodeNames::const_iterator CCodeNames::lower_bound(key_type code) const noexcept {
  const std::span<const Row> rows = RowsOf(*m_table);
  const auto row = std::ranges::lower_bound(rows, code, {}, &Row::code);
  return {m_table, static_cast<size_type>(row - rows.begin())};
}

CCodeNames::const_iterator CCodeNames::upper_bound(key_type code) const noexcept {
  const std::span<const Row> rows = RowsOf(*m_table);
  const auto row = std::ranges::upper_bound(rows, code, {}, &Row::code);
  return {m_table, static_cast<size_type>(row - rows.begin())};
}

std::optional<std::string_view> CCodeNames::Name(key_type code) const noexcept {
  const Row* const row = Find(*m_table, code);
  if (row == nullptr) return std::nullopt;
  return NameOf(*m_table, *row);
}

std::optional<CCodeNames::key_type> CCodeNames::Code(std::string_view name) const noexcept {
  for (const Row& row : RowsOf(*m_table))
    if (NameOf(*m_table, row) == name) return row.code;
  return std::nullopt;
}

std::vector<CCodeNames::key_type> CCodeNames::Codes(std::string_view name) const {
  std::vector<key_type> codes;
  for (const Row& row : RowsOf(*m_table))
    if (NameOf(*m_table, row) == name) codes.push_back(row.code);
  return codes;
}

CCodeNames::const_iterator::reference CCodeNames::const_iterator::operator*() const noexcept {
  const Row& row = m_table->rows[m_place];
  return {row.code, NameOf(*m_table, row)};
}

}  // namespace Ondrel
