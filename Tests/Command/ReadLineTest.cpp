#include "Support/Sanitized.h"
#include "Tool/CommandLine.h"

#include <gtest/gtest.h>

#include <set>

namespace Tool {
namespace {

using Words = std::vector<std::string>;

/// Every subcommand that runs something, by its words.
std::vector<Words> AllPaths(std::span<const Subcommand> subcommands = Subcommands(),
                            const Words& front = {}) {
  std::vector<Words> paths;
  for (const Subcommand& subcommand : subcommands) {
    Words path = front;
    path.emplace_back(subcommand.name);
    if (subcommand.members.empty()) paths.push_back(path);
    for (const Words& member : AllPaths(subcommand.members, path)) paths.push_back(member);
  }
  return paths;
}

std::string Joined(const Words& words) {
  std::string line = "ondrel";
  for (const std::string& word : words) line += ' ' + word;
  return line;
}

const Subcommand& RowOf(const Words& path) {
  const Subcommand* row = nullptr;
  std::span<const Subcommand> members = Subcommands();
  for (const std::string& name : path) {
    for (const Subcommand& candidate : members)
      if (candidate.name == name) row = &candidate;
    members = row->members;
  }
  return *row;
}

/// Reads a line without running it. What it chose, or began to choose, has to be `path`.
void ExpectOnly(const Words& path, const Words& line) {
  Choice choice;
  try {
    ReadLine(line, choice);
  } catch (const UsageError&) {
  }
  EXPECT_EQ(choice.path, Joined(path)) << Joined(line);
  ASSERT_NE(choice.parser, nullptr) << Joined(line);
  // The parser that the work was added to is the one of the same row.
  EXPECT_EQ(choice.parser->get_description(), RowOf(path).summary) << Joined(line);
}

Words Line(const Words& path, const Words& rest) {
  Words line = path;
  line.insert(line.end(), rest.begin(), rest.end());
  return line;
}

TEST(ReadLine, KnowsTheSubcommandsThatTheTableNames) {
  std::set<std::string> names;
  for (const Words& path : AllPaths()) names.insert(Joined(path));
  for (const char* const name : {"help",       "status",     "code",           "codes",
                                 "log report", "log follow", "mail",           "alert",
                                 "os",         "match",      "adapters",       "locate",
                                 "run",        "compare",    "date",           "stamp",
                                 "week-date",  "uptime",     "module-version", "reboot",
                                 "beep",       "nvme smart", "partitions",     "disks"})
    EXPECT_TRUE(names.contains(std::string("ondrel ") + name)) << name;
}

TEST(ReadLine, NoWordAfterASubcommandChoosesAnother) {
  std::set<std::string> names;
  for (const Words& path : AllPaths()) names.insert(path.begin(), path.end());
  ASSERT_GE(names.size(), 25U);
  // `reboot` among them, whatever part of them is tried.
  constexpr std::size_t kStep = Ondrel::Testing::WithSanitizer<std::size_t>(16, 1);
  for (std::size_t place = 0; const std::string& name : std::set(names))
    if (place++ % kStep != 0 && name != "reboot") names.erase(name);
  for (const Words& path : AllPaths()) {
    for (const std::string& other : names) {
      ExpectOnly(path, Line(path, {other}));
      ExpectOnly(path, Line(path, {other, "--yes"}));
      ExpectOnly(path, Line(path, {"--", other}));
      ExpectOnly(path, Line(path, {"--", other, "--yes"}));
      ExpectOnly(path, Line(path, {"x", other, "--yes"}));
      ExpectOnly(path, Line(path, {"x", "1", "error", other}));
      ExpectOnly(path, Line(path, {"--store", other}));
      ExpectOnly(path, Line(path, {"--store=" + other, other}));
      ExpectOnly(path, Line(path, {"--json", other}));
      ExpectOnly(path, Line(path, {"--frob", other, "--yes"}));
      ExpectOnly(path, Line({"--store", other}, path));
      ExpectOnly(path, Line({"--json", "--store", other, "--"}, path));
    }
  }
}

TEST(ReadLine, AWordOfTheFrontIsOneSubcommandOrNone) {
  for (const Words& line :
       {Words{"echo", "reboot", "--yes"}, Words{"--yes", "reboot"}, Words{"--store", "reboot"},
        Words{"++", "reboot", "--yes"}, Words{"/reboot"}, Words{"-reboot"}, Words{"--reboot"},
        Words{"reboot "}, Words{"REBOOT", "--yes"}, Words{"reboot,uptime"}, Words{""},
        Words{"", "reboot", "--yes"}, Words{"reboo", "--yes"}, Words{"log", "reboot", "--yes"},
        Words{"nvme", "--", "reboot", "--yes"}, Words{}}) {
    Choice choice;
    EXPECT_THROW(ReadLine(line, choice), UsageError) << Joined(line);
    EXPECT_EQ(choice.parser, nullptr) << Joined(line);
    EXPECT_FALSE(choice.work) << Joined(line);
  }
}

TEST(ReadLine, RebootNeedsItsFlagWithoutAValue) {
  for (const Words& line : {Words{"reboot"}, Words{"reboot", "yes"}, Words{"reboot", "--yes=false"},
                            Words{"reboot", "--yes="}, Words{"reboot", "--yes", "now"},
                            Words{"reboot", "--", "--yes"}}) {
    Choice choice;
    EXPECT_THROW(ReadLine(line, choice), UsageError) << Joined(line);
    EXPECT_FALSE(choice.work) << Joined(line);
  }
}

/// What is said of a line that cannot be used; empty of one that can.
std::string ComplaintOf(const Words& line) {
  Choice choice;
  try {
    ReadLine(line, choice);
  } catch (const UsageError& error) {
    return error.what();
  }
  return "";
}

TEST(ReadLine, EmptyValueIsRefusedWhereItIsNotAValue) {
  const std::pair<Words, const char*> kLines[] = {
      {{"date", ""}, "TIME is empty"},
      {{"os", "--from", ""}, "--from is empty"},
      {{"os", "--from="}, "--from is empty"},
      {{"match", "--from", "", "a"}, "--from is empty"},
      {{"match", "--from=", "a"}, "--from is empty"},
      {{"match", "--flags", "", "a"}, "--flags is empty"},
      {{"watch", "--config", ""}, "--config is empty"},
      {{"log", "follow", "D", "--state", ""}, "--state is empty"},
      {{"log", "follow", "D", "--state=", "--from-start"}, "--state is empty"},
      {{"log", "follow", ""}, "LOG is empty"},
      {{"log", "show", ""}, "LOG is empty"},
      {{"log", "show", "D", "--computer", ""}, "--computer is empty"},
      {{"log", "show", "D", "--source", ""}, "--source is empty"},
      {{"log", "show", "D", "--messages", ""}, "--messages is empty"},
      {{"log", "export", "D", "--output", ""}, "--output is empty"},
      {{"log", "report", "", "1", "error", "x"}, "LOG is empty"},
      {{"log", "report", "D", "1", "error", ""}, "TEXT is empty"},
      {{"log", "list", "--directory", ""}, "--directory is empty"},
      {{"--store", "", "uptime"}, "--store is empty"},
      {{"--store=", "uptime"}, "--store is empty"},
      {{"--trace=", "uptime"}, "--trace is empty"},
      {{"mail", "--server", "", "--subject", "s"}, "--server is empty"},
      {{"mail", "--server=", "--subject", "s"}, "--server is empty"},
      {{"mail", "--body", "", "--subject", "s"}, "--body is empty"},
      {{"alert", "pd", "1", "2", "--object", "", "--log", "D"}, "--object is empty"},
      {{"alert", "pd", "1", "2", "--object", "x", "--log", ""}, "--log is empty"},
      {{"compare", "", "1"}, "A is empty"},
      {{"codes", "--search", ""}, "--search is empty"},
      {{"doctor", "store", ""}, "CHECK is empty"},
      {{"partitions", ""}, "DISK is empty"},
      {{"module-version", ""}, "NAME is empty"},
      {{"nvme", "smart", ""}, "DEVICE is empty"},
      {{"nvme", "smart", "--raw="}, "--raw is empty"},
      {{"locate", "", "1042"}, "VENDOR is empty"},
      {{"reboot", "--message", ""}, "--message is empty"},
      {{"help", ""}, "SUBCOMMAND is empty"},
  };
  for (const auto& [line, complaint] : kLines)
    EXPECT_EQ(ComplaintOf(line), complaint) << Joined(line);
}

TEST(ReadLine, EmptyValueIsTakenWhereItIsAValue) {
  for (const Words& line :
       {Words{"match", "", ""}, Words{"code", "value", ""},
        Words{"mail", "--server", "h", "--subject", ""},
        Words{"mail", "--server", "h", "--subject="}, Words{"run", "echo", "", "--x="},
        // The event is to be in the log before anything of the mail is refused.
        Words{"alert", "pd", "FAILED", "OFFLINE", "--object", "x", "--log", "D", "--server", ""},
        Words{"alert", "--to=", "pd", "FAILED", "OFFLINE", "--object", "x", "--log", "D", "--cc="},
        // A value that looks like an option without its value.
        Words{"mail", "--server", "h", "--subject", "--body="}}) {
    Choice choice;
    EXPECT_NO_THROW(ReadLine(line, choice)) << Joined(line);
    EXPECT_TRUE(choice.work) << Joined(line);
  }
}

TEST(ReadLine, ComplaintsAreInTheCommandsOwnWords) {
  const std::pair<Words, const char*> kLines[] = {
      {{"status", "FALED", "1", "2"}, "KIND: \"FALED\" is not one of pd, ld"},
      {{"compare", "1", "2", "--is", "gtt"},
       "--is: \"gtt\" is not one of lt, le, eq, ne, ge, gt, did you mean gt?"},
      {{"date", "--form", "us", "--form", "iso"}, "--form may be given once only"},
      {{"date", "--form"}, "--form lacks its value"},
      {{"--trace"}, "--trace lacks its value"},
      {{"reboot", "--yes=false"}, "--yes takes no value"},
      {{"reboot", "--yes="}, "--yes takes no value"},
      {{"--json=", "uptime"}, "--json takes no value"},
      {{"--help=x"}, "--help takes no value"},
      {{"status", "pd", "FAILED"}, "NEW is required"},
      {{"--version", "uptime"}, "\"uptime\" is one word too many"},
      {{"beep", "440", "4294967296"}, "DURATION: is longer than 4294967295 ms"},
      {{"beep", "440", "50d"}, "DURATION: is longer than 4294967295 ms"},
      {{"beep", "440", "18446744073709551616"},
       "DURATION: \"18446744073709551616\" is not a duration such as 5, 0.5, 250ms, 2min or 1h"},
      {{"log", "follow", "L", "--timeout", "1w"},
       "--timeout: \"1w\" is not a duration such as 5, 0.5, 250ms, 2min or 1h"},
      {{"nvme", "log-page", "d", "--log-id", "4294967296"},
       "--log-id: \"4294967296\" is not a number of 0 to 255"},
      {{"compare", "1", "2", "--parts", "0x100000000"},
       "--parts: \"0x100000000\" is not a number of 0 to 2147483647"},
  };
  for (const auto& [line, complaint] : kLines)
    EXPECT_EQ(ComplaintOf(line), complaint) << Joined(line);
  EXPECT_EQ(ComplaintOf({"beep", "440", "4294967295"}), "");
}

TEST(ReadLine, HelpAsDataIsTakenWhereverItStands) {
  for (const Words& line :
       {Words{"--help", "--json"}, Words{"--json", "--help"}, Words{"os", "--help", "--json"},
        Words{"os", "-h", "--from=", "--json"}, Words{"log", "--help", "--json"},
        Words{"log", "show", "-h", "--json"}, Words{"help", "os", "--json"}}) {
    Choice choice;
    ReadLine(line, choice);
    EXPECT_TRUE(choice.globals.json) << Joined(line);
    EXPECT_TRUE(choice.work) << Joined(line);
  }
}

TEST(ReadLine, EverythingFromTheProgramOnIsTheProgramsOwn) {
  Choice choice;
  ReadLine({"run", "--json", "echo", "reboot", "--yes", "--json=x", "--", "-h", "--store"}, choice);

  EXPECT_TRUE(choice.globals.json);
  EXPECT_EQ(choice.globals.store, "");
  EXPECT_EQ(OwnWords(*choice.parser),
            (Words{"echo", "reboot", "--yes", "--json=x", "--", "-h", "--store"}));
}

TEST(ReadLine, GlobalOptionsStandBeforeOrAfterTheSubcommand) {
  for (const Words& line : {Words{"--json", "--store", "f", "log", "follow", "L"},
                            Words{"log", "--json", "--store", "f", "follow", "L"},
                            Words{"log", "follow", "L", "--json", "--store=f"}}) {
    Choice choice;
    ReadLine(line, choice);
    EXPECT_EQ(choice.path, "ondrel log follow");
    EXPECT_TRUE(choice.globals.json);
    EXPECT_EQ(choice.globals.store, "f");
  }
}

TEST(ReadLine, JsonIsKnownWhereverTheLineIsWrong) {
  for (const Words& line :
       {Words{"--json", "frob"}, Words{"frob", "--json"}, Words{"status", "xd", "1", "2", "--json"},
        Words{"--json", "status", "--store"}, Words{"log", "frob", "--json"},
        Words{"status", "--frob", "--json"}, Words{"--json"}}) {
    Choice choice;
    EXPECT_THROW(ReadLine(line, choice), UsageError) << Joined(line);
    EXPECT_TRUE(choice.globals.json) << Joined(line);
  }
}

TEST(ReadLine, AnArgumentMayBeginWithASlashOrBeANegativeNumber) {
  Choice choice;
  ReadLine({"compare", "/json", "-1"}, choice);

  EXPECT_EQ(choice.path, "ondrel compare");
  EXPECT_FALSE(choice.globals.json);
}

}  // namespace
}  // namespace Tool
