#include "Host/Linux/Services/KernelModules.h"

#include "Host/Linux/Sysfs.h"

#include <cstring>
#include <fstream>
#include <libkmod.h>
#include <memory>

namespace Ondrel::Host {

namespace {

using Context = std::unique_ptr<kmod_ctx, decltype(&kmod_unref)>;
using Module = std::unique_ptr<kmod_module, decltype(&kmod_module_unref)>;

std::string VersionIn(const kmod_list* information) {
  for (const kmod_list* item = information; item != nullptr;
       item = kmod_list_next(information, item))
    if (std::strcmp(kmod_module_info_get_key(item), "version") == 0)
      return kmod_module_info_get_value(item);
  return "";
}

std::optional<std::string> VersionInFile(const std::string& name) {
  const Context context(kmod_new(nullptr, nullptr), kmod_unref);
  if (!context) return std::nullopt;
  kmod_set_log_priority(context.get(), 0);
  kmod_module* found = nullptr;
  if (kmod_module_new_from_name(context.get(), name.c_str(), &found) != 0) return std::nullopt;
  const Module module(found, kmod_module_unref);
  kmod_list* information = nullptr;
  if (kmod_module_get_info(module.get(), &information) < 0) return std::nullopt;
  std::string version = VersionIn(information);
  kmod_module_info_free_list(information);
  return version;
}

}  // namespace

std::optional<std::vector<std::string>> LoadedKernelModules() {
  std::ifstream list("/proc/modules");
  if (!list) return std::nullopt;
  std::vector<std::string> names;
  for (std::string line; std::getline(list, line);) names.push_back(line.substr(0, line.find(' ')));
  return names;
}

std::optional<std::string> KernelModuleVersion(const std::string& name) {
  // Where the files of the running kernel are not installed the kernel still knows.
  if (std::optional<std::string> version = VersionInFile(name)) return version;
  return ReadSysfsText("/sys/module/" + name + "/version");
}

}  // namespace Ondrel::Host
