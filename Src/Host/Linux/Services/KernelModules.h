#pragma once

#include <optional>
#include <string>
#include <vector>

namespace Ondrel::Host {

/// The names of the kernel modules that are loaded, as /proc/modules lists them. Nothing when the
/// list cannot be read.
std::optional<std::vector<std::string>> LoadedKernelModules();

/// The version text of a kernel module's file, or what the kernel says of a loaded one; nothing
/// when there is no such module. A module without a version gives an empty text.
std::optional<std::string> KernelModuleVersion(const std::string& name);

}  // namespace Ondrel::Host
