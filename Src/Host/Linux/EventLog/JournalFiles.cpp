#include "Host/Linux/EventLog/JournalFiles.h"

#include "Host/Linux/EventLog/JournalEntry.h"

#include <systemd/sd-id128.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <system_error>
#include <thread>

namespace Ondrel::Host {

namespace {

namespace fs = std::filesystem;

constexpr int kTries = 5;
constexpr std::chrono::seconds kYouth{5};
constexpr std::chrono::milliseconds kPause{20};

bool IsOfMachine(const fs::path& folder) {
  sd_id128_t id{};
  // Behind a dot stands the name of a journal of its own.
  const std::string name = folder.filename().string();
  return sd_id128_from_string(name.substr(0, name.find('.')).c_str(), &id) >= 0;
}

void AddFilesIn(const fs::path& folder, bool isRoot, std::vector<std::string>& files) {
  std::error_code failure;
  for (fs::directory_iterator entry(folder, failure), end; !failure && entry != end;
       entry.increment(failure)) {
    std::error_code ignored;
    const std::string extension = entry->path().extension().string();
    if (entry->is_directory(ignored)) {
      if (isRoot && IsOfMachine(entry->path())) AddFilesIn(entry->path(), false, files);
    } else if (extension == ".journal" || extension == ".journal~") {
      files.push_back(entry->path().string());
    }
  }
}

}  // namespace

std::vector<std::string> JournalFilesAt(const std::string& path) {
  std::error_code failure;
  if (!fs::is_directory(path, failure)) return {path};
  std::vector<std::string> files;
  AddFilesIn(path, true, files);
  std::ranges::sort(files);
  return files;
}

bool IsUnreadableJournalFile(const std::string& file) {
  for (int tries = 0; tries < kTries; ++tries) {
    JournalHandle journal;
    if (OpenJournalAt(file, journal) >= 0) return false;
    // One that is being created has no head yet.
    std::error_code failure;
    const fs::file_time_type written = fs::last_write_time(file, failure);
    if (failure) return fs::exists(file, failure);
    if (written + kYouth < fs::file_time_type::clock::now()) break;
    std::this_thread::sleep_for(kPause);
  }
  return true;
}

}  // namespace Ondrel::Host
