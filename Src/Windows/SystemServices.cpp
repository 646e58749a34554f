#include "Host/MultiByteText.h"
#include "Host/ServiceOperations.h"
#include "Windows/RestartRequest.h"

#include <Ondrel/System.h>

#include <boost/algorithm/string/predicate.hpp>

#include <cstdio>
#include <cstring>
#include <new>
#include <optional>

namespace Ondrel {

namespace {

constexpr ULong kImageListBytes = 8192;
constexpr ULong kSmallestImageListBytes = 8;
constexpr ULong kNameSize = 1024;
constexpr unsigned int kPathSize = 260;

bool IsDriverLoaded(const std::string& fileName) {
  const Host::ServiceOperations& host = Host::Service();
  void* images[kImageListBytes / sizeof(void*)];
  ULong bytes = 0;
  if (!host.EnumDeviceDrivers(images, kImageListBytes, &bytes)) return false;
  // Intentional: with 1024 drivers or more none counts as loaded.
  if (bytes >= kImageListBytes || bytes < kSmallestImageListBytes) return false;

  char name[kNameSize];
  for (std::size_t i = 0; i < bytes / sizeof(void*); ++i) {
    if (host.GetDeviceDriverBaseNameA(images[i], name, kNameSize) == 0) continue;
    if (boost::iequals(name, fileName)) return true;
  }
  return false;
}

std::optional<std::string> SystemFolder() {
  char folder[kPathSize];
  const unsigned int length = Host::Service().GetSystemDirectoryA(folder, kPathSize);
  if (length == 0 || length >= kPathSize) return std::nullopt;
  return std::string(folder);
}

using FindFunction = const char* (*)(const char* text, const char* part);

const char* FindBytes(const char* text, const char* part) { return std::strstr(text, part); }

// The path as a program of another width has it; nothing where the path or the host has none.
std::optional<std::string> PathOfOtherWidth(const std::string& path, const std::string& folder,
                                            FindFunction find) {
  const char* const found = find(path.c_str(), folder.c_str());
  const auto& otherFolder = Host::Service().GetSystemWow64DirectoryA;
  if (found == nullptr || !otherFolder) return std::nullopt;
  char other[kPathSize];
  const unsigned int length = otherFolder(other, kPathSize);
  if (length == 0 || length >= kPathSize) return std::nullopt;
  return other + std::string(found + folder.size());
}

// Does `attempt` for the path, and once more for that of the other width where the file is missing.
template <class Attempt>
auto TryBothWidths(const std::string& path, const std::string& folder, FindFunction find,
                   Attempt attempt) {
  auto result = attempt(path);
  if (result || Host::Service().GetLastError() != ERROR_FILE_NOT_FOUND) return result;
  if (const auto other = PathOfOtherWidth(path, folder, find)) result = attempt(*other);
  return result;
}

// The file version in a record, as it stands there.
std::string FileVersionIn(const std::vector<char>& record) {
  const auto& query = Host::Service().VerQueryValueA;
  void* value = nullptr;
  unsigned int length = 0;
  std::uint16_t translation[2];
  if (!query(record.data(), "\\VarFileInfo\\Translation", &value, &length) ||
      length < sizeof translation)
    return "";
  std::memcpy(translation, value, sizeof translation);
  char key[sizeof "\\StringFileInfo\\00000000\\FileVersion"];
  std::snprintf(key, sizeof key, "\\StringFileInfo\\%04X%04X\\FileVersion", translation[0],
                translation[1]);
  if (!query(record.data(), key, &value, &length) || value == nullptr) return "";
  const auto* const text = static_cast<const char*>(value);
  return std::string(text, strnlen(text, length));
}

std::string FileVersion(const std::string& path, const std::string& systemFolder) {
  const Host::ServiceOperations& host = Host::Service();
  // Both calls look for the folder on their own, the first by characters, the second by bytes.
  const ULong size = TryBothWidths(path, systemFolder, Host::FindMultiByte, [&](const auto& file) {
    ULong handle = 0;
    return host.GetFileVersionInfoSizeA(file.c_str(), &handle);
  });
  if (size == 0) return "";
  std::vector<char> record(size);
  const int isRead = TryBothWidths(path, systemFolder, FindBytes, [&](const auto& file) {
    return host.GetFileVersionInfoA(file.c_str(), 0, size, record.data());
  });
  return isRead != 0 ? FileVersionIn(record) : "";
}

bool EnableShutdown(void* token, const LUID& privilege) {
  const Host::ServiceOperations& host = Host::Service();
  TOKEN_PRIVILEGES wanted{};
  wanted.PrivilegeCount = 1;
  wanted.Privileges[0].Luid = privilege;
  TOKEN_PRIVILEGES previous{};
  ULong previousSize = sizeof previous;
  host.AdjustTokenPrivileges(token, 0, &wanted, sizeof wanted, &previous, &previousSize);
  if (host.GetLastError() != ERROR_SUCCESS) return false;

  previous.PrivilegeCount = 1;
  previous.Privileges[0].Luid = privilege;
  previous.Privileges[0].Attributes |= SE_PRIVILEGE_ENABLED;
  host.AdjustTokenPrivileges(token, 0, &previous, previousSize, nullptr, nullptr);
  return host.GetLastError() == ERROR_SUCCESS;
}

bool EnableShutdownOfProcess() {
  const Host::ServiceOperations& host = Host::Service();
  LUID privilege{};
  if (!host.LookupPrivilegeValueA(nullptr, "SeShutdownPrivilege", &privilege)) return false;
  void* token = nullptr;
  if (!host.OpenProcessToken(host.GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY,
                             &token))
    return false;
  const bool isEnabled = EnableShutdown(token, privilege);
  host.CloseHandle(token);
  return isEnabled;
}

}  // namespace

CSystem::CSystem() = default;
CSystem::CSystem(const CSystem& other) = default;
// NOLINTBEGIN(misc-unused-parameters): a class without members assigns nothing.
CSystem& CSystem::operator=(const CSystem& other) = default;
CSystem& CSystem::operator=(CSystem&& other) noexcept = default;
// NOLINTEND(misc-unused-parameters)
CSystem::~CSystem() = default;

void CSystem::GetModuleVersion(const std::string& moduleName, std::string& version) {
  // Intentional: before the name is read, which is empty too where it is the same object.
  version.clear();
  if (!IsDriverLoaded(moduleName + ".sys")) return;
  const std::optional<std::string> folder = SystemFolder();
  if (!folder) return;
  const std::string path = *folder + "\\drivers\\" + moduleName + ".sys";
  const std::string value = FileVersion(path, *folder);
  version = value.substr(0, value.find(' '));
}

void CSystem::Reboot() {
  if (!EnableShutdownOfProcess()) return;
  char message[] = "Rebooting system due to RAID configuration changes";
  Host::Service().InitiateSystemShutdownA(nullptr, message, 0, 1, 1);
}

ULong RequestRestart(const std::string& message) {
  const Host::ServiceOperations& host = Host::Service();
  LUID privilege{};
  if (!host.LookupPrivilegeValueA(nullptr, "SeShutdownPrivilege", &privilege))
    return host.GetLastError();
  void* token = nullptr;
  if (!host.OpenProcessToken(host.GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY,
                             &token))
    return host.GetLastError();
  const bool isEnabled = EnableShutdown(token, privilege);
  const ULong refusal = host.GetLastError();
  host.CloseHandle(token);
  if (!isEnabled) return refusal;
  std::string text = message;
  if (host.InitiateSystemShutdownA(nullptr, text.data(), 0, 1, 1)) return ERROR_SUCCESS;
  const ULong error = host.GetLastError();
  return error != ERROR_SUCCESS ? error : ULong{ERROR_NOT_SUPPORTED};
}

void CSystem::Beep(unsigned int frequency, unsigned int duration) {
  Host::Service().Beep(frequency, duration);
}

}  // namespace Ondrel
