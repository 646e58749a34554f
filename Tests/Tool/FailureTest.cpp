#include "Tool/Failure.h"

#include <gtest/gtest.h>

namespace Tool {
namespace {

using Pirsk::Exceptions::CErrorReport;

CErrorReport Report() {
  CErrorReport report{};
  report.number = 0x20050002;
  report.text = "Invalid parameter";
  report.contextLines = {"CSystemLog::Report ()"};
  return report;
}

TEST(Failure, ModuleErrorWithoutASystemErrorHasNullForIt) {
  const Json shown = JsonOfError(Report());

  EXPECT_EQ(shown["kind"], "module");
  EXPECT_EQ(shown["number"], 0x20050002);
  EXPECT_EQ(shown["hex"], "0x20050002");
  EXPECT_EQ(shown["name"], "INVALID_PARAMETER");
  EXPECT_EQ(shown["text"], "Invalid parameter");
  EXPECT_TRUE(shown["systemError"].is_null());
  EXPECT_EQ(shown["context"], Json({"CSystemLog::Report ()"}));
}

TEST(Failure, WordsNameTheContextWhereNothingElseSaysWhatWasTouched) {
  EXPECT_EQ(WordsOfError(Report()),
            "Invalid parameter (error 0x20050002, INVALID_PARAMETER)\n  in CSystemLog::Report ()");
  EXPECT_EQ(WordsOfError(Report(), "log Demo"),
            "log Demo: Invalid parameter (error 0x20050002, INVALID_PARAMETER)");
}

TEST(Failure, OriginIsALineForEachContextAndPlace) {
  CErrorReport report = Report();
  report.contextLines.emplace_back("two\nlines");
  report.locations = {{"ondrel", "SystemLog.cpp", 12}, {"ondrel", "Alert.cpp", 3}};

  EXPECT_EQ(OriginOfError(report),
            "  in CSystemLog::Report ()\n"
            "  in two\\nlines\n"
            "  at SystemLog.cpp:12\n"
            "  at Alert.cpp:3\n");
}

}  // namespace
}  // namespace Tool
