#pragma once

#include <chrono>
#include <string>

namespace Tool {

/// "90 s", or "1500 ms" for what is not whole seconds.
inline std::string DurationText(std::chrono::milliseconds duration) {
  constexpr long long kSecond = 1000;
  const long long count = duration.count();
  return count % kSecond == 0 ? std::to_string(count / kSecond) + " s"
                              : std::to_string(count) + " ms";
}

}  // namespace Tool
