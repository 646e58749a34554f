#include "CommandFixture.h"

#include <gmock/gmock.h>

namespace Ondrel::Testing {
namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::StartsWith;

class Command : public CommandFixture {};

TEST_F(Command, ShowsItsVersionAndTheIdentityOfTheLibrary) {
  const ProcessResult result = Run({"--version"});

  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.output, "ondrel 7.10.2 (ondrel P:7.10.2 F:7.10.2)\n");
}

TEST_F(Command, ShowsItsVersionAsJson) {
  const ProcessResult result = Run({"--version", "--json"});

  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(ParseAnswer(result.output),
            json({{"version", "7.10.2"}, {"identity", "ondrel P:7.10.2 F:7.10.2"}}));
}

TEST_F(Command, NamesTheEventOfAStatusChange) {
  const ProcessResult result = Run({"status", "pd", "OPERATIONAL", "FAILED"});

  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.output,
            "OPERATIONAL (40093) -> FAILED (40095): event 10471 (PD_STATE_CHANGE_OP_TO_FAIL), "
            "severity 4 (error)\n");
  EXPECT_EQ(result.errors, "");
}

TEST_F(Command, TakesGlobalOptionsBeforeAndAfterTheSubcommand) {
  const json expected = {{"kind", "pd"},
                         {"old", 40093},
                         {"oldName", "OPERATIONAL"},
                         {"new", 40095},
                         {"newName", "FAILED"},
                         {"event", 10471},
                         {"eventName", "PD_STATE_CHANGE_OP_TO_FAIL"},
                         {"severity", 4}};

  EXPECT_EQ(ParseAnswer(Run({"--json", "status", "pd", "OPERATIONAL", "FAILED"}).output), expected);
  EXPECT_EQ(ParseAnswer(Run({"status", "pd", "OPERATIONAL", "FAILED", "--json"}).output), expected);
}

TEST_F(Command, SaysThatAStatusChangeHasNoEvent) {
  const ProcessResult result = Run({"status", "ld", "OPERATIONAL", "OPERATIONAL"});

  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_EQ(result.output,
            "OPERATIONAL (40093) -> OPERATIONAL (40093): there is no event for it\n");
}

TEST_F(Command, ShowsAMissingEventAsNull) {
  const ProcessResult result = Run({"status", "ld", "OPERATIONAL", "OPERATIONAL", "--json"});

  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_EQ(ParseAnswer(result.output), json({{"kind", "ld"},
                                              {"old", 40093},
                                              {"oldName", "OPERATIONAL"},
                                              {"new", 40093},
                                              {"newName", "OPERATIONAL"},
                                              {"event", nullptr},
                                              {"eventName", nullptr},
                                              {"severity", nullptr}}));
}

TEST_F(Command, KnowsTheNamesOfAllStatuses) {
  const std::pair<const char*, int> statuses[] = {
      {"AVAILABLE", 40099},
      {"AVAILABLE_SMART", 40180},
      {"FAILED", 40095},
      {"FAILED_SMART", 40181},
      {"GLOBAL_HOTSPARE", 40097},
      {"GLOBAL_HOTSPARE_SMART", 40178},
      {"DEDICATED_HOTSPARE", 40098},
      {"DEDICATED_HOTSPARE_SMART", 40179},
      {"OPERATIONAL", 40093},
      {"OPERATIONAL_SMART", 40176},
      {"REBUILDING", 40096},
      {"REBUILDING_SMART", 40177},
      {"OFFLINE", 40261},
      {"OFFLINE_SMART", 40034},
      {"SYSTEM", 40307},
      {"SYSTEM_SMART", 40308},
      {"DEGRADED", 40094},
      {"PARTIALLY_DEGRADED", 40242},
  };
  for (const auto& [name, code] : statuses) {
    const json shown = ParseAnswer(Run({"status", "pd", name, name, "--json"}).output);
    EXPECT_EQ(shown["old"], code) << name;
    EXPECT_EQ(shown["new"], code) << name;
  }
}

