#pragma once

#include <cerrno>
#include <unistd.h>
#include <utility>

namespace Ondrel::Host {

/// Makes a system call once more as often as a signal interrupts it. Yields its result, with the
/// reason of a failure in `errno`.
template <class Call>
auto Uninterrupted(Call call) {
  auto result = call();
  while (result < 0 && errno == EINTR) result = call();
  return result;
}

/// A file descriptor that is closed with the object that holds it. What `open` and its like yield
/// on failure, -1, is a descriptor that is not open; the reason is in `errno`.
class FileDescriptor {
public:
  FileDescriptor() = default;
  explicit FileDescriptor(int number) : m_number(number) {}
  ~FileDescriptor() { Close(); }

  FileDescriptor(FileDescriptor&& other) noexcept : m_number(std::exchange(other.m_number, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    Close();
    m_number = std::exchange(other.m_number, -1);
    return *this;
  }

  bool IsOpen() const { return m_number >= 0; }
  int Number() const { return m_number; }

  void Close() {
    if (IsOpen()) ::close(std::exchange(m_number, -1));
  }

private:
  int m_number = -1;
};

}  // namespace Ondrel::Host
