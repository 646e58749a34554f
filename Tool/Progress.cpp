#include "Tool/Progress.h"

#include "Tool/Host/Terminal.h"

#include <cstddef>
#include <cstring>
#include <unistd.h>
#include <utility>

namespace Tool {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kInterval{1};
constexpr std::size_t kWidest = 79;

std::mutex lineMutex;
std::size_t shownWidth = 0;  ///< Of the line on the terminal; guarded by `lineMutex`.

// In one call, past all buffers. What does not reach the terminal is not missed.
void Write(const std::string& text) {
  if (::write(STDERR_FILENO, text.data(), static_cast<unsigned int>(text.size())) < 0) return;
}

void Erase() {
  if (shownWidth != 0) Write('\r' + std::string(shownWidth, ' ') + '\r');
  shownWidth = 0;
}

}  // namespace

Progress::Progress(std::string what) : m_what(std::move(what)) {
  if (IsErrorTerminal()) m_thread = StartThread([this] { Show(); });
}

Progress::~Progress() {
  if (!m_thread.joinable()) return;
  {
    const std::lock_guard lock(m_mutex);
    m_isOver = true;
  }
  m_end.notify_one();
  m_thread.join();
}

void Progress::Show() {
  const Clock::time_point start = Clock::now();
  std::unique_lock lock(m_mutex);
  while (!m_end.wait_for(lock, kInterval, [this] { return m_isOver; })) {
    const std::lock_guard line(lineMutex);
    Erase();
    const std::string text = Line(std::chrono::floor<std::chrono::seconds>(Clock::now() - start));
    Write(text);
    shownWidth = text.size();
  }
  const std::lock_guard line(lineMutex);
  Erase();
}

std::string Progress::Line(std::chrono::seconds time) const {
  std::string text = "ondrel: " + m_what;
  if (const char* const unit = m_unit.load(std::memory_order_relaxed); unit != nullptr)
    text += ", " + std::to_string(m_count.load(std::memory_order_relaxed)) + ' ' + unit;
  text += ", " + std::to_string(time.count()) + " s";
  return text.substr(0, kWidest);
}

NoProgress::NoProgress() : m_lock(lineMutex) { Erase(); }

}  // namespace Tool
