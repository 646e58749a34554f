#include "ESmtp/ReadPayloadContext.h"
#include "ESmtp/ServerAnswer.h"
#include "ESmtp/SmtpResult.h"
#include "Host/CurlOperations.h"
#include "Module.h"

#include <Ondrel/Smtp.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <memory>
#include <new>
#include <optional>
#include <string>

namespace Ondrel {

namespace {

constexpr const char* kSend = "Ondrel::CSmtp::Send";

// libcurl's upload buffer as it is and as large as it may be made, in bytes.
constexpr std::size_t kDefaultUploadBuffer = std::size_t{64} * 1024;
constexpr std::size_t kLargestUploadBuffer = std::size_t{2} * 1024 * 1024;

// The transcript's lines by curl_infotype.
constexpr const char* kTranscriptLines[] = {
    "CSmtp/cURL: %s",                   // CURLINFO_TEXT
    "CSmtp/cURL: <= Recv header %s",    // CURLINFO_HEADER_IN
    "CSmtp/cURL: => Send header %s",    // CURLINFO_HEADER_OUT
    "CSmtp/cURL: <= Recv data %s",      // CURLINFO_DATA_IN
    "CSmtp/cURL: => Send data %s",      // CURLINFO_DATA_OUT
    "CSmtp/cURL: <= Recv SSL data %s",  // CURLINFO_SSL_DATA_IN
    "CSmtp/cURL: => Send SSL data %s",  // CURLINFO_SSL_DATA_OUT
};
static_assert(std::size(kTranscriptLines) == CURLINFO_END);

struct EasyHandleCleanup {
  void operator()(CURL* handle) const { Host::Curl().curl_easy_cleanup(handle); }
};
using EasyHandle = std::unique_ptr<CURL, EasyHandleCleanup>;

// The envelope's recipients. Declared after the handle that reads them, they are freed before it.
class EnvelopeRecipients {
public:
  EnvelopeRecipients() = default;
  ~EnvelopeRecipients() { Host::Curl().curl_slist_free_all(m_list); }

  EnvelopeRecipients(const EnvelopeRecipients&) = delete;
  EnvelopeRecipients& operator=(const EnvelopeRecipients&) = delete;

  // Takes what libcurl answers as the list's head, unchecked: without memory the list is lost.
  void Add(const std::vector<CSmtp::Recipient>& recipients) {
    for (const CSmtp::Recipient& recipient : recipients)
      m_list = Host::Curl().curl_slist_append(m_list, ("<" + recipient.m_Mail + ">").c_str());
  }

  curl_slist* List() const { return m_list; }

private:
  curl_slist* m_list = nullptr;
};

// Bytes of a line that reach the mail: up to its first zero byte.
std::size_t LineLength(const std::string& line) { return std::strlen(line.c_str()); }

std::size_t LongestLine(const std::vector<std::string>& payload) {
  std::size_t longest = 0;
  for (const std::string& line : payload) longest = std::max(longest, LineLength(line));
  return longest;
}

}  // namespace

/// One transfer of a message: the handle, what it is set to and what that refers to.
class CSmtpTransfer {
public:
  explicit CSmtpTransfer(CSmtp& mail) : m_mail(mail), m_handle(m_host.curl_easy_init()) {}

  /// False when libcurl gave no handle: then nothing else is called.
  bool IsOpen() const { return m_handle != nullptr; }

  void Configure();
  void SetEnvelope();

  /// Uploads the formatted lines, then gives the envelope and the handle back.
  CSmtpError Upload();

private:
  // The results of setting an option are not looked at: an option that libcurl refuses shows in the
  // transfer or leaves its default.
  template <class Value>
  void Set(CURLoption option, Value value) {
    m_host.curl_easy_setopt(m_handle.get(), option, value);
  }

  CSmtpError Perform();

  static int Trace(CURL* handle, curl_infotype type, char* data, std::size_t size, void* userdata);
  static std::size_t Read(char* buffer, std::size_t size, std::size_t count, void* context);

