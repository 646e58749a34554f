#include "CommandFixture.h"
#include "Support/EventStoreFixture.h"
#include "Support/Sanitized.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <string>
#include <vector>

namespace Ondrel::Testing {
namespace {

using nlohmann::json;
using testing::HasSubstr;

// Records as JSON lines, out of a log and into another one.
class CommandLogExport : public CommandFixture {};

TEST_F(CommandLogExport, WhatIsExportedIsImportedAsItWas) {
  Report("10471", "error", "PD 3 failed");
  Report("10471", "error", "bytes \xFF\xFE and \"quotes\" and \xC3\xA4");
  const ProcessResult exported = Run({"log", "export", "Demo"});
  EXPECT_EQ(exported.exitStatus, 0);
  const std::string file = WriteFile("export", exported.output);
  const std::vector<std::string> other = {"--store", Path("other.db"), "log"};
  const auto runOther = [&](std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), other.begin(), other.end());
    return RunProcess(ONDREL_COMMAND, arguments);
  };
  EXPECT_EQ(runOther({"import", file}).output,
            "Imported 2 records into the event store " + Path("other.db") + "\n");
  EXPECT_EQ(runOther({"export", "Demo"}).output, exported.output);

  const ProcessResult again = runOther({"import", file});
  EXPECT_EQ(again.exitStatus, 3);
  EXPECT_THAT(again.errors, HasSubstr("--renumber"));
  EXPECT_EQ(runOther({"import", "--renumber", file}).exitStatus, 0);
  EXPECT_THAT(runOther({"list"}).output, HasSubstr("Demo: 4 records"));
}

TEST_F(CommandLogExport, ALineThatIsNotARecordEndsTheImportAndSaysWhatWasKept) {
  Report("10471", "error", "PD 3 failed");
  const std::string line = Run({"log", "export", "Demo"}).output;
  for (const char* wrong : {"{}", "x", R"({"log":"A","recordNumber":-1})"}) {
    const ProcessResult result =
        Run({"log", "import", "--renumber", WriteFile("export", line + wrong + "\n")});
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_THAT(result.errors, HasSubstr("line 2 of "));
    EXPECT_THAT(result.errors, HasSubstr("1 records before it were kept"));
  }
  const ProcessResult asJson = Run({"--json", "log", "import", WriteFile("export", "{}\n")});
  EXPECT_EQ(asJson.exitStatus, 2);
  EXPECT_THAT(ParseAnswer(asJson.output)["error"]["text"], HasSubstr("line 1 of "));
}

TEST_F(CommandLogExport, StandardInputThatCannotBeReadIsNotAnEmptyExport) {
  const std::string line =
      std::string("'") + ONDREL_COMMAND + "' --store '" + Path("other.db") + "' log import - < ";
  const ProcessResult result = RunProcess("/bin/sh", {"-c", line + "/"});
  EXPECT_EQ(result.exitStatus, 3);
  EXPECT_EQ(result.output, "");
  EXPECT_EQ(result.errors,
            "ondrel: cannot read standard input after line 0; 0 records before it were kept: Is a "
            "directory\n");
}

TEST_F(CommandLogExport, StandardInputIsImportedWithEitherLineEnd) {
  Report("10471", "error", "PD 3 failed");
  std::string lines = Run({"log", "export", "Demo"}).output;
  lines.insert(lines.size() - 1, "\r");
  const std::string file = WriteFile("export", "\r\n" + lines);
  const ProcessResult result =
      RunProcess("/bin/sh", {"-c", std::string("'") + ONDREL_COMMAND + "' --store '" +
                                       Path("other.db") + "' log import - < '" + file + "'"});
  EXPECT_EQ(result.exitStatus, 0) << result.errors;
  EXPECT_EQ(result.output, "Imported 1 records into the event store " + Path("other.db") + "\n");
}

TEST_F(CommandLogExport, ImportRefusesAnotherVersionAndNamesWhatItDoesNotKnow) {
  Report("10471", "error", "PD 3 failed");
  const json record = json::parse(Run({"log", "export", "Demo"}).output);
  json later = record;
  later["jsonVersion"] = 2;
  const ProcessResult refused =
      Run({"log", "import", "--renumber", WriteFile("export", later.dump() + "\n")});
  EXPECT_EQ(refused.exitStatus, 2);
  EXPECT_THAT(refused.errors, HasSubstr("of another version, 2"));
  json larger = record;
  larger["colour"] = "red";
  const ProcessResult kept =
      Run({"log", "import", "--renumber", WriteFile("export", larger.dump() + "\n")});
  EXPECT_EQ(kept.exitStatus, 0);
  EXPECT_THAT(kept.errors, HasSubstr("\"colour\" is not known and is left out"));
}

