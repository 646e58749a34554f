#include "Tool/Files.h"

#include "Tool/Failure.h"
#include "Tool/Host/StandardInput.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <system_error>

namespace Tool {

namespace {

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

constexpr std::size_t kBlockSize = std::size_t{64} * 1024;

[[noreturn]] void Refuse(const std::string& path, const std::string& reason) {
  throw UsageError("cannot read " + (path == "-" ? "standard input" : path) + ": " + reason);
}

void Append(std::string& content, const std::string& block, std::size_t size,
            const std::string& path, std::size_t largest) {
  if (size > largest - content.size())
    Refuse(path, "it has more than " + std::to_string(largest) + " bytes");
  content.append(block, 0, size);
}

std::string ReadInput(std::size_t largest) {
  std::string content;
  std::string block(kBlockSize, '\0');
  try {
    while (const std::size_t size = ReadStandardInput(block.data(), block.size()))
      Append(content, block, size, "-", largest);
  } catch (const std::system_error& error) {
    Refuse("-", error.code().message());
  }
  return content;
}

}  // namespace

std::string ReadWholeFile(const std::string& path, std::size_t largest) {
  if (path == "-") return ReadInput(largest);
  const std::unique_ptr<std::FILE, CloseFile> file(std::fopen(path.c_str(), "rb"));
  if (!file) Refuse(path, std::strerror(errno));
  std::string content;
  std::string block(kBlockSize, '\0');
  errno = 0;
  while (const std::size_t size = std::fread(block.data(), 1, block.size(), file.get()))
    Append(content, block, size, path, largest);
  // Opening a folder succeeds on some hosts; reading it then fails.
  if (std::ferror(file.get()) != 0) Refuse(path, std::strerror(errno));
  return content;
}

}  // namespace Tool