TEST_F(Command, TakesStatusesInAnyCaseAndAsNumbers) {
  const char* const expected =
      "OPERATIONAL (40093) -> DEGRADED (40094): event 10412 (LD_STATE_CHANGE_OP_TO_DEG), "
      "severity 4 (error)\n";

  EXPECT_EQ(Run({"status", "ld", "operational", "Degraded"}).output, expected);
  EXPECT_EQ(Run({"status", "ld", "40093", "0x9C9E"}).output, expected);
}

TEST_F(Command, RefusesANumberThatIsNotAStatus) {
  for (const char* const number : {"-1", "0", "40100"}) {
    const ProcessResult result = Run({"status", "pd", "OPERATIONAL", number});
    EXPECT_EQ(result.exitStatus, 2) << number;
    EXPECT_THAT(result.errors, HasSubstr("is not a status")) << number;
  }
}

TEST_F(Command, NamesTheNearestOfWhatIsMisspelt) {
  const std::pair<std::vector<std::string>, const char*> rows[] = {
      {{"stauts", "pd", "1", "2"}, "did you mean status?"},
      {{"log", "reprot"}, "did you mean report?"},
      {{"status", "pd", "OPERTIONAL", "FAILED"}, "did you mean OPERATIONAL?"},
      {{"status", "--jsno"}, "did you mean --json?"},
      {{"help", "lgo"}, "did you mean log?"},
      {{"code", "evnet", "1"}, "did you mean event?"},
  };
  for (const auto& [arguments, words] : rows) {
    const ProcessResult result = Run(arguments);
    EXPECT_EQ(result.exitStatus, 2) << words;
    EXPECT_THAT(result.errors, HasSubstr(words));
  }
}

TEST_F(Command, AFullDiskIsAFailureInWords) {
  for (const char* const line : {"codes", "codes --json", "help", "status pd FAILED FAILED"}) {
    const ProcessResult result =
        RunProcess("/bin/sh", {"-c", std::string(ONDREL_COMMAND) + " " + line + " >/dev/full"});
    EXPECT_EQ(result.exitStatus, 3) << line;
    EXPECT_EQ(result.errors, "ondrel: cannot write to standard output: No space left on device\n")
        << line;
  }
}

TEST_F(Command, AReaderThatGoesAwayEndsAnEndlessAnswerQuietly) {
  const std::string question = R"({"pattern":"a","text":"a"})";
  const ProcessResult result =
      RunProcess("/bin/bash", {"-c", "yes '" + question + "' | { " + std::string(ONDREL_COMMAND) +
                                         " match --jsonl; echo \"status $?\" >&2; } | head -n 1"});
  EXPECT_EQ(result.output, "{\"jsonVersion\":1,\"matched\":true,\"groups\":[[0,1]]}\n");
  EXPECT_EQ(result.errors, "status 141\n");
}

TEST_F(Command, ALineWithoutAWordLacksASubcommand) {
  const ProcessResult result = RunProcess(ONDREL_COMMAND, {});

  EXPECT_EQ(result.exitStatus, 2);
  EXPECT_EQ(result.output, "");
  EXPECT_EQ(result.errors,
            "ondrel: a subcommand is required\nRun 'ondrel --help' for its usage.\n");
}

TEST_F(Command, HelpOfWhatIsNotASubcommandIsWrongUsageInJsonToo) {
  const ProcessResult result = Run({"stauts", "--help", "--json"});

  EXPECT_EQ(result.exitStatus, 2);
  EXPECT_EQ(ParseAnswer(result.output)["error"]["text"],
            "\"stauts\" is not a subcommand, did you mean status?");
}

