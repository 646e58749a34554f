#include "Tool/Watch/Linux/Looking.h"
#include "Tool/Watch/Watch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <sys/resource.h>

namespace Tool::Watch {
namespace {

TEST(Looking, WhatCannotBeSeenForWantOfDescriptorsIsNotGone) {
  Ondrel::Host::CDriveMonitor monitor;
  EXPECT_NO_THROW(LookAtAll(monitor));
  rlimit limit{};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
  const rlimit none{.rlim_cur = 0, .rlim_max = limit.rlim_max};
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
  std::string words;
  try {
    LookAtAll(monitor);
  } catch (const WatchError& error) {
    words = error.what();
  }
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
  EXPECT_THAT(words, testing::HasSubstr("cannot see all drives and arrays: "));
  EXPECT_THAT(words, testing::HasSubstr("ERROR_TOO_MANY_OPEN_FILES"));
  EXPECT_NO_THROW(LookAtAll(monitor));
}

}  // namespace
}  // namespace Tool::Watch
