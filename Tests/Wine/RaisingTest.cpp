// Module errors on their way from one DLL through another into the program.

#include <Ondrel/SystemLog.h>
#include <Pirsk/Exceptions.h>
#include <Pirsk/ModuleInfo.h>

#include <gtest/gtest.h>

#include <thread>

namespace {

unsigned int NumberRaisedByReport(const std::string& text) {
  Ondrel::CSystemLog_Win log;
  try {
    log.Report(10471, Ondrel::kEventTypeError, text);
  } catch (unsigned int number) {
    return number;
  }
  return 0;
}

TEST(RaisedError, IsCaughtAsANumberInTheProgram) {
  EXPECT_EQ(NumberRaisedByReport(""), 0x20050002u);
  EXPECT_EQ(NumberRaisedByReport("PD 3 failed"), 0x20050007u);
}

TEST(RaisedError, IsKnownWithItsTextAndItsWay) {
  NumberRaisedByReport("");

  const Pirsk::Exceptions::CErrorReport report =
      Pirsk::Exceptions::ReportOf(Ondrel::kInvalidParameter);
  EXPECT_EQ(report.text, "Invalid parameter");
  EXPECT_EQ(report.contextLines, std::vector<std::string>{"CSystemLog::Report ()"});
  ASSERT_EQ(report.locations.size(), 2u);
  EXPECT_EQ(report.locations[0].module, "ondrel");
  EXPECT_TRUE(report.wasRaised);
}

TEST(RaisedError, ComesBackWhereRaisingIsSwitchedOff) {
  Ondrel::CSystemLog_Win log;
  const Pirsk::Threading::CRaisingSwitchedOff off;
  Pirsk::Exceptions::ForgetErrors();

  EXPECT_EQ(log.Report(10471, Ondrel::kEventTypeError, ""), 1u);

  const std::vector<Pirsk::Exceptions::CErrorReport> passed = Pirsk::Exceptions::PassedErrors();
  ASSERT_EQ(passed.size(), 2u);
  EXPECT_EQ(passed[0].number, 0x20050002u);
  EXPECT_EQ(passed[1].number, 0x20050007u);
  EXPECT_FALSE(passed[0].wasRaised);
}

TEST(RaisedError, IsRaisedOnOtherThreadsWhileThisOneHasItSwitchedOff) {
  const Pirsk::Threading::CRaisingSwitchedOff off;
  unsigned int raised = 0;

  std::thread([&] { raised = NumberRaisedByReport(""); }).join();

  EXPECT_EQ(raised, 0x20050002u);
}

TEST(RaisedError, IsRaisedAgainAfterTheScopeThatSwitchedItOff) {
  {
    const Pirsk::Threading::CRaisingSwitchedOff off;
    EXPECT_EQ(NumberRaisedByReport(""), 0u);
  }
  EXPECT_EQ(NumberRaisedByReport(""), 0x20050002u);
}

TEST(Module, IsKnownToTheProgramUnderItsNumber) {
  EXPECT_EQ(Pirsk::Misc::ModuleIdentity(5), "ondrel P:7.10.2 F:7.10.2");
}

}  // namespace
