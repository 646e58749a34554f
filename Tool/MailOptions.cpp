#include "Tool/MailOptions.h"

#include <CLI/Validators.hpp>

#include <array>
#include <fstream>
#include <iostream>

namespace Tool {

namespace {

constexpr unsigned short kSmtpPort = 25;
constexpr unsigned short kSmtpsPort = 465;

struct NamedError {
  Ondrel::CSmtpError error;
  std::string_view name;
};

constexpr std::array kErrors = {
    NamedError{Ondrel::CSMTP_ERROR_NONE, "CSMTP_ERROR_NONE"},
    NamedError{Ondrel::CSMTP_ERROR_UNEXPECTED_CODE, "CSMTP_ERROR_UNEXPECTED_CODE"},
    NamedError{Ondrel::CSMTP_ERROR_STREAM, "CSMTP_ERROR_STREAM"},
    NamedError{Ondrel::CSMTP_ERROR_HOSTNAME, "CSMTP_ERROR_HOSTNAME"},
    NamedError{Ondrel::CSMTP_ERROR_NOT_IMPLEMENTED, "CSMTP_ERROR_NOT_IMPLEMENTED"},
    NamedError{Ondrel::CSMTP_ERROR_COMMAND_FAILED, "CSMTP_ERROR_COMMAND_FAILED"},
    NamedError{Ondrel::CSMTP_ERROR_INTERNAL, "CSMTP_ERROR_INTERNAL"},
    NamedError{Ondrel::CSMTP_ERROR_STORAGE_FULL, "CSMTP_ERROR_STORAGE_FULL"},
    NamedError{Ondrel::CSMTP_ERROR_BAD_ENCODING, "CSMTP_ERROR_BAD_ENCODING"},
    NamedError{Ondrel::CSMTP_ERROR_OUT_OF_MEMORY, "CSMTP_ERROR_OUT_OF_MEMORY"},
    NamedError{Ondrel::CSMTP_ERROR_CONNECTION_REFUSED, "CSMTP_ERROR_CONNECTION_REFUSED"},
    NamedError{Ondrel::CSMTP_ERROR_AUTHENTICATION_FAILED, "CSMTP_ERROR_AUTHENTICATION_FAILED"},
    NamedError{Ondrel::CSMTP_ERROR_SSL, "CSMTP_ERROR_SSL"},
    NamedError{Ondrel::CSMTP_ERROR_NO_RECIPIENT_MAIL, "CSMTP_ERROR_NO_RECIPIENT_MAIL"},
    NamedError{Ondrel::CSMTP_ERROR_NO_RECIPIENTS, "CSMTP_ERROR_NO_RECIPIENTS"},
    NamedError{Ondrel::CSMTP_ERROR_NO_MAILFROM, "CSMTP_ERROR_NO_MAILFROM"},
    NamedError{Ondrel::CSMTP_ERROR_NO_SUBJECT, "CSMTP_ERROR_NO_SUBJECT"},
};

unsigned short PortOf(const MailOptions& options) {
  return options.port.value_or(options.protocol == "smtps" ? kSmtpsPort : kSmtpPort);
}

std::string FirstLine(const std::string& text) {
  return text.substr(0, text.find_first_of("\r\n"));
}

bool AddRecipients(Ondrel::CSmtp& mail, const MailOptions& options) {
  for (const std::string& addresses : options.to)
    if (!mail.AddTO(addresses)) return false;
  for (const std::string& addresses : options.cc)
    if (!mail.AddCC(addresses)) return false;
  for (const std::string& addresses : options.bcc)
    if (!mail.AddBCC(addresses)) return false;
  return true;
}

}  // namespace

void AddMailOptions(CLI::App& app, MailOptions& target, bool isOptional) {
  CLI::Option* const server =
      app.add_option("--server", target.server, "Mail server's name or address")->type_name("HOST");
  CLI::Option* const from = app.add_option("--mail-from", target.from, "Sender's address")
                                ->type_name("ADDRESS")
                                ->check(IsOneLine());
  CLI::Option* const to =
      AddRepeated(app, "--to", target.to,
                  "Recipient's address, or several separated by commas; may be repeated")
          ->type_name("ADDRESS")
          ->check(IsOneLine());
  std::vector<CLI::Option*> others;
  others.push_back(AddNumber(
      app, "--port", 1, 65535,
      [&target](std::int64_t port) { target.port = static_cast<unsigned short>(port); },
      "Mail server's port (default: 25, with smtps 465)"));
  others.push_back(
      app.add_option("--protocol", target.protocol,
                     "smtp takes TLS when the server offers it, smtps speaks TLS from the start")
          ->type_name("smtp|smtps")
          ->check(CLI::IsMember({"smtp", "smtps"}).description("")));
  others.push_back(app.add_option("--from-name", target.fromName, "Sender's display name")
                       ->type_name("NAME")
                       ->check(IsOneLine()));
  others.push_back(AddRepeated(app, "--cc", target.cc, "Copy recipient, as --to")
                       ->type_name("ADDRESS")
                       ->check(IsOneLine()));
  others.push_back(
      AddRepeated(app, "--bcc", target.bcc,
                  "Blind copy recipient, as --to; all recipients can read it in the header")
          ->type_name("ADDRESS")
          ->check(IsOneLine()));
  others.push_back(app.add_option("--reply-to", target.replyTo, "Text of the Reply-To line")
                       ->type_name("ADDRESS")
                       ->check(IsOneLine()));
  others.push_back(app.add_option("--x-mailer", target.xMailer, "Text of the X-Mailer line")
                       ->type_name("TEXT")
                       ->check(IsOneLine()));
  CLI::Option* const user = app.add_option("--user", target.user, "Login name")->type_name("NAME");
  CLI::Option* const passwordFile = app.add_option("--password-file", target.passwordFile,
                                                   "File whose first line is the login password")
                                        ->type_name("FILE");
  user->needs(passwordFile);
  passwordFile->needs(user);
  others.push_back(user);
  others.push_back(passwordFile);

  if (!isOptional) {
    for (CLI::Option* const option : {server, from, to}) option->required();
    return;
  }
  server->needs(from);
  server->needs(to);
  from->needs(server);
  to->needs(server);
  for (CLI::Option* const option : others) option->needs(server);
}

void ReadPassword(MailOptions& options) {
  if (!options.passwordFile.empty())
    options.password = FirstLine(ReadWholeFile(options.passwordFile));
}

MailOutcome SendMail(const MailOptions& options, const MailContent& content) {
  Ondrel::CSmtp mail;
  mail.SetServer(options.server, PortOf(options));
  mail.SetProtocol(options.protocol);
  mail.SetFrom(options.from, options.fromName);
  mail.SetReplyTo(options.replyTo);
  mail.SetXMailer(options.xMailer);
  mail.SetSubject(content.subject);
  mail.SetMessageBody(content.body);
  mail.SetXPriority(content.priority);
  mail.SetUserName(options.user);
  mail.SetPassword(options.password);
  const bool isSent = AddRecipients(mail, options) && mail.Send();
  return {isSent, mail.GetLastError()};
}

std::string_view MailErrorName(Ondrel::CSmtpError error) {
  for (const NamedError& known : kErrors)
    if (known.error == error) return known.name;
  return "CSMTP_ERROR";
}

Json JsonOfOutcome(const MailOutcome& outcome) {
  return {{"sent", outcome.isSent},
          {"error", static_cast<int>(outcome.error)},
          {"errorName", MailErrorName(outcome.error)}};
}

std::string OutcomeText(const MailOptions& options, const MailOutcome& outcome) {
  const std::string server = options.server + " port " + std::to_string(PortOf(options));
  if (outcome.isSent) return "sent through " + server;
  return "not sent through " + server + ": " + std::string(MailErrorName(outcome.error)) + " (" +
         std::to_string(static_cast<int>(outcome.error)) + ")";
}

std::string ReadWholeFile(const std::string& path) {
  std::ifstream file;
  if (path != "-") file.open(path, std::ios::binary);
  std::istream& source = path == "-" ? std::cin : file;

  std::string content;
  char bytes[4096];
  while (source.read(bytes, sizeof bytes) || source.gcount() > 0)
    content.append(bytes, static_cast<std::size_t>(source.gcount()));
  // Opening a folder succeeds on some hosts; reading it then fails.
  if (!source.eof() || source.bad()) throw UsageError("cannot read " + path);
  return content;
}

}  // namespace Tool
