#include "ESmtp/ReadPayloadContext.h"
#include "ESmtp/ServerAnswer.h"
#include "Tests/Support/SmtpInspector.h"
#include "Tool/Failure.h"
#include "Tool/MailAddress.h"

#include <Ondrel/Smtp.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

// Formats a mail of any texts and hands it to the transfer, takes any dialogue with a server, and
// reads any list of addresses.
//
// The input is texts with a byte 1 between them, in the order of `Texts`; what follows the last is
// the dialogue, whose lines begin with a byte that says who speaks.

namespace {

using Ondrel::CSmtp;

void Require(bool holds) {
  if (!holds) std::abort();
}

std::string TakeText(std::string_view& rest) {
  const std::size_t end = std::min(rest.find('\x01'), rest.size());
  std::string text(rest.substr(0, end));
  rest.remove_prefix(std::min(end + 1, rest.size()));
  return text;
}

struct Texts {
  explicit Texts(std::string_view& rest)
      : to(TakeText(rest)),
        cc(TakeText(rest)),
        name(TakeText(rest)),
        from(TakeText(rest)),
        subject(TakeText(rest)),
        body(TakeText(rest)),
        replyTo(TakeText(rest)),
        xMailer(TakeText(rest)),
        messageId(TakeText(rest)) {}

  std::string to;
  std::string cc;
  std::string name;
  std::string from;
  std::string subject;
  std::string body;
  std::string replyTo;
  std::string xMailer;
  std::string messageId;
};

// The parts of a text between any of the separators, without the empty ones.
std::vector<std::string> PartsOf(const std::string& text, const char* separators) {
  std::vector<std::string> parts;
  for (std::size_t start = 0; start < text.size();) {
    const std::size_t end = std::min(text.find_first_of(separators, start), text.size());
    if (end > start) parts.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return parts;
}

// What the transfer takes of the lines: each up to its first zero byte.
std::string Upload(CSmtp& mail, const std::vector<std::string>& payload) {
  std::size_t longest = 0;
  for (const std::string& line : payload) longest = std::max(longest, line.size());
  std::vector<char> buffer(longest + 1);
  Ondrel::ReadPayloadContext context{.lineIndex = 0, .owner = &mail};
  std::string upload;
  for (;;) {
    const std::size_t length =
        Ondrel::CSmtpInspector::ReadPayload(buffer.data(), 1, buffer.size(), &context);
    if (context.lineIndex == payload.size() && length == 0) return upload;
    upload.append(buffer.data(), length);
  }
}

void FormatMail(const Texts& texts) {
  CSmtp mail;
  Ondrel::CSmtpInspector inside(mail);
  Require(mail.AddTO(texts.to) == !texts.to.empty());
  Require(inside.To().size() == PartsOf(texts.to, ",;").size());
  Require(mail.AddCC(texts.cc, texts.name) == (!texts.cc.empty() && !texts.name.empty()));
  mail.AddBCC(texts.cc);
  mail.SetFrom(texts.from, texts.name);
  mail.SetSubject(texts.subject);
  mail.SetMessageBody(texts.body);
  mail.SetReplyTo(texts.replyTo);
  mail.SetXMailer(texts.xMailer);
  mail.SetMessageId(texts.messageId);

  const bool hasHeader = inside.FormatHeader();
  Require(hasHeader == (!inside.To().empty() && !texts.from.empty()));
  const std::size_t headerLines = inside.Payload().size();
  Require((headerLines == 0) == !hasHeader);
  Require(!hasHeader || inside.Payload().back() == "\n");
  Require(inside.FormatMessageBody());
  const std::vector<std::string> bodyLines = PartsOf(texts.body, "\n");
  Require(inside.Payload().size() == headerLines + bodyLines.size());
  for (std::size_t i = 0; i < bodyLines.size(); ++i)
    Require(inside.Payload()[headerLines + i] == bodyLines[i] + "\n");

  std::string expected;
  for (const std::string& line : inside.Payload()) expected += line.c_str();
  Require(Upload(mail, inside.Payload()) == expected);
}

void TakeDialogue(std::string_view dialogue) {
  constexpr std::size_t kLongestAnswer = 4096;
  const Ondrel::ServerAnswer answer;
  while (!dialogue.empty()) {
    const std::size_t end = std::min(dialogue.find('\x01'), dialogue.size());
    const auto type = static_cast<curl_infotype>(static_cast<unsigned char>(dialogue[0]) % 7);
    // Not zero-terminated, as libcurl hands it over.
    const std::string part(dialogue.substr(0, end));
    Ondrel::ServerAnswer::Notice(type,
                                 std::string_view(part).substr(std::min<std::size_t>(1, end)));
    Require(answer.Text().size() <= kLongestAnswer);
    dialogue.remove_prefix(std::min(end + 1, dialogue.size()));
  }
}

void ReadAddresses(const std::string& list) {
  try {
    for (const Tool::MailAddress& address : Tool::ParseAddresses(list, "--to")) {
      Require(!address.mail.empty());
      Require(address.mail.find_first_of(std::string_view("<>\", \t\r\n\0", 10)) ==
              std::string::npos);
    }
  } catch (const Tool::UsageError& error) {
    Require(std::string_view(error.what()).starts_with("--to: "));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string_view rest(reinterpret_cast<const char*>(data), size);
  const Texts texts(rest);
  FormatMail(texts);
  TakeDialogue(rest);
  ReadAddresses(texts.to);
  return 0;
}
