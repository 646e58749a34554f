#include "Tool/Watch/Linux/Sending.h"

#include <Ondrel/Smtp.h>

#include <fstream>
#include <string_view>

namespace Tool::Watch {

namespace {

constexpr std::size_t kLongestAnswer = 200;
constexpr long kSendLimit = 170L * 1000;  // Milliseconds; a sender is ended after 180 s.
constexpr std::string_view kSent = "sent";
constexpr std::string_view kFailed = "failed ";
constexpr std::string_view kUncertain = "uncertain ";

struct ErrorWords {
  Ondrel::CSmtpError error;
  const char* words;
};

constexpr ErrorWords kErrorWords[] = {
    {Ondrel::CSMTP_ERROR_STREAM, "the connection broke"},
    {Ondrel::CSMTP_ERROR_HOSTNAME, "the server's name cannot be resolved"},
    {Ondrel::CSMTP_ERROR_NOT_IMPLEMENTED, "the protocol is not supported here"},
    {Ondrel::CSMTP_ERROR_COMMAND_FAILED, "the server refused a command"},
    {Ondrel::CSMTP_ERROR_INTERNAL, "the transfer could not be set up"},
    {Ondrel::CSMTP_ERROR_STORAGE_FULL, "the server is out of storage"},
    {Ondrel::CSMTP_ERROR_OUT_OF_MEMORY, "out of memory"},
    {Ondrel::CSMTP_ERROR_CONNECTION_REFUSED, "the server cannot be reached"},
    {Ondrel::CSMTP_ERROR_AUTHENTICATION_FAILED, "the login was refused"},
    {Ondrel::CSMTP_ERROR_SSL, "sending or receiving failed"},
};

std::string WordsOf(Ondrel::CSmtpError error) {
  for (const ErrorWords& row : kErrorWords)
    if (row.error == error) return row.words;
  return "the transfer failed, error " + std::to_string(static_cast<int>(error));
}

// The server's last answer on one line of printable ASCII.
std::string AnswerOf(const Ondrel::CSmtp& message) {
  std::string answer = message.GetServerAnswer().substr(0, kLongestAnswer);
  answer.erase(answer.find_last_not_of(" \r\n") + 1);
  for (char& character : answer)
    if (character < 0x20 || character > 0x7E) character = '?';
  return answer;
}

// Failures before the mail's text can have reached the server.
bool IsBeforeTransfer(Ondrel::CSmtpError error) {
  switch (error) {
    case Ondrel::CSMTP_ERROR_HOSTNAME:
    case Ondrel::CSMTP_ERROR_NOT_IMPLEMENTED:
    case Ondrel::CSMTP_ERROR_INTERNAL:
    case Ondrel::CSMTP_ERROR_OUT_OF_MEMORY:
    case Ondrel::CSMTP_ERROR_CONNECTION_REFUSED:
    case Ondrel::CSMTP_ERROR_AUTHENTICATION_FAILED:
      return true;
    default:
      return false;
  }
}

// A server that answers with a number from 400 on has not taken the mail.
bool IsRefusal(const std::string& words) {
  return words.size() >= 3 && (words[0] == '4' || words[0] == '5');
}

Ondrel::CSmtpXPriority PriorityOf(int severity) {
  if (severity >= 4) return Ondrel::XPRIORITY_HIGH;
  return severity == 3 ? Ondrel::XPRIORITY_NORMAL : Ondrel::XPRIORITY_LOW;
}

}  // namespace

SendOutcome Send(const MailSettings& settings, const StoredMail& mail) {
  Ondrel::CSmtp message;
  if (!settings.user.empty()) {
    std::ifstream file(settings.passwordFile);
    std::string password;
    if (!std::getline(file, password))
      return {.isSent = false,
              .mayHaveArrived = false,
              .error = "cannot read the password from " + settings.passwordFile};
    if (password.ends_with('\r')) password.pop_back();
    message.SetUserName(settings.user);
    message.SetPassword(password);
  }
  message.SetServer(settings.server, settings.port);
  message.SetProtocol(settings.protocol);
  message.SetFrom(settings.from);
  message.SetXMailer("ondrel watch");
  message.SetXPriority(PriorityOf(mail.severity));
  message.SetSubject(mail.subject);
  message.SetMessageBody((mail.isRepeat ? kRepeatNote : "") + mail.body);
  message.SetMessageId(mail.messageId);
  message.SetTimeout(kSendLimit);
  message.AddTO(mail.recipient);
  if (message.Send()) return {.isSent = true, .mayHaveArrived = false, .error = ""};
  const std::string answer = AnswerOf(message);
  SendOutcome outcome;
  outcome.error = WordsOf(message.GetLastError());
  if (!answer.empty()) outcome.error += "; the server's last words: " + answer;
  outcome.mayHaveArrived = !IsBeforeTransfer(message.GetLastError()) && !IsRefusal(answer);
  return outcome;
}

std::string TextOfOutcome(const SendOutcome& outcome) {
  if (outcome.isSent) return std::string(kSent);
  return std::string(outcome.mayHaveArrived ? kUncertain : kFailed) + outcome.error;
}

SendOutcome OutcomeOfText(const std::string& text) {
  if (text == kSent) return {.isSent = true, .mayHaveArrived = false, .error = ""};
  if (text.starts_with(kFailed))
    return {.isSent = false, .mayHaveArrived = false, .error = text.substr(kFailed.size())};
  if (text.starts_with(kUncertain))
    return {.isSent = false, .mayHaveArrived = true, .error = text.substr(kUncertain.size())};
  return {.isSent = false, .mayHaveArrived = true, .error = "the sender ended before it was done"};
}

}  // namespace Tool::Watch
