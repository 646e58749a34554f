#include "CommandFixture.h"

#include <gmock/gmock.h>

#include <map>
#include <sstream>

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
    json expected = {{"found", true}};
    for (const char* const name : {"segment", "bus", "device", "function"})
      expected[name] = adapter[name];
    EXPECT_EQ(ParseAnswer(located.output), expected);
    EXPECT_EQ(located.exitStatus, 0);
  }
}

TEST_F(CommandAdapters, ShowsALineForEachOrSaysThatThereIsNone) {
  const ProcessResult result = Run({"adapters"});

  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_THAT(
      result.output,
      testing::AnyOf("no storage adapters\n",
                     MatchesRegex("([0-9a-f:]+\\.[0-7]  [0-9A-F]{4}:[0-9A-F]{4}  [^\n]+\n)+")));
  EXPECT_EQ(result.errors, "");
}

TEST_F(CommandAdapters, WhatIsListedIsLocated) {
  std::istringstream lines(Run({"adapters"}).output);
  for (std::string line; std::getline(lines, line) && line != "no storage adapters";) {
    const std::size_t space = line.find("  ");
    const std::string location = line.substr(0, space);
    const std::string kind = line.substr(space + 2, 9);
    EXPECT_EQ(Run({"locate", location}).output, location + "\n");
    EXPECT_EQ(Run({"locate", kind}).exitStatus, 0) << kind;
  }
}

TEST_F(CommandAdapters, WordsThatAreNoTypeAreWrongUsage) {
  for (const std::vector<std::string>& line : {std::vector<std::string>{"locate", "zz", "11"},
                                               {"locate", "10000", "0001"},
                                               {"locate", "1000:00001"},
                                               {"locate", "1000:"},
                                               {"locate", "--id", "1000001"},
                                               {"locate", "0000:00:1f.2", "1000"},
                                               {"locate", "0000:00:1f.2", "--index", "1"}}) {
    const ProcessResult result = Run(line);
    EXPECT_EQ(result.exitStatus, 2) << line.back();
    EXPECT_NE(result.errors, "");
  }
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
