#pragma once

#include <optional>
#include <string>

namespace Tool {

/// Names of a Linux host. Texts are valid UTF-8 without control characters; an empty one is not
/// known.
struct HostName {
  std::string distribution;    ///< "Debian GNU/Linux"
  std::string id;              ///< "debian"
  std::string version;         ///< "12"
  std::string codename;        ///< "bookworm"
  std::string description;     ///< "Debian GNU/Linux 12 (bookworm)"
  std::string kernel;          ///< "Linux 6.1.0-18-amd64"
  std::string kernelVersion;   ///< "#1 SMP PREEMPT_DYNAMIC Debian 6.1.76-1 (2024-02-01)"
  std::string architecture;    ///< "x86_64"
  std::string virtualization;  ///< "kvm"; "none" on the machine itself
  std::string container;       ///< "docker"; "none" outside of any
};

/// Names this host. Nothing on Windows, whose names come from the facts of the library.
std::optional<HostName> NameOfHost();

}  // namespace Tool
