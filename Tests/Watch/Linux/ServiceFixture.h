#pragma once

#include "Support/Process.h"
#include "Support/TemporaryFolder.h"
#include "Tool/Watch/Linux/Store.h"

#include <Ondrel/Drives.h>
#include <Ondrel/StatusTransition.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <chrono>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace Tool::Watch {

/// Waits for what another process does; a minute is far more than any of it takes.
inline bool Comes(const std::function<bool()>& condition) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(1);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return true;
}

/// Runs the built service on this machine, each test with a folder, a state file and an event
/// store of its own.
class ServiceFixture : public testing::Test {
protected:
  using Process = Ondrel::Testing::Process;
  using ProcessResult = Ondrel::Testing::ProcessResult;

  std::string Path(const std::string& name) const { return m_folder.Path(name); }

  /// Writes the configuration; `more` are further sections.
  void Configure(const std::string& more = "") {
    m_folder.Write("watch.conf",
                   "[log]\nstore=" + Path("events.db") +
                       "\n[health]\ninterval=3600\n[metrics]\nfile=" + Path("watch.prom") +
                       "\n[state]\nfile=" + Path("watch.db") + "\n" + more);
  }

  static std::string MailSection(unsigned short port) {
    return "[mail]\nserver=127.0.0.1\nport=" + std::to_string(port) +
           "\nfrom=raid@example.com\nto=admin@example.com\n";
  }

  /// What the service is to find at its start: this machine's own drives as they are, drives of
  /// these serial numbers that are not there any more, and events that were not yet reported.
  void Prepare(const std::vector<std::string>& goneDrives,
               const std::vector<WatchEvent>& events = {}) {
    Ondrel::Host::CDriveMonitor monitor;
    Ondrel::Host::DriveSnapshot seen = monitor.Look();
    for (const std::string& serial : goneDrives) {
      Ondrel::Host::Drive drive;
      drive.id = drive.serial = serial;
      drive.name = "sd" + serial;
      drive.status = Ondrel::kStatusAvailable;
      seen.drives.push_back(drive);
    }
    Store(Path("watch.db"), true)
        .Commit(Step(std::nullopt, seen, {}).state, events, SettingsNow(), "host",
                std::time(nullptr));
  }

  static WatchEvent EventOf(const std::string& text) {
    WatchEvent event;
    event.code = 10471;
    event.severity = 4;
    event.objectId = "S1";
    event.objectName = "nvme0";
    event.text = text;
    return event;
  }

  Settings SettingsNow() const {
    std::ifstream file(Path("watch.conf"));
    return ReadSettings({std::istreambuf_iterator<char>(file), {}}, "watch.conf");
  }

  std::vector<std::string> Line(std::vector<std::string> more = {}) const {
    more.insert(more.begin(), {"watch", "--config", Path("watch.conf")});
    return more;
  }

  /// Runs another mode of the subcommand to its end.
  ProcessResult Run(const std::vector<std::string>& more) const {
    return Ondrel::Testing::RunProcess(ONDREL_COMMAND, Line(more));
  }

  /// Starts the service, and waits until it has looked once.
  std::unique_ptr<Process> Start(const std::vector<std::string>& variables = {}) {
    std::filesystem::remove(Path("watch.prom"));
    std::vector<std::string> arguments = variables;
    arguments.emplace_back(ONDREL_COMMAND);
    for (const std::string& word : Line()) arguments.push_back(word);
    auto service = std::make_unique<Process>("/usr/bin/env", arguments);
    if (!Comes([&] { return std::filesystem::exists(Path("watch.prom")); }))
      throw std::runtime_error("the service did not start: " + service->EndBy(SIGKILL).errors);
    return service;
  }

  /// The event log's records as the command shows them.
  std::string Log() const {
    return Ondrel::Testing::RunProcess(ONDREL_COMMAND,
                                       {"--store", Path("events.db"), "log", "show", "RAID"})
        .output;
  }

  std::string Text(const std::string& name) const {
    std::ifstream file(Path(name));
    return {std::istreambuf_iterator<char>(file), {}};
  }

  Ondrel::Testing::TemporaryFolder m_folder;
};

}  // namespace Tool::Watch
