#include "Unit/SmtpCalls/FakeCurl.h"

#include <gtest/gtest.h>

#include <cstdarg>
#include <cstring>
#include <memory>

namespace Ondrel::Testing {

namespace {

FakeCurl* g_current = nullptr;

std::string OptionName(CURLoption option) {
  switch (option) {
    case CURLOPT_DEBUGFUNCTION:
      return "DEBUGFUNCTION";
    case CURLOPT_VERBOSE:
      return "VERBOSE";
    case CURLOPT_CRLF:
      return "CRLF";
    case CURLOPT_URL:
      return "URL";
    case CURLOPT_USE_SSL:
      return "USE_SSL";
    case CURLOPT_SSL_VERIFYPEER:
      return "SSL_VERIFYPEER";
    case CURLOPT_SSL_VERIFYHOST:
      return "SSL_VERIFYHOST";
    case CURLOPT_USERNAME:
      return "USERNAME";
    case CURLOPT_PASSWORD:
      return "PASSWORD";
    case CURLOPT_SASL_IR:
      return "SASL_IR";
    case CURLOPT_MAIL_FROM:
      return "MAIL_FROM";
    case CURLOPT_MAIL_RCPT:
      return "MAIL_RCPT";
    case CURLOPT_TIMEOUT_MS:
      return "TIMEOUT_MS";
    case CURLOPT_UPLOAD_BUFFERSIZE:
      return "UPLOAD_BUFFERSIZE";
    case CURLOPT_READFUNCTION:
      return "READFUNCTION";
    case CURLOPT_READDATA:
      return "READDATA";
    case CURLOPT_UPLOAD:
      return "UPLOAD";
    default:
      return "option " + std::to_string(option);
  }
}

CURLcode SetOption(CURL*, CURLoption option, ...) {
  std::va_list arguments;
  va_start(arguments, option);
  CURLcode result = CURLE_OK;
  if (option >= CURLOPTTYPE_FUNCTIONPOINT)
    result = FakeCurl::Current().SetFunction(option, va_arg(arguments, void (*)()));
  else if (option >= CURLOPTTYPE_OBJECTPOINT)
    result = FakeCurl::Current().SetPointer(option, va_arg(arguments, const void*));
  else
    result = FakeCurl::Current().SetLong(option, va_arg(arguments, long));
  va_end(arguments);
  return result;
}

std::vector<std::string> TextsOf(const curl_slist* list) {
  std::vector<std::string> texts;
  for (; list != nullptr; list = list->next) texts.emplace_back(list->data);
  return texts;
}

}  // namespace

Host::CurlOperations FakeCurl::Operations() {
  return {
      .curl_easy_init = [] { return Current().Init(); },
      .curl_easy_setopt = SetOption,
      .curl_easy_perform = [](CURL*) { return Current().Perform(); },
      .curl_easy_cleanup = [](CURL* handle) { Current().Cleanup(handle); },
      .curl_slist_append = [](curl_slist* list,
                              const char* text) { return Current().Append(list, text); },
      .curl_slist_free_all = [](curl_slist* list) { Current().FreeList(list); },
      .missing = {},
  };
}

FakeCurl::FakeCurl() : m_operations(Host::Curl(), Operations()) { g_current = this; }

FakeCurl::~FakeCurl() { g_current = nullptr; }

FakeCurl& FakeCurl::Current() { return *g_current; }

std::size_t FakeCurl::Read(std::size_t size, std::size_t count, std::string& text) {
  // The buffer is exactly as large as it is said to be, so that a write past it is found.
  const std::unique_ptr<char[]> buffer(new char[size * count]);
  const std::size_t length = m_read(buffer.get(), size, count, m_readData);
  if (length <= size * count) text.append(buffer.get(), length);
  return length;
}

std::string FakeCurl::ReadAll(std::size_t bufferSize) {
  std::string text;
  while (true) {
    const std::size_t length = Read(1, bufferSize, text);
    if (length == 0 || length > bufferSize) return text;
  }
}

int FakeCurl::Debug(curl_infotype type, const std::string& bytes) {
  // Exactly these bytes on the heap, so that a read past them is found.
  const std::unique_ptr<char[]> data(new char[bytes.size()]);
  std::memcpy(data.get(), bytes.data(), bytes.size());
  return DebugRaw(type, data.get(), bytes.size());
}

int FakeCurl::DebugRaw(curl_infotype type, char* data, std::size_t size) {
  return m_debug(&m_handle, type, data, size, nullptr);
}

std::vector<std::string> FakeCurl::Recipients() const { return TextsOf(m_recipients); }

CURL* FakeCurl::Init() {
  m_calls.push_back("init");
  return m_initFails ? nullptr : &m_handle;
}

CURLcode FakeCurl::SetLong(CURLoption option, long value) {
  m_calls.push_back(OptionName(option) + " " + std::to_string(value));
  return m_optionResult;
}

CURLcode FakeCurl::SetPointer(CURLoption option, const void* value) {
  std::string call = OptionName(option);
  if (option == CURLOPT_MAIL_RCPT) {
    m_recipients = static_cast<curl_slist*>(const_cast<void*>(value));
    for (const std::string& text : Recipients()) call += " " + text;
  } else if (option == CURLOPT_READDATA) {
    m_readData = const_cast<void*>(value);
    call += " set";
  } else {
    call += std::string(" ") + static_cast<const char*>(value);
  }
  m_calls.push_back(call);
  return m_optionResult;
}

CURLcode FakeCurl::SetFunction(CURLoption option, void (*function)()) {
  if (option == CURLOPT_READFUNCTION) m_read = reinterpret_cast<curl_read_callback>(function);
  if (option == CURLOPT_DEBUGFUNCTION) m_debug = reinterpret_cast<curl_debug_callback>(function);
  m_calls.push_back(OptionName(option) + " set");
  return m_optionResult;
}

CURLcode FakeCurl::Perform() {
  m_calls.push_back("perform");
  if (m_transfer) m_transfer(*this);
  return m_result;
}

void FakeCurl::Cleanup(CURL* handle) {
  EXPECT_EQ(handle, &m_handle);
  m_calls.push_back("cleanup");
}

curl_slist* FakeCurl::Append(curl_slist* list, const char* text) {
  m_calls.push_back(std::string("append ") + text);
  if (++m_appends == m_appendFailsAt) {
    // Nobody has the list any more: the real one would be lost.
    FreeList(list);
    m_calls.pop_back();
    return nullptr;
  }
  auto* added = new curl_slist{.data = ::strdup(text), .next = nullptr};
  if (list == nullptr) return added;
  curl_slist* last = list;
  while (last->next != nullptr) last = last->next;
  last->next = added;
  return list;
}

void FakeCurl::FreeList(curl_slist* list) {
  m_calls.push_back("free list");
  while (list != nullptr) {
    curl_slist* const next = list->next;
    ::free(list->data);
    delete list;
    list = next;
  }
}

}  // namespace Ondrel::Testing
