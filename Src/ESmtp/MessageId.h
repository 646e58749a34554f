#pragma once

#include <boost/lexical_cast/bad_lexical_cast.hpp>

#include <string>
#include <string_view>
#include <utility>

namespace Ondrel {

/// Stands in for an identifier when the system gives no random numbers.
inline constexpr std::string_view kFixedMessageIdentifier = "94266460-aa18-11e9-a2a3-2a2ae2dbcce4";

/// Stands in for the host part when the sender's address has none: a domain that never resolves.
inline constexpr std::string_view kUnknownHostPart = "@nodomain.invalid";
static_assert(kUnknownHostPart.size() == 1 + 16);

/// The identifier of the first attempt; of the second one when the first cannot be turned into
/// text; the fixed one when the first fails in any other way. What the second attempt throws, the
/// caller gets.
template <class FirstAttempt, class SecondAttempt>
std::string MessageIdentifierFrom(FirstAttempt&& first, SecondAttempt&& second) {
  try {
    return std::forward<FirstAttempt>(first)();
  } catch (const boost::bad_lexical_cast&) {
    // Falls through: the second attempt stands outside, so that its failure is not caught here.
  } catch (...) {
    return std::string(kFixedMessageIdentifier);
  }
  return std::forward<SecondAttempt>(second)();
}

/// A random (version 4) UUID as text, or the fixed identifier when the random source fails.
std::string MessageIdentifier();

/// The sender's address from its first "@" on, or the stand-in for an address without one.
std::string MessageIdHostPart(const std::string& mail);

}  // namespace Ondrel
