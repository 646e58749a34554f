#pragma once

#include "Tool/Watch/Settings.h"

#include <string>

namespace Tool::Watch {

/// Checks the paths that a configuration names, as far as that is to be seen without use: that the
/// folders for what is written are there, that the program can be run and the password be read.
/// Rights are checked for root only, as whom the service runs. Throws `SettingsError` with the line
/// of `text`, the configuration, which `file` names.
void CheckPaths(const Settings& settings, const std::string& text, const std::string& file);

}  // namespace Tool::Watch
