#include "Tool/Host/KeptFile.h"

#include "Host/Linux/FileDescriptor.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <string_view>
#include <system_error>
#include <unistd.h>

namespace Tool {

namespace {

constexpr mode_t kMode = 0666;  // What the mask of the user leaves of it.

// The errno of what failed, else 0.
int WriteAll(const std::string& path, std::string_view text) {
  // In a folder that others write to, a link of this name may lead to any file of this user.
  const Ondrel::Host::FileDescriptor file(Ondrel::Host::Uninterrupted([&] {
    return ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, kMode);
  }));
  if (!file.IsOpen()) return errno;
  while (!text.empty()) {
    const ssize_t size = ::write(file.Number(), text.data(), text.size());
    if (size < 0 && errno != EINTR) return errno;
    if (size > 0) text.remove_prefix(static_cast<std::size_t>(size));
  }
  // Before it gets its name: else a file without content might have it after a loss of power.
  return Ondrel::Host::Uninterrupted([&] { return ::fdatasync(file.Number()); }) == 0 ? 0 : errno;
}

}  // namespace

void KeepInFile(const std::string& path, const std::string& text) {
  const std::string beside = path + ".new";
  int error = WriteAll(beside, text);
  if (error == 0 && std::rename(beside.c_str(), path.c_str()) != 0) error = errno;
  if (error == 0) return;
  ::unlink(beside.c_str());
  throw std::system_error(error, std::generic_category());
}

}  // namespace Tool
