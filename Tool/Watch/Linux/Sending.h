#pragma once

#include "Tool/Watch/Linux/Store.h"
#include "Tool/Watch/Settings.h"

#include <string>

namespace Tool::Watch {

/// How an attempt to send a mail went.
struct SendOutcome {
  bool isSent = false;
  bool mayHaveArrived = false;  ///< It failed, but a server may have taken the mail before.
  std::string error;  ///< The error's name, and the server's last words if there were any.
};

/// Sends one mail, in this process.
SendOutcome Send(const MailSettings& settings, const StoredMail& mail);

/// The outcome as one line between processes, and back. A line that is none of these is of a sender
/// that ended before it was done.
std::string TextOfOutcome(const SendOutcome& outcome);
SendOutcome OutcomeOfText(const std::string& text);

}  // namespace Tool::Watch
