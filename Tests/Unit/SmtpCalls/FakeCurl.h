#pragma once

#include "Host/CurlOperations.h"
#include "Support/PreparedOperations.h"

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace Ondrel::Testing {

/// Stands in for libcurl for one scope: notes every call, in order and with its values, and does
/// what a test says. There is one at a time.
class FakeCurl {
public:
  FakeCurl();
  ~FakeCurl();

  FakeCurl(const FakeCurl&) = delete;
  FakeCurl& operator=(const FakeCurl&) = delete;

  /// The fake in force.
  static FakeCurl& Current();

  /// What the calls look like: "init", "NAME value" for an option, "append <text>", "perform",
  /// "free list", "cleanup". Functions and the read data show as "set".
  std::vector<std::string> m_calls;

  bool m_initFails = false;
  std::size_t m_appendFailsAt = 0;  ///< Number of the append that answers null; 0 for none.
  CURLcode m_optionResult = CURLE_OK;
  CURLcode m_result = CURLE_OK;

  /// What happens inside the transfer, in front of its result.
  std::function<void(FakeCurl&)> m_transfer;

  /// Calls the read callback as libcurl does and gives its answer; the bytes come to `text`.
  std::size_t Read(std::size_t size, std::size_t count, std::string& text);

  /// Reads as libcurl does, to the end: what the mail's text is.
  std::string ReadAll(std::size_t bufferSize);

  /// Calls the debug callback with bytes that no zero byte follows.
  int Debug(curl_infotype type, const std::string& bytes);

  /// Calls the debug callback as it was asked to.
  int DebugRaw(curl_infotype type, char* data, std::size_t size);

  /// The envelope's recipients as they stand at this moment.
  std::vector<std::string> Recipients() const;

  // What the replaced functions of libcurl do.
  CURL* Init();
  CURLcode SetLong(CURLoption option, long value);
  CURLcode SetPointer(CURLoption option, const void* value);
  CURLcode SetFunction(CURLoption option, void (*function)());
  CURLcode Perform();
  void Cleanup(CURL* handle);
  curl_slist* Append(curl_slist* list, const char* text);
  void FreeList(curl_slist* list);

private:
  static Host::CurlOperations Operations();

  PreparedOperations<Host::CurlOperations> m_operations;
  int m_handle = 0;
  std::size_t m_appends = 0;
  curl_slist* m_recipients = nullptr;
  void* m_readData = nullptr;
  curl_read_callback m_read = nullptr;
  curl_debug_callback m_debug = nullptr;
};

}  // namespace Ondrel::Testing
