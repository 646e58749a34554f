#include "ESmtp/ReadPayloadContext.h"
#include "ESmtp/ServerAnswer.h"
#include "ESmtp/SmtpResult.h"
#include "Host/CurlOperations.h"
#include "Tests/Support/SmtpInspector.h"
#include "Tool/Failure.h"
#include "Tool/MailAddress.h"

#include <Ondrel/Smtp.h>
#include <Pirsk/ModuleInfo.h>
#include <Pirsk/Trace.h>

#include <algorithm>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

// Formats a mail of any texts and hands it to the transfer, takes any dialogue with a server, sends
// the mail through a libcurl that has this dialogue, and reads any list of addresses.
//
// The input is texts with a byte 1 between them, in the order of `Texts`; what follows the last is
// the dialogue, whose lines begin with a byte that says who speaks. That of the first line also
// says what the libcurl cannot do (kIsMissing, ...), and its length is the transfer's result.

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

constexpr unsigned char kIsMissing = 0x20;
constexpr unsigned char kHasNoHandle = 0x40;
constexpr unsigned char kReadsLittle = 0x80;

// Stands in for libcurl; there is one at a time.
struct Transfer {
  std::string_view dialogue;
  unsigned char failures = 0;
  CURLcode result = CURLE_OK;
  curl_debug_callback debug = nullptr;
  curl_read_callback read = nullptr;
  void* readData = nullptr;
  bool isCutShort = false;
  std::string upload;
  std::size_t recipients = 0;
};

Transfer* g_transfer = nullptr;

void Speak(std::string_view line) {
  const auto type = static_cast<curl_infotype>(static_cast<unsigned char>(line[0]) % 8);
  const std::size_t size = line.size() - 1;
  // As many bytes as there are, and none for an empty line.
  const std::unique_ptr<char[]> bytes(size != 0 ? new char[size] : nullptr);
  std::ranges::copy(line.substr(1), bytes.get());
  Require(g_transfer->debug(nullptr, type, bytes.get(), size, nullptr) == 0);
}

CURLcode Perform(CURL*) {
  for (std::string_view rest = g_transfer->dialogue; !rest.empty();) {
    const std::string_view line = rest.substr(0, rest.find('\x01'));
    rest.remove_prefix(std::min(line.size() + 1, rest.size()));
    if (!line.empty()) Speak(line);
  }
  const std::size_t room = (g_transfer->failures & kReadsLittle) != 0 ? 16 : std::size_t{64} * 1024;
  const std::unique_ptr<char[]> buffer(new char[room]);
  while (const std::size_t length = g_transfer->read(buffer.get(), 1, room, g_transfer->readData)) {
    if (length == CURL_READFUNC_ABORT) {
      g_transfer->isCutShort = true;
      return CURLE_ABORTED_BY_CALLBACK;
    }
    Require(length <= room);
    g_transfer->upload.append(buffer.get(), length);
  }
  return g_transfer->result;
}

CURLcode SetOption(CURL*, CURLoption option, ...) {
  std::va_list arguments;
  va_start(arguments, option);
  if (option == CURLOPT_DEBUGFUNCTION)
    g_transfer->debug = va_arg(arguments, curl_debug_callback);
  else if (option == CURLOPT_READFUNCTION)
    g_transfer->read = va_arg(arguments, curl_read_callback);
  else if (option == CURLOPT_READDATA)
    g_transfer->readData = va_arg(arguments, void*);
  va_end(arguments);
  return CURLE_OK;
}

void UsePreparedOperations() {
  static int handle;
  Ondrel::Host::CurlOperations& host = Ondrel::Host::Curl();
  host.curl_easy_init = []() -> CURL* {
    return (g_transfer->failures & kHasNoHandle) != 0 ? nullptr : &handle;
  };
  host.curl_easy_setopt = SetOption;
  host.curl_easy_perform = Perform;
  host.curl_easy_cleanup = [](CURL*) {};
  host.curl_slist_append = [](curl_slist* list, const char*) {
    ++g_transfer->recipients;
    return list;
  };
  host.curl_slist_free_all = [](curl_slist*) {};
  // The transcript as it is traced: one line, whatever the server says.
  constexpr std::uint32_t kOndrelModule = 5;
  Pirsk::Misc::SetTraceMask(kOndrelModule, Pirsk::Misc::kTraceError | Pirsk::Misc::kTraceDetail);
  Pirsk::Trace::SetSink([](const Pirsk::Trace::Line& line) {
    const std::string text = line.str();
    Require(std::ranges::none_of(
        text, [](char byte) { return byte >= 0 && byte < ' ' && byte != '\t'; }));
  });
}

void SendMail(const Texts& texts, std::string_view dialogue) {
  Transfer transfer;
  g_transfer = &transfer;
  transfer.dialogue = dialogue;
  if (!dialogue.empty()) transfer.failures = static_cast<unsigned char>(dialogue[0]) & 0xE0;
  transfer.result = static_cast<CURLcode>(std::min(dialogue.find('\x01'), dialogue.size()) % 100);
  Ondrel::Host::Curl().missing = (transfer.failures & kIsMissing) != 0 ? "libcurl" : "";

  CSmtp mail;
  mail.AddTO(texts.to);
  mail.AddTO(texts.to, texts.name);
  mail.AddCC(texts.cc);
  mail.AddBCC(texts.cc, texts.name);
  mail.SetFrom(texts.from);
  mail.SetSubject(texts.subject);
  mail.SetMessageBody(texts.body);
  mail.SetServer(texts.name, static_cast<unsigned short>(texts.subject.size()));
  mail.SetProtocol(texts.xMailer);
  mail.SetUserName(texts.replyTo);
  mail.SetPassword(texts.messageId);
  mail.SetTimeout(static_cast<long>(texts.body.size()));
  mail.Set_CURLOPT_SASL_IR(0);
  mail.SetXPriority(static_cast<Ondrel::CSmtpXPriority>(2 + texts.name.size() % 3));
  CSmtp copy;
  copy = CSmtp(mail);
  Ondrel::CSmtpInspector inside(copy);
  const bool isSent = copy.Send();

  const bool isPossible = (transfer.failures & (kIsMissing | kHasNoHandle)) == 0 &&
                          !inside.To().empty() && !texts.from.empty();
  Require(isSent == (isPossible && transfer.result == CURLE_OK && !transfer.isCutShort));
  Require(copy.GetServerAnswer().size() <= 4096);
  if (!isPossible) return;
  Require(transfer.recipients == inside.To().size() + inside.Cc().size() + inside.Bcc().size());
  Require(
      copy.GetLastError() ==
      Ondrel::SmtpErrorFromCurl(transfer.isCutShort ? CURLE_ABORTED_BY_CALLBACK : transfer.result));
  if (transfer.isCutShort) return;
  std::string expected;
  for (const std::string& line : inside.Payload()) expected += line.c_str();
  // A line that begins with its end ends the upload.
  Require(expected.starts_with(transfer.upload));
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
  static const bool isPrepared = (UsePreparedOperations(), true);
  static_cast<void>(isPrepared);
  std::string_view rest(reinterpret_cast<const char*>(data), size);
  const Texts texts(rest);
  FormatMail(texts);
  TakeDialogue(rest);
  SendMail(texts, rest);
  ReadAddresses(texts.to);
  return 0;
}