TEST_F(Command, CompareShowsTheRelationOfTwoVersions) {
  EXPECT_EQ(Run({"compare", "7.9.14", "7.10.2"}).output, "7.9.14 < 7.10.2\n");
  EXPECT_EQ(Run({"compare", "7.10.2", "7.9.14"}).output, "7.10.2 > 7.9.14\n");
  EXPECT_EQ(Run({"compare", "7.10", "7.10.0"}).output, "7.10 = 7.10.0\n");
}

TEST_F(Command, StampSaysThatALocalTimeDoesNotExist) {
  struct Row {
    const char* zone;
    const char* date;
    const char* output;
    const char* errors;
  };
  const Row kRows[] = {
      {"TZ=Europe/Berlin", "2022-03-27 02:30:00", "1648341000000ms\n",
       "ondrel: 2022-03-27 02:30:00 does not exist in local time; taken as "
       "2022-03-27T01:30:00+01:00\n"},
      {"TZ=Europe/Berlin", "2022-03-27 03:30:00", "1648344600000ms\n", ""},
      {"TZ=UTC", "2022-03-27T02:30:00+01:00", "1648344600000ms\n", ""},
  };
  for (const Row& row : kRows) {
    const ProcessResult result =
        RunProcess("/usr/bin/env", {row.zone, ONDREL_COMMAND, "stamp", row.date});

    EXPECT_EQ(result.exitStatus, 0) << row.date;
    EXPECT_EQ(result.output, row.output) << row.date;
    EXPECT_EQ(result.errors, row.errors) << row.date;
  }
}

struct WrongUsage {
  const char* name;
  std::vector<std::string> arguments;
  const char* complaint;
};

void PrintTo(const WrongUsage& row, std::ostream* out) { *out << row.name; }

class CommandUsage : public CommandFixture, public testing::WithParamInterface<WrongUsage> {};

