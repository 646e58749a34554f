#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Tool {

/// One address as a person writes it: "a@x", "<a@x>", "Jane Doe <a@x>" or "\"Doe, Jane\" <a@x>".
struct MailAddress {
  std::string mail;  ///< Without angle brackets.
  std::string name;  ///< As it stands in a header's line, quoted where that needs it; may be empty.
};

/// Reads a list of addresses separated by "," or ";", which count for nothing within quotes and
/// angle brackets. Empty places of the list are passed over. Throws `UsageError`, which names
/// `option`, for what is not an address, such as a quote without an end.
std::vector<MailAddress> ParseAddresses(std::string_view list, std::string_view option);

}  // namespace Tool
