#pragma once

#include <functional>
#include <memory>
#include <thread>

namespace Tool {

/// Whether standard output, standard error or standard input is a terminal.
bool IsOutputTerminal();
bool IsErrorTerminal();
bool IsInputTerminal();

/// Whether standard output is a terminal that shows colours and the environment does not ask for
/// none (NO_COLOR with any value, TERM as "dumb").
bool ShowsColours();

/// Starts a thread that takes none of the process's signals: they stay with those that wait for
/// them.
std::thread StartThread(std::function<void()> work);

/// Calls `isGone` once, on a thread of its own, when nobody reads standard output any more; not
/// where that cannot be noticed without writing (files, and all of Windows).
class ReaderWatch {
public:
  explicit ReaderWatch(std::function<void()> isGone);
  ~ReaderWatch();

  ReaderWatch(const ReaderWatch&) = delete;
  ReaderWatch& operator=(const ReaderWatch&) = delete;

private:
  struct Watcher;
  std::unique_ptr<Watcher> m_watcher;
};

}  // namespace Tool
