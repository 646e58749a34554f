#include "Integration/Journal/JournalFixture.h"
#include "Integration/Journal/JournalForwarding.h"
#include "Support/OwnMounts.h"
#include "Support/Process.h"
#include "Support/TemporaryFolder.h"
#include "Tool/Watch/Linux/Logbook.h"
#include "Tool/Watch/Linux/Store.h"

#include <Ondrel/StatusTransition.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <csignal>
#include <ctime>
#include <filesystem>
#include <memory>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace Ondrel {
namespace {

using nlohmann::json;
using testing::HasSubstr;
using Testing::JournalDaemon;
using Testing::Process;
using Testing::ProcessResult;
using Testing::RunProcess;

class JournalWatch : public Testing::JournalFixture {
protected:
  /// Starts the service with the journal as its log; it finds that the drive `serial` is gone.
  std::unique_ptr<Process> StartWatch(const std::string& serial) const {
    const std::string state = m_folder.Path("watch.db");
    Host::CDriveMonitor monitor;
    Host::DriveSnapshot seen = monitor.Look();
    Host::Drive drive;
    drive.id = drive.serial = serial;
    drive.status = kStatusAvailable;
    seen.drives.push_back(drive);
    Tool::Watch::Store(state, true)
        .Commit(Tool::Watch::Step(std::nullopt, seen, {}).state, {}, {}, "", std::time(nullptr));
    const std::string configuration = m_folder.Write(
        "watch.conf", "[log]\nname=" + Source() + "\njournal=yes\n[state]\nfile=" + state + "\n");
    return std::make_unique<Process>(ONDREL_COMMAND,
                                     std::vector<std::string>{"watch", "--config", configuration});
  }

  Testing::TemporaryFolder m_folder;
};

// The way of Docs/fleet.md, with all of it on this machine.
TEST_F(JournalWatch, WhatItSeesReachesACollectorByTheJournalsForwarding) {
  const auto service = StartWatch("GONE1");
  ASSERT_TRUE(service->WaitForErrors("GONE1"));
  Testing::JournalForwarding forwarding;
  const ProcessResult shown = forwarding.Await(Source(), "GONE1");
  ASSERT_THAT(shown.output, HasSubstr("GONE1")) << shown.errors;
  const json record = json::parse(shown.output.substr(0, shown.output.find('\n')));
  EXPECT_EQ(record["eventID"], 10033);
  EXPECT_EQ(record["computer"], Testing::JournalForwarding::HostName());
  // And with the journal's own reader, as the document shows it.
  const ProcessResult own = RunProcess(
      "/usr/bin/journalctl",
      {"-D", forwarding.Collected(), "--no-pager", "-o", "json", "SYSLOG_IDENTIFIER=" + Source()});
  EXPECT_THAT(own.output, HasSubstr("GONE1")) << own.errors;
  EXPECT_EQ(0, service->EndBy(SIGTERM).exitStatus);
}

// The store would be the host's own choice then, where nobody looks for the event.
TEST_F(JournalWatch, AnEventWaitsWhileTheHostsJournalIsAway) {
  const pid_t child = fork();
  if (child == 0) {
    const std::string run = "/run/systemd";
    if (!Testing::MountOwnFileSystem(run)) _exit(10);
    std::filesystem::create_directory(run + "/system");
    Tool::Watch::StoredEvent event;
    event.event.code = 10471;
    event.event.severity = 4;
    event.event.text = "it failed";
    const auto write = [&](const Tool::Watch::LogSettings& settings) {
      Tool::Watch::UseEventLog(settings);
      return Tool::Watch::WriteEvent(settings.name, event);
    };
    Tool::Watch::LogSettings store;
    store.store = m_folder.Path("events.db");
    const bool isRight = write({}) == "the journal of this host is away" && write(store).empty();
    _exit(isRight ? 0 : 11);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
}

TEST_F(JournalWatch, AJournalThatTakesNothingIsNamedAtTheStart) {
  if (std::filesystem::exists("/run/systemd/system")) return;  // There it is the machine's own.
  s_daemon->End();
  const auto service = StartWatch("GONE1");
  const ProcessResult ended = service->Wait();
  s_daemon.reset();
  s_daemon = std::make_unique<JournalDaemon>();
  EXPECT_EQ(ended.exitStatus, 3);
  EXPECT_THAT(ended.errors,
              HasSubstr("cannot use the journal as event log: none takes entries on this host"));
}

}  // namespace
}  // namespace Ondrel
