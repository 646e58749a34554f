#pragma once

#include <gmock/gmock.h>

#include <cstdint>

namespace Ondrel::Testing {

/// Matches a captured trace line by its level's bit, its function and its message.
MATCHER_P3(Traces, level, function, text, "") {
  return arg.level == static_cast<std::uint32_t>(level) && arg.function == function &&
         arg.text == text;
}

}  // namespace Ondrel::Testing
