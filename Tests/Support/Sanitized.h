#pragma once

namespace Ondrel::Testing {

/// How much a test does: `ordinarily` in the ordinary build, and `sanitized`, a part of it, in one
/// with a sanitizer, where the same takes up to ten times as long.
template <typename Number>
constexpr Number WithSanitizer([[maybe_unused]] Number sanitized,
                               [[maybe_unused]] Number ordinarily) {
#if defined(ONDREL_SANITIZED)
  return sanitized;
#else
  return ordinarily;
#endif
}

}  // namespace Ondrel::Testing
