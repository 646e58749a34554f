#include "Module.h"

#include <Ondrel/Smtp.h>

#include <boost/algorithm/string/trim.hpp>
#include <boost/tokenizer.hpp>

namespace Ondrel {

namespace {

constexpr unsigned short kSmtpPort = 25;

// What distinguishes the six recipient operations in the trace.
struct RecipientOperation {
  const char* function;
  const char* enter;
  const char* leave;
  const char* leaveWithoutMail;
  const char* addMail;
  const char* addMailAndName;
};

constexpr RecipientOperation kAddTO = {
    .function = "Ondrel::CSmtp::AddTO",
    .enter = "ENTER CSmtp::AddTO ()",
    .leave = "LEAVE CSmtp::AddTO ()",
    .leaveWithoutMail = "LEAVE CSmtp::AddTO () -> CSMTP_ERROR_NO_RECIPIENT_MAIL",
    .addMail = "CSmtp::AddTO () add recipient %s",
    .addMailAndName = "CSmtp::AddTO () add recipient %s(%s)",
};

constexpr RecipientOperation kAddCC = {
    .function = "Ondrel::CSmtp::AddCC",
    .enter = "ENTER CSmtp::AddCC ()",
    .leave = "LEAVE CSmtp::AddCC ()",
    .leaveWithoutMail = "LEAVE CSmtp::AddCC () -> CSMTP_ERROR_NO_RECIPIENT_MAIL",
    .addMail = "CSmtp::AddCC () add recipient %s",
    .addMailAndName = "CSmtp::AddCC () add recipient %s(%s)",
};

constexpr RecipientOperation kAddBCC = {
    .function = "Ondrel::CSmtp::AddBCC",
    .enter = "ENTER CSmtp::AddBCC ()",
    .leave = "LEAVE CSmtp::AddBCC ()",
    .leaveWithoutMail = "LEAVE CSmtp::AddBCC () -> CSMTP_ERROR_NO_RECIPIENT_MAIL",
    .addMail = "CSmtp::AddBCC () add recipient %s",
    .addMailAndName = "CSmtp::AddBCC () add recipient %s(%s)",
};

using Recipients = std::vector<CSmtp::Recipient>;

bool AddList(const RecipientOperation& operation, const std::string& mails, Recipients& recipients,
             CSmtpError& lastError) {
  ONDREL_TRACE(kTraceEntry, operation.function, operation.enter);
  if (mails.empty()) {
    lastError = CSMTP_ERROR_NO_RECIPIENT_MAIL;
    ONDREL_TRACE(kTraceEntry, operation.function, operation.leaveWithoutMail);
    return false;
  }

  const boost::char_separator<char> separator(",;", "", boost::drop_empty_tokens);
  for (const std::string& token : boost::tokenizer(mails, separator)) {
    // A space alone between two delimiters gives an empty address: addresses are not checked.
    const std::string mail = boost::algorithm::trim_copy(token);
    ONDREL_TRACE(kTraceDetail, operation.function, operation.addMail, mail);
    recipients.emplace_back(mail, std::string());
  }
  ONDREL_TRACE(kTraceEntry, operation.function, operation.leave);
  return true;
}

bool AddOne(const RecipientOperation& operation, const std::string& mail, const std::string& name,
            Recipients& recipients, CSmtpError& lastError) {
  ONDREL_TRACE(kTraceEntry, operation.function, operation.enter);
  // The name is as compulsory as the address in this form, although the failure speaks of the
  // address alone.
  if (mail.empty() || name.empty()) {
    lastError = CSMTP_ERROR_NO_RECIPIENT_MAIL;
    ONDREL_TRACE(kTraceEntry, operation.function, operation.leaveWithoutMail);
    return false;
  }

  ONDREL_TRACE(kTraceDetail, operation.function, operation.addMailAndName, mail, name);
  recipients.emplace_back(mail, name);
  ONDREL_TRACE(kTraceEntry, operation.function, operation.leave);
  return true;
}

}  // namespace

CSmtp::Recipient::Recipient() = default;

CSmtp::Recipient::Recipient(const std::string& mail, const std::string& name)
    : m_Mail(mail), m_Name(name) {}

CSmtp::Recipient::Recipient(const Recipient& other) = default;

CSmtp::Recipient& CSmtp::Recipient::operator=(const Recipient& other) = default;

CSmtp::Recipient::~Recipient() = default;

CSmtp::CSmtp()
    : m_LastError(CSMTP_ERROR_NONE),
      m_Protocol("smtp"),
      m_Port(kSmtpPort),
      m_XPriority(XPRIORITY_NORMAL),
      m_SaslIr(1),
      m_Timeout(0) {}

// The lines of a message that was sent already are copied along.
CSmtp::CSmtp(const CSmtp& other) = default;

CSmtp& CSmtp::operator=(const CSmtp& other) = default;

CSmtp::~CSmtp() = default;

void CSmtp::SetFrom(const std::string& mail) { m_MailFrom.m_Mail = mail; }

void CSmtp::SetFrom(const std::string& mail, const std::string& name) {
  m_MailFrom.m_Mail = mail;
  m_MailFrom.m_Name = name;
}

void CSmtp::SetReplyTo(const std::string& replyTo) { m_ReplyTo = replyTo; }

void CSmtp::SetServer(const std::string& server, unsigned short port) {
  m_Port = port;
  m_Server = server;
}

void CSmtp::SetUserName(const std::string& userName) { m_UserName = userName; }

void CSmtp::SetPassword(const std::string& password) { m_Password = password; }

void CSmtp::SetProtocol(const std::string& protocol) { m_Protocol = protocol; }

void CSmtp::SetSubject(const std::string& subject) { m_Subject = subject; }

void CSmtp::SetMessageBody(const std::string& body) { m_MessageBody = body; }

void CSmtp::SetXMailer(const std::string& xMailer) { m_XMailer = xMailer; }

void CSmtp::SetMessageId(const std::string& messageId) { m_MessageId = messageId; }

void CSmtp::SetXPriority(CSmtpXPriority priority) { m_XPriority = priority; }

void CSmtp::Set_CURLOPT_SASL_IR(long saslIr) { m_SaslIr = saslIr; }

void CSmtp::SetTimeout(long milliseconds) { m_Timeout = milliseconds; }

bool CSmtp::AddTO(const std::string& mail) { return AddList(kAddTO, mail, m_To, m_LastError); }

bool CSmtp::AddTO(const std::string& mail, const std::string& name) {
  return AddOne(kAddTO, mail, name, m_To, m_LastError);
}

bool CSmtp::AddCC(const std::string& mail) { return AddList(kAddCC, mail, m_Cc, m_LastError); }

bool CSmtp::AddCC(const std::string& mail, const std::string& name) {
  return AddOne(kAddCC, mail, name, m_Cc, m_LastError);
}

bool CSmtp::AddBCC(const std::string& mail) { return AddList(kAddBCC, mail, m_Bcc, m_LastError); }

bool CSmtp::AddBCC(const std::string& mail, const std::string& name) {
  return AddOne(kAddBCC, mail, name, m_Bcc, m_LastError);
}

CSmtpError CSmtp::GetLastError() const { return m_LastError; }

const std::string& CSmtp::GetServerAnswer() const { return m_ServerAnswer; }

}  // namespace Ondrel
