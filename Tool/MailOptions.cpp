#include "Tool/MailOptions.h"

#include "Tool/Files.h"
#include "Tool/Progress.h"

#include <CLI/App.hpp>

#include <chrono>

namespace Tool {

namespace {

constexpr unsigned short kSmtpPort = 25;
constexpr unsigned short kSmtpsPort = 465;
// Two clocks measure the time.
constexpr std::chrono::milliseconds kClockGap{100};

std::string FirstLine(const std::string& text) {
  return text.substr(0, text.find_first_of("\r\n"));
}

/// An option's text, where it is there: neither empty nor more than a line.
std::string TextOf(const std::optional<std::string>& text, std::string_view option) {
  if (!text) return "";
  if (text->empty()) throw UsageError(std::string(option) + " is empty");
  RequireOneLine(*text, option);
  return *text;
}

std::string RequiredText(const std::optional<std::string>& text, std::string_view option) {
  if (!text) throw UsageError(std::string(option) + " is required");
  return TextOf(text, option);
}

std::int64_t NumberOf(const std::string& text, std::string_view option, std::int64_t min,
                      std::int64_t max) {
  const std::optional<std::int64_t> number = ParseNumber(text, min, max);
  if (number) return *number;
  throw UsageError(std::string(option) + ": \"" + OneLine(text) + "\" is not a number of " +
                   std::to_string(min) + " to " + std::to_string(max));
}

std::string ProtocolOf(const MailOptions& options) {
  std::string protocol = options.protocol.value_or("smtp");
  if (protocol == "smtp" || protocol == "smtps") return protocol;
  throw UsageError("--protocol: \"" + OneLine(protocol) + "\" is neither smtp nor smtps");
}

unsigned short PortOf(const MailOptions& options, const std::string& protocol) {
  if (!options.port) return protocol == "smtps" ? kSmtpsPort : kSmtpPort;
  constexpr std::int64_t kLastPort = 65535;
  return static_cast<unsigned short>(NumberOf(*options.port, "--port", 1, kLastPort));
}

std::vector<MailAddress> AddressesOf(const std::vector<std::string>& lists,
                                     std::string_view option) {
  std::vector<MailAddress> addresses;
  for (const std::string& list : lists) {
    if (list.empty()) throw UsageError(std::string(option) + " is empty");
    RequireOneLine(list, option);
    std::vector<MailAddress> more = ParseAddresses(list, option);
    if (more.empty()) throw UsageError(std::string(option) + ": \"" + list + "\" names no address");
    for (MailAddress& address : more) addresses.push_back(std::move(address));
  }
  return addresses;
}

MailAddress SenderOf(const MailOptions& options) {
  const std::string text = RequiredText(options.from, "--mail-from");
  const std::vector<MailAddress> addresses = ParseAddresses(text, "--mail-from");
  if (addresses.size() != 1) throw UsageError("--mail-from: there has to be one address");
  MailAddress sender = addresses.front();
  if (!options.fromName) return sender;
  if (!sender.name.empty()) throw UsageError("--from-name: --mail-from names the sender already");
  sender.name = TextOf(options.fromName, "--from-name");
  return sender;
}

/// Reads the password, from the first line of its file.
std::string PasswordOf(const MailOptions& options) {
  if (!options.passwordFile && !options.user) return "";
  if (!options.user) throw UsageError("--password-file requires --user");
  if (!options.passwordFile) throw UsageError("--user requires --password-file");
  const std::string path = TextOf(options.passwordFile, "--password-file");
  std::string password = FirstLine(ReadWholeFile(path));
  if (password.empty()) throw UsageError(path + " has no password in its first line");
  if (password.find('\0') != std::string::npos)
    throw UsageError(path + ": the password holds a zero byte");
  return password;
}

std::chrono::milliseconds TimeoutOf(const MailOptions& options) {
  if (!options.timeout) return kDefaultMailTimeout;
  if (const auto timeout = ParseDuration(*options.timeout)) return *timeout;
  throw UsageError("--timeout: \"" + OneLine(*options.timeout) + "\" is not a duration");
}

using AddOne = bool (Ondrel::CSmtp::*)(const std::string&);
using AddNamed = bool (Ondrel::CSmtp::*)(const std::string&, const std::string&);

bool AddRecipients(Ondrel::CSmtp& mail, const std::vector<MailAddress>& addresses, AddOne add,
                   AddNamed addNamed) {
  for (const MailAddress& address : addresses) {
    const bool isAdded = address.name.empty() ? (mail.*add)(address.mail)
                                              : (mail.*addNamed)(address.mail, address.name);
    if (!isAdded) return false;
  }
  return true;
}

}  // namespace

bool MailOptions::IsAnyThere() const {
  return server || port || protocol || from || fromName || !to.empty() || !cc.empty() ||
         !bcc.empty() || replyTo || xMailer || user || passwordFile || timeout;
}

void AddMailOptions(CLI::App& app, MailOptions& target, bool mayLackValues) {
  const auto add = [&](const char* name, std::optional<std::string>& text, const char* type,
                       const std::string& description) {
    CLI::Option* const option = app.add_option_function<std::string>(
        name, [&text](const std::string& value) { text = value; }, description);
    option->type_name(type);
    // An option that lacks its value is complained of where the others are.
    if (mayLackValues) MayBeEmpty(option)->expected(0, 1);
  };
  const auto addList = [&](const char* name, std::vector<std::string>& texts,
                           const std::string& description) {
    CLI::Option* const option = AddRepeated(app, name, texts, description)->type_name("ADDRESS");
    if (mayLackValues)
      MayBeEmpty(option)->expected(0, 1)->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  };
  add("--server", target.server, "HOST", "Mail server's name or address");
  add("--mail-from", target.from, "ADDRESS", "Sender's address");
  addList("--to", target.to,
          "Recipient, as jane@example.com or \"Doe, Jane\" <jane@example.com>, or several "
          "separated by commas; may be repeated");
  add("--port", target.port, "N", "Mail server's port (default: 25, with smtps 465)");
  add("--protocol", target.protocol, "smtp|smtps",
      "smtp takes TLS when the server offers it, smtps speaks TLS from the start");
  add("--from-name", target.fromName, "NAME", "Sender's display name");
  addList("--cc", target.cc, "Copy recipient, as --to");
  addList("--bcc", target.bcc,
          "Blind copy recipient, as --to; all recipients can read it in the header");
  add("--reply-to", target.replyTo, "ADDRESS", "Text of the Reply-To line");
  add("--x-mailer", target.xMailer, "TEXT", "Text of the X-Mailer line");
  add("--user", target.user, "NAME", "Login name");
  add("--password-file", target.passwordFile, "FILE",
      "File whose first line is the login password, - for standard input");
  add("--timeout", target.timeout, "DURATION",
      "Give up after this time, in seconds or with ms, s, min, h or d; 0 for never (default: 60 "
      "s)");
}

MailRoute PrepareMail(const MailOptions& options) {
  MailRoute route{};
  route.server = RequiredText(options.server, "--server");
  route.protocol = ProtocolOf(options);
  route.port = PortOf(options, route.protocol);
  route.from = SenderOf(options);
  if (options.to.empty()) throw UsageError("--to is required");
  route.to = AddressesOf(options.to, "--to");
  route.cc = AddressesOf(options.cc, "--cc");
  route.bcc = AddressesOf(options.bcc, "--bcc");
  route.replyTo = TextOf(options.replyTo, "--reply-to");
  route.xMailer = TextOf(options.xMailer, "--x-mailer");
  route.user = TextOf(options.user, "--user");
  route.password = PasswordOf(options);
  route.timeout = TimeoutOf(options);
  return route;
}

std::string BodyOfText(const std::string& text) {
  if (const std::size_t place = text.find('\0'); place != std::string::npos)
    throw UsageError("the body holds a zero byte at offset " + std::to_string(place) +
                     "; a mail cannot");
  std::string body;
  body.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\r') {
      body += text[i];
      continue;
    }
    // A carriage return alone ends a line too: a mail server may take it for one.
    if (i + 1 == text.size() || text[i + 1] != '\n') body += '\n';
  }
  return body;
}

