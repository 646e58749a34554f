#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <string_view>
#include <system_error>

namespace Ondrel::Testing {

/// A new empty folder of this test's own, removed with all that it holds.
class TemporaryFolder {
public:
  explicit TemporaryFolder(const std::string& parent = ::testing::TempDir()) {
    std::random_device random;
    do {
      m_path = parent + "ondrel-" + std::to_string(random()) + "-" + std::to_string(random());
    } while (!std::filesystem::create_directory(m_path));
    std::filesystem::permissions(m_path, std::filesystem::perms::owner_all);
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
