#include "Support/FaultySmtpServer.h"
#include "Support/Sanitized.h"
#include "Support/SmtpServer.h"
#include "Tool/Watch/Linux/PathChecks.h"
#include "Tool/Watch/Linux/Service.h"
#include "Watch/Linux/ServiceFixture.h"

#include <gmock/gmock.h>

#include <csignal>
#include <cstddef>
#include <exception>
#include <grp.h>
#include <iostream>
#include <iterator>
#include <limits>
#include <malloc.h>
#include <netinet/in.h>
#include <sstream>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Tool::Watch {
namespace {

using namespace std::chrono_literals;
using Ondrel::Testing::FaultySmtpServer;
using Ondrel::Testing::RunProcess;
using Ondrel::Testing::SmtpServer;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

using WatchService = ServiceFixture;

constexpr unsigned kNobody = 65534;

/// A mail server that takes connections and never says a word.
class SilentServer {
public:
  SilentServer() : m_file(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (::bind(m_file.Number(), reinterpret_cast<sockaddr*>(&address), size) != 0 ||
        ::listen(m_file.Number(), 16) != 0 ||
        ::getsockname(m_file.Number(), reinterpret_cast<sockaddr*>(&address), &size) != 0)
      throw std::runtime_error("the silent server did not start");
    m_port = ntohs(address.sin_port);
  }
  unsigned short Port() const { return m_port; }

private:
  Ondrel::Host::FileDescriptor m_file;
  unsigned short m_port = 0;
};

TEST_F(WatchService, WhatItSeesReachesTheLogAndTheMailServer) {
  const SmtpServer server;
  Configure(MailSection(server.Port()));
  Prepare({"GONE1"});
  const auto service = Start();
  EXPECT_TRUE(Comes([&] { return !server.Mails().empty(); }));
  EXPECT_TRUE(Comes([&] { return Log().find("GONE1") != std::string::npos; }));
  EXPECT_THAT(Log(), HasSubstr("RAID 1 warning 10033 "));
  EXPECT_THAT(server.Mails().at(0).data, HasSubstr("GONE1"));
  EXPECT_EQ(0, service->EndBy(SIGTERM).exitStatus);
}

TEST_F(WatchService, AnEventThatMayHaveReachedTheLogIsLookedForAndElseWrittenAgain) {
  Configure();
  Prepare({}, {EventOf("it was written"), EventOf("it was not")});
  // As if the service had been killed between the report and its note: one of them got there.
  ASSERT_EQ(0, RunProcess(ONDREL_COMMAND, {"--store", Path("events.db"), "log", "report", "RAID",
                                           "10471", "error", "it was written"})
                   .exitStatus);
  {
    Store store(Path("watch.db"), false);
    for (const StoredEvent& event : store.UnloggedEvents())
      store.SetLogState(event.id, LogState::Tried);
  }
  const auto service = Start();
  EXPECT_TRUE(Comes([&] { return Store(Path("watch.db"), false).Counts().eventsUnlogged == 0; }));
  const std::string log = Log();
  for (const char* const text : {"it was written", "it was not"}) {
    const std::size_t first = log.find(text);
    ASSERT_NE(std::string::npos, first) << log;
    EXPECT_EQ(std::string::npos, log.find(text, first + 1)) << log;
  }
}

TEST_F(WatchService, AProgramIsRunWithTheEventAsVariablesAndAsJson) {
  const std::string program = m_folder.Write(
      "program", "#!/bin/sh\n{ env | grep ^ONDREL_ | sort; cat; } >" + Path("aside") + "\nmv " +
                     Path("aside") + " " + Path("out") + "\n");
  std::filesystem::permissions(program, std::filesystem::perms::owner_all);
  Configure("[exec]\nprogram=" + program + "\n");
  Prepare({}, {EventOf("it $failed; \"here\"")});
  const auto service = Start();
  ASSERT_TRUE(Comes([&] { return std::filesystem::exists(Path("out")); }));
  const std::string said = Text("out");
  for (const char* const variable :
       {"ONDREL_EVENT=10471\n", "ONDREL_EVENT_NAME=", "ONDREL_SEVERITY=4\n",
        "ONDREL_OBJECT=drive\n", "ONDREL_ID=S1\n", "ONDREL_NAME=nvme0\n",
        "ONDREL_TEXT=it $failed; \"here\"\n", "ONDREL_HOST=", "ONDREL_TIME="})
    EXPECT_THAT(said, HasSubstr(variable));
  const nlohmann::json json = nlohmann::json::parse(said.substr(said.find('{')));
  EXPECT_EQ(10471, json["event"]);
  EXPECT_EQ(4, json["severity"]);
  EXPECT_EQ("S1", json["id"]);
  EXPECT_EQ("it $failed; \"here\"", json["text"]);
  EXPECT_TRUE(json["timeSeconds"].is_number());
  EXPECT_TRUE(json["host"].is_string());
}

TEST_F(WatchService, AProgramThatHangsIsEndedAndTheNextEventHasItsOwn) {
  const std::string program = m_folder.Write(
      "program", "#!/bin/sh\necho \"$ONDREL_TEXT\" >>" + Path("out") + "\nexec sleep 1000\n");
  std::filesystem::permissions(program, std::filesystem::perms::owner_all);
  Configure("[exec]\nprogram=" + program + "\ntime-limit=5\n");
  Prepare({}, {EventOf("one"), EventOf("two")});
  const auto service = Start();
  ASSERT_TRUE(service->WaitForErrors("program: ended after its time limit"));
  EXPECT_TRUE(Comes([&] { return Text("out") == "one\ntwo\n"; })) << Text("out");
}

TEST_F(WatchService, AProgramThatCannotBeRunIsNamed) {
  Configure("[exec]\nprogram=/no/such/program\n");
  Prepare({}, {EventOf("one")});
  const auto service = Start();
  ASSERT_TRUE(service->WaitForErrors("program: /no/such/program"));
}

// A socket at which a service manager would listen; closed when there is none to be had.
Ondrel::Host::FileDescriptor ManagerAt(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  Ondrel::Host::FileDescriptor manager(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  if (::bind(manager.Number(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0)
    return Ondrel::Host::FileDescriptor();
  return manager;
}

TEST_F(WatchService, TheManagerHearsOfReadinessLifeAndEnd) {
  Configure();
  const std::string path = Path("notify");
  const Ondrel::Host::FileDescriptor manager = ManagerAt(path);
  ASSERT_TRUE(manager.IsOpen());
  const timeval patience{60, 0};
  ::setsockopt(manager.Number(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
  const auto next = [&] {
    char text[256] = {};
    return std::string(text, static_cast<std::size_t>(std::max<ssize_t>(
                                 0, ::recv(manager.Number(), text, sizeof text, 0))));
  };

  // From before its start, since what it has said waits in the socket until it is read.
  const auto start = std::chrono::steady_clock::now();
  const auto service = Start({"NOTIFY_SOCKET=" + path, "WATCHDOG_USEC=600000"});
  EXPECT_EQ("READY=1", next());
  // The service has nothing else to do for 10 s: it wakes for this alone, at each third of the
  // time.
  for (int times = 0; times < 16; ++times) EXPECT_EQ("WATCHDOG=1", next());
  EXPECT_GE(std::chrono::steady_clock::now() - start, 15 * 200ms);
  service->Signal(SIGTERM);
  std::string last = next();
  while (last == "WATCHDOG=1") last = next();
  EXPECT_EQ("STOPPING=1", last);
  EXPECT_EQ(0, service->Wait().exitStatus);
}

TEST_F(WatchService, AWatchdogOfAnotherProcessIsNotFed) {
  Configure();
  const std::string path = Path("notify");
  const Ondrel::Host::FileDescriptor manager = ManagerAt(path);
  ASSERT_TRUE(manager.IsOpen());
  const auto service = Start({"NOTIFY_SOCKET=" + path, "WATCHDOG_USEC=100000", "WATCHDOG_PID=1"});
  std::this_thread::sleep_for(500ms);
  service->EndBy(SIGTERM);
  std::string said;
  char text[256];
  for (ssize_t size = 0; (size = ::recv(manager.Number(), text, sizeof text, MSG_DONTWAIT)) > 0;)
    said.append(text, static_cast<std::size_t>(size)).append("\n");
  EXPECT_EQ("READY=1\nSTOPPING=1\n", said);
}

TEST_F(WatchService, AWrongConfigurationLeavesItAsItWas) {
  const SmtpServer server;
  Configure(MailSection(server.Port()));
  Prepare({});
  const auto service = Start();
  Configure("[mail]\nserver=127.0.0.1\nprot=25\n");
  service->Signal(SIGHUP);
  ASSERT_TRUE(service->WaitForErrors("the configuration stays as it was: "));
  ASSERT_TRUE(service->WaitForErrors("watch.conf:11: there is no key \"prot\" in [mail]"));
  // The old one holds: a mail goes to the old server.
  Configure(MailSection(server.Port()));
  Store(Path("watch.db"), false)
      .Commit(*Store(Path("watch.db"), false).State(), {EventOf("later")}, SettingsNow(), "host",
              std::time(nullptr));
  EXPECT_TRUE(Comes([&] { return server.Mails().size() == 1; }));
  // And a good one is taken.
  service->Signal(SIGHUP);
  ASSERT_TRUE(service->WaitForErrors("the configuration was read again"));
  EXPECT_EQ(0, service->EndBy(SIGTERM).exitStatus);
}

TEST_F(WatchService, ASilentMailServerHoldsUpNeitherTheLogNorTheEndAndTheMailIsKept) {
  const SilentServer silent;
  Configure(MailSection(silent.Port()));
  Prepare({}, {EventOf("it failed")});
  const auto service = Start();
  EXPECT_TRUE(Comes([&] { return Log().find("it failed") != std::string::npos; }));
  EXPECT_TRUE(Comes([&] {
    const auto mails = Store(Path("watch.db"), false).Mails();
    return mails.size() == 1 && mails[0].state == MailState::Sending;
  }));
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(0, service->EndBy(SIGTERM).exitStatus);
  const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
  RecordProperty("secondsToEnd", std::to_string(taken.count()));
  // The sender has three minutes; 2 s are asked for, and a busy machine takes its time.
  EXPECT_LT(taken, 60s);
  std::string messageId = Store(Path("watch.db"), false).Mails().at(0).messageId;

  const SmtpServer server;
  Configure(MailSection(server.Port()));
  const auto again = Start();
  ASSERT_TRUE(Comes([&] { return server.Mails().size() == 1; }));
  EXPECT_THAT(server.Mails()[0].data, HasSubstr("Message-ID: <" + messageId + ">"));
  EXPECT_THAT(server.Mails()[0].data, HasSubstr("may have reached you before"));
}

TEST_F(WatchService, SendersDieWithAServiceThatIsKilled) {
  const SilentServer silent;
  Configure(MailSection(silent.Port()));
  Prepare({}, {EventOf("it failed")});
  const auto service = Start();
  std::string sender;
  const std::string children = "/proc/" + std::to_string(service->Id()) + "/task/" +
                               std::to_string(service->Id()) + "/children";
  ASSERT_TRUE(Comes([&] {
    std::ifstream file(children);
    return static_cast<bool>(file >> sender);
  }));
  EXPECT_EQ(SIGKILL, service->EndBy(SIGKILL).signal);
  EXPECT_TRUE(Comes([&] {
    std::ifstream file("/proc/" + sender + "/stat");
    std::string stat;
    std::getline(file, stat);
    return stat.empty() || stat.find(") Z ") != std::string::npos;
  }));
}

TEST_F(WatchService, AMailThatIsRefusedOrCutOffWaitsWithTheReason) {
  struct Row {
    const char* stage;
    const char* action;
    const char* words;
    bool isRepeat;  // Whether the mail may have arrived nevertheless.
  };
  for (const Row& row : {Row{"rcpt", "550 no such user", "550 no such user", false},
                         Row{"mail", "451 later", "451 later", false},
                         Row{"data", "drop", "", true}, Row{"end", "drop", "", true}}) {
    SCOPED_TRACE(row.stage);
    std::filesystem::remove(Path("watch.db"));
    FaultySmtpServer server(row.stage, row.action);
    Configure(MailSection(server.Port()));
    Prepare({}, {EventOf("it failed")});
    const auto service = Start();
    std::vector<StoredMail> mails;
    ASSERT_TRUE(Comes([&] {
      mails = Store(Path("watch.db"), false).Mails();
      return mails.size() == 1 && mails[0].state == MailState::Queued && mails[0].tries == 1;
    }));
    EXPECT_THAT(mails[0].error, HasSubstr(row.words));
    EXPECT_NE("", mails[0].error);
    EXPECT_GT(mails[0].due, mails[0].created);
    EXPECT_EQ(row.isRepeat, mails[0].isRepeat);
    ASSERT_TRUE(service->WaitForErrors("mail 1 to admin@example.com: "));
    EXPECT_EQ(0, service->EndBy(SIGTERM).exitStatus);
  }
}

TEST_F(WatchService, AMailWhoseSenderCannotBeStartedWaits) {
  Configure(MailSection(1));
  Prepare({}, {EventOf("it failed")});
  if (::geteuid() == 0) {
    // Root may start any number of processes.
    for (const char* const name : {"", "watch.conf", "watch.db", "watch.db-wal", "watch.db-shm"})
      if (std::filesystem::exists(Path(name))) {
        ASSERT_EQ(0, ::chown(Path(name).c_str(), kNobody, kNobody));
      }
  }
  const pid_t service = ::fork();
  if (service == 0) {
    const rlimit none{0, 0};
    if (::geteuid() == 0 &&
        (::setgroups(0, nullptr) != 0 || ::setgid(kNobody) != 0 || ::setuid(kNobody) != 0))
      ::_exit(1);
    ::setrlimit(RLIMIT_NPROC, &none);
    ::alarm(100);
    try {
      Service([this] { return SettingsNow(); }).Run();
    } catch (const std::exception& error) {
      std::cerr << error.what() << '\n';
      ::_exit(1);
    }
    ::_exit(0);
  }
  // What root makes of the state file before the service has it open is root's for a moment.
  ASSERT_TRUE(Comes([&] { return std::filesystem::exists(Path("watch.prom")); }));
  std::vector<StoredMail> mails;
  EXPECT_TRUE(Comes([&] {
    mails = Store(Path("watch.db"), false).Mails();
    return mails.at(0).tries == 1 && mails[0].state == MailState::Queued;
  }));
  EXPECT_THAT(mails.at(0).error, HasSubstr("fork"));
  EXPECT_FALSE(mails[0].isRepeat);
  ::kill(service, SIGTERM);
  int status = -1;
  ::waitpid(service, &status, 0);
  EXPECT_EQ(0, status);
}

TEST_F(WatchService, AStateFileThatIsRemovedUnderItIsSaid) {
  Configure();
  const auto service = Start();
  std::filesystem::remove(Path("watch.db"));
  service->Signal(SIGHUP);  // Which makes it look again.
  ASSERT_TRUE(service->WaitForErrors("watch.db was removed or replaced"));
  EXPECT_EQ(0, service->EndBy(SIGTERM).exitStatus);
}

TEST_F(WatchService, AtRestItTakesLittle) {
  Configure();
  const auto service = Start();
  const std::string folder = "/proc/" + std::to_string(service->Id());
  const auto wakes = [&] {
    std::ifstream file(folder + "/status");
    const std::string field = "voluntary_ctxt_switches:";
    for (std::string line; std::getline(file, line);)
      if (line.starts_with(field)) return std::stol(line.substr(field.size()));
    throw std::runtime_error("it is not known how often the service woke");
  };
  const auto ticks = [&] {
    std::ifstream file(folder + "/stat");
    const std::string stat{std::istreambuf_iterator<char>(file), {}};
    std::istringstream fields(stat.substr(stat.rfind(')') + 2));
    std::vector<std::string> words{std::istream_iterator<std::string>(fields), {}};
    return std::stol(words.at(11)) + std::stol(words.at(12));
  };
  // On a slow machine as much as one look by hand takes there, the service being no child that has
  // ended.
  EXPECT_NE(3, Run({"--status"}).exitStatus);
  rusage taken{};
  ::getrusage(RUSAGE_CHILDREN, &taken);
  const auto microseconds = [](const timeval& time) {
    return time.tv_sec * 1'000'000 + time.tv_usec;
  };
  const long ofALook = (microseconds(taken.ru_utime) + microseconds(taken.ru_stime)) *
                       ::sysconf(_SC_CLK_TCK) / 1'000'000;
  const long most = std::max(5L, ofALook);
  // What runs beside it makes it slower: the least of several times counts.
  std::this_thread::sleep_for(2s);
  long least = std::numeric_limits<long>::max();
  long fewest = std::numeric_limits<long>::max();
  for (int times = 0; times < 5 && (least > most || fewest > 10); ++times) {
    const long ticksBefore = ticks(), wakesBefore = wakes();
    std::this_thread::sleep_for(10s);
    least = std::min(least, ticks() - ticksBefore);
    fewest = std::min(fewest, wakes() - wakesBefore);
  }
  EXPECT_LE(least, most);
  EXPECT_LE(fewest, 10);
#if !defined(ONDREL_SANITIZED)
  std::ifstream file(folder + "/status");
  long kibibytes = 0;
  for (std::string line; std::getline(file, line);)
    if (line.starts_with("VmRSS:")) kibibytes = std::stol(line.substr(6));
  EXPECT_GT(kibibytes, 0);
  EXPECT_LE(kibibytes, 16 * 1024);
#endif
}

TEST_F(WatchService, WhatEachPollDoesLeavesNoMemory) {
  Configure();
  Prepare({});
  Store store(Path("watch.db"), false);
  Ondrel::Host::DriveSnapshot seen;
  seen.drives.resize(4);
  int number = 0;
  for (Ondrel::Host::Drive& drive : seen.drives) {
    drive.id = drive.serial = "S" + std::to_string(number++);
    drive.isNVMe = drive.isHealthAsked = true;
    drive.status = Ondrel::kStatusAvailable;
    drive.health.emplace();
  }
  std::optional<WatchState> state;
  const auto poll = [&](int times) {
    for (int time = 0; time < times; ++time) {
      for (Ondrel::Host::Drive& drive : seen.drives) {
        drive.health->temperature = static_cast<std::uint16_t>(300 + time % 5);
        drive.health->powerOnHours += 1;
      }
      state = Step(state, seen, {}).state;
      if (time % 100 == 0) store.Commit(*state, {}, SettingsNow(), "host", 0);
      EXPECT_FALSE(MetricsText(*state, store.Counts()).empty());
    }
  };
  poll(500);
  const std::size_t before = ::mallinfo2().uordblks;
  poll(Ondrel::Testing::WithSanitizer(500, 10000));
  // What a sanitizer's build allocates is not counted there; it finds what is lost by itself.
  EXPECT_LE(::mallinfo2().uordblks, before + 4096);
}

TEST_F(WatchService, OfTwoOnOneStateFileTheSecondSaysThatOneRuns) {
  Configure();
  const auto service = Start();
  const ProcessResult second = Run({});
  EXPECT_EQ(3, second.exitStatus);
  EXPECT_THAT(second.errors, HasSubstr("watch.db.lock: a service is running already"));
  const ProcessResult status = Run({"--json", "--status"});
  EXPECT_EQ(service->Id(), nlohmann::json::parse(status.output)["process"].get<int>());
  EXPECT_EQ(0, service->EndBy(SIGTERM).exitStatus);
  EXPECT_FALSE(nlohmann::json::parse(Run({"--json", "--status"}).output)["running"].get<bool>());
}

TEST_F(WatchService, AStateFileThatCannotBeUsedIsNamedWithTheReason) {
  Configure();
  const auto refused = [&](const std::string& why) {
    const ProcessResult result = Run({});
    EXPECT_EQ(3, result.exitStatus) << result.errors;
    EXPECT_THAT(result.errors, HasSubstr("cannot use the state file " + Path("watch.db")));
    EXPECT_THAT(result.errors, HasSubstr(why));
    const auto error = nlohmann::json::parse(Run({"--json"}).output)["error"];
    EXPECT_EQ("host", error["kind"]);
    EXPECT_EQ("HOST_FAILURE", error["name"]);
    EXPECT_THAT(error["text"].get<std::string>(), HasSubstr(why));
    std::filesystem::remove_all(Path("watch.db"));
  };
  m_folder.Write("watch.db", "this is a text, and a long one at that, which no database is\n");
  refused("file is not a database");
  std::filesystem::create_directory(Path("watch.db"));
  refused("Is a directory");
  Database(Path("watch.db"), Database::Access::Create).Execute("CREATE TABLE other(a)");
  refused("a database of another kind");
  { Store(Path("watch.db"), true); }
  Database(Path("watch.db"), Database::Access::ReadWrite).Execute("PRAGMA user_version = 99");
  refused("the file is of a later version");
  Prepare({});
  Database(Path("watch.db"), Database::Access::ReadWrite).Execute("UPDATE state SET text = '{'");
  refused("the kept statuses cannot be read");
}

TEST_F(WatchService, AFolderThatIsNotThereOrTakesNoFilesIsNamed) {
  for (const char* const path : {"/no/such/folder/watch.db", "/proc/watch.db"}) {
    m_folder.Write("watch.conf", std::string("[state]\nfile=") + path + "\n");
    const ProcessResult result = Run({});
    EXPECT_EQ(3, result.exitStatus);
    EXPECT_THAT(result.errors,
                HasSubstr(std::string("cannot open ") + path + ".lock: No such file or directory"));
  }
}

TEST_F(WatchService, AClosedStandardErrorSpoilsNoFile) {
  Configure();
  Prepare({"GONE1"});
  std::string line = "exec " ONDREL_COMMAND;
  for (const std::string& word : Line()) line += " '" + word + "'";
  Process service("/bin/sh", {"-c", line + " <&- 2>&-"});
  ASSERT_TRUE(Comes([&] { return std::filesystem::exists(Path("watch.prom")); }));
  ASSERT_TRUE(Comes([&] { return Store(Path("watch.db"), false).Counts().eventsUnlogged == 0; }));
  EXPECT_THAT(Text("watch.db.lock"), Not(HasSubstr("ondrel")));
  EXPECT_THAT(Text("watch.prom"), Not(HasSubstr("ondrel:")));
  EXPECT_EQ(0, service.EndBy(SIGTERM).exitStatus);
}

TEST_F(WatchService, MetricsThatCannotBeWrittenAreSaidOnceAndTheServiceGoesOn) {
  Configure();
  const auto service = Start();
  std::filesystem::remove(Path("watch.prom"));
  std::filesystem::create_directory(Path("watch.prom"));
  service->Signal(SIGHUP);
  ASSERT_TRUE(service->WaitForErrors("metrics: " + Path("watch.prom")));
  EXPECT_EQ(0, service->EndBy(SIGTERM).exitStatus);
}

TEST_F(WatchService, MetricsWithoutRoomAreSaidAndTheServiceGoesOn) {
  m_folder.Write("watch.conf", "[log]\nstore=" + Path("events.db") +
                                   "\n[state]\nfile=" + Path("watch.db") +
                                   "\n[metrics]\nfile=" + Path("full/watch.prom") + "\n");
  // With mounts of its own: a small file system that is full.
  std::filesystem::create_directory(Path("full"));
  Process service(
      "/usr/bin/unshare",
      {"--mount", "/bin/sh", "-c",
       "mount -t tmpfs -o size=4k none \"$2\" && head -c 4096 /dev/zero >\"$2/ballast\" "
       "&& exec \"$0\" watch --config \"$1\"",
       ONDREL_COMMAND, Path("watch.conf"), Path("full")});
  EXPECT_TRUE(service.WaitForErrors("watch.prom.new: No space left on device"));
  EXPECT_EQ(0, service.EndBy(SIGTERM).exitStatus);
}

TEST_F(WatchService, MetricsAndAlertRulesAreValidToTheirReader) {
  Configure();
  Prepare({"GONE1"});
  const auto service = Start();
  service->EndBy(SIGTERM);
  const ProcessResult metrics =
      RunProcess("/usr/bin/env", {"promtool", "check", "metrics"}, Text("watch.prom"));
  EXPECT_EQ(0, metrics.exitStatus) << metrics.errors << metrics.output << Text("watch.prom")
                                   << "promtool comes with scripts/install-deps.sh test";
  EXPECT_EQ("", metrics.output + metrics.errors);
  const ProcessResult rules = RunProcess(
      "/usr/bin/env",
      {"promtool", "check", "rules", ONDREL_SOURCE_FOLDER "/Tool/Watch/Files/ondrel-alerts.yml"});
  EXPECT_EQ(0, rules.exitStatus) << rules.errors << rules.output;
  EXPECT_THAT(rules.output, HasSubstr("SUCCESS: 6 rules found"));
}

TEST_F(WatchService, TheUnitIsGoodAndItsExposureLow) {
  std::ifstream file(ONDREL_UNIT_FILE);
  std::string unit{std::istreambuf_iterator<char>(file), {}};
  // Where it is not installed, the command is that of the build.
  const std::size_t start = unit.find("ExecStart=") + 10;
  unit.replace(start, unit.find(' ', start) - start, ONDREL_COMMAND);
  const std::string path = m_folder.Write("ondrel-watch.service", unit);
  const ProcessResult verified =
      RunProcess("/usr/bin/systemd-analyze", {"verify", "--man=no", path});
  EXPECT_EQ(0, verified.exitStatus);
  EXPECT_EQ("", verified.output + verified.errors);
  // The threshold counts tenths.
  const ProcessResult exposure =
      RunProcess("/usr/bin/systemd-analyze", {"security", "--offline=yes", "--threshold=30", path});
  EXPECT_EQ(0, exposure.exitStatus) << exposure.output << exposure.errors;
}

TEST_F(WatchService, TestMailReachesEachRecipientOrSaysWhyNot) {
  const SmtpServer server({.refusedRecipient = "nobody@example.com"});
  Configure(MailSection(server.Port()) + "");
  EXPECT_EQ("admin@example.com: sent\n", Run({"--test-mail"}).output);
  ASSERT_THAT(server.Mails(), SizeIs(1));
  EXPECT_THAT(server.Mails()[0].data, HasSubstr("This is a test mail."));

  Configure("[mail]\nserver=127.0.0.1\nport=" + std::to_string(server.Port()) +
            "\nfrom=raid@example.com\nto=nobody@example.com, admin@example.com\n");
  const ProcessResult result = Run({"--test-mail"});
  EXPECT_EQ(1, result.exitStatus);
  EXPECT_THAT(result.output, HasSubstr("nobody@example.com: not sent, "));
  EXPECT_THAT(result.output, HasSubstr("550 5.1.1 No such user here"));
  EXPECT_THAT(result.output, HasSubstr("admin@example.com: sent\n"));
  const auto mails = nlohmann::json::parse(Run({"--json", "--test-mail"}).output)["mails"];
  EXPECT_FALSE(mails[0]["sent"].get<bool>());
  EXPECT_TRUE(mails[1]["sent"].get<bool>());

  Configure();
  const ProcessResult without = Run({"--test-mail"});
  EXPECT_EQ(2, without.exitStatus);
  EXPECT_THAT(without.errors, HasSubstr("names no mail server"));
}

TEST_F(WatchService, TheQueueIsListedRetriedAndDropped) {
  // Nothing listens there: what a closed server leaves.
  Configure(MailSection(1));
  EXPECT_EQ(3, Run({"--queue", "list"}).exitStatus);
  Prepare({}, {EventOf("one"), EventOf("two")});
  const ProcessResult list = Run({"--queue", "list"});
  EXPECT_EQ(0, list.exitStatus);
  EXPECT_THAT(list.output, testing::ContainsRegex("^1  queued  .*admin@example.com  tries: 0"));
  const auto mails = nlohmann::json::parse(Run({"--json", "--queue", "list"}).output)["mails"];
  ASSERT_EQ(2u, mails.size());
  EXPECT_EQ("queued", mails[0]["state"]);
  EXPECT_EQ("admin@example.com", mails[1]["to"]);

  EXPECT_EQ("2 mails are due now\n", Run({"--queue", "retry"}).output);
  EXPECT_EQ("1 mail is due now\n", Run({"--queue", "retry", "2"}).output);
  const ProcessResult partly = Run({"--queue", "drop", "1", "4711"});
  EXPECT_EQ("mail 4711 does not wait\n1 mail is dropped\n", partly.output);
  EXPECT_EQ(1, partly.exitStatus);
  EXPECT_THAT(Store(Path("watch.db"), false).Mails(), SizeIs(1));
  EXPECT_EQ("1 mail is dropped\n", Run({"--queue", "drop"}).output);
  EXPECT_EQ("the queue is empty\n", Run({"--queue", "list"}).output);
}

TEST_F(WatchService, NumbersThatAreNoMailsAreRefused) {
  Configure();
  Prepare({});
  for (const std::vector<std::string>& words :
       std::vector<std::vector<std::string>>{{"--queue", "retry", "0"},
                                             {"--queue", "retry", "--", "-1"},
                                             {"--queue", "drop", "x"},
                                             {"--queue", "drop", ""},
                                             {"--queue", "list", "5"},
                                             {"--queue", "delete"},
                                             {"--queue", ""},
                                             {"--once", "5"},
                                             {"--config", ""}}) {
    const ProcessResult result = Run(words);
    EXPECT_EQ(2, result.exitStatus) << words.back() << result.errors;
    EXPECT_THAT(result.errors, Not(IsEmpty()));
  }
}

TEST_F(WatchService, AnEmptyConfigurationIsTheDefaultOne) {
  m_folder.Write("watch.conf", "");
  EXPECT_EQ(0, Run({"--check-config"}).exitStatus);
  EXPECT_EQ(
      0,
      RunProcess(ONDREL_COMMAND, {"watch", "--check-config", "--config", "/dev/null"}).exitStatus);
}

TEST_F(WatchService, AConfigurationThatCannotBeReadIsNamedWithTheReason) {
  EXPECT_THAT(Run({"--check-config"}).errors,
              HasSubstr("cannot read " + Path("watch.conf") + ": No such file or directory"));
  EXPECT_EQ(2, Run({"--check-config"}).exitStatus);
  std::filesystem::create_directory(Path("watch.conf"));
  EXPECT_THAT(Run({"--check-config"}).errors, HasSubstr("Is a directory"));
}

TEST_F(WatchService, ACheckedConfigurationNamesItsLog) {
  Configure();
  EXPECT_EQ("The configuration is good: events go to the log RAID in the event store " +
                Path("events.db") + ", nothing is mailed\n",
            Run({"--check-config"}).output);
  // The command line goes before the configuration.
  const auto json =
      nlohmann::json::parse(Run({"--json", "--store", Path("other.db"), "--check-config"}).output);
  EXPECT_EQ("store", json["logKind"]);
  EXPECT_EQ(Path("other.db"), json["logFile"]);
  EXPECT_EQ(2, Run({"--directory", Path(""), "--check-config"}).exitStatus);
}

TEST_F(WatchService, EventsGoToTheStoreOfTheCommandLine) {
  Configure();
  Prepare({}, {EventOf("it failed")});
  Process service(ONDREL_COMMAND, Line({"--store", Path("other.db")}));
  EXPECT_TRUE(Comes([&] { return Store(Path("watch.db"), false).Counts().eventsUnlogged == 0; }));
  EXPECT_FALSE(std::filesystem::exists(Path("events.db")));
  EXPECT_THAT(
      RunProcess(ONDREL_COMMAND, {"--store", Path("other.db"), "log", "show", "RAID"}).output,
      HasSubstr("it failed"));
}

TEST_F(WatchService, PathsThatCannotBeUsedAreNamedWithTheirLine) {
  struct Row {
    std::string text;
    std::string error;
  };
  const std::string plain = m_folder.Write("plain", "");
  for (const Row& row : {
           Row{"[log]\nstore=/no/such/e.db\n",
               ":2: store: \"/no/such/e.db\" cannot be used: the folder /no/such: No such file"},
           Row{"[state]\n\nfile=/no/such/w.db\n", ":3: file: \"/no/such/w.db\" cannot be used"},
           Row{"[state]\nfile=" + Path("") + "\n", "cannot be used: is a folder"},
           Row{"[metrics]\nfile=/no/such.prom/x\n", ":2: file: \"/no/such.prom/x\" cannot be used"},
           Row{"[metrics]\nfile=" + plain + "/x\n", "cannot be used: Not a directory"},
           Row{"[metrics]\nfile=/dev/null\n", "cannot be used: is not a file"},
           Row{"[exec]\nprogram=/no/such\n", ":2: program: \"/no/such\" cannot be used: No such"},
           Row{"[exec]\nprogram=" + plain + "\n", "cannot be used: Permission denied"},
           Row{"[mail]\nserver=m\nfrom=a@b\nto=c@d\nuser=u\npassword-file=/no/such\n",
               ":6: password-file: \"/no/such\" cannot be used: No such file"},
       }) {
    if (::geteuid() != 0 && row.error.find("Permission") != std::string::npos) continue;
    m_folder.Write("watch.conf", row.text);
    const ProcessResult result = Run({"--check-config"});
    EXPECT_EQ(2, result.exitStatus) << row.text;
    EXPECT_THAT(result.errors, HasSubstr(row.error));
  }
}

TEST_F(WatchService, TheDefaultFolderIsMadeForItsOwnerAlone) {
  // With mounts of its own: a host on which nothing was kept yet.
  m_folder.Write("watch.conf", "[log]\nstore=" + Path("events.db") +
                                   "\n[metrics]\nfile=" + Path("watch.prom") + "\n");
  Process service("/usr/bin/unshare",
                  {"--mount", "/bin/sh", "-c",
                   "mount -t tmpfs none /var/lib && exec \"$0\" watch --config \"$1\"",
                   ONDREL_COMMAND, Path("watch.conf")});
  ASSERT_TRUE(Comes([&] { return std::filesystem::exists(Path("watch.prom")); }));
  const std::filesystem::path folder =
      "/proc/" + std::to_string(service.Id()) + "/root/var/lib/ondrel";
  EXPECT_EQ(std::filesystem::status(folder).permissions(), std::filesystem::perms::owner_all);
  EXPECT_TRUE(std::filesystem::exists(folder / "watch.db"));
  EXPECT_EQ(0, service.EndBy(SIGTERM).exitStatus);
}

TEST_F(WatchService, AnotherUserMayMissRightsThatTheServiceHas) {
  if (::geteuid() != 0) GTEST_SKIP() << "takes two users";
  const std::string text = "[exec]\nprogram=" + m_folder.Write("plain", "") + "\n";
  const Settings settings = ReadSettings(text, "watch.conf");
  EXPECT_THROW(CheckPaths(settings, text, "watch.conf"), SettingsError);

  const auto statusOfAnotherUser = [&] {
    const pid_t child = fork();
    if (child == 0) {
      if (::setuid(65534) != 0) _exit(2);
      try {
        CheckPaths(settings, text, "watch.conf");
        _exit(0);
      } catch (const SettingsError&) {
        _exit(1);
      }
    }
    int status = 0;
    return child > 0 && waitpid(child, &status, 0) == child ? status : -1;
  };
  // The folder may not be looked into.
  EXPECT_EQ(statusOfAnotherUser(), 0);
  // The file may be looked at and not started.
  using std::filesystem::perms;
  std::filesystem::permissions(Path(""), perms::group_exec | perms::others_exec,
                               std::filesystem::perm_options::add);
  EXPECT_EQ(statusOfAnotherUser(), 0);
}

}  // namespace
}  // namespace Tool::Watch
