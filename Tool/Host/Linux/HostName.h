#pragma once

#include "Tool/Host/HostName.h"

#include <functional>
#include <string>
#include <string_view>

namespace Tool {

/// Where the names of a Linux host come from.
struct HostNameSources {
  std::string root;  ///< Folder that stands for "/", without a slash at its end.

  /// What the host's own detection answers to "--vm" or "--container"; empty where there is none.
  std::function<std::string(const std::string& question)> detect;
};

/// Reads the names of distribution, virtualisation and container; `kernel`, `kernelVersion` and
/// `architecture` are left empty.
HostName NameFrom(const HostNameSources& sources);

/// The text made safe to show: on one line, control characters and bytes that are not UTF-8
/// replaced by U+FFFD, cut after 256 bytes.
std::string SafeText(std::string_view text);

}  // namespace Tool
