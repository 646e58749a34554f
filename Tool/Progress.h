#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>

/// What is shown of work that takes more than a second: one line on standard error, on a terminal
/// only, which goes when the work ends or something else is printed.

namespace Tool {

/// Shows "ondrel: WHAT, 3 s" while it lives, from the first second on. One lives at a time.
class Progress {
public:
  /// `what` says what is done: "searching".
  explicit Progress(std::string what);
  ~Progress();

  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  /// How much is done so far, in `unit`s: "lines". Cheap.
  void SetCount(std::uint64_t count) { m_count.store(count, std::memory_order_relaxed); }

  /// The unit of the count; without one no count is shown.
  void SetUnit(const char* unit) { m_unit.store(unit, std::memory_order_relaxed); }

private:
  void Show();
  std::string Line(std::chrono::seconds time) const;

  std::string m_what;
  std::atomic<std::uint64_t> m_count{0};
  std::atomic<const char*> m_unit{nullptr};
  std::mutex m_mutex;
  std::condition_variable m_end;
  bool m_isOver = false;
  std::thread m_thread;
};

/// While one lives nothing is shown of the work; what was shown is gone. Held while something is
/// printed on a terminal.
class NoProgress {
public:
  NoProgress();

  NoProgress(const NoProgress&) = delete;
  NoProgress& operator=(const NoProgress&) = delete;

private:
  std::unique_lock<std::mutex> m_lock;
};

}  // namespace Tool
