#include "Tool/Host/Checks.h"

#include "Tool/Host/Win32/Words.h"

#include <Ondrel/Disks.h>
#include <Ondrel/Host.h>

#include <windows.h>

namespace Tool {

namespace {

struct Finding {
  bool isOk;
  std::string finding;
  std::string remedy;
};

bool IsElevated() {
  HANDLE token = nullptr;
  if (!::OpenProcessToken(::GetCurrentProcess(), TOKEN_QUERY, &token)) return false;
  TOKEN_ELEVATION elevation{};
  DWORD size = 0;
  const BOOL isKnown =
      ::GetTokenInformation(token, TokenElevation, &elevation, sizeof elevation, &size);
  ::CloseHandle(token);
  return isKnown && elevation.TokenIsElevated != 0;
}

Finding Rights() {
  if (IsElevated()) return {true, "runs as administrator", ""};
  return {false, "runs without the rights of an administrator, which devices ask for",
          "run it as administrator"};
}

Finding EventLog() {
  const HANDLE log = ::OpenEventLogA(nullptr, "Application");
  if (log == nullptr)
    return {false, "the event log cannot be opened: " + SystemErrorText(::GetLastError()),
            "start the service of the event log"};
  ::CloseEventLog(log);
  return {true, "events go to the event log", ""};
}

Finding NotHere(const char* what) {
  return {false, std::string(what) + " is of Linux hosts", "events go to the event log here"};
}

Finding Devices() {
  const std::vector<Ondrel::Host::Disk> disks = Ondrel::Host::Disks();
  if (disks.empty()) return {false, "this host shows no disk", "run it as administrator"};
  std::string refused;
  for (const Ondrel::Host::Disk& disk : disks) {
    const HANDLE file =
        ::CreateFileA(disk.deviceName.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                      nullptr, OPEN_EXISTING, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE)
      refused += (refused.empty() ? "" : ", ") + disk.deviceName + ": " +
                 SystemErrorText(::GetLastError());
    else
      ::CloseHandle(file);
  }
  if (refused.empty()) return {true, std::to_string(disks.size()) + " disks can be read", ""};
  return {false, refused, "run it as administrator"};
}

Finding TimeZone() {
  DYNAMIC_TIME_ZONE_INFORMATION zone{};
  if (::GetDynamicTimeZoneInformation(&zone) == TIME_ZONE_ID_INVALID)
    return {false, "the time zone is not known: " + SystemErrorText(::GetLastError()),
            "set it in the settings of the host"};
  return {true, "local time is that of " + Utf8Of(zone.TimeZoneKeyName), ""};
}

Finding Libraries() { return {true, "all stand beside the command", ""}; }

Finding MessageTable() {
  const std::string path = Ondrel::Host::LibraryPath();
  const HMODULE file = ::LoadLibraryExA(path.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
  const bool isThere = file != nullptr &&
                       ::FindResourceA(file, MAKEINTRESOURCEA(1), MAKEINTRESOURCEA(11)) != nullptr;
  if (file != nullptr) ::FreeLibrary(file);
  if (isThere) return {true, path + " has it", ""};
  return {false, path + " has no messages", "install the library again"};
}

Finding Find(const std::string& name) {
  if (name == "rights") return Rights();
  if (name == "eventLog") return EventLog();
  if (name == "journal") return NotHere("a journal");
  if (name == "store") return NotHere("an event store");
  if (name == "devices") return Devices();
  if (name == "timeZone") return TimeZone();
  if (name == "libraries") return Libraries();
  if (name == "messageTable") return MessageTable();
  if (name == "speaker") return {true, "the host sounds it or says that it does not", ""};
  return {true, "the host's own device manager", ""};
}

}  // namespace

HostCheck CheckHost(const std::string& name, const Ondrel::Host::EventLogPlace&,
                    const std::string&) {
  const Finding found = Find(name);
  return {.name = name, .isOk = found.isOk, .finding = found.finding, .remedy = found.remedy};
}

}  // namespace Tool
