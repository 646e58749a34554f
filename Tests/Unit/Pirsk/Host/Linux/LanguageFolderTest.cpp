#include "Unit/Pirsk/TestModule.h"

#include <Pirsk/LanguageFile.h>
#include <Pirsk/LanguageState.h>
#include <Pirsk/ModuleInfo.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace Pirsk::Testing {
namespace {

TEST(LanguageFolder, MayHaveAnyBytesInItsName) {
  static constexpr const char* kBuiltIn[] = {"built in"};
  const TemporaryFolder folder;
  for (const char* const name : {"plain", "Gr\xC3\xBC\xC3\x9F", "Gr\xFC\xDF"}) {
    const std::string path = folder / name;
    std::filesystem::create_directory(path);
    WriteFile(path + "/folder.nls", "0 = Geladen\n");
    Language_Support::SetDataDirectory(path);
    const Language_Support::CLanguageSupport::CLngFile file("folder.nls", 0x656E, "utf-8", 1,
                                                            kBuiltIn, 1);

    EXPECT_EQ(file.Text(0), "Geladen") << name;
    EXPECT_EQ(file.Path(), path + "/folder.nls");
  }
  Language_Support::SetDataDirectory("");
}

TEST(LanguageFolder, PathsThatTheHostRefusesAreFaultsWithTheirReason) {
  using Language_Support::CLanguageSupport;
  static constexpr const char* kBuiltIn[] = {"built in"};
  static constexpr CLanguageSupport::ERROR_MSG_LIST kNoErrors[] = {{0, 0}};
  const TemporaryFolder folder;
  std::filesystem::create_directory(folder / "folder.nls");
  Language_Support::SetDataDirectory(folder / "");
  const auto faultsOf = [&](const std::string& name) {
    CLanguageSupport::CLngFile file(name.c_str(), 0x656E, "utf-8", 1, kBuiltIn, 1);
    const Misc::CModuleInfo module(0x0C2, "refused", "1", &file, kNoErrors);
    return Language_Support::LanguageStateOf(0x0C2).faults;
  };
  const auto isFault = [](const std::string& words) {
    return testing::AllOf(testing::Not(testing::IsEmpty()),
                          testing::Each(testing::EndsWith(words)));
  };
  EXPECT_THAT(faultsOf(std::string(300, 'n')), isFault("n: it cannot be looked at"));
  EXPECT_THAT(faultsOf("folder.nls"), isFault("folder.nls: it is not a file"));
  Language_Support::SetDataDirectory("");
}

}  // namespace
}  // namespace Pirsk::Testing
