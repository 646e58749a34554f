#pragma once

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <system_error>

namespace Ondrel::Testing {

/// A new empty folder of this test's own, removed with all that it holds.
class TemporaryFolder {
public:
  explicit TemporaryFolder(const std::string& parent = ::testing::TempDir()) {
    std::string path = parent + "ondrel-XXXXXX";
    if (mkdtemp(path.data()) == nullptr)
      throw std::system_error(errno, std::generic_category(), "mkdtemp " + path);
    m_path = path;
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
  }

  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  /// Path of `name` in the folder.
  std::string Path(std::string_view name = {}) const { return (m_path / name).string(); }

  /// Writes a file of these bytes and yields its path.
  std::string Write(std::string_view name, std::string_view bytes) const {
    std::ofstream file(m_path / name, std::ios::binary | std::ios::trunc);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return Path(name);
  }

private:
  std::filesystem::path m_path;
};

}  // namespace Ondrel::Testing
