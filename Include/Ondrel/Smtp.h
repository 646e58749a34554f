#pragma once

#include <Ondrel/Export.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace Ondrel {

/// Priority of a message. Any other number is written as normal.
enum CSmtpXPriority : std::int32_t {
  XPRIORITY_HIGH = 2,
  XPRIORITY_NORMAL = 3,
  XPRIORITY_LOW = 4,
};

/// Why a mail operation failed. The numbers 0 to 31 belong to the enumeration; those without a name
/// here are never stored.
enum CSmtpError : std::int32_t {
  CSMTP_ERROR_NONE = 0,                    ///< The transfer succeeded.
  CSMTP_ERROR_UNEXPECTED_CODE = 1,         ///< A failure without a kind of its own.
  CSMTP_ERROR_STREAM = 3,                  ///< The connection broke or the transfer was cut.
  CSMTP_ERROR_HOSTNAME = 4,                ///< The server's name or URL could not be used.
  CSMTP_ERROR_NOT_IMPLEMENTED = 5,         ///< The protocol or feature is missing here.
  CSMTP_ERROR_COMMAND_FAILED = 7,          ///< The server refused a command.
  CSMTP_ERROR_INTERNAL = 8,                ///< The transfer could not be set up.
  CSMTP_ERROR_STORAGE_FULL = 9,            ///< The server is out of storage.
  CSMTP_ERROR_BAD_ENCODING = 12,           ///< The content encoding was rejected.
  CSMTP_ERROR_OUT_OF_MEMORY = 15,          ///< No memory for the transfer.
  CSMTP_ERROR_CONNECTION_REFUSED = 25,     ///< The server could not be reached.
  CSMTP_ERROR_AUTHENTICATION_FAILED = 26,  ///< The login was refused.
  CSMTP_ERROR_SSL = 27,                    ///< TLS, sending or receiving failed.
  CSMTP_ERROR_NO_RECIPIENT_MAIL = 28,      ///< A recipient was added without an address.
  CSMTP_ERROR_NO_RECIPIENTS = 29,          ///< The message has no To recipient.
  CSMTP_ERROR_NO_MAILFROM = 30,            ///< The message has no sender address.
  CSMTP_ERROR_NO_SUBJECT = 31,             ///< The message has no subject; a warning only.
};

/// One outgoing plain-text message with all that is needed to deliver it.
///
/// Fill it through the setters and the `Add` operations, call `Send`, and read the outcome from its
/// result and from `GetLastError`. Nothing is raised. Texts go into the mail as they are given:
/// none is checked, encoded or escaped, and a line break in a header text begins a line of its own
/// there.
///
/// A message is sent once: the formatted lines stay in the object, so that a second `Send` delivers
/// the first message again in front of the second. Take a fresh object for each message. The copy
/// of a sent object carries its lines along.
///
/// One object belongs to one thread at a time; separate objects may be used from separate threads.
/// A program that sends from several threads calls `curl_global_init` before it starts them.
class ONDREL_API CSmtp {
public:
  /// One address with its display name.
  class ONDREL_API Recipient {
  public:
    Recipient();
    Recipient(const std::string& mail, const std::string& name);  ///< Neither is checked.
    Recipient(const Recipient& other);
    Recipient& operator=(const Recipient& other);
    virtual ~Recipient();

    std::string m_Mail;  ///< Mail address, without angle brackets.
    std::string m_Name;  ///< Display name; may be empty.
  };

  /// An empty message for port 25 of the local machine, of normal priority.
  CSmtp();
  CSmtp(const CSmtp& other);
  CSmtp& operator=(const CSmtp& other);

  /// Releases the message. The password is not wiped from memory.
  virtual ~CSmtp();

