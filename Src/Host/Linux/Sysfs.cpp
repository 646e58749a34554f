#include "Host/Linux/Sysfs.h"

#include "Host/Linux/FileDescriptor.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <utility>

namespace Ondrel::Host {

namespace {

constexpr std::size_t kLongestText = std::size_t{64} * 1024;

struct CloseFolder {
  void operator()(DIR* folder) const { ::closedir(folder); }
};

// What is not there and what could not be opened look the same to those who read.
thread_local int shortage = 0;

}  // namespace

std::optional<std::string> ReadSysfsText(const std::string& path) {
  const FileDescriptor file(
      Uninterrupted([&] { return ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK); }));
  if (!file.IsOpen()) {
    NoteSysfsShortage(errno);
    return std::nullopt;
  }
  std::string text;
  std::array<char, 4096> buffer;
  ssize_t size = 0;
  while (text.size() < kLongestText && (size = Uninterrupted([&] {
                                          return ::read(file.Number(), buffer.data(),
                                                        buffer.size());
                                        })) > 0)
    text.append(buffer.data(), static_cast<std::size_t>(size));
  if (size < 0) {
    NoteSysfsShortage(errno);
    return std::nullopt;
  }
  if (text.ends_with('\n')) text.pop_back();
  return text;
}

std::optional<std::uint64_t> SysfsNumber(std::string_view text, int base) {
  if (base == 16 && text.starts_with("0x")) text.remove_prefix(2);
  std::uint64_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, number, base);
  if (error != std::errc() || rest != end) return std::nullopt;
  return number;
}

std::optional<std::uint64_t> ReadSysfsNumber(const std::string& path, int base) {
  const std::optional<std::string> text = ReadSysfsText(path);
  return text ? SysfsNumber(*text, base) : std::nullopt;
}

std::vector<std::string> SysfsEntries(const std::string& folder) {
  std::vector<std::string> entries;
  const std::unique_ptr<DIR, CloseFolder> opened(::opendir(folder.c_str()));
  if (!opened) {
    NoteSysfsShortage(errno);
    return entries;
  }
  while (const dirent* const entry = ::readdir(opened.get()))
    if (entry->d_name[0] != '.') entries.emplace_back(entry->d_name);
  std::ranges::sort(entries);
  return entries;
}

int TakeSysfsShortage() { return std::exchange(shortage, 0); }

void NoteSysfsShortage(int error) {
  if (error == EMFILE || error == ENFILE || error == ENOMEM) shortage = error;
}

}  // namespace Ondrel::Host
