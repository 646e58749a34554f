#include "Host/Immortal.h"
#include "Host/Linux/LastError.h"
#include "Host/Linux/Services/KernelModules.h"
#include "Host/Linux/Services/Restart.h"
#include "Host/Linux/Services/Speaker.h"
#include "Host/Linux/Services/VersionRecord.h"
#include "Host/ServiceOperations.h"

#include <boost/algorithm/string/predicate.hpp>

#include <algorithm>
#include <cstring>
#include <map>
#include <mutex>
#include <string_view>

namespace Ondrel::Host {

namespace {

constexpr char kModuleFolder[] = "/lib/modules";
constexpr std::string_view kDriverExtension = ".sys";
constexpr std::int32_t kShutdownPrivilege = 19;

// ---- Drivers are kernel modules: "NAME.sys" is the module NAME.

/// Numbers that stand for the addresses of the modules' images. A name keeps its number, so that a
/// list stays good while modules come and go.
class ImageNumbers {
public:
  void* Of(const std::string& name) {
    const std::lock_guard lock(m_mutex);
    const auto [place, isNew] = m_numbers.try_emplace(name, m_names.size() + 1);
    if (isNew) m_names.push_back(name);
    return reinterpret_cast<void*>(place->second);
  }

  std::string NameOf(const void* image) {
    const std::lock_guard lock(m_mutex);
    const auto number = reinterpret_cast<std::uintptr_t>(image);
    return number >= 1 && number <= m_names.size() ? m_names[number - 1] : std::string();
  }

private:
  std::mutex m_mutex;
  std::map<std::string, std::uintptr_t> m_numbers;
  std::vector<std::string> m_names;
};

ImageNumbers& Images() {
  static Immortal<ImageNumbers> images;
  return images.Get();
}

int Fail(ULong error) {
  SetLastError(error);
  return 0;
}

int EnumDeviceDrivers(void** images, ULong size, ULong* needed) {
  const auto names = LoadedKernelModules();
  if (!names) return Fail(ErrorFromErrno(errno));
  const std::size_t room = size / sizeof(void*);
  for (std::size_t i = 0; i < std::min(room, names->size()); ++i)
    images[i] = Images().Of((*names)[i]);
  *needed = static_cast<ULong>(names->size() * sizeof(void*));
  return 1;
}

// As the host's functions do: cut where there is no room, always zero-terminated.
ULong CopyText(std::string_view text, char* buffer, ULong size) {
  if (size == 0) return static_cast<ULong>(Fail(ERROR_INSUFFICIENT_BUFFER));
  const std::size_t length = std::min<std::size_t>(text.size(), size - 1);
  std::memcpy(buffer, text.data(), length);
  buffer[length] = '\0';
  return static_cast<ULong>(length);
}

ULong GetDeviceDriverBaseName(void* image, char* name, ULong size) {
  const std::string module = Images().NameOf(image);
  if (module.empty()) return static_cast<ULong>(Fail(ERROR_INVALID_HANDLE));
  return CopyText(module + std::string(kDriverExtension), name, size);
}

unsigned int GetSystemDirectory(char* folder, unsigned int size) {
  if (size < sizeof kModuleFolder) return sizeof kModuleFolder;
  return CopyText(kModuleFolder, folder, size);
}

// The module that the path of a driver stands for; empty where it is none.
std::string ModuleOfPath(std::string_view path) {
  const std::size_t slash = path.find_last_of('\\');
  std::string_view name = slash == std::string_view::npos ? path : path.substr(slash + 1);
  if (!name.ends_with(kDriverExtension)) return "";
  name.remove_suffix(kDriverExtension.size());
  // Case does not count in a driver's path; it does in a module's name.
  for (const std::string& loaded : LoadedKernelModules().value_or(std::vector<std::string>()))
    if (boost::iequals(loaded, name)) return loaded;
  return std::string(name);
}

std::vector<char> VersionRecordOf(const char* path) {
  const std::string module = ModuleOfPath(path);
  if (module.empty()) return SetLastError(ERROR_FILE_NOT_FOUND), std::vector<char>();
  const auto version = KernelModuleVersion(module);
  if (!version) return SetLastError(ERROR_FILE_NOT_FOUND), std::vector<char>();
  if (version->empty()) return SetLastError(ERROR_RESOURCE_TYPE_NOT_FOUND), std::vector<char>();
  return MakeVersionRecord(*version);
}

ULong GetFileVersionInfoSize(const char* path, ULong* handle) {
  if (handle != nullptr) *handle = 0;
  return static_cast<ULong>(VersionRecordOf(path).size());
}

int GetFileVersionInfo(const char* path, ULong, ULong size, void* record) {
  const std::vector<char> whole = VersionRecordOf(path);
  if (whole.empty()) return 0;
  if (whole.size() > size) return Fail(ERROR_INSUFFICIENT_BUFFER);
  std::memcpy(record, whole.data(), whole.size());
  return 1;
}

int VerQueryValue(const void* record, const char* key, void** value, unsigned int* length) {
  // The record's first number is its own length; it was made here.
  std::uint16_t size;
  std::memcpy(&size, record, sizeof size);
  std::span<const char> found;
  if (!FindVersionValue({static_cast<const char*>(record), size}, key, found))
    return Fail(ERROR_RESOURCE_TYPE_NOT_FOUND);
  *value = const_cast<char*>(found.data());
  *length = static_cast<unsigned int>(found.size());
  return 1;
}

// ---- The one privilege that counts here is that of restarting.

// What stands for the token of this process.
void* ProcessToken() {
  static char token;
  return &token;
}

int LookupPrivilegeValue(const char*, const char* name, LUID* privilege) {
  if (std::string_view(name) != "SeShutdownPrivilege") return Fail(ERROR_NO_SUCH_PRIVILEGE);
  *privilege = {.LowPart = static_cast<DWORD>(kShutdownPrivilege), .HighPart = 0};
  return 1;
}

int OpenProcessToken(void*, ULong, void** token) {
  *token = ProcessToken();
  return 1;
}

int AdjustTokenPrivileges(void* token, int, TOKEN_PRIVILEGES* state, ULong size,
                          TOKEN_PRIVILEGES* previous, ULong* needed) {
  if (token != ProcessToken()) return Fail(ERROR_INVALID_HANDLE);
  if (state == nullptr || state->PrivilegeCount != 1 ||
      (previous != nullptr && size < sizeof *previous))
    return Fail(ERROR_INVALID_PARAMETER);
  if (previous != nullptr) *previous = *state;
  if (needed != nullptr) *needed = sizeof(TOKEN_PRIVILEGES);
  const bool isEnabling = (state->Privileges[0].Attributes & SE_PRIVILEGE_ENABLED) != 0;
  SetLastError(isEnabling && !MayRestart(HostRestartCalls()) ? ERROR_NOT_ALL_ASSIGNED : ERROR_SUCCESS);
  return 1;
}

int InitiateSystemShutdown(char*, char* message, ULong, int, int restart) {
  if (!restart) return Fail(ERROR_NOT_SUPPORTED);
  const std::string words = message != nullptr ? message : "";
  return RestartMachine(words, true, HostRestartCalls()).empty() ? 1 : Fail(ERROR_ACCESS_DENIED);
}

int Beep(ULong frequency, ULong milliseconds) {
  constexpr ULong kLowest = 37;
  constexpr ULong kHighest = 32767;
  if (frequency < kLowest || frequency > kHighest) return Fail(ERROR_INVALID_PARAMETER);
  return SoundSpeaker(frequency, milliseconds) ? 1 : Fail(ERROR_NOT_SUPPORTED);
}

}  // namespace

ServiceOperations MakeServiceOperations() {
  return ServiceOperations{
      .EnumDeviceDrivers = EnumDeviceDrivers,
      .GetDeviceDriverBaseNameA = GetDeviceDriverBaseName,
      .GetSystemDirectoryA = GetSystemDirectory,
      // Programs of all widths see the same folders.
      .GetSystemWow64DirectoryA = nullptr,
      .GetFileVersionInfoSizeA = GetFileVersionInfoSize,
      .GetFileVersionInfoA = GetFileVersionInfo,
      .VerQueryValueA = VerQueryValue,
      .LookupPrivilegeValueA = LookupPrivilegeValue,
      .GetCurrentProcess = [] { return INVALID_HANDLE_VALUE; },
      .OpenProcessToken = OpenProcessToken,
      .AdjustTokenPrivileges = AdjustTokenPrivileges,
      .CloseHandle = [](void*) { return 1; },
      .InitiateSystemShutdownA = InitiateSystemShutdown,
      .Beep = Beep,
      .GetLastError = LastError,
  };
}

}  // namespace Ondrel::Host
