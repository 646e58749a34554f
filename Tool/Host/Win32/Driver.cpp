#include "Tool/Host/Driver.h"

#include "Tool/Host/Win32/Words.h"

#include <Ondrel/System.h>

#include <cstring>
#include <psapi.h>
#include <vector>

namespace Tool {

namespace {

/// The name of a loaded driver as the host spells it; empty when none is loaded.
std::string LoadedName(const std::string& fileName) {
  DWORD bytes = 0;
  std::vector<void*> images(1024);
  while (true) {
    const auto size = static_cast<DWORD>(images.size() * sizeof(void*));
    if (!::EnumDeviceDrivers(images.data(), size, &bytes)) return "";
    if (bytes < size) break;
    images.resize(images.size() * 2);
  }
  char name[1024];
  for (std::size_t i = 0; i < bytes / sizeof(void*); ++i)
    if (::GetDeviceDriverBaseNameA(images[i], name, sizeof name) != 0 &&
        ::_stricmp(name, fileName.c_str()) == 0)
      return name;
  return "";
}

bool IsInstalled(const std::string& fileName) {
  char folder[MAX_PATH];
  const UINT length = ::GetSystemDirectoryA(folder, MAX_PATH);
  if (length == 0 || length >= MAX_PATH || fileName.find_first_of("\\/") != std::string::npos)
    return false;
  const std::string path = std::string(folder) + "\\drivers\\" + fileName;
  return ::GetFileAttributesA(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

}  // namespace

DriverState StateOfDriver(const std::string& name) {
  using Kind = DriverState::Kind;
  const std::string fileName = name + ".sys";
  const std::string loaded = LoadedName(fileName);
  if (loaded.empty())
    return {.kind = IsInstalled(fileName) ? Kind::kNotLoaded : Kind::kUnknown,
            .name = name,
            .version = ""};
  DriverState state{
      .kind = Kind::kLoaded, .name = loaded.substr(0, loaded.size() - 4), .version = ""};
  Ondrel::CSystem::GetModuleVersion(name, state.version);
  return state;
}

}  // namespace Tool
