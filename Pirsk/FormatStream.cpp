#include "Instrumentation.h"

#include <Pirsk/Trace.h>

#include <cstring>

namespace Pirsk::Output_Streams {

CFormatStream::CFormatStream(std::string& target, const char* format)
    : m_target(target), m_rest(format) {}

CFormatStream::~CFormatStream() {
  PIRSK_RECORD("CFormatStream::~CFormatStream");
  while (*m_rest != '\0') {
    if (m_rest[0] == '%' && m_rest[1] == '%') ++m_rest;
    m_target += *m_rest++;
  }
}

CFormatStream& CFormatStream::operator<<(const char* text) {
  PIRSK_RECORD(std::string("CFormatStream::operator<<(text ") + (text ? text : "null") + ")");
  if (text == nullptr) text = "(null)";
  Put(text, std::strlen(text));
  return *this;
}

CFormatStream& CFormatStream::operator<<(const std::string& text) {
  PIRSK_RECORD("CFormatStream::operator<<(string " + text + ")");
  Put(text.data(), text.size());
  return *this;
}

CFormatStream& CFormatStream::FormatInt(std::uint32_t number) {
  PIRSK_RECORD("CFormatStream::FormatInt(" + std::to_string(number) + ")");
  const std::string text = std::to_string(number);
  Put(text.data(), text.size());
  return *this;
}

void CFormatStream::Put(const char* text, std::size_t length) {
  while (*m_rest != '\0') {
    if (m_rest[0] == '%' && (m_rest[1] == 's' || m_rest[1] == 'd')) {
      m_rest += 2;
      m_target.append(text, length);
      return;
    }
    if (m_rest[0] == '%' && m_rest[1] == '%') ++m_rest;
    m_target += *m_rest++;
  }
  m_target += ' ';
  m_target.append(text, length);
}

}  // namespace Pirsk::Output_Streams
