#include "Tool/Lines.h"

#include "Tool/Host/StandardInput.h"
#include "Tool/Host/Terminal.h"

#include <cstring>

namespace Tool {

std::optional<InputLine> InputLines::Next(const std::function<void()>& beforeWaiting) {
  m_line.clear();
  m_isTooLong = false;
  bool isBegun = false;
  while (m_start < m_end || Fill(beforeWaiting)) {
    isBegun = true;
    const std::string_view rest(m_bytes.data() + m_start, m_end - m_start);
    const void* const end = std::memchr(rest.data(), '\n', rest.size());
    if (end == nullptr) {
      Keep(rest);
      m_start = m_end;
      continue;
    }
    const auto size = static_cast<std::size_t>(static_cast<const char*>(end) - rest.data());
    const std::string_view part = rest.substr(0, size);
    m_start += size + 1;
    if (m_line.empty() && !m_isTooLong) return InputLine{part, ++m_number, false};
    Keep(part);
    return InputLine{m_line, ++m_number, m_isTooLong};
  }
  if (!isBegun) return std::nullopt;
  return InputLine{m_line, ++m_number, m_isTooLong};
}

bool InputLines::Fill(const std::function<void()>& beforeWaiting) {
  if (m_isAtEnd) return false;
  beforeWaiting();
  m_start = 0;
  m_end = ReadStandardInput(m_bytes.data(), m_bytes.size());
  m_isAtEnd = m_end == 0;
  return !m_isAtEnd;
}

AnsweringLines::AnsweringLines() {
  if (IsInputTerminal()) return;
  m_progress.emplace("answering");
  m_progress->SetUnit("lines");
}

void InputLines::Keep(std::string_view part) {
  m_isTooLong = m_isTooLong || part.size() > kLongestLine - m_line.size();
  if (m_isTooLong)
    m_line.clear();
  else
    m_line += part;
}

}  // namespace Tool
