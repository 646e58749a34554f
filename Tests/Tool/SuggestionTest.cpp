#include "Tool/Suggestion.h"

#include <gtest/gtest.h>

namespace Tool {
namespace {

TEST(Suggestion, OneLetterMayDifferAndOneMoreForEveryThree) {
  EXPECT_EQ(Suggestion("lo", {"log"}), ", did you mean log?");
  EXPECT_EQ(Suggestion("xo", {"log"}), "");
  EXPECT_EQ(Suggestion("lxx", {"log"}), ", did you mean log?");
  EXPECT_EQ(Suggestion("abxxx", {"abcde"}), "");
  EXPECT_EQ(Suggestion("abcxxx", {"abcdef"}), ", did you mean abcdef?");
}

TEST(Suggestion, OneThatSharesNoLetterIsNotNear) { EXPECT_EQ(Suggestion("x", {"y"}), ""); }

TEST(Suggestion, OfTheNearestTheFirstIsTaken) {
  EXPECT_EQ(Suggestion("lot", {"plots", "lob", "log"}), ", did you mean lob?");
}

}  // namespace
}  // namespace Tool
