#include "Host/Linux/Services/Restart.h"

#include <systemd/sd-bus.h>

#include <cstdint>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>
#include <sys/reboot.h>
#include <unistd.h>

namespace Ondrel::Host {

namespace {

constexpr char kService[] = "org.freedesktop.login1";
constexpr char kObject[] = "/org/freedesktop/login1";
constexpr char kManager[] = "org.freedesktop.login1.Manager";

using Bus = std::unique_ptr<sd_bus, decltype(&sd_bus_unref)>;
using Message = std::unique_ptr<sd_bus_message, decltype(&sd_bus_message_unref)>;

// The system's bus by a connection of this call's own; null where there is none.
Bus SystemBus() {
  sd_bus* bus = nullptr;
  if (sd_bus_open_system(&bus) < 0) bus = nullptr;
  return {bus, sd_bus_flush_close_unref};
}

bool WouldLoginManagerRestart() {
  const Bus bus = SystemBus();
  if (!bus) return false;
  sd_bus_message* answer = nullptr;
  if (sd_bus_call_method(bus.get(), kService, kObject, kManager, "CanReboot", nullptr, &answer,
                         "") < 0)
    return false;
  const Message owner(answer, sd_bus_message_unref);
  const char* word = nullptr;
  return sd_bus_message_read(answer, "s", &word) > 0 && std::strcmp(word, "yes") == 0;
}

bool RestartByLoginManager() {
  const Bus bus = SystemBus();
  constexpr int kWithoutQuestion = 0;
  return bus && sd_bus_call_method(bus.get(), kService, kObject, kManager, "Reboot", nullptr,
                                   nullptr, "b", kWithoutQuestion) >= 0;
}

bool HasCapability() {
  constexpr int kSystemBoot = 22;
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);)
    if (line.rfind("CapEff:", 0) == 0)
      return (std::stoull(line.substr(7), nullptr, 16) >> kSystemBoot & 1) != 0;
  return false;
}

}  // namespace

bool MayRestart() { return HasCapability() || WouldLoginManagerRestart(); }

bool RestartMachine() {
  if (RestartByLoginManager()) return true;
  if (!HasCapability()) return false;
  ::sync();
  return ::reboot(RB_AUTOBOOT) == 0;
}

}  // namespace Ondrel::Host
