#include "ESmtp/ServerAnswer.h"

#include <cstddef>

namespace Ondrel {

namespace {

// A server may go on with its answer for ever.
constexpr std::size_t kLongestAnswer = 4096;

// Where the sign between the code and the text of an answer's line stands.
constexpr std::size_t kSignPlace = 3;

thread_local ServerAnswer* current = nullptr;

}  // namespace

ServerAnswer::ServerAnswer() : m_earlier(current) { current = this; }

ServerAnswer::~ServerAnswer() { current = m_earlier; }

void ServerAnswer::Notice(curl_infotype type, std::string_view text) {
  if (current == nullptr) return;
  if (type == CURLINFO_HEADER_OUT && text.starts_with("QUIT")) current->m_isOver = true;
  if (type != CURLINFO_HEADER_IN || current->m_isOver) return;
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    if (line.ends_with('\r')) line.remove_suffix(1);
    current->TakeLine(line);
  }
}

void ServerAnswer::TakeLine(std::string_view line) {
  if (!m_goesOn)
    m_text.clear();
  else if (m_text.size() < kLongestAnswer)
    m_text += '\n';
  m_goesOn = line.size() > kSignPlace && line[kSignPlace] == '-';
  m_text += line.substr(0, kLongestAnswer - m_text.size());
}

}  // namespace Ondrel
