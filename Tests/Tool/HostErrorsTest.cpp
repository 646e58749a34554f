#include "Tool/HostErrors.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace Tool {
namespace {

TEST(HostErrors, TableIsThePublishedOneToTheLetter) {
  // FNV-1a over "NUMBER NAME TEXT\n" of each row.
  std::uint64_t sum = 0xCBF29CE484222325;
  int rows = 0;
  for (std::uint32_t number = 0; number < 65536; ++number) {
    const std::string name(HostErrorName(number));
    if (name.empty()) continue;
    ++rows;
    for (const char letter :
         std::to_string(number) + " " + name + " " + HostErrorText(number) + "\n")
      sum = (sum ^ static_cast<unsigned char>(letter)) * 0x100000001B3;
  }
  EXPECT_EQ(rows, 70);
  EXPECT_EQ(sum, 0x4A7FDC0C7150EC38);
}

TEST(HostErrors, NumberThatTheTableDoesNotHoldHasNoName) {
  EXPECT_EQ(HostErrorWords(1814),
            "The specified resource name cannot be found in the image file. (error 1814, "
            "ERROR_RESOURCE_NAME_NOT_FOUND)");
  EXPECT_EQ(HostErrorWords(7), "Unknown error. (error 7)");
  EXPECT_EQ(HostErrorWords(1815), "Unknown error. (error 1815)");
}

}  // namespace
}  // namespace Tool