// So many levels would not fit a stack that takes a call for each.
TEST_F(CommandLogExport, ALineThatNestsDeepIsRefusedAsAnyOther) {
  constexpr std::size_t kLevels = WithSanitizer<std::size_t>(50'000, 400'000);
  const std::string nest = std::string(kLevels, '[') + std::string(kLevels, ']');
  for (const std::string& line :
       {"{\"jsonVersion\":" + nest + "}", "{\"x\":" + nest + ",\"log\":1,\"a\":1,\"b\":1}"}) {
    const ProcessResult result = Run({"log", "import", "-"}, line + "\n");
    EXPECT_EQ(result.exitStatus, 2) << result.errors.substr(0, 200);
    EXPECT_THAT(result.errors, HasSubstr("line 1 of - is not an exported record"));
  }
  const ProcessResult state = Run({"log", "follow", "Demo", "--timeout", "0", "--state",
                                   WriteFile("state", "{\"log\":" + nest + ",\"a\":1,\"b\":1}")});
  EXPECT_EQ(state.exitStatus, 2) << state.errors;
}

TEST_F(CommandLogExport, ALineThatIsTooLongEndsTheImport) {
  Report("10471", "error", "PD 3 failed");
  const std::string record = Run({"log", "export", "Demo"}).output;
  const std::string spaces(std::size_t{1} << 20, ' ');
  const std::string longest =
      record.substr(0, record.size() - 1) + spaces.substr(record.size() - 1);
  for (const char* const end : {"", "\n"}) {
    const ProcessResult kept = Run({"log", "import", "--renumber", "-"}, longest + end);
    EXPECT_EQ(kept.exitStatus, 0) << kept.errors;
    const ProcessResult refused =
        Run({"log", "import", "--renumber", "-"}, record + longest + " " + end);
    EXPECT_EQ(refused.exitStatus, 2);
    EXPECT_THAT(refused.errors, HasSubstr("line 2 of - is not an exported record: it is longer "
                                          "than 1 MiB; 1 records before it were kept"));
  }
  EXPECT_EQ(Run({"log", "import", "/dev/zero"}).exitStatus, 2);
}

TEST_F(CommandLogExport, AnExportThatIsNotCompleteSaysSoAndSoDoesItsImport) {
  for (const char* text : {"One", "Two", "Three"}) Report("10471", "error", text);
  Testing::RunSql(Path("events.db"), "DELETE FROM record WHERE id & 4294967295 = 2");

  const ProcessResult plain = Run({"log", "export", "Demo"});
  const ProcessResult exported = Run({"--json", "log", "export", "Demo"});

  EXPECT_EQ(plain.exitStatus, 1);
  EXPECT_EQ(exported.exitStatus, 1);
  ASSERT_TRUE(exported.output.starts_with(plain.output)) << exported.output;
  const json failure = ParseAnswer(exported.output.substr(plain.output.size()));
  EXPECT_EQ(failure["error"]["name"], "RECORDS_MISSING");
  EXPECT_EQ(failure["exitStatus"], 1);
  const ProcessResult imported =
      RunProcess(ONDREL_COMMAND, {"--store", Path("other.db"), "--json", "log", "import", "-"},
                 exported.output);
  EXPECT_EQ(imported.exitStatus, 1);
  EXPECT_THAT(imported.errors, HasSubstr("line 3: the export says: records of Demo are damaged or "
                                         "missing\n"));
  EXPECT_EQ(ParseAnswer(imported.output)["kept"], 2);
  EXPECT_EQ(ParseAnswer(imported.output)["complete"], false);
}

TEST_F(CommandLogExport, ExportIntoAFileAnswersWithWhatItWrote) {
  Report("10471", "error", "One");
  const ProcessResult result =
      Run({"--json", "log", "export", "Demo", "--output", Path("exported")});
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(ParseAnswer(result.output)["exported"], 1);
  EXPECT_EQ(ParseAnswer(result.output)["output"], Path("exported"));
}

TEST_F(CommandLogExport, ImportThatCannotBeReadSaysSo) {
  const ProcessResult folder = Run({"log", "import", Path("")});
  EXPECT_EQ(folder.exitStatus, 2);
  EXPECT_THAT(folder.errors, HasSubstr("cannot read " + Path("") + ": Is a directory"));
}

TEST_F(CommandLogExport, ExportThatCannotBeWrittenFails) {
  Report("10471", "error", "PD 3 failed");
  const ProcessResult result = Run({"log", "export", "Demo", "--output", "/dev/full"});
  EXPECT_EQ(result.exitStatus, 3);
  EXPECT_THAT(result.errors, HasSubstr("cannot write all records to /dev/full"));
}

}  // namespace
}  // namespace Ondrel::Testing
