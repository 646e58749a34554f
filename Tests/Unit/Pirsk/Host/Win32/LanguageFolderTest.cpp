#include "Unit/Pirsk/TestModule.h"

#include <Pirsk/LanguageFile.h>
#include <Pirsk/LanguageState.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <windows.h>

namespace Pirsk::Testing {
namespace {

// Letters of the narrow code page, and letters that it does not have.
class LanguageFolder : public testing::TestWithParam<const wchar_t*> {
protected:
  void SetUp() override {
    m_folder = std::filesystem::path(m_temporary.Path()) / GetParam();
    std::filesystem::create_directory(m_folder);
    std::ofstream(m_folder / "pirsk-loaded.nls", std::ios::binary) << "0 = Geladen\n";
  }

  std::string Utf8() const {
    const std::u8string text = m_folder.u8string();
    return {text.begin(), text.end()};
  }

  const TemporaryFolder m_temporary;
  std::filesystem::path m_folder;
};

TEST_P(LanguageFolder, OfAModuleMayHaveAnyLetters) {
  const std::filesystem::path module = m_folder / "module.dll";
  std::filesystem::copy_file(PIRSK_TEST_MODULE, module);
  const HMODULE handle = LoadLibraryW(module.c_str());
  ASSERT_NE(handle, nullptr) << GetLastError();

  EXPECT_EQ(Misc::ErrorText(0x20B10001), "Geladen");

  FreeLibrary(handle);
}

TEST_P(LanguageFolder, OfTheDataIsUtf8) {
  static constexpr const char* kBuiltIn[] = {"built in"};
  Language_Support::SetDataDirectory(Utf8());
  const Language_Support::CLanguageSupport::CLngFile file("pirsk-loaded.nls", 0x656E, "utf-8", 1,
                                                          kBuiltIn, 1);

  EXPECT_EQ(file.Text(0), "Geladen");
  EXPECT_EQ(file.Path(), Utf8() + "/pirsk-loaded.nls");
}

INSTANTIATE_TEST_SUITE_P(Letters, LanguageFolder,
                         testing::Values(L"plain", L"Gr\u00FC\u00DFe", L"\u4E2D\u6587"));

TEST(LanguageFolderBytes, ThatAreNotUtf8AreAFaultAndNotAnException) {
  static constexpr const char* kBuiltIn[] = {"built in"};
  Language_Support::SetDataDirectory("C:\\Gr\xFC\xDF");
  const Language_Support::CLanguageSupport::CLngFile file("pirsk-loaded.nls", 0x656E, "utf-8", 1,
                                                          kBuiltIn, 1);

  EXPECT_EQ(file.Text(0), "built in");
}

}  // namespace
}  // namespace Pirsk::Testing
