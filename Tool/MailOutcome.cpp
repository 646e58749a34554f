#include "Tool/DurationText.h"
#include "Tool/MailOptions.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace Tool {

namespace {

struct NamedError {
  Ondrel::CSmtpError error;
  std::string_view name;
  bool mayPass;  ///< The same mail may go through later, if the server said nothing else.
};

constexpr std::array kErrors = {
    NamedError{Ondrel::CSMTP_ERROR_NONE, "CSMTP_ERROR_NONE", false},
    NamedError{Ondrel::CSMTP_ERROR_UNEXPECTED_CODE, "CSMTP_ERROR_UNEXPECTED_CODE", true},
    NamedError{Ondrel::CSMTP_ERROR_STREAM, "CSMTP_ERROR_STREAM", true},
    NamedError{Ondrel::CSMTP_ERROR_HOSTNAME, "CSMTP_ERROR_HOSTNAME", true},
    NamedError{Ondrel::CSMTP_ERROR_NOT_IMPLEMENTED, "CSMTP_ERROR_NOT_IMPLEMENTED", false},
    NamedError{Ondrel::CSMTP_ERROR_COMMAND_FAILED, "CSMTP_ERROR_COMMAND_FAILED", true},
    NamedError{Ondrel::CSMTP_ERROR_INTERNAL, "CSMTP_ERROR_INTERNAL", false},
    NamedError{Ondrel::CSMTP_ERROR_STORAGE_FULL, "CSMTP_ERROR_STORAGE_FULL", true},
    NamedError{Ondrel::CSMTP_ERROR_BAD_ENCODING, "CSMTP_ERROR_BAD_ENCODING", false},
    NamedError{Ondrel::CSMTP_ERROR_OUT_OF_MEMORY, "CSMTP_ERROR_OUT_OF_MEMORY", true},
    NamedError{Ondrel::CSMTP_ERROR_CONNECTION_REFUSED, "CSMTP_ERROR_CONNECTION_REFUSED", true},
    NamedError{Ondrel::CSMTP_ERROR_AUTHENTICATION_FAILED, "CSMTP_ERROR_AUTHENTICATION_FAILED",
               false},
    NamedError{Ondrel::CSMTP_ERROR_SSL, "CSMTP_ERROR_SSL", true},
    NamedError{Ondrel::CSMTP_ERROR_NO_RECIPIENT_MAIL, "CSMTP_ERROR_NO_RECIPIENT_MAIL", false},
    NamedError{Ondrel::CSMTP_ERROR_NO_RECIPIENTS, "CSMTP_ERROR_NO_RECIPIENTS", false},
    NamedError{Ondrel::CSMTP_ERROR_NO_MAILFROM, "CSMTP_ERROR_NO_MAILFROM", false},
    NamedError{Ondrel::CSMTP_ERROR_NO_SUBJECT, "CSMTP_ERROR_NO_SUBJECT", false},
};

/// What a server said, taken apart.
struct ServerReply {
  int code;
  std::string text;
};

/// "550-one\n550 two" is 550 and "one two".
std::optional<ServerReply> AnswerOf(const std::string& lines) {
  constexpr std::size_t kCodeSize = 3;
  ServerReply answer{};
  const auto [rest, error] =
      std::from_chars(lines.data(), lines.data() + lines.size(), answer.code);
  if (error != std::errc() || rest != lines.data() + kCodeSize) return std::nullopt;
  for (std::size_t start = 0; start < lines.size();) {
    const std::size_t end = std::min(lines.find('\n', start), lines.size());
    const std::size_t textStart = std::min(start + kCodeSize + 1, end);
    if (!answer.text.empty()) answer.text += ' ';
    answer.text.append(lines, textStart, end - textStart);
    start = end + 1;
  }
  return answer;
}

constexpr int kFirstFailure = 400;
constexpr int kFirstLasting = 500;

/// Whether the same mail may go through later (RFC 5321, 4.2.1: 4yz passes, 5yz lasts).
bool MayRetryHelp(const MailOutcome& outcome) {
  const std::optional<ServerReply> answer = AnswerOf(outcome.serverAnswer);
  if (answer && answer->code >= kFirstLasting) return false;
  if (answer && answer->code >= kFirstFailure) return true;
  if (outcome.isTimedOut) return true;
  const auto known = std::ranges::find(kErrors, outcome.error, &NamedError::error);
  return known != kErrors.end() && known->mayPass;
}

}  // namespace

std::string_view MailErrorName(Ondrel::CSmtpError error) {
  const auto known = std::ranges::find(kErrors, error, &NamedError::error);
  return known != kErrors.end() ? known->name : "CSMTP_ERROR";
}

Json JsonOfOutcome(const MailRoute& route, const MailOutcome& outcome) {
  const std::optional<ServerReply> answer = AnswerOf(outcome.serverAnswer);
  return {{"sent", outcome.isSent},
          {"error", static_cast<int>(outcome.error)},
          {"errorName", MailErrorName(outcome.error)},
          {"serverCode", answer ? Json(answer->code) : Json()},
          {"serverText", answer ? Json(answer->text) : Json()},
          {"timedOut", outcome.isTimedOut},
          {"retry", outcome.isSent ? Json() : Json(MayRetryHelp(outcome))},
          {"text", OutcomeText(route, outcome)}};
}

std::string OutcomeText(const MailRoute& route, const MailOutcome& outcome) {
  const std::string server = OneLine(route.server) + " port " + std::to_string(route.port);
  const std::optional<ServerReply> answer = AnswerOf(outcome.serverAnswer);
  const std::string said =
      answer ? std::to_string(answer->code) + " " + OneLine(answer->text) : std::string();
  if (outcome.isSent) return "sent through " + server + (answer ? ", which answered: " + said : "");
  std::string text = "not sent through " + server + ": " +
                     std::string(MailErrorName(outcome.error)) + " (" +
                     std::to_string(static_cast<int>(outcome.error)) + ")";
  if (outcome.isTimedOut) text += "; the time of " + DurationText(route.timeout) + " was over";
  if (answer) text += "; the server's last answer: " + said;
  return text +
         (MayRetryHelp(outcome) ? "; trying again may help" : "; trying again does not help");
}

}  // namespace Tool
