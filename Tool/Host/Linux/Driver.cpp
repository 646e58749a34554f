#include "Tool/Host/Linux/Driver.h"

#include <Ondrel/System.h>

#include <algorithm>
#include <fstream>
#include <string_view>
#include <sys/utsname.h>
#include <unistd.h>

namespace Tool {

namespace {

char Spelled(char character) {
  if (character >= 'A' && character <= 'Z') return static_cast<char>(character - 'A' + 'a');
  return character == '-' ? '_' : character;
}

bool IsSameName(std::string_view left, std::string_view right) {
  return std::ranges::equal(left, right, {}, Spelled, Spelled);
}

/// "kernel/drivers/nvme/host/nvme-core.ko.xz" is "nvme-core".
std::string_view NameOfFile(std::string_view path) {
  const std::string_view file = path.substr(path.rfind('/') + 1);
  return file.substr(0, file.find(".ko"));
}

/// The first line of a list whose name `nameOf` finds the same; empty without one.
template <class NameOf>
std::string FindName(const std::string& list, const std::string& name, NameOf nameOf) {
  std::ifstream file(list);
  for (std::string line; std::getline(file, line);)
    if (const std::string_view found = nameOf(line); IsSameName(found, name))
      return std::string(found);
  return "";
}

/// Its value under "NAME.version" in the texts of the built-in drivers, each with a zero byte.
std::string BuiltInVersion(const std::string& folder, const std::string& name) {
  std::ifstream file(folder + "/modules.builtin.modinfo", std::ios::binary);
  for (std::string text; std::getline(file, text, '\0');) {
    const std::size_t dot = text.find('.');
    constexpr std::string_view kKey = ".version=";
    if (dot != std::string::npos && text.compare(dot, kKey.size(), kKey) == 0 &&
        IsSameName(std::string_view(text).substr(0, dot), name))
      return text.substr(dot + kKey.size());
  }
  return "";
}

std::string KernelsVersion(const std::string& folder) {
  std::ifstream file(folder + "/version");
  std::string version;
  std::getline(file, version);
  return version;
}

std::string Underscored(const std::string& name) {
  std::string spelled = name;
  std::ranges::replace(spelled, '-', '_');
  return spelled;
}

}  // namespace

DriverState DriverStateFrom(const std::string& root, const std::string& release,
                            const std::string& name) {
  using Kind = DriverState::Kind;
  // Such a name would lead out of the folders.
  if (name.empty() || name.find('/') != std::string::npos || name.starts_with('.'))
    return {.kind = Kind::kUnknown, .name = name, .version = ""};

  const auto lastWord = [](std::string_view line) { return line.substr(line.rfind('\t') + 1); };
  const auto firstWord = [](std::string_view line) { return line.substr(0, line.find(' ')); };
  if (std::string found = FindName(root + "/proc/modules", name, firstWord); !found.empty())
    return {.kind = Kind::kLoaded, .name = found, .version = ""};

  const std::string modules = root + "/lib/modules/" + release;
  std::string found = FindName(modules + "/modules.builtin", name, NameOfFile);
  const std::string own = root + "/sys/module/" + Underscored(name);
  // Without the kernel's lists its own folder says that it is there, or what it has registered.
  if (found.empty() && ::access(own.c_str(), F_OK) == 0) found = Underscored(name);
  if (found.empty() && ::access((modules + "/modules.builtin").c_str(), F_OK) != 0)
    found = FindName(root + "/proc/filesystems", name, lastWord);
  if (!found.empty()) {
    std::string version = BuiltInVersion(modules, name);
    if (version.empty()) version = KernelsVersion(own);
    return {.kind = Kind::kBuiltIn, .name = Underscored(found), .version = version};
  }
  const auto beforeColon = [](std::string_view line) {
    return NameOfFile(line.substr(0, line.find(':')));
  };
  found = FindName(modules + "/modules.dep", name, beforeColon);
  if (!found.empty()) return {.kind = Kind::kNotLoaded, .name = Underscored(found), .version = ""};
  return {.kind = Kind::kUnknown, .name = name, .version = ""};
}

DriverState StateOfDriver(const std::string& name) {
  utsname system{};
  ::uname(&system);
  DriverState state = DriverStateFrom("", system.release, name);
  if (state.kind == DriverState::Kind::kLoaded)
    Ondrel::CSystem::GetModuleVersion(state.name, state.version);
  return state;
}

}  // namespace Tool
