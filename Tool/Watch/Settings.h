#pragma once

#include "Tool/Watch/Step.h"

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace Tool::Watch {

/// Where the configuration is looked for when the command line names none.
inline constexpr const char* kDefaultConfiguration = "/etc/ondrel/watch.conf";

struct LogSettings {
  std::string name = "RAID";
  std::string store;  ///< File of the event store; empty for the host's own choice.
  bool isJournal = false;
  std::optional<std::uint64_t> storeCapacity;  ///< In bytes; asked for on the command line only.
};

struct MailSettings {
  std::string server;  ///< Empty for no mail.
  unsigned short port = 25;
  std::string protocol = "smtp";
  std::string from;
  std::vector<std::string> to;
  std::string user;
  std::string passwordFile;
  int minSeverity = 3;
};

struct HealthSettings {
  int interval = 60;  ///< In seconds.
  bool armEvents = false;
  Thresholds thresholds;
};

struct ExecSettings {
  std::string program;  ///< Empty for none.
  int timeLimit = 30;   ///< In seconds.
};

/// The configuration of the service. Without a file these values hold: everything is watched and
/// written to the event log, and nothing is mailed.
struct Settings {
  LogSettings log;
  MailSettings mail;
  HealthSettings health;
  ExecSettings exec;
  std::string metricsFile;
  std::string stateFile = "/var/lib/ondrel/watch.db";
};

/// What is wrong with a configuration, as "FILE:LINE: what".
class SettingsError : public std::runtime_error {
public:
  using std::runtime_error::runtime_error;
};

/// Reads a configuration in INI form. `file` names it in errors. Throws `SettingsError` for text
/// that is not of that form, an unknown section or key, and a value that cannot be used.
Settings ReadSettings(const std::string& text, const std::string& file);

/// The line of `text` on which a key of a section stands; 1 when it is not there.
unsigned long LineOfKey(const std::string& text, const std::string& section,
                        const std::string& key);

}  // namespace Tool::Watch
