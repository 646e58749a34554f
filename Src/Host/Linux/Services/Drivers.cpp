#include "Host/Linux/Services/Drivers.h"

#include "Host/Immortal.h"
#include "Host/Linux/LastError.h"
#include "Host/Linux/Services/KernelModules.h"
#include "Host/Linux/Services/VersionRecord.h"

#include <boost/algorithm/string/predicate.hpp>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <mutex>
#include <string_view>

namespace Ondrel::Host {

namespace {

constexpr char kModuleFolder[] = "/lib/modules";
constexpr std::string_view kDriverExtension = ".sys";

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

// As the host's functions do: cut where there is no room, always zero-terminated.
ULong CopyText(std::string_view text, char* buffer, ULong size) {
  if (size == 0) return Fail<ULong>(ERROR_INSUFFICIENT_BUFFER);
  const std::size_t length = std::min<std::size_t>(text.size(), size - 1);
  std::memcpy(buffer, text.data(), length);
  buffer[length] = '\0';
  return static_cast<ULong>(length);
}

// The module that the path of a driver stands for; empty for another path.
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
  if (module.empty()) return Fail<std::vector<char>>(ERROR_FILE_NOT_FOUND);
  const auto version = KernelModuleVersion(module);
  if (!version) return Fail<std::vector<char>>(ERROR_FILE_NOT_FOUND);
  if (version->empty()) return Fail<std::vector<char>>(ERROR_RESOURCE_TYPE_NOT_FOUND);
  return MakeVersionRecord(*version);
}

}  // namespace

int EnumDeviceDrivers(void** images, ULong size, ULong* needed) {
  const auto names = LoadedKernelModules();
  if (!names) return Fail(ErrorFromErrno(errno));
  const std::size_t room = size / sizeof(void*);
  for (std::size_t i = 0; i < std::min(room, names->size()); ++i)
    images[i] = Images().Of((*names)[i]);
  *needed = static_cast<ULong>(names->size() * sizeof(void*));
  return 1;
}

ULong GetDeviceDriverBaseName(void* image, char* name, ULong size) {
  const std::string module = Images().NameOf(image);
  if (module.empty()) return Fail<ULong>(ERROR_INVALID_HANDLE);
  return CopyText(module + std::string(kDriverExtension), name, size);
}

unsigned int GetSystemDirectory(char* folder, unsigned int size) {
  if (size < sizeof kModuleFolder) return sizeof kModuleFolder;
  return CopyText(kModuleFolder, folder, size);
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

}  // namespace Ondrel::Host
