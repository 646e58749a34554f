#include "Host/Linux/EventLog/EventSignals.h"
#include "Support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace Ondrel::Host {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

TEST(StoreSignal, LooksForAFolderThatIsGoneUntilItIsBack) {
  const Testing::TemporaryFolder folder;
  const std::string inside = folder.Path("inside");
  std::filesystem::create_directory(inside);
  ULong error = 0;
  const std::unique_ptr<EventSignal> signal = WatchStore(inside + "/events.db", error);
  ASSERT_NE(signal, nullptr) << error;
  EXPECT_FALSE(signal->Wait(milliseconds(1)));

  std::filesystem::remove(inside);
  // The notices of the removal, and then a look some time later, again and again.
  for (int look = 0; look < 5; ++look) EXPECT_TRUE(signal->Wait(seconds(10))) << look;

  std::filesystem::create_directory(inside);
  EXPECT_TRUE(signal->Wait(seconds(10)));
  EXPECT_FALSE(signal->Wait(milliseconds(600)));
  folder.Write("inside/events.db", "");
  EXPECT_TRUE(signal->Wait(seconds(10)));
}

}  // namespace
}  // namespace Ondrel::Host
