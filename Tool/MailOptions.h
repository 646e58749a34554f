#pragma once

#include "Tool/Options.h"
#include "Tool/Output.h"

#include <Ondrel/Smtp.h>

#include <string>
#include <string_view>
#include <vector>

namespace Tool {

/// The mail options that `mail` and `alert` share.
struct MailOptions {
  std::string server;
  std::optional<unsigned short> port;
  std::string protocol = "smtp";
  std::string from;
  std::string fromName;
  std::vector<std::string> to;
  std::vector<std::string> cc;
  std::vector<std::string> bcc;
  std::string replyTo;
  std::string xMailer;
  std::string user;
  std::string passwordFile;
  std::string password;  ///< Filled by `ReadPassword`.
};

/// What one mail says.
struct MailContent {
  std::string subject;
  std::string body;
  Ondrel::CSmtpXPriority priority = Ondrel::XPRIORITY_NORMAL;
};

/// How sending a mail went.
struct MailOutcome {
  bool isSent;
  Ondrel::CSmtpError error;
};

/// Adds the shared mail options. The server, sender and recipient are required of every mail; when
/// `isOptional` the command line may leave mail out altogether.
void AddMailOptions(CLI::App& app, MailOptions& target, bool isOptional);

/// Takes the password from its file, if the command line names one. Throws `UsageError` when the
/// file cannot be read.
void ReadPassword(MailOptions& options);

/// Sends one mail.
MailOutcome SendMail(const MailOptions& options, const MailContent& content);

/// "CSMTP_ERROR_NO_RECIPIENTS".
std::string_view MailErrorName(Ondrel::CSmtpError error);

/// {"sent","error","errorName"}.
Json JsonOfOutcome(const MailOutcome& outcome);

/// "sent through localhost port 25" or "not sent through localhost port 25:
/// CSMTP_ERROR_NO_RECIPIENTS (29)".
std::string OutcomeText(const MailOptions& options, const MailOutcome& outcome);

/// All bytes of a file; "-" is standard input. Throws `UsageError` when it cannot be read.
std::string ReadWholeFile(const std::string& path);

}  // namespace Tool
