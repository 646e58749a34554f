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

// The envelope's recipients. Declared behind the handle that reads them, it is freed before that.
class EnvelopeRecipients {
public:
  EnvelopeRecipients() = default;
  ~EnvelopeRecipients() { Release(); }

  EnvelopeRecipients(const EnvelopeRecipients&) = delete;
  EnvelopeRecipients& operator=(const EnvelopeRecipients&) = delete;

  // Takes what libcurl answers as the list's head, unchecked: without memory the list is lost.
  void Add(const std::vector<CSmtp::Recipient>& recipients) {
    for (const CSmtp::Recipient& recipient : recipients)
      m_list = Host::Curl().curl_slist_append(m_list, ("<" + recipient.m_Mail + ">").c_str());
  }

  curl_slist* List() const { return m_list; }

  void Release() {
    if (m_isReleased) return;
    m_isReleased = true;
    Host::Curl().curl_slist_free_all(m_list);
  }

private:
  curl_slist* m_list = nullptr;
  bool m_isReleased = false;
};

// Bytes of a line that reach the mail: up to its first zero byte.
std::size_t LineLength(const std::string& line) { return std::strlen(line.c_str()); }

std::size_t LongestLine(const std::vector<std::string>& payload) {
  std::size_t longest = 0;
  for (const std::string& line : payload) longest = std::max(longest, LineLength(line));
  return longest;
}

}  // namespace

bool CSmtp::Send() {
  ONDREL_TRACE(kTraceEntry, kSend, "ENTER CSmtp::Send ()");
  const Host::CurlOperations& host = Host::Curl();
  if (!host.missing.empty()) {
    m_LastError = CSMTP_ERROR_INTERNAL;
    ONDREL_TRACE(kTraceError, kSend, "CSmtp::Send () libcurl: %s", host.missing);
    ONDREL_TRACE(kTraceEntry, kSend, "LEAVE CSmtp::Send () -> libcurl is missing");
    return false;
  }
  EasyHandle handle(host.curl_easy_init());
  if (!handle) {
    ONDREL_TRACE(kTraceEntry, kSend, "LEAVE CSmtp::Send () -> curl_easy_init failed");
    return false;
  }
  CURL* const curl = handle.get();
  m_ServerAnswer.clear();

  // libcurl's texts have no end of their own: what is traced is a copy that has one. Without memory
  // for it the line is lost, since no exception may pass through libcurl.
  const curl_debug_callback trace = [](CURL* easy, curl_infotype type, char* data, std::size_t size,
                                       void* userdata) {
    if (data == nullptr) return 0;
    try {
      ServerAnswer::Notice(type, {data, size});
      if ((g_moduleInfo.TraceMask() & kTraceDetail) == 0) return 0;
      std::string text(data, size);
      return SmtpTrace(easy, type, text.data(), size, userdata);
    } catch (const std::bad_alloc&) {
      return 0;
    }
  };

  // Here and below the results of setting an option are not looked at: an option that libcurl
  // refuses shows in the transfer or leaves its default.
  host.curl_easy_setopt(curl, CURLOPT_DEBUGFUNCTION, trace);
  host.curl_easy_setopt(curl, CURLOPT_VERBOSE, 1L);
  host.curl_easy_setopt(curl, CURLOPT_CRLF, 1L);

  const std::string server = m_Server.empty() ? "localhost" : m_Server;
  const std::string url = m_Protocol + "://" + server + ":" + std::to_string(m_Port);
  host.curl_easy_setopt(curl, CURLOPT_URL, url.c_str());

  // TLS when the server offers it, and never a look at its certificate: mail servers of a service
  // network often have self-made ones, and the alert has to arrive. There is no setting for it.
  host.curl_easy_setopt(curl, CURLOPT_USE_SSL, static_cast<long>(CURLUSESSL_TRY));
  host.curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, 0L);
  host.curl_easy_setopt(curl, CURLOPT_SSL_VERIFYHOST, 0L);

  if (!m_UserName.empty()) {
    host.curl_easy_setopt(curl, CURLOPT_USERNAME, m_UserName.c_str());
    if (!m_Password.empty()) host.curl_easy_setopt(curl, CURLOPT_PASSWORD, m_Password.c_str());
  }
  host.curl_easy_setopt(curl, CURLOPT_SASL_IR, m_SaslIr);
  if (m_Timeout > 0) host.curl_easy_setopt(curl, CURLOPT_TIMEOUT_MS, m_Timeout);

  const std::string from = "<" + m_MailFrom.m_Mail + ">";
  host.curl_easy_setopt(curl, CURLOPT_MAIL_FROM, from.c_str());

  EnvelopeRecipients recipients;
  recipients.Add(m_To);
  recipients.Add(m_Cc);
  recipients.Add(m_Bcc);
  host.curl_easy_setopt(curl, CURLOPT_MAIL_RCPT, recipients.List());

  // The header has traced its own failure: this is the one way out without a LEAVE line.
  if (!FormatHeader()) return false;
  FormatMessageBody();

  // ReadPayload copies a whole line whatever the buffer holds, so the buffer is made to hold it.
  const std::size_t longestLine = LongestLine(m_Payload);
  if (longestLine > kLargestUploadBuffer) {
    recipients.Release();
    handle.reset();
    m_LastError = CSMTP_ERROR_INTERNAL;
    ONDREL_TRACE(kTraceEntry, kSend, "LEAVE CSmtp::Send ()");
    return false;
  }
  if (longestLine > kDefaultUploadBuffer)
    host.curl_easy_setopt(curl, CURLOPT_UPLOAD_BUFFERSIZE, static_cast<long>(longestLine));

  // Stops the transfer where a libcurl reads in smaller pieces than its upload buffer.
  const curl_read_callback read = [](char* buffer, std::size_t size, std::size_t count,
                                     void* data) -> std::size_t {
    const auto& position = *static_cast<const ReadPayloadContext*>(data);
    const std::vector<std::string>& payload = position.owner->m_Payload;
    if (position.lineIndex < payload.size() &&
        LineLength(payload[position.lineIndex]) > size * count)
      return CURL_READFUNC_ABORT;
    return ReadPayload(buffer, size, count, data);
  };
  ReadPayloadContext context{.lineIndex = 0, .owner = this};
  host.curl_easy_setopt(curl, CURLOPT_READFUNCTION, read);
  host.curl_easy_setopt(curl, CURLOPT_READDATA, &context);
  host.curl_easy_setopt(curl, CURLOPT_UPLOAD, 1L);

  ServerAnswer answer;
  const CURLcode result = host.curl_easy_perform(curl);
  m_ServerAnswer = answer.Text();
  recipients.Release();
  handle.reset();

  m_LastError = SmtpErrorFromCurl(result);
  ONDREL_TRACE(kTraceEntry, kSend, "LEAVE CSmtp::Send ()");
  return result == CURLE_OK;
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

  // As it is, the words of a login included: who traces details is trusted with them.
  ONDREL_TRACE(kTraceDetail, "Ondrel::CSmtp::SmtpTrace", kTranscriptLines[type], data);
  return 0;
}

}  // namespace Ondrel