  /// Sets the sender's address; its display name stays as it was.
  void SetFrom(const std::string& mail);
  /// Sets the sender's address and display name.
  void SetFrom(const std::string& mail, const std::string& name);
  /// Sets the text of the Reply-To line; empty for none.
  void SetReplyTo(const std::string& replyTo);
  /// Sets the server's host name or address and its port. An empty name means "localhost".
  void SetServer(const std::string& server, unsigned short port);
  /// Sets the login name; empty for no login.
  void SetUserName(const std::string& userName);
  /// Sets the login password; used only together with a user name.
  void SetPassword(const std::string& password);
  /// Sets the URL scheme: "smtp" (TLS when the server offers it) or "smtps" (TLS from the start).
  void SetProtocol(const std::string& protocol);
  /// Sets the text of the Subject line.
  void SetSubject(const std::string& subject);
  /// Sets the body, its lines separated by line feeds. Empty lines do not reach the mail.
  void SetMessageBody(const std::string& body);
  /// Sets the text of the X-Mailer line; empty for none.
  void SetXMailer(const std::string& xMailer);
  /// Sets the text of the Message-ID line, without its angle brackets; empty for one that is made
  /// at random when the message is sent. A message that is sent again under the same text can be
  /// known as a repeat by its receiver.
  void SetMessageId(const std::string& messageId);
  /// Sets the priority.
  void SetXPriority(CSmtpXPriority priority);
  /// Sets whether a login sends its first response at once: 1 (the default) or 0.
  void Set_CURLOPT_SASL_IR(long saslIr);
  /// Sets how many milliseconds `Send` may take as a whole; 0 (the default) sets no limit. When the
  /// time is over `Send` fails with `CSMTP_ERROR_STREAM`.
  void SetTimeout(long milliseconds);

  /// Adds To recipients: addresses separated by "," or ";", without display names. True on success;
  /// false, with `CSMTP_ERROR_NO_RECIPIENT_MAIL` stored, when `mail` is empty. Addresses are not
  /// checked.
  bool AddTO(const std::string& mail);
  /// Adds one To recipient, address and name as given. False, with `CSMTP_ERROR_NO_RECIPIENT_MAIL`
  /// stored, when either is empty.
  bool AddTO(const std::string& mail, const std::string& name);
  /// Adds Cc recipients, as `AddTO`.
  bool AddCC(const std::string& mail);
  /// Adds one Cc recipient, as `AddTO`.
  bool AddCC(const std::string& mail, const std::string& name);
  /// Adds Bcc recipients, as `AddTO`. They stand in the header that every recipient receives.
  bool AddBCC(const std::string& mail);
  /// Adds one Bcc recipient, as `AddTO`.
  bool AddBCC(const std::string& mail, const std::string& name);

  /// Delivers the message and waits until that is done or has failed; true when it was delivered.
  ///
  /// There is no time limit unless `SetTimeout` sets one. The server's certificate is not verified.
  /// A line of the message, its line feed included, may have up to 2 MiB; a longer one is refused
  /// with `CSMTP_ERROR_INTERNAL` before anything is sent. An empty subject is sent as such and
  /// leaves no failure recorded.
  bool Send();

  /// The failure recorded last, or `CSMTP_ERROR_NONE` after a transfer that succeeded. Setters and
  /// successful `Add` operations do not clear it.
  CSmtpError GetLastError() const;

  /// What the server answered last in the last `Send`, such as "550 5.1.1 No such user here": the
  /// code, a space and the text, as the server sent them. The lines of a longer answer are
  /// separated by line feeds. Empty when no answer came; cut after 4 KiB. The answer to the end of
  /// the dialogue (QUIT) does not count.
  const std::string& GetServerAnswer() const;

private:
  friend class CSmtpInspector;  // The unit tests' view of the formatted lines.
  friend class CSmtpTransfer;   // What Send does with libcurl.

  bool FormatHeader();
  bool FormatMessageBody();
  static std::size_t ReadPayload(void* buffer, std::size_t size, std::size_t count, void* context);
  static int SmtpTrace(void* handle, int type, char* data, std::size_t size, void* userdata);

  CSmtpError m_LastError;
  Recipient m_MailFrom;
  std::string m_Subject;
  std::string m_MessageBody;
  std::string m_XMailer;
  std::string m_ReplyTo;
  std::string m_UserName;
  std::string m_Password;
  std::string m_Protocol;
  std::string m_Server;
  unsigned short m_Port;
  CSmtpXPriority m_XPriority;
  long m_SaslIr;
  std::vector<Recipient> m_To;
  std::vector<Recipient> m_Cc;
  std::vector<Recipient> m_Bcc;
  std::vector<std::string> m_Payload;
  long m_Timeout;
  std::string m_ServerAnswer;
  std::string m_MessageId;
};

}  // namespace Ondrel
