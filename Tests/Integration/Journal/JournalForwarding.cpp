#include "Integration/Journal/JournalForwarding.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <thread>
#include <unistd.h>

namespace Ondrel::Testing {

// Below the ports that the kernel gives out by itself.
JournalForwarding::JournalForwarding() : m_port(std::to_string(20000 + getpid() % 12000)) {
  std::filesystem::create_directories(Collected());
  const ProcessResult made = RunProcess(
      "/usr/bin/openssl",
      {"req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes",
       "-days", "2", "-subj", "/CN=localhost", "-addext", "subjectAltName=IP:127.0.0.1", "-keyout",
       m_folder.Path("key.pem"), "-out", m_folder.Path("certificate.pem")});
  EXPECT_EQ(made.exitStatus, 0) << made.errors;
  m_collector = std::make_unique<Process>(
      "/lib/systemd/systemd-journal-remote",
      std::vector<std::string>{"--listen-https=127.0.0.1:" + m_port, "--output=" + Collected(),
                               "--key=" + m_folder.Path("key.pem"),
                               "--cert=" + m_folder.Path("certificate.pem")});
}

JournalForwarding::~JournalForwarding() {
  if (m_uploader) m_uploader->EndBy(SIGKILL);
  m_collector->EndBy(SIGKILL);
}

ProcessResult JournalForwarding::Await(const std::string& log, const std::string& text) {
  constexpr int kTries = 150;
  constexpr int kTriesOfAnUploader = 20;
  ProcessResult shown;
  for (int tries = 0; tries < kTries && shown.output.find(text) == std::string::npos; ++tries) {
    // One that comes before the collector is ready gives up.
    if (tries % kTriesOfAnUploader == 0) StartUploader();
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    shown = RunCommand({"log", "show", log, "--json"});
  }
  return shown;
}

ProcessResult JournalForwarding::RunCommand(const std::vector<std::string>& arguments) const {
  std::vector<std::string> line = {"--directory", Collected()};
  line.insert(line.end(), arguments.begin(), arguments.end());
  return RunProcess(ONDREL_COMMAND, line);
}

std::string JournalForwarding::HostName() {
  std::array<char, 256> name{};
  gethostname(name.data(), name.size() - 1);
  return name.data();
}

// Uploads what this machine's journal holds, and goes on until it is ended.
void JournalForwarding::StartUploader() {
  m_uploader = std::make_unique<Process>(
      "/lib/systemd/systemd-journal-upload",
      std::vector<std::string>{"--url=https://127.0.0.1:" + m_port,
                               "--key=" + m_folder.Path("key.pem"),
                               "--cert=" + m_folder.Path("certificate.pem"),
                               "--trust=" + m_folder.Path("certificate.pem"),
                               "--save-state=" + m_folder.Path("upload-state")});
}

}  // namespace Ondrel::Testing