void RequireOneLine(const std::string& text, std::string_view option) {
  if (text.find_first_of("\r\n") != std::string::npos)
    throw UsageError(std::string(option) + " has a line break");
}

MailOutcome SendMail(const MailRoute& route, MailContent content) {
  using Ondrel::CSmtp;
  CSmtp mail;
  mail.SetServer(route.server, route.port);
  mail.SetProtocol(route.protocol);
  mail.SetFrom(route.from.mail, route.from.name);
  mail.SetReplyTo(route.replyTo);
  mail.SetXMailer(route.xMailer);
  mail.SetSubject(content.subject);
  mail.SetMessageBody(content.body);
  std::string().swap(content.body);  // The mail holds a copy, and a body may be large.
  mail.SetXPriority(content.priority);
  mail.SetUserName(route.user);
  mail.SetPassword(route.password);
  mail.SetTimeout(static_cast<long>(route.timeout.count()));
  const Progress progress("sending the mail through " + OneLine(route.server));
  const auto start = std::chrono::steady_clock::now();
  const bool isSent = AddRecipients(mail, route.to, &CSmtp::AddTO, &CSmtp::AddTO) &&
                      AddRecipients(mail, route.cc, &CSmtp::AddCC, &CSmtp::AddCC) &&
                      AddRecipients(mail, route.bcc, &CSmtp::AddBCC, &CSmtp::AddBCC) && mail.Send();
  const auto time = std::chrono::steady_clock::now() - start;
  const bool isTimedOut = !isSent && route.timeout.count() > 0 && time + kClockGap >= route.timeout;
  return {.isSent = isSent,
          .error = mail.GetLastError(),
          .isTimedOut = isTimedOut,
          .serverAnswer = mail.GetServerAnswer()};
}

}  // namespace Tool
