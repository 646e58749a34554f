#pragma once

#include <cstdint>

/// The flags and products of systems, transcribed apart from the code.
namespace Ondrel::Testing {

struct FlagRow {
  std::uint32_t word;
  std::uint32_t mask;
  const char* name;
};

inline constexpr FlagRow kFlagRows[] = {
#include "Unit/Windows/SystemInfo/OSFlagRows.inc"
};

struct ProductTextRow {
  std::uint32_t value;
  std::uint32_t processor;
  const char* flags;
};

inline constexpr ProductTextRow kProductRows[] = {
#include "Unit/Windows/SystemInfo/OSProductRows.inc"
};

}  // namespace Ondrel::Testing
