#pragma once

#include "Tool/MailAddress.h"
#include "Tool/Options.h"
#include "Tool/Output.h"

#include <Ondrel/Smtp.h>

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Tool {

/// How long sending one mail may take where the command line does not say.
inline constexpr std::chrono::milliseconds kDefaultMailTimeout{60'000};

/// The mail options that `mail` and `alert` share, as the command line has them. Nothing is checked
/// until `PrepareMail`. An option that is not there is nothing, which an empty text is not.
struct MailOptions {
  std::optional<std::string> server;
  std::optional<std::string> port;
  std::optional<std::string> protocol;
  std::optional<std::string> from;
  std::optional<std::string> fromName;
  std::vector<std::string> to;
  std::vector<std::string> cc;
  std::vector<std::string> bcc;
  std::optional<std::string> replyTo;
  std::optional<std::string> xMailer;
  std::optional<std::string> user;
  std::optional<std::string> passwordFile;
  std::optional<std::string> timeout;

  /// Whether the command line has any of them.
  bool IsAnyThere() const;
};

/// The same, checked and ready to be used.
struct MailRoute {
  std::string server;
  unsigned short port;
  std::string protocol;
  MailAddress from;
  std::vector<MailAddress> to;
  std::vector<MailAddress> cc;
  std::vector<MailAddress> bcc;
  std::string replyTo;
  std::string xMailer;
  std::string user;
  std::string password;
  std::chrono::milliseconds timeout;  ///< 0 for no limit.
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
  bool isTimedOut;           ///< The time of the route was over.
  std::string serverAnswer;  ///< What the server answered last, its lines one below the other.
};

/// Adds the shared mail options. With `mayLackValues` an option may stand without its value, which
/// counts as an empty one.
void AddMailOptions(CLI::App& app, MailOptions& target, bool mayLackValues);

/// Checks the options and reads the password. Throws `UsageError` for the first that cannot be
/// used, a file that cannot be read among them.
MailRoute PrepareMail(const MailOptions& options);

/// The body as lines that end in a line feed, whatever ends them in the text. Throws `UsageError`
/// for a body that holds a zero byte.
std::string BodyOfText(const std::string& text);

/// Throws `UsageError`, which names `option`, for text with a line end: in a mail's header it would
/// begin a line of its own.
void RequireOneLine(const std::string& text, std::string_view option);

/// Sends one mail.
MailOutcome SendMail(const MailRoute& route, MailContent content);

/// "CSMTP_ERROR_NO_RECIPIENTS".
std::string_view MailErrorName(Ondrel::CSmtpError error);

/// {"sent","error","errorName","serverCode","serverText","timedOut","retry","text"}; the code and
/// text of the server are null where no answer came, "retry" is whether trying again may help, null
/// for a mail that was sent, and "text" is `OutcomeText`.
Json JsonOfOutcome(const MailRoute& route, const MailOutcome& outcome);

/// "sent through localhost port 25, which answered: 250 OK" or "not sent through ...: ...".
std::string OutcomeText(const MailRoute& route, const MailOutcome& outcome);

}  // namespace Tool
