#include "Host/Linux/Sysfs.h"
#include "Support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <optional>
#include <string>

namespace Ondrel::Host {
namespace {

constexpr std::size_t kLongest = 65536;

TEST(Sysfs, TextOfOneByteIsRead) {
  const Testing::TemporaryFolder folder;
  EXPECT_EQ(ReadSysfsText(folder.Write("value", "1")), "1");
}

TEST(Sysfs, TextIsReadUpToTheLongestLength) {
  const Testing::TemporaryFolder folder;
  for (const std::size_t size : {kLongest - 1, kLongest, kLongest + 1, kLongest + 5000}) {
    const std::string text(size, 'x');
    const std::optional<std::string> read = ReadSysfsText(folder.Write("value", text));
    ASSERT_TRUE(read) << size;
    EXPECT_EQ(*read, text.substr(0, kLongest)) << size;
  }
}

}  // namespace
}  // namespace Ondrel::Host
