#include "ESmtp/MailDate.h"
#include "ESmtp/MessageId.h"
#include "Module.h"

#include <Ondrel/Smtp.h>

#include <boost/tokenizer.hpp>

#include <initializer_list>
#include <string_view>

namespace Ondrel {

namespace {

constexpr const char* kFormatHeader = "Ondrel::CSmtp::FormatHeader";
constexpr const char* kFormatMessageBody = "Ondrel::CSmtp::FormatMessageBody";

std::string Line(std::initializer_list<std::string_view> parts) {
  std::size_t size = 1;
  for (const std::string_view part : parts) size += part.size();
  std::string line;
  line.reserve(size);  // A long mail has many lines: none is to hold more than its text.
  for (const std::string_view part : parts) line.append(part);
  return line.append("\n");
}

// The lines of a body that are not empty.
std::size_t CountLines(std::string_view body) {
  std::size_t lines = 0;
  char before = '\n';
  for (const char character : body) {
    if (before == '\n' && character != '\n') ++lines;
    before = character;
  }
  return lines;
}

const char* PriorityLine(CSmtpXPriority priority) {
  switch (priority) {
    case XPRIORITY_HIGH:
      return "X-Priority: 2 (High)\n";
    case XPRIORITY_LOW:
      return "X-Priority: 4 (Low)\n";
    default:
      return "X-Priority: 3 (Normal)\n";
  }
}

std::string AddressLine(const char* field, const std::vector<CSmtp::Recipient>& recipients) {
  std::string line = field;
  const char* separator = "";
  for (const CSmtp::Recipient& recipient : recipients) {
    line.append(separator).append(recipient.m_Name);
    line.append("<").append(recipient.m_Mail).append(">");
    separator = ",";
  }
  return line.append("\n");
}

}  // namespace

bool CSmtp::FormatHeader() {
  ONDREL_TRACE(kTraceEntry, kFormatHeader, "ENTER CSmtp::FormatHeader ()");
  // Cc and Bcc recipients do not make up for a missing To recipient.
  if (m_To.empty()) {
    m_LastError = CSMTP_ERROR_NO_RECIPIENTS;
    ONDREL_TRACE(kTraceEntry, kFormatHeader,
                 "LEAVE CSmtp::FormatHeader () -> failed CSMTP_ERROR_NO_RECIPIENTS");
    return false;
  }
  if (m_MailFrom.m_Mail.empty()) {
    m_LastError = CSMTP_ERROR_NO_MAILFROM;
    ONDREL_TRACE(kTraceEntry, kFormatHeader,
                 "LEAVE CSmtp::FormatHeader () -> failed CSMTP_ERROR_NO_MAILFROM");
    return false;
  }

  // After the lines of an earlier Send, if there are any: the payload only grows.
  m_Payload.push_back(Line({"Date: ", MailDate()}));
  m_Payload.push_back(Line({"From: ", m_MailFrom.m_Name, " <", m_MailFrom.m_Mail, ">"}));
  if (!m_XMailer.empty()) m_Payload.push_back(Line({"X-Mailer: ", m_XMailer}));
  if (!m_ReplyTo.empty()) m_Payload.push_back(Line({"Reply-To: ", m_ReplyTo}));
  m_Payload.push_back(PriorityLine(m_XPriority));
  m_Payload.push_back(AddressLine("To: ", m_To));
  if (!m_Cc.empty()) m_Payload.push_back(AddressLine("Cc: ", m_Cc));
  // In the header, which is intentional: every recipient may read the blind copies.
  if (!m_Bcc.empty()) m_Payload.push_back(AddressLine("Bcc: ", m_Bcc));
  if (m_Subject.empty()) {
    // A warning only; Send replaces it after the transfer.
    m_LastError = CSMTP_ERROR_NO_SUBJECT;
    m_Payload.push_back("Subject: \n");
  } else {
    m_Payload.push_back(Line({"Subject: ", m_Subject}));
  }
  if (m_MessageId.empty())
    m_Payload.push_back(
        Line({"Message-ID: <", MessageIdentifier(), MessageIdHostPart(m_MailFrom.m_Mail), ">"}));
  else
    m_Payload.push_back(Line({"Message-ID: <", m_MessageId, ">"}));
  m_Payload.push_back("MIME-Version: 1.0\n");
  // The small "t" is how the mail has always looked; the name of a field has no case.
  m_Payload.push_back("Content-type: text/plain; charset=US-ASCII\n");
  m_Payload.push_back("Content-Transfer-Encoding: 7bit\n");
  m_Payload.push_back("\n");
  ONDREL_TRACE(kTraceEntry, kFormatHeader, "LEAVE CSmtp::FormatHeader ()");
  return true;
}

bool CSmtp::FormatMessageBody() {
  ONDREL_TRACE(kTraceEntry, kFormatMessageBody, "ENTER CSmtp::FormatMessageBody ()");
  // Empty lines are dropped with the empty tokens: the body of an alert mail is one block.
  const boost::char_separator<char> separator("\n", "", boost::drop_empty_tokens);
  m_Payload.reserve(m_Payload.size() + CountLines(m_MessageBody));
  for (const std::string& token : boost::tokenizer(m_MessageBody, separator))
    m_Payload.push_back(Line({token}));
  ONDREL_TRACE(kTraceEntry, kFormatMessageBody, "LEAVE CSmtp::FormatMessageBody ()");
  return true;
}

}  // namespace Ondrel
