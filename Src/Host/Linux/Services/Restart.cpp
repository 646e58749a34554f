#include "Host/Linux/Services/Restart.h"

#include <Ondrel/Host.h>

#include <systemd/sd-bus.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <memory>
#include <sys/reboot.h>
#include <unistd.h>

namespace Ondrel::Host {

namespace {

constexpr char kService[] = "org.freedesktop.login1";
constexpr char kObject[] = "/org/freedesktop/login1";
constexpr char kManager[] = "org.freedesktop.login1.Manager";

using Bus = std::unique_ptr<sd_bus, decltype(&sd_bus_unref)>;
using Message = std::unique_ptr<sd_bus_message, decltype(&sd_bus_message_unref)>;

class BusError {
public:
  BusError() = default;
  ~BusError() { sd_bus_error_free(&m_error); }

  BusError(const BusError&) = delete;
  BusError& operator=(const BusError&) = delete;

  sd_bus_error* Address() { return &m_error; }

  // What the other side says, else the words of the error number.
  std::string Text(int result) const {
    if (m_error.message != nullptr && *m_error.message != '\0') return m_error.message;
    if (m_error.name != nullptr) return m_error.name;
    return std::strerror(-result);
  }

private:
  sd_bus_error m_error{};
};

// The system's bus by a connection of this call's own; null where there is none.
Bus SystemBus(int& result) {
  sd_bus* bus = nullptr;
  result = sd_bus_open_system(&bus);
  if (result < 0) bus = nullptr;
  return {bus, sd_bus_flush_close_unref};
}

bool WouldLoginManagerRestart() {
  int result = 0;
  const Bus bus = SystemBus(result);
  if (!bus) return false;
  sd_bus_message* answer = nullptr;
  if (sd_bus_call_method(bus.get(), kService, kObject, kManager, "CanReboot", nullptr, &answer,
                         "") < 0)
    return false;
  const Message owner(answer, sd_bus_message_unref);
  const char* word = nullptr;
  return sd_bus_message_read(answer, "s", &word) > 0 && std::strcmp(word, "yes") == 0;
}

std::string RestartByLoginManager(const std::string& message) {
  int result = 0;
  const Bus bus = SystemBus(result);
  if (!bus) return std::string("the login manager cannot be reached: ") + std::strerror(-result);
  // Without the right to say something to the users there is none to restart either, which the
  // call below then reports.
  constexpr int kShow = 1;
  sd_bus_call_method(bus.get(), kService, kObject, kManager, "SetWallMessage", nullptr, nullptr,
                     "sb", message.c_str(), kShow);
  constexpr int kWithoutQuestion = 0;
  BusError error;
  result = sd_bus_call_method(bus.get(), kService, kObject, kManager, "Reboot", error.Address(),
                              nullptr, "b", kWithoutQuestion);
  return result < 0 ? "the login manager does not restart the machine: " + error.Text(result) : "";
}

bool HasCapability() {
  constexpr int kSystemBoot = 22;
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);)
    if (line.rfind("CapEff:", 0) == 0)
      return (std::stoull(line.substr(7), nullptr, 16) >> kSystemBoot & 1) != 0;
  return false;
}

int RestartDirectly() {
  ::sync();
  return ::reboot(RB_AUTOBOOT) == 0 ? 0 : errno;
}

}  // namespace

const RestartCalls& HostRestartCalls() {
  static const RestartCalls calls{.byLoginManager = RestartByLoginManager,
                                  .wouldLoginManager = WouldLoginManagerRestart,
                                  .hasCapability = HasCapability,
                                  .directly = RestartDirectly};
  return calls;
}

bool MayRestart(const RestartCalls& calls) {
  return calls.hasCapability() || calls.wouldLoginManager();
}

std::string RestartMachine(const std::string& message, bool mayBeDirect,
                           const RestartCalls& calls) {
  std::string refusal = calls.byLoginManager(message);
  if (refusal.empty() || !mayBeDirect) return refusal;
  if (!calls.hasCapability())
    return refusal + "; to restart it directly takes the capability CAP_SYS_BOOT";
  const int error = calls.directly();
  if (error == 0) return "";
  return refusal + "; nor does it restart directly: " + std::strerror(error);
}

std::string Restart(const std::string& message, bool isForced) {
  return RestartMachine(message, isForced, HostRestartCalls());
}

}  // namespace Ondrel::Host
