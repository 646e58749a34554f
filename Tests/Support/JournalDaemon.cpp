#include "Support/JournalDaemon.h"

#include "Host/Linux/FileDescriptor.h"

#include <chrono>
#include <csignal>
#include <cstring>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

namespace Ondrel::Testing {

namespace {

constexpr char kSocket[] = "/run/systemd/journal/socket";
constexpr char kDaemon[] = "/lib/systemd/systemd-journald";

bool TakesEntries() {
  const Host::FileDescriptor probe(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, kSocket, sizeof kSocket);
  return connect(probe.Number(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

}  // namespace

JournalDaemon::JournalDaemon() {
  if (TakesEntries()) return;
  m_isOwn = true;
  m_daemon = std::make_unique<Process>(kDaemon, std::vector<std::string>{});
  // The daemon does not say when it is ready; its socket does.
  const auto patience = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (!TakesEntries()) {
    if (std::chrono::steady_clock::now() > patience)
      throw std::runtime_error("the journal daemon did not start");
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  Sync();
}

JournalDaemon::~JournalDaemon() {
  if (!m_isOwn) return;
  End();
  // A socket that is left there says that this host has a journal which is away.
  for (const char* left : {kSocket, "/run/systemd/journal/stdout", "/run/systemd/journal/dev-log"})
    unlink(left);
}

void JournalDaemon::End() {
  if (!m_daemon) return;
  m_daemon->Signal(SIGTERM);
  m_daemon->Wait();
  m_daemon.reset();
}

void JournalDaemon::Sync() { Control({"--sync"}); }

std::string JournalDaemon::Control(const std::vector<std::string>& arguments) {
  const ProcessResult result = RunProcess("/usr/bin/journalctl", arguments);
  if (result.exitStatus != 0) throw std::runtime_error("journalctl: " + result.errors);
  return result.output;
}

}  // namespace Ondrel::Testing
