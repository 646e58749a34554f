#include "Unit/Pirsk/TestModule.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <map>
#include <string>
#include <sys/uio.h>
#include <system_error>

namespace {

std::map<std::string, std::string> g_journalFields;
int g_journalOutcome = 0;

}  // namespace

// Stands in for libsystemd's: the journal sink's entries end here.
extern "C" __attribute__((visibility("default"))) int sd_journal_sendv(const iovec* parts,
                                                                       int count) {
  g_journalFields.clear();
  for (int i = 0; i < count; ++i) {
    const std::string field(static_cast<const char*>(parts[i].iov_base), parts[i].iov_len);
    const std::size_t equals = field.find('=');
    g_journalFields[field.substr(0, equals)] = field.substr(equals + 1);
  }
  return g_journalOutcome;
}

namespace Pirsk::Testing {
namespace {

using testing::Pair;
using testing::UnorderedElementsAre;

class JournalSink : public testing::Test {
protected:
  void TearDown() override { Trace::SetSink(nullptr); }
};

TEST_F(JournalSink, JournalGetsMessagePriorityAndOrigin) {
  g_journalOutcome = 0;
  Trace::SetSink(Trace::JournalSink("raid-service"));

  TraceLine(Misc::kTraceError, "GetLogPage: failed %s.\n", "5");

  EXPECT_THAT(g_journalFields,
              UnorderedElementsAre(Pair("MESSAGE", "GetLogPage: failed 5."), Pair("PRIORITY", "3"),
                                   Pair("SYSLOG_IDENTIFIER", "raid-service"),
                                   Pair("CODE_FILE", "Src/Traced.cpp"), Pair("CODE_LINE", "42"),
                                   Pair("CODE_FUNC", "Testing::Traced")));
}

TEST_F(JournalSink, JournalPriorityOfOtherLevelsIsDebug) {
  g_journalOutcome = 0;
  Trace::SetSink(Trace::JournalSink("raid-service"));

  for (const std::uint32_t level : {2u, 16u, 32u}) {
    TraceLine(level, "x");
    EXPECT_EQ(g_journalFields["PRIORITY"], "7") << level;
  }
}

TEST_F(JournalSink, JournalGetsTheModuleWhereThereIsNoIdentifier) {
  g_journalOutcome = 0;
  Trace::SetSink(Trace::JournalSink(""));

  TraceLine(16, "x");

  EXPECT_EQ(g_journalFields["SYSLOG_IDENTIFIER"], "testmodule");
}

TEST_F(JournalSink, JournalMessageMayBeOfLineEndsAlone) {
  g_journalOutcome = 0;
  Trace::SetSink(Trace::JournalSink("raid-service"));

  TraceLine(16, "\r\n");

  EXPECT_EQ(g_journalFields["MESSAGE"], "");
}

TEST_F(JournalSink, LineThatTheJournalRefusesIsLostInSilence) {
  g_journalOutcome = -ECONNREFUSED;
  Trace::SetSink(Trace::JournalSink("raid-service"));
  const std::uint64_t before = Trace::LostLines();

  testing::internal::CaptureStderr();
  TraceLine(16, "x");

  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(Trace::LostLines() - before, 1u);
}

TEST_F(JournalSink, RefusalOfTheJournalIsThrownWithItsReason) {
  g_journalOutcome = -ECONNREFUSED;
  const std::string text = "x";
  try {
    Trace::JournalSink("raid-service")({.time = {},
                                        .thread = 1,
                                        .level = 16,
                                        .module = "m",
                                        .file = "f",
                                        .function = "g",
                                        .line = 1,
                                        .text = text});
    FAIL();
  } catch (const std::system_error& error) {
    EXPECT_EQ(error.code().value(), ECONNREFUSED);
    EXPECT_STREQ(error.what(), "sd_journal_sendv: Connection refused");
  }
}

}  // namespace
}  // namespace Pirsk::Testing
