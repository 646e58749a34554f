#include "TestModule.h"
#include "Unit/Pirsk/Host/Host.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>

namespace Pirsk::Testing {
namespace {

using Misc::ErrorText;
using Misc::ModuleIdentity;

class ModuleUnload : public testing::Test {
protected:
  void SetUp() override { Exceptions::ForgetErrors(); }

  // The module, loaded as long as the object lives.
  struct Loaded : LoadedModule {
    Loaded() : LoadedModule(PIRSK_TEST_MODULE) {}
  };

  static bool IsLoaded() { return LoadedModule::IsLoaded(PIRSK_TEST_MODULE); }
};

TEST_F(ModuleUnload, ModuleIsRegisteredWhileItIsLoaded) {
  {
    const Loaded module;
    EXPECT_EQ(ModuleIdentity(0x0B1), "loaded 1.0");
    EXPECT_EQ(ErrorText(0x20B10001), "Loaded failed");
  }
  EXPECT_FALSE(IsLoaded());
  EXPECT_EQ(ModuleIdentity(0x0B1), "");
  EXPECT_EQ(ErrorText(0x20B10001), "No information available for this error");
}

TEST_F(ModuleUnload, ReportOfAnErrorOutlivesItsModule) {
  {
    const Loaded module;
    EXPECT_THROW(module.Call("RaiseInModule"), unsigned int);
  }
  ASSERT_FALSE(IsLoaded());

  const auto report = Exceptions::LastError();

  ASSERT_TRUE(report.has_value());
  EXPECT_EQ(report->number, 0x20B10001u);
  EXPECT_EQ(report->detail, "in the module");
  EXPECT_EQ(report->text, "No information available for this error");
  ASSERT_EQ(report->locations.size(), 2u);
  EXPECT_EQ(report->locations[1].module, "loaded");
  EXPECT_EQ(report->locations[1].file, "Src/Loaded.cpp");
  EXPECT_EQ(report->locations[1].line, 1234u);
}

TEST_F(ModuleUnload, ThousandRoundsLeaveNothingBehind) {
  const TemporaryFolder folder;
  WriteFile(folder / "pirsk-loaded.nls", "0 = Geladen\n");
  Language_Support::SetDataDirectory(folder.Path());
  std::size_t lines = 0;
  Trace::SetSink([&lines](const Trace::Line&) { ++lines; });
  const auto round = [] {
    const Loaded module;
    Misc::SetTraceMask(0x0B1, 16);
    module.Call("TraceInModule");
    ASSERT_THROW(module.Call("RaiseInModule"), unsigned int);
    ASSERT_EQ(ErrorText(0x20B10001), "Geladen");
  };
  // The error chain is full after the first 64 errors, and the loader's own tables have grown.
  for (int count = 0; count < 100; ++count) round();

  const std::size_t before = BytesInUse();
  for (int count = 100; count < 1100; ++count) round();
  const std::size_t after = BytesInUse();
  Trace::SetSink(nullptr);

  EXPECT_EQ(lines, 1100u);
  EXPECT_LT(after, before + 8192);  // Eight bytes a round.
  EXPECT_FALSE(IsLoaded());
}

TEST_F(ModuleUnload, LoadingDoesNotBlockWithThoseWhoAskForItsTexts) {
  const TemporaryFolder folder;
  WriteFile(folder / "pirsk-loaded.nls", "0 = Geladen\n" + std::string(100000, '\n'));
  Language_Support::SetDataDirectory(folder.Path());
  std::atomic<bool> hasEnded{false};

  std::thread asking([&hasEnded] {
    while (!hasEnded) {
      const std::string text = ErrorText(0x20B10001);
      ASSERT_TRUE(text == "Geladen" || text == "No information available for this error") << text;
    }
  });
  for (int count = 0; count < 200; ++count) const Loaded module;
  hasEnded = true;
  asking.join();
}

}  // namespace
}  // namespace Pirsk::Testing
