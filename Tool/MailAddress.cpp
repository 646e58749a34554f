#include "Tool/MailAddress.h"

#include "Tool/Command.h"

#include <algorithm>

namespace Tool {

namespace {

std::string_view Trimmed(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
  return text;
}

[[noreturn]] void Refuse(std::string_view option, std::string_view address, const char* what) {
  throw UsageError(std::string(option) + ": " + std::string(Trimmed(address)) + ": " + what);
}

/// Cuts the text at the separators that count.
std::vector<std::string_view> Parts(std::string_view list, std::string_view option) {
  std::vector<std::string_view> parts;
  bool isQuoted = false;
  bool isBracketed = false;
  std::size_t start = 0;
  for (std::size_t i = 0; i < list.size(); ++i) {
    const char character = list[i];
    if (isQuoted && character == '\\') {
      ++i;
    } else if (character == '"') {
      isQuoted = !isQuoted;
    } else if (!isQuoted && character == '<') {
      isBracketed = true;
    } else if (!isQuoted && character == '>') {
      isBracketed = false;
    } else if (!isQuoted && !isBracketed && (character == ',' || character == ';')) {
      parts.push_back(list.substr(start, i - start));
      start = i + 1;
    }
  }
  if (isQuoted) Refuse(option, list, "a quote has no end");
  parts.push_back(list.substr(start));
  return parts;
}

/// The place of the bracket that opens the address; `npos` without one.
std::size_t BracketIn(std::string_view part) {
  bool isQuoted = false;
  for (std::size_t i = 0; i < part.size(); ++i) {
    if (isQuoted && part[i] == '\\')
      ++i;
    else if (part[i] == '"')
      isQuoted = !isQuoted;
    else if (!isQuoted && part[i] == '<')
      return i;
  }
  return std::string_view::npos;
}

// Characters that a name of plain words has no right to (RFC 5322, specials).
bool NeedsQuotes(std::string_view name) {
  return name.find_first_of("()<>[]:;@\\,.\"") != std::string_view::npos;
}

bool IsQuotedWhole(std::string_view name) {
  if (name.size() < 2 || name.front() != '"') return false;
  for (std::size_t i = 1; i < name.size(); ++i) {
    if (name[i] == '\\')
      ++i;
    else if (name[i] == '"')
      return i + 1 == name.size();
  }
  return false;
}

std::string HeaderName(std::string_view name) {
  if (IsQuotedWhole(name) || !NeedsQuotes(name)) return std::string(name);
  std::string quoted = "\"";
  for (const char character : name) {
    if (character == '"' || character == '\\') quoted += '\\';
    quoted += character;
  }
  return quoted + '"';
}

void CheckMail(std::string_view mail, std::string_view part, std::string_view option) {
  if (mail.empty()) Refuse(option, part, "there is no address");
  const bool isOneWord = std::ranges::all_of(mail, [](char character) {
    const auto byte = static_cast<unsigned char>(character);
    return byte > 0x20 && byte != 0x7F && character != '<' && character != '>' &&
           character != '"' && character != ',' && character != ';';
  });
  if (!isOneWord) Refuse(option, part, "this is not an address");
}

}  // namespace

std::vector<MailAddress> ParseAddresses(std::string_view list, std::string_view option) {
  std::vector<MailAddress> addresses;
  for (const std::string_view whole : Parts(list, option)) {
    const std::string_view part = Trimmed(whole);
    if (part.empty()) continue;
    const std::size_t bracket = BracketIn(part);
    MailAddress address;
    if (bracket == std::string_view::npos) {
      address.mail = part;
    } else {
      if (part.back() != '>') Refuse(option, part, "the address has to end with \">\"");
      address.mail = Trimmed(part.substr(bracket + 1, part.size() - bracket - 2));
      address.name = HeaderName(Trimmed(part.substr(0, bracket)));
    }
    CheckMail(address.mail, part, option);
    addresses.push_back(std::move(address));
  }
  return addresses;
}

}  // namespace Tool