  const Host::CurlOperations& m_host = Host::Curl();
  CSmtp& m_mail;
  EasyHandle m_handle;
  std::string m_url;
  std::string m_from;
  std::optional<EnvelopeRecipients>
      m_recipients;  // Nothing is freed for a handle that is not there.
};

// libcurl's texts have no end of their own: what is traced is a copy that has one. Without memory
// for it the line is lost, since no exception may pass through libcurl.
int CSmtpTransfer::Trace(CURL* handle, curl_infotype type, char* data, std::size_t size,
                         void* userdata) {
  if (data == nullptr) return 0;
  try {
    ServerAnswer::Notice(type, {data, size});
    if ((g_moduleInfo.TraceMask() & kTraceDetail) == 0) return 0;
    std::string text(data, size);
    return CSmtp::SmtpTrace(handle, type, text.data(), size, userdata);
  } catch (const std::bad_alloc&) {
    return 0;
  }
}

// Stops the transfer where a libcurl reads in smaller pieces than its upload buffer.
std::size_t CSmtpTransfer::Read(char* buffer, std::size_t size, std::size_t count, void* context) {
  const auto& position = *static_cast<const ReadPayloadContext*>(context);
  const std::vector<std::string>& payload = position.owner->m_Payload;
  if (position.lineIndex < payload.size() && LineLength(payload[position.lineIndex]) > size * count)
    return CURL_READFUNC_ABORT;
  return CSmtp::ReadPayload(buffer, size, count, context);
}

void CSmtpTransfer::Configure() {
  Set(CURLOPT_DEBUGFUNCTION, static_cast<curl_debug_callback>(Trace));
  Set(CURLOPT_VERBOSE, 1L);
  Set(CURLOPT_CRLF, 1L);

  const std::string server = m_mail.m_Server.empty() ? "localhost" : m_mail.m_Server;
  m_url = m_mail.m_Protocol + "://" + server + ":" + std::to_string(m_mail.m_Port);
  Set(CURLOPT_URL, m_url.c_str());

  // TLS when the server offers it, and never a look at its certificate: mail servers of a service
  // network often have self-made ones, and the alert has to arrive. There is no setting for it.
  Set(CURLOPT_USE_SSL, static_cast<long>(CURLUSESSL_TRY));
  Set(CURLOPT_SSL_VERIFYPEER, 0L);
  Set(CURLOPT_SSL_VERIFYHOST, 0L);

  if (!m_mail.m_UserName.empty()) {
    Set(CURLOPT_USERNAME, m_mail.m_UserName.c_str());
    if (!m_mail.m_Password.empty()) Set(CURLOPT_PASSWORD, m_mail.m_Password.c_str());
  }
  Set(CURLOPT_SASL_IR, m_mail.m_SaslIr);
  if (m_mail.m_Timeout > 0) Set(CURLOPT_TIMEOUT_MS, m_mail.m_Timeout);
}

void CSmtpTransfer::SetEnvelope() {
  m_from = "<" + m_mail.m_MailFrom.m_Mail + ">";
  Set(CURLOPT_MAIL_FROM, m_from.c_str());
  m_recipients.emplace();
  m_recipients->Add(m_mail.m_To);
  m_recipients->Add(m_mail.m_Cc);
  m_recipients->Add(m_mail.m_Bcc);
  Set(CURLOPT_MAIL_RCPT, m_recipients->List());
}

CSmtpError CSmtpTransfer::Upload() {
  // ReadPayload copies a whole line whatever the buffer holds, so the buffer is made to hold it.
  const std::size_t longestLine = LongestLine(m_mail.m_Payload);
  CSmtpError error = CSMTP_ERROR_INTERNAL;
  if (longestLine <= kLargestUploadBuffer) {
    if (longestLine > kDefaultUploadBuffer)
      Set(CURLOPT_UPLOAD_BUFFERSIZE, static_cast<long>(longestLine));
    error = Perform();
  }
  m_recipients.reset();
  m_handle.reset();
  return error;
}

CSmtpError CSmtpTransfer::Perform() {
  ReadPayloadContext context{.lineIndex = 0, .owner = &m_mail};
  Set(CURLOPT_READFUNCTION, static_cast<curl_read_callback>(Read));
  Set(CURLOPT_READDATA, static_cast<void*>(&context));
  Set(CURLOPT_UPLOAD, 1L);
  ServerAnswer answer;
  const CURLcode result = m_host.curl_easy_perform(m_handle.get());
  m_mail.m_ServerAnswer = answer.Text();
  return SmtpErrorFromCurl(result);
}

bool CSmtp::Send() {
  ONDREL_TRACE(kTraceEntry, kSend, "ENTER CSmtp::Send ()");
  if (const std::string& missing = Host::Curl().missing; !missing.empty()) {
    m_LastError = CSMTP_ERROR_INTERNAL;
    ONDREL_TRACE(kTraceError, kSend, "CSmtp::Send () libcurl: %s", missing);
    ONDREL_TRACE(kTraceEntry, kSend, "LEAVE CSmtp::Send () -> libcurl is missing");
    return false;
  }
  CSmtpTransfer transfer(*this);
  if (!transfer.IsOpen()) {
    ONDREL_TRACE(kTraceEntry, kSend, "LEAVE CSmtp::Send () -> curl_easy_init failed");
    return false;
  }
  m_ServerAnswer.clear();
  transfer.Configure();
  transfer.SetEnvelope();
  // The header has traced its own failure: this is the one way out without a LEAVE line.
  if (!FormatHeader()) return false;
  FormatMessageBody();
  m_LastError = transfer.Upload();
  ONDREL_TRACE(kTraceEntry, kSend, "LEAVE CSmtp::Send ()");
  return m_LastError == CSMTP_ERROR_NONE;
}

std::size_t CSmtp::ReadPayload(void* buffer, std::size_t size, std::size_t count, void* context) {
  if (size * count == 0) return 0;

  auto& position = *static_cast<ReadPayloadContext*>(context);
  const std::vector<std::string>& payload = position.owner->m_Payload;
  if (position.lineIndex == payload.size()) return 0;

  // One whole line a call, not compared with the buffer's capacity: Send sees to it that the buffer
  // holds the longest line.
  const std::string& line = payload[position.lineIndex];
  const std::size_t length = LineLength(line);
  std::memcpy(buffer, line.c_str(), length);
  ++position.lineIndex;
  return length;
}

int CSmtp::SmtpTrace(void* /*handle*/, int type, char* data, std::size_t /*size*/,
                     void* /*userdata*/) {
  if (data == nullptr || type < CURLINFO_TEXT || type > CURLINFO_SSL_DATA_OUT) return 0;

  // As it is, the words of a login included: whoever traces details is trusted with them.
  ONDREL_TRACE(kTraceDetail, "Ondrel::CSmtp::SmtpTrace", kTranscriptLines[type], data);
  return 0;
}

}  // namespace Ondrel
