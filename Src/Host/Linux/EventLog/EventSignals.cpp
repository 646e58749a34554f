#include "Host/Linux/EventLog/EventSignals.h"

#include "Host/Linux/EventLog/EventStoreFile.h"
#include "Host/Linux/EventLog/JournalEntry.h"
#include "Host/Linux/FileDescriptor.h"
#include "Host/Linux/LastError.h"

#include <climits>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <poll.h>
#include <string_view>
#include <sys/epoll.h>
#include <sys/inotify.h>
#include <sys/timerfd.h>
#include <unistd.h>
#include <utility>

namespace Ondrel::Host {

namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

struct SignalError {
  ULong error;
};

FileDescriptor Opened(int number) {
  if (number < 0) throw SignalError{ErrorFromErrno(errno)};
  return FileDescriptor(number);
}

bool IsReadable(int descriptor, milliseconds patience) {
  pollfd waited{.fd = descriptor, .events = POLLIN, .revents = 0};
  const auto limit = std::clamp<long long>(patience.count(), 0, INT_MAX);
  return poll(&waited, 1, static_cast<int>(limit)) > 0;
}

/// A watch of the folder that the store's file stands in. What SQLite writes is seen before it can
/// be read, so that a writer announces its record by touching the file; for one that was killed
/// before, or that does not announce, a look is due some time after the last write.
class StoreSignal final : public EventSignal {
public:
  explicit StoreSignal(const std::string& path)
      : m_path(path),
        m_watch(Opened(inotify_init1(IN_NONBLOCK | IN_CLOEXEC))),
        m_timer(Opened(timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC))),
        m_both(Opened(epoll_create1(EPOLL_CLOEXEC))) {
    Join(m_watch.Number());
    Join(m_timer.Number());
    const ULong error = WatchFolders();
    if (error != ERROR_SUCCESS) throw SignalError{error};
  }

  std::intptr_t Handle() const override { return m_both.Number(); }

  void Reset() override { Take(); }

  bool Wait(milliseconds patience) override {
    const Clock::time_point deadline = Clock::now() + patience;
    for (;;) {
      if (Take()) return true;
      const auto rest = std::chrono::ceil<milliseconds>(deadline - Clock::now());
      if (rest.count() <= 0 || !IsReadable(m_both.Number(), rest)) return false;
    }
  }

private:
  static constexpr milliseconds kLateLook{200};
  static constexpr std::uint32_t kInFolder = IN_ATTRIB | IN_MODIFY | IN_CREATE | IN_MOVED_TO |
                                             IN_MOVED_FROM | IN_DELETE | IN_DELETE_SELF |
                                             IN_MOVE_SELF;

  void Join(int descriptor) const {
    epoll_event event{};
    event.events = EPOLLIN;
    if (epoll_ctl(m_both.Number(), EPOLL_CTL_ADD, descriptor, &event) != 0)
      throw SignalError{ErrorFromErrno(errno)};
  }

  static std::pair<std::string, std::string> FolderAndName(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    if (slash == path.npos) return {".", path};
    return {path.substr(0, std::max<std::size_t>(slash, 1)), path.substr(slash + 1)};
  }

  // The folder of the path and, behind a link, that of the file itself.
  ULong WatchFolders() {
    const auto [folder, name] = FolderAndName(m_path);
    m_name = name;
    m_fileName = name;
    if (inotify_add_watch(m_watch.Number(), folder.c_str(), kInFolder) < 0)
      return ErrorFromErrno(errno, Purpose::kFileThatIsCreated);
    char* const real = realpath(m_path.c_str(), nullptr);
    if (real == nullptr) return errno == ENOMEM ? ErrorFromErrno(errno) : ERROR_SUCCESS;
    const auto [realFolder, realName] = FolderAndName(real);
    std::free(real);
    m_fileName = realName;
    if (inotify_add_watch(m_watch.Number(), realFolder.c_str(), kInFolder) < 0)
      return ErrorFromErrno(errno, Purpose::kFileThatIsCreated);
    return ERROR_SUCCESS;
  }