TEST_P(CommandUsage, IsRefusedWithAPointerToTheHelp) {
  const ProcessResult result = Run(GetParam().arguments);

  EXPECT_EQ(result.exitStatus, 2);
  EXPECT_EQ(result.output, "");
  EXPECT_THAT(result.errors, StartsWith("ondrel: "));
  EXPECT_THAT(result.errors, HasSubstr(GetParam().complaint));
  EXPECT_THAT(result.errors, HasSubstr("--help' for its usage."));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, CommandUsage,
    testing::Values(
        WrongUsage{"NoSubcommand", {}, "a subcommand is required"},
        WrongUsage{"UnknownSubcommand", {"frobnicate"}, "frobnicate"},
        WrongUsage{"LogAlone", {"log"}, "Run 'ondrel log --help'"},
        WrongUsage{"UnknownOption", {"status", "pd", "1", "2", "--frob"}, "--frob"},
        WrongUsage{"UnknownKind", {"status", "xd", "1", "2"}, "KIND"},
        WrongUsage{"StatusMissing", {"status", "pd", "OPERATIONAL"}, "NEW"},
        WrongUsage{"StatusUnknown", {"status", "pd", "BROKEN", "FAILED"}, "BROKEN"},
        WrongUsage{"HelpOfNoSubcommand", {"stauts", "--help"}, "\"stauts\" is not a subcommand"},
        WrongUsage{
            "HelpAmongLettersOfNoSubcommand", {"stauts", "-hV"}, "\"stauts\" is not a subcommand"},
        WrongUsage{"HelpOfNoMember", {"log", "shwo", "-h"}, "\"shwo\" is not a subcommand"},
        WrongUsage{"WordTooMany", {"log", "report", "D", "1", "error", "x", "uptime"}, "uptime"},
        WrongUsage{"StatusNumberWithLetters", {"status", "pd", "12abc", "1"}, "12abc"},
        WrongUsage{"StatusTooLarge", {"status", "pd", "2147483648", "1"}, "2147483648"},
        WrongUsage{"EventWithLetters", {"log", "report", "L", "12abc", "error", "t"}, "12abc"},
        WrongUsage{"EventEmpty", {"log", "report", "L", "", "error", "t"}, "EVENT"},
        WrongUsage{"EventWithPlus", {"log", "report", "L", "+1", "error", "t"}, "+1"},
        WrongUsage{"EventWithSpace", {"log", "report", "L", " 1", "error", "t"}, "EVENT"},
        WrongUsage{"EventTwoSigns", {"log", "report", "L", "0x-1", "error", "t"}, "0x-1"},
        WrongUsage{"TypeUnknown", {"log", "report", "L", "1", "grave", "t"}, "grave"},
        WrongUsage{"CountZero", {"log", "follow", "L", "--count", "0"}, "--count"},
        WrongUsage{"TimeoutNegative", {"log", "follow", "L", "--timeout=-1"}, "--timeout"},
        WrongUsage{"TraceLevelUnknown", {"--trace", "error,all", "uptime"}, "all"},
        WrongUsage{"CapacityTooSmall",
                   {"--store-capacity", "262143", "log", "follow", "L"},
                   "--store-capacity"},
        WrongUsage{"JournalAndStore", {"--journal", "uptime"}, "--journal"},
        WrongUsage{"PortTooLarge",
                   {"mail", "--server", "h", "--port", "65536", "--mail-from", "a@b", "--to", "c@d",
                    "--subject", "s"},
                   "65536"},
        WrongUsage{"MailWithoutServer",
                   {"mail", "--mail-from", "a@b", "--to", "c@d", "--subject", "s"},
                   "--server"},
        WrongUsage{"SubjectOfTwoLines",
                   {"mail", "--server", "h", "--mail-from", "a@b", "--to", "c@d", "--subject",
                    "s\nBcc: e@f"},
                   "line break"},
        WrongUsage{"UserWithoutPassword",
                   {"mail", "--server", "h", "--mail-from", "a@b", "--to", "c@d", "--subject", "s",
                    "--user", "u"},
                   "--password-file"},
        WrongUsage{"PasswordFileMissing",
                   {"mail", "--server", "h", "--mail-from", "a@b", "--to", "c@d", "--subject", "s",
                    "--user", "u", "--password-file", "/nowhere/password"},
                   "cannot read /nowhere/password"},
        WrongUsage{"BodyIsAFolder",
                   {"mail", "--server", "h", "--mail-from", "a@b", "--to", "c@d", "--subject", "s",
                    "--body", "/"},
                   "cannot read /"}),
    [](const auto& row) { return std::string(row.param.name); });

struct HelpRow {
  const char* name;
  std::vector<std::string> arguments;
  const char* expected;
};

void PrintTo(const HelpRow& row, std::ostream* out) { *out << row.name; }

class CommandHelp : public CommandFixture, public testing::WithParamInterface<HelpRow> {};

TEST_P(CommandHelp, NamesWhatTheSubcommandTakes) {
  const ProcessResult result = Run(GetParam().arguments);

  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_THAT(result.output, HasSubstr(GetParam().expected));
  EXPECT_EQ(result.errors, "");
}

INSTANTIATE_TEST_SUITE_P(
    Rows, CommandHelp,
    testing::Values(HelpRow{"Command", {"--help"}, "--store-capacity"},
                    HelpRow{"AmongLetters", {"-hV"}, "--store-capacity"},
                    HelpRow{"AmongLettersOfAMember", {"log", "report", "-hV"}, "EVENT"},
                    HelpRow{"Status", {"status", "--help"}, "pd|ld"},
                    HelpRow{"Log", {"log", "--help"}, "follow"},
                    HelpRow{"Report", {"log", "report", "--help"}, "EVENT"},
                    HelpRow{"Follow", {"log", "follow", "--help"}, "--count"},
                    HelpRow{"Mail", {"mail", "--help"}, "--mail-from"},
                    HelpRow{"Alert", {"alert", "--help"}, "--object"}),
    [](const auto& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace Ondrel::Testing
