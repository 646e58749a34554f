#include "Instrumentation.h"

#include <Pirsk/Trace.h>

#include <charconv>
#include <new>

namespace Pirsk::Output_Streams {

CFormatStream::CFormatStream(std::string& target, const char* format) noexcept
    : m_target(target), m_rest(format) {}

CFormatStream::~CFormatStream() {
  PIRSK_RECORD("CFormatStream::~CFormatStream");
  while (PutUpToPlaceholder()) {
    Append({m_rest, 2});
    m_rest += 2;
  }
}

CFormatStream& CFormatStream::operator<<(const char* text) {
  PIRSK_RECORD(std::string("CFormatStream::operator<<(text ") + (text ? text : "null") + ")");
  Put(text != nullptr ? text : "(null)");
  return *this;
}

CFormatStream& CFormatStream::operator<<(const std::string& text) {
  PIRSK_RECORD("CFormatStream::operator<<(string " + text + ")");
  Put(text);
  return *this;
}

CFormatStream& CFormatStream::FormatInt(std::uint32_t number) {
  PIRSK_RECORD("CFormatStream::FormatInt(" + std::to_string(number) + ")");
  char digits[10];  // Of the largest number, 4294967295.
  const auto [end, error] = std::to_chars(digits, digits + sizeof digits, number);
  Put({digits, static_cast<std::size_t>(end - digits)});
  return *this;
}

void CFormatStream::Put(std::string_view value) noexcept {
  if (PutUpToPlaceholder()) {
    m_rest += 2;
  } else if (!m_target.empty()) {
    Append(" ");
  }
  Append(value);
}

// Puts out the text in front of the next placeholder; false when there is none any more.
bool CFormatStream::PutUpToPlaceholder() noexcept {
  while (*m_rest != '\0') {
    if (m_rest[0] == '%' && (m_rest[1] == 's' || m_rest[1] == 'd')) return true;
    if (m_rest[0] == '%' && m_rest[1] == '%') ++m_rest;
    Append({m_rest++, 1});
  }
  return false;
}

void CFormatStream::Append(std::string_view text) noexcept {
  try {
    m_target += text;
  } catch (const std::bad_alloc&) {
    // A message is cut short rather than that the statement it belongs to fails.
  }
}

}  // namespace Pirsk::Output_Streams