  // Takes all pending notices. True when a record may have come.
  bool Take() {
    bool isDue = false;
    std::uint64_t expirations = 0;
    if (read(m_timer.Number(), &expirations, sizeof expirations) == sizeof expirations) {
      isDue = true;
      if (m_isFolderGone) m_isFolderGone = WatchFolders() != ERROR_SUCCESS;
      if (m_isFolderGone) SetTimer();
    }
    alignas(inotify_event) char buffer[4096];
    for (;;) {
      const ssize_t size = read(m_watch.Number(), buffer, sizeof buffer);
      if (size <= 0) break;
      for (ssize_t at = 0; at < size;) {
        inotify_event event;
        std::memcpy(&event, buffer + at, sizeof event);
        const char* const name = buffer + at + sizeof event;
        isDue = Note(event, event.len > 0 ? std::string_view(name) : std::string_view()) || isDue;
        at += static_cast<ssize_t>(sizeof event + event.len);
      }
    }
    return isDue;
  }

  bool Note(const inotify_event& event, std::string_view name) {
    if ((event.mask & IN_Q_OVERFLOW) != 0) return true;
    if ((event.mask & (IN_DELETE_SELF | IN_MOVE_SELF | IN_IGNORED)) != 0) {
      m_isFolderGone = true;
      SetTimer();
      return true;
    }
    const bool isFile = name == m_name || name == m_fileName;
    if (isFile && (event.mask & IN_MODIFY) == 0) {
      // Behind a link there may be another file now.
      if ((event.mask & IN_ATTRIB) == 0) WatchFolders();
      return true;
    }
    if (isFile || name == m_fileName + "-wal") SetTimer();
    return false;
  }

  // One look some time from now, counted from the last write.
  void SetTimer() const {
    itimerspec time{};
    time.it_value.tv_nsec = std::chrono::nanoseconds(kLateLook).count();
    timerfd_settime(m_timer.Number(), 0, &time, nullptr);
  }

  std::string m_path;
  std::string m_name;
  std::string m_fileName;
  FileDescriptor m_watch;
  FileDescriptor m_timer;
  FileDescriptor m_both;
  bool m_isFolderGone = false;
};

/// The journal's own descriptor.
class JournalSignal final : public EventSignal {
public:
  explicit JournalSignal(const std::string& path) {
    const int outcome = OpenJournalAt(path, m_journal);
    if (outcome < 0) throw SignalError{ErrorFromJournal(-outcome)};
    m_descriptor = sd_journal_get_fd(m_journal.get());
    if (m_descriptor < 0) throw SignalError{ErrorFromJournal(-m_descriptor)};
  }

  std::intptr_t Handle() const override { return m_descriptor; }

  void Reset() override { sd_journal_process(m_journal.get()); }

  bool Wait(milliseconds patience) override {
    const Clock::time_point deadline = Clock::now() + patience;
    for (;;) {
      const auto rest = std::chrono::ceil<milliseconds>(deadline - Clock::now());
      if (!IsReadable(m_descriptor, std::max(rest, milliseconds(0)))) return false;
      if (sd_journal_process(m_journal.get()) != SD_JOURNAL_NOP) return true;
      if (rest.count() <= 0) return false;
    }
  }

private:
  JournalHandle m_journal;
  int m_descriptor = -1;
};

template <class Signal>
std::unique_ptr<EventSignal> Watch(const std::string& path, ULong& error) {
  try {
    return std::make_unique<Signal>(path);
  } catch (const SignalError& failure) {
    error = failure.error;
    return nullptr;
  }
}

}  // namespace

std::unique_ptr<EventSignal> WatchStore(const std::string& path, ULong& error) {
  CreateFolderOf(path);
  return Watch<StoreSignal>(path, error);
}

std::unique_ptr<EventSignal> WatchJournal(const std::string& path, ULong& error) {
  return Watch<JournalSignal>(path, error);
}

}  // namespace Ondrel::Host
