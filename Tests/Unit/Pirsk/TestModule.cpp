#include "TestModule.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>

namespace Pirsk::Testing {

namespace {

using Language_Support::CLanguageSupport;

constexpr const char* kTexts[] = {"First failed", "Second failed", "Nothing is known"};
constexpr CLanguageSupport::ERROR_MSG_LIST kErrors[] = {
    {kSecondError, 1}, {kFirstError, 0}, {0, 0}};

CLanguageSupport::CLngFile g_languageFile("no-such-file.nls", 0x656E, "utf-8", 1, kTexts, 3);

}  // namespace

Misc::CModuleInfo g_module(kModuleNumber, "testmodule", "1.2", &g_languageFile, kErrors);

std::vector<std::string> Places(const Exceptions::CErrorReport& report) {
  std::vector<std::string> places;
  for (const auto& location : report.locations)
    places.push_back(location.file + ":" + std::to_string(location.line));
  return places;
}

TemporaryFolder::TemporaryFolder() {
  std::random_device random;
  do {
    const std::string name = "pirsk-" + std::to_string(random()) + std::to_string(random());
    m_path = (std::filesystem::temp_directory_path() / name).string();
  } while (!std::filesystem::create_directory(m_path));
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(m_path, ignored);
}

void WriteFile(const std::string& path, const std::string& content) {
  std::ofstream(path, std::ios::binary) << content;
}

std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file.is_open()) << path;
  return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace Pirsk::Testing
