#include "Unit/Pirsk/TestModule.h"

#include <Pirsk/LanguageFile.h>

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

}  // namespace
}  // namespace Pirsk::Testing
