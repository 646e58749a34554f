#include "Tool/Watch/Linux/PathChecks.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>

namespace Tool::Watch {

namespace {

/// Why a path cannot be used; nothing when it can.
using Trouble = std::optional<std::string>;

std::string Reason() { return std::strerror(errno); }

// Another user than root may miss rights that the service has.
Trouble LackOfAccess(const std::string& path, int mode) {
  if (::access(path.c_str(), mode) == 0) return std::nullopt;
  if (errno == EACCES && ::geteuid() != 0) return std::nullopt;
  return Reason();
}

Trouble FileTrouble(const std::string& path, int mode) {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0)
    return errno == EACCES && ::geteuid() != 0 ? Trouble() : Reason();
  if (S_ISDIR(status.st_mode)) return "is a folder";
  if (!S_ISREG(status.st_mode)) return "is not a file";
  return LackOfAccess(path, mode);
}

// A file that is made where it is not there yet.
Trouble WrittenFileTrouble(const std::string& path) {
  struct stat status {};
  if (::stat(path.c_str(), &status) == 0) return FileTrouble(path, R_OK | W_OK);
  if (errno != ENOENT) return FileTrouble(path, R_OK | W_OK);
  const std::string folder = std::filesystem::path(path).parent_path();
  if (::stat(folder.c_str(), &status) != 0) return "the folder " + folder + ": " + Reason();
  if (!S_ISDIR(status.st_mode)) return folder + " is not a folder";
  const Trouble trouble = LackOfAccess(folder, W_OK | X_OK);
  return trouble ? "the folder " + folder + ": " + *trouble : trouble;
}

}  // namespace

void CheckPaths(const Settings& settings, const std::string& text, const std::string& file) {
  const auto refuse = [&](const char* section, const char* key, const std::string& path,
                          const Trouble& trouble) {
    if (!trouble) return;
    throw SettingsError(file + ":" + std::to_string(LineOfKey(text, section, key)) + ": " + key +
                        ": \"" + path + "\" cannot be used: " + *trouble);
  };
  const auto check = [&](const char* section, const char* key, const std::string& path, auto find) {
    if (!path.empty()) refuse(section, key, path, find(path));
  };
  check("log", "store", settings.log.store, WrittenFileTrouble);
  // The default folder is made at the start.
  if (settings.stateFile != Settings().stateFile)
    check("state", "file", settings.stateFile, WrittenFileTrouble);
  check("metrics", "file", settings.metricsFile, WrittenFileTrouble);
  check("exec", "program", settings.exec.program,
        [](const std::string& path) { return FileTrouble(path, X_OK); });
  check("mail", "password-file", settings.mail.passwordFile,
        [](const std::string& path) { return FileTrouble(path, R_OK); });
}

}  // namespace Tool::Watch
