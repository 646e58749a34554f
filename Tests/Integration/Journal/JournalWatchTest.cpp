#include "Integration/Journal/JournalFixture.h"
#include "Support/Process.h"
#include "Support/TemporaryFolder.h"
#include "Tool/Watch/Linux/Store.h"

#include <Ondrel/StatusTransition.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <chrono>
#include <csignal>
#include <ctime>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
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
  const std::string port = std::to_string(40000 + getpid() % 20000);
  const std::string collected = m_folder.Path("collected");
  std::filesystem::create_directories(collected);
  Process collector("/lib/systemd/systemd-journal-remote",
                    {"--listen-http=127.0.0.1:" + port, "--output=" + collected});
  std::unique_ptr<Process> uploader;
  ProcessResult shown;
  for (int tries = 0; tries < 150 && shown.output.find("GONE1") == std::string::npos; ++tries) {
    // An uploader that comes before the collector is ready gives up.
    if (tries % 20 == 0)
      uploader = std::make_unique<Process>(
          "/lib/systemd/systemd-journal-upload",
          std::vector<std::string>{"--url=http://127.0.0.1:" + port,
                                   "--save-state=" + m_folder.Path("upload-state")});
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    shown =
        RunProcess(ONDREL_COMMAND, {"--directory", collected, "log", "show", Source(), "--json"});
  }
  ASSERT_THAT(shown.output, HasSubstr("GONE1")) << shown.errors;
  const json record = json::parse(shown.output.substr(0, shown.output.find('\n')));
  EXPECT_EQ(record["eventID"], 10033);
  char name[256] = {};
  gethostname(name, sizeof name - 1);
  EXPECT_EQ(record["computer"], name);
  // And with the journal's own reader, as the document shows it.
  const ProcessResult own =
      RunProcess("/usr/bin/journalctl",
                 {"-D", collected, "--no-pager", "-o", "json", "SYSLOG_IDENTIFIER=" + Source()});
  EXPECT_THAT(own.output, HasSubstr("GONE1")) << own.errors;
  uploader->EndBy(SIGKILL);
  collector.EndBy(SIGKILL);
  EXPECT_EQ(0, service->EndBy(SIGTERM).exitStatus);
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
