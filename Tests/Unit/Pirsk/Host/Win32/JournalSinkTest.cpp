#include <Pirsk/Trace.h>

#include <gtest/gtest.h>

namespace Pirsk::Testing {
namespace {

TEST(JournalSink, IsNullOnAHostWithoutAJournal) {
  EXPECT_FALSE(Trace::JournalSink("raid-service"));
}

}  // namespace
}  // namespace Pirsk::Testing
