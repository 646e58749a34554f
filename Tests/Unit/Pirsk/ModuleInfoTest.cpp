#include "TestModule.h"

#include <gtest/gtest.h>

#include <optional>

namespace Pirsk::Testing {
namespace {

using Language_Support::CLanguageSupport;
using Misc::CModuleInfo;
using Misc::ErrorText;
using Misc::GetTraceMask;
using Misc::ModuleIdentity;
using Misc::SetTraceMask;

// A module of number 0x0A2 or another, with one error of its own.
class Other {
public:
  explicit Other(std::uint32_t number = 0x0A2, const char* name = "other")
      : m_file("no-such-file.nls", 0x656E, "utf-8", 1, kTexts, 2),
        m_info(number, name, "3.4", &m_file, kErrors) {}

  CModuleInfo& Info() { return m_info; }

private:
  static constexpr const char* kTexts[] = {"Other failed", "Other stand-in"};
  static constexpr CLanguageSupport::ERROR_MSG_LIST kErrors[] = {{0x20A20001, 0}, {0, 0}};

  CLanguageSupport::CLngFile m_file;
  CModuleInfo m_info;
};

TEST(ModuleInfo, CarriesWhatTheModuleGave) {
  EXPECT_EQ(g_module.Number(), 0x0A1u);
  EXPECT_STREQ(g_module.Name(), "testmodule");
  EXPECT_STREQ(g_module.Version(), "1.2");
}

TEST(ModuleInfo, IsRegisteredAsLongAsItLives) {
  EXPECT_EQ(ModuleIdentity(0x0A2), "");
  {
    const Other other;
    EXPECT_EQ(ModuleIdentity(0x0A2), "other 3.4");
    EXPECT_EQ(ModuleIdentity(0x0A1), "testmodule 1.2");
  }
  EXPECT_EQ(ModuleIdentity(0x0A2), "");
  EXPECT_EQ(ModuleIdentity(0x0A1), "testmodule 1.2");
}

TEST(ModuleInfo, ErrorsThatStandAfterTheClosingRowAreNotTheModules) {
  static constexpr const char* kTexts[] = {"Listed", "Stand-in"};
  static constexpr CLanguageSupport::ERROR_MSG_LIST kErrors[] = {
      {0x20A60001, 0}, {0, 0}, {0x20A60002, 0}, {0, 0}};
  CLanguageSupport::CLngFile file("no-such-file.nls", 0x656E, "utf-8", 1, kTexts, 2);
  const CModuleInfo module(0x0A6, "closed", "1.0", &file, kErrors);

  EXPECT_EQ(ErrorText(0x20A60001), "Listed");
  EXPECT_EQ(ErrorText(0x20A60002), "Stand-in");
}

TEST(ModuleInfo, AllTraceLevelsAreOffAtFirst) {
  Other other;

  EXPECT_EQ(other.Info().TraceMask(), 0u);
  EXPECT_EQ(GetTraceMask(0x0A2), 0u);
}

TEST(ModuleInfo, EachModuleHasATraceMaskOfItsOwn) {
  Other other;

  EXPECT_TRUE(SetTraceMask(0x0A2, 0xFFFFFFFF));
  EXPECT_TRUE(SetTraceMask(0x0A1, 17));

  EXPECT_EQ(other.Info().TraceMask(), 0xFFFFFFFFu);
  EXPECT_EQ(GetTraceMask(0x0A2), 0xFFFFFFFFu);
  EXPECT_EQ(g_module.TraceMask(), 17u);
  SetTraceMask(0x0A1, 0);
}

TEST(ModuleInfo, UnknownModuleHasNoMaskAndNoIdentity) {
  EXPECT_FALSE(SetTraceMask(0xEEE, 1));
  EXPECT_EQ(GetTraceMask(0xEEE), 0u);
  EXPECT_EQ(ModuleIdentity(0xEEE), "");
}

TEST(ModuleInfo, FirstOfTwoModulesOfOneNumberAnswersWhileItIsLoaded) {
  std::optional<Other> first;
  first.emplace(0x0A2, "first");
  const Other second(0x0A2, "second");

  EXPECT_EQ(ModuleIdentity(0x0A2), "first 3.4");
  first.reset();
  EXPECT_EQ(ModuleIdentity(0x0A2), "second 3.4");
}

TEST(ModuleInfo, ModulesMayGoInAnyOrder) {
  std::optional<Other> first, second, third;
  first.emplace(0x0A3, "first");
  second.emplace(0x0A4, "second");
  third.emplace(0x0A5, "third");

  second.reset();
  EXPECT_EQ(ModuleIdentity(0x0A3) + ModuleIdentity(0x0A4) + ModuleIdentity(0x0A5),
            "first 3.4third 3.4");
  first.reset();
  EXPECT_EQ(ModuleIdentity(0x0A5), "third 3.4");
}

TEST(ErrorText, IsThatOfTheModuleWhoseNumberTheErrorCarries) {
  const Other other;

  EXPECT_EQ(ErrorText(0x20A10001), "First failed");
  EXPECT_EQ(ErrorText(0x20A10002), "Second failed");
  EXPECT_EQ(ErrorText(0x20A20001), "Other failed");
}

TEST(ErrorText, OfAnErrorThatTheListDoesNotHoldIsTheStandIn) {
  const Other other;

  EXPECT_EQ(ErrorText(0x20A10003), "Nothing is known");
  EXPECT_EQ(ErrorText(0x20A20002), "Other stand-in");
}

TEST(ErrorText, OfAModuleThatIsNotLoadedSaysThatNothingIsKnown) {
  EXPECT_EQ(ErrorText(0x20A20001), "No information available for this error");
  EXPECT_EQ(ErrorText(0), "No information available for this error");
}

TEST(ErrorText, ComesFromTheLanguageFileFirst) {
  const TemporaryFolder folder;
  WriteFile(folder / "translated.nls", "0 = Erster Fehler\n");
  Language_Support::SetDataDirectory(folder.Path());
  static constexpr const char* kTexts[] = {"First", "Second", "Stand-in"};
  static constexpr CLanguageSupport::ERROR_MSG_LIST kErrors[] = {
      {0x20A60001, 0}, {0x20A60002, 1}, {0, 0}};
  CLanguageSupport::CLngFile file("translated.nls", 0x6465, "utf-8", 1, kTexts, 3);
  const CModuleInfo module(0x0A6, "translated", "1", &file, kErrors);

  EXPECT_EQ(ErrorText(0x20A60001), "Erster Fehler");
  EXPECT_EQ(ErrorText(0x20A60002), "Second");
}

}  // namespace
}  // namespace Pirsk::Testing
