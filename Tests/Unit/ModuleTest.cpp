#include "Module.h"

#include <Pirsk/ModuleInfo.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <type_traits>

namespace Ondrel {

extern char g_versionStamp[];

namespace {

TEST(Module, RegistersItsIdentityAtLoad) {
  EXPECT_EQ(Pirsk::Misc::ModuleIdentity(5), "ondrel P:7.10.2 F:7.10.2");
}

TEST(Module, StartsWithoutTracing) { EXPECT_EQ(Pirsk::Misc::GetTraceMask(5), 0U); }

TEST(Module, TraceMaskIsThatOfItsInfoObject) {
  Pirsk::Misc::SetTraceMask(5, 18);
  EXPECT_EQ(g_moduleInfo.TraceMask(), 18U);
  Pirsk::Misc::SetTraceMask(5, 0);
  EXPECT_EQ(g_moduleInfo.TraceMask(), 0U);
}

TEST(Module, CarriesItsVersionStampInWritableStorage) {
  EXPECT_STREQ(g_versionStamp, "$Header: @(#) ondrel.dll P7.10.2 F7.10.2 $");
  EXPECT_FALSE(std::is_const_v<std::remove_reference_t<decltype(g_versionStamp[0])>>);
}

struct TextCase {
  const char* name;
  std::uint32_t number;
  const char* text;
};

class ModuleErrorText : public testing::TestWithParam<TextCase> {};

TEST_P(ModuleErrorText, ComesFromTheCatalogue) {
  EXPECT_EQ(Pirsk::Misc::ErrorText(GetParam().number), GetParam().text);
}

constexpr char kStandIn[] = "No information available for this error";

INSTANTIATE_TEST_SUITE_P(
    Module, ModuleErrorText,
    testing::Values(
        TextCase{"AlreadyOpened", 0x20050001, "System log already opened"},
        TextCase{"InvalidParameter", 0x20050002, "Invalid parameter"},
        TextCase{"CannotOpen", 0x20050003, "Cannot open system log"},
        TextCase{"Registration", 0x20050004, "System log registration failed"},
        TextCase{"DeregistrationThatNothingRaises", 0x20050005, "System log deregistration failed"},
        TextCase{"CannotCloseThatNothingRaises", 0x20050006, "Cannot close system log"},
        TextCase{"NotOpenedForWriting", 0x20050007, "System log not opened for writing"},
        TextCase{"TimeCallThatNothingRaises", 0x20050008, "Time system call failed"},
        TextCase{"Unused9", 0x20050009, kStandIn}, TextCase{"UnusedA", 0x2005000A, kStandIn},
        TextCase{"OutOfMemory", 0x2005000B, kStandIn}, TextCase{"ReadFailed", 0x2005000C, kStandIn},
        TextCase{"BeyondTheLast", 0x2005000D, kStandIn},
        TextCase{"RunningNumberZero", 0x20050000, kStandIn},
        TextCase{"LargestRunningNumber", 0x2005FFFF, kStandIn},
        TextCase{"EndRowOfTheList", 0, kStandIn}),
    [](const testing::TestParamInfo<TextCase>& test) { return test.param.name; });

TEST(Module, ErrorNumbersAreBuiltOfModuleNumberAndRunningNumber) {
  EXPECT_EQ(static_cast<std::uint32_t>(kSystemLogAlreadyOpened), 0x20000000U + (5U << 16) + 1U);
  EXPECT_EQ(static_cast<std::uint32_t>(kOutOfMemory), 0x20000000U + (5U << 16) + 11U);
  EXPECT_EQ(static_cast<std::uint32_t>(kSystemLogReadFailed), 0x20000000U + (5U << 16) + 12U);
}

}  // namespace
}  // namespace Ondrel
