#pragma once

#include "Windows/SystemInfo/Codes.h"

#include <Ondrel/OSFlags.h>

#include <span>

namespace Ondrel {

/// What a value of `GetProductInfo` stands for: up to four flags and, for some, a processor code.
struct ProductRow {
  std::uint32_t value;
  Processor processor;     ///< `kNoProcessor` for none.
  const OSFlag* flags[4];  ///< Null after the last.
};

/// All rows in the order of their values.
std::span<const ProductRow> Products();

/// The row of a value; null for a value that is not in the table.
const ProductRow* FindProduct(std::uint32_t value);

}  // namespace Ondrel
