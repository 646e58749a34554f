#pragma once

#include <Ondrel/Smtp.h>

#include <cstddef>
#include <string>
#include <vector>

namespace Ondrel {

/// The tests' view of what a mail object holds and does inside.
class CSmtpInspector {
public:
  explicit CSmtpInspector(CSmtp& mail) : m_mail(mail) {}

  CSmtpError& LastError() { return m_mail.m_LastError; }
  CSmtp::Recipient& MailFrom() { return m_mail.m_MailFrom; }
  std::string& Subject() { return m_mail.m_Subject; }
  std::string& MessageBody() { return m_mail.m_MessageBody; }
  std::string& XMailer() { return m_mail.m_XMailer; }
  std::string& ReplyTo() { return m_mail.m_ReplyTo; }
  std::string& UserName() { return m_mail.m_UserName; }
  std::string& Password() { return m_mail.m_Password; }
  std::string& Protocol() { return m_mail.m_Protocol; }
  std::string& Server() { return m_mail.m_Server; }
  unsigned short& Port() { return m_mail.m_Port; }
  CSmtpXPriority& XPriority() { return m_mail.m_XPriority; }
  long& SaslIr() { return m_mail.m_SaslIr; }
  std::vector<CSmtp::Recipient>& To() { return m_mail.m_To; }
  std::vector<CSmtp::Recipient>& Cc() { return m_mail.m_Cc; }
  std::vector<CSmtp::Recipient>& Bcc() { return m_mail.m_Bcc; }
  std::vector<std::string>& Payload() { return m_mail.m_Payload; }

  bool FormatHeader() { return m_mail.FormatHeader(); }
  bool FormatMessageBody() { return m_mail.FormatMessageBody(); }

  static std::size_t ReadPayload(void* buffer, std::size_t size, std::size_t count, void* context) {
    return CSmtp::ReadPayload(buffer, size, count, context);
  }
  static int SmtpTrace(void* handle, int type, char* data, std::size_t size, void* userdata) {
    return CSmtp::SmtpTrace(handle, type, data, size, userdata);
  }

private:
  CSmtp& m_mail;
};

}  // namespace Ondrel
