#include "Support/TemporaryFolder.h"
#include "Tool/Watch/Linux/ServiceLock.h"

#include <gtest/gtest.h>

#include <chrono>
#include <fcntl.h>
#include <optional>
#include <string>
#include <sys/file.h>
#include <thread>
#include <unistd.h>

namespace Tool::Watch {
namespace {

TEST(ServiceLock, IsTakenWhenWhoeverHasItGoesAMomentLater) {
  const Ondrel::Testing::TemporaryFolder folder;
  const std::string state = folder.Path("watch.db");
  for (const int kind : {LOCK_SH, LOCK_EX}) {
    const int other = ::open((state + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    ASSERT_EQ(::flock(other, kind), 0);
    std::thread leaving([other] {
      std::this_thread::sleep_for(std::chrono::milliseconds(200));
      ::close(other);
    });
    EXPECT_NO_THROW(ServiceLock lock(state)) << kind;
    leaving.join();
  }
}

TEST(ServiceLock, SaysWhoHasItWhileItIsHeld) {
  const Ondrel::Testing::TemporaryFolder folder;
  const std::string state = folder.Path("watch.db");
  {
    const ServiceLock lock(state);
    lock.Sign(1234);
    const std::optional<ServiceSign> sign = ServiceLock::Read(state);
    ASSERT_TRUE(sign.has_value());
    EXPECT_EQ(sign->process, ::getpid());
    EXPECT_EQ(sign->lastLook, 1234);
  }
  EXPECT_FALSE(ServiceLock::Read(state).has_value());
}

}  // namespace
}  // namespace Tool::Watch
