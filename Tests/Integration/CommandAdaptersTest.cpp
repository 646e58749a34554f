#include "CommandFixture.h"

#include <gmock/gmock.h>

#include <map>

namespace Ondrel::Testing {
namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::MatchesRegex;

// No maker has these numbers: no machine has such an adapter.
constexpr const char* kNoVendor = "FFFF";
constexpr const char* kNoDevice = "FFFF";

class CommandAdapters : public CommandFixture {};

TEST_F(CommandAdapters, EachListedAdapterIsLocatedAtItsRank) {
  const ProcessResult listed = Run({"--json", "adapters"});
  ASSERT_EQ(listed.exitStatus, 0) << listed.errors;
  std::map<std::string, int> ranks;

  const json adapters = ParseAnswer(listed.output)["adapters"];
  for (const json& adapter : adapters) {
    const std::string id =
        adapter["vendorId"].get<std::string>() + adapter["deviceId"].get<std::string>();
    const ProcessResult located =
        Run({"--json", "locate", "--id", id, "--index", std::to_string(++ranks[id])});
    json expected = adapter;
    expected.erase("vendorId");
    expected.erase("deviceId");
    expected["found"] = true;
    EXPECT_EQ(ParseAnswer(located.output), expected);
    EXPECT_EQ(located.exitStatus, 0);
  }
}

TEST_F(CommandAdapters, ShowsALineForEachOrSaysThatThereIsNone) {
  const ProcessResult result = Run({"adapters"});

  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_THAT(result.output,
              testing::AnyOf("no storage adapters\n",
                             MatchesRegex("([0-9a-f:]+\\.[0-7]  [0-9A-F]{4}:[0-9A-F]{4}\n)+")));
  EXPECT_EQ(result.errors, "");
}

TEST_F(CommandAdapters, AnAdapterThatIsNotThereIsANegativeAnswer) {
  const ProcessResult result = Run({"locate", kNoVendor, kNoDevice});

  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_EQ(result.output, "there is no such adapter\n");
}

TEST_F(CommandAdapters, WantsVendorAndDeviceOrIds) {
  const ProcessResult neither = Run({"locate"});
  const ProcessResult half = Run({"locate", kNoVendor});
  const ProcessResult both = Run({"locate", kNoVendor, kNoDevice, "--id", "FFFFFFFF"});

  EXPECT_EQ(neither.exitStatus, 2);
  EXPECT_THAT(neither.errors, HasSubstr("VENDOR and DEVICE are required, or --id"));
  EXPECT_EQ(half.exitStatus, 2);
  EXPECT_EQ(both.exitStatus, 2);
}

}  // namespace
}  // namespace Ondrel::Testing
