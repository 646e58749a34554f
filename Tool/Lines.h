#pragma once

#include "Tool/Progress.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace Tool {

/// Longest line of standard input that is read as a whole, in bytes.
inline constexpr std::size_t kLongestLine = std::size_t{1} << 20;

/// A line of standard input without its end.
struct InputLine {
  std::string_view text;  ///< Good until the next line is read; empty of a line that is too long.
  std::uint64_t number;   ///< Counted from 1.
  bool isTooLong;         ///< It has more than `kLongestLine` bytes, which are passed over.
};

/// Standard input line by line, with a bound on memory: what a line holds, zero bytes included,
/// is left as it is. The last line needs no end.
class InputLines {
public:
  InputLines() = default;

  /// The next line; nothing at the end. `beforeWaiting` is called before standard input is asked
  /// for more. Throws `std::system_error` when it cannot be read.
  std::optional<InputLine> Next(const std::function<void()>& beforeWaiting);

private:
  bool Fill(const std::function<void()>& beforeWaiting);
  void Keep(std::string_view part);

  std::array<char, 65536> m_bytes;
  std::size_t m_start = 0;  ///< Of what is not yet taken.
  std::size_t m_end = 0;
  std::string m_line;  ///< The beginning of a line that goes on past `m_bytes`.
  bool m_isTooLong = false;
  bool m_isAtEnd = false;
  std::uint64_t m_number = 0;
};

/// Shows how many lines were answered, where nobody types them.
class AnsweringLines {
public:
  AnsweringLines();

  void Answered(std::uint64_t number) {
    if (m_progress) m_progress->SetCount(number);
  }

private:
  std::optional<Progress> m_progress;
};

}  // namespace Tool
