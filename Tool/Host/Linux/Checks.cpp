#include "Tool/Host/Checks.h"

#include "Tool/Host/Linux/AdapterDetails.h"
#include "Tool/Host/Speaker.h"

#include <Ondrel/Disks.h>
#include <Ondrel/Host.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string_view>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace Tool {

namespace {

namespace fs = std::filesystem;
using Ondrel::Host::EventLogKind;
using Ondrel::Host::EventLogPlace;

constexpr const char* kJournalSocket = "/run/systemd/journal/socket";
constexpr const char* kZones = "/usr/share/zoneinfo";
// The library makes this folder by itself, and no other.
constexpr const char* kDefaultStoreFolder = "/var/lib/ondrel";

struct Library {
  const char* file;
  const char* use;
  const char* package;
};

// Those that are loaded when they are first needed.
constexpr Library kLibraries[] = {{"libcurl.so.4", "mail", "libcurl4"}};

struct Finding {
  bool isOk;
  std::string finding;
  std::string remedy;
};

std::string ErrorText() { return std::strerror(errno); }

Finding Rights() {
  if (::geteuid() == 0) return {true, "runs as root", ""};
  return {false, "runs as user " + std::to_string(::geteuid()) + ", whom devices may refuse",
          "run it as root, for instance with sudo"};
}

bool IsJournalThere() { return ::access(kJournalSocket, W_OK) == 0; }

Finding Journal() {
  if (IsJournalThere()) return {true, std::string("takes entries at ") + kJournalSocket, ""};
  return {false, std::string(kJournalSocket) + ": " + ErrorText(),
          "start systemd-journald, or keep events in a file with --store"};
}

bool IsThere(const std::string& path) {
  struct stat status {};
  return ::lstat(path.c_str(), &status) == 0;
}

/// A path as a shell takes it.
std::string Quoted(const std::string& path) {
  const bool isPlain = std::ranges::all_of(path, [](unsigned char character) {
    return std::isalnum(character) != 0 || std::strchr("/._-+", character) != nullptr;
  });
  if (isPlain) return path;
  std::string quoted = "'";
  for (const char character : path)
    quoted += character == '\'' ? "'\\''" : std::string(1, character);
  return quoted + "'";
}

/// The folder of a store as the library takes it out of the path: its own one is known by its name.
std::string FolderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? "." : path.substr(0, std::max<std::size_t>(slash, 1));
}

/// What speaks against making files in a folder; nothing when nothing does.
std::optional<Finding> FolderTrouble(const std::string& folder) {
  constexpr std::uint64_t kLeastSpace = std::uint64_t{1} << 20;
  struct statvfs space {};
  if (::statvfs(folder.c_str(), &space) != 0) {
    const bool isMissing = errno == ENOENT;
    return Finding{false, folder + ": " + ErrorText(),
                   isMissing ? "make the folder: mkdir -p -m 700 " + Quoted(folder)
                             : "name another file with --store"};
  }
  struct stat status {};
  if (::stat(folder.c_str(), &status) == 0 && !S_ISDIR(status.st_mode))
    return Finding{false, folder + " is not a folder", "name another file with --store"};
  if (::access(folder.c_str(), W_OK | X_OK) != 0)
    return Finding{false, folder + ": " + ErrorText(),
                   "run it as a user who may write there, or name another file with --store"};
  if (std::uint64_t{space.f_bavail} * space.f_frsize < kLeastSpace)
    return Finding{false, folder + " has less than 1 MiB left", "make room on its file system"};
  return std::nullopt;
}

/// Whether a file begins as a database does; an empty one becomes one.
bool IsDatabase(const std::string& path) {
  constexpr std::string_view kStart("SQLite format 3\0", 16);
  std::string start(kStart.size(), '\0');
  std::ifstream file(path, std::ios::binary);
  file.read(start.data(), static_cast<std::streamsize>(start.size()));
  return file.gcount() == 0 || start == kStart;
}

Finding Store(const std::string& path) {
  const std::string folder = FolderOf(path);
  if (folder == kDefaultStoreFolder && !IsThere(folder)) {
    if (auto trouble = FolderTrouble(FolderOf(folder))) return *trouble;
    return {true, "the first report makes " + path + " and its folder", ""};
  }
  if (auto trouble = FolderTrouble(folder)) return *trouble;

  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) {
    const bool isMissing = errno == ENOENT;
    const std::string reason = ErrorText();
    if (!isMissing) return {false, path + ": " + reason, "name another file with --store"};
    if (IsThere(path))
      return {false, path + " is a link to a file that is not there", "remove the link"};
    return {true, "the first report makes " + path, ""};
  }
  if (!S_ISREG(status.st_mode))
    return {false, path + (S_ISDIR(status.st_mode) ? " is a folder" : " is not a file"),
            "name a file with --store"};
  if (::access(path.c_str(), R_OK | W_OK) != 0)
    return {false, path + ": " + ErrorText(), "run it as the owner of the file"};
  if (!IsDatabase(path))
    return {false, path + " is not an event store", "name another file with --store"};
  return {true, path + " can be written", ""};
}

Finding EventLog(const EventLogPlace& place, const std::string& storePath) {
  if (place.isJournalAway)
    return {false, "the journal of this host is away: nobody takes entries at its socket",
            "start systemd-journald, or name a file with --store"};
  if (place.kind == EventLogKind::kJournal) return {true, "events go to the journal", ""};
  if (place.kind == EventLogKind::kJournalFiles)
    return {true, "events are read from " + place.path + "; none is written there", ""};
  Finding store = Store(storePath);
  if (store.isOk)
    store.finding =
        "events go to " + storePath + (IsThere(storePath) ? "" : ", which the first report makes");
  return store;
}

Finding Devices() {
  const std::vector<Ondrel::Host::Disk> disks = Ondrel::Host::Disks();
  if (disks.empty())
    return {false, "this host shows no disk", "in a container, pass the disks through to it"};
  std::string refused;
  for (const Ondrel::Host::Disk& disk : disks) {
    const int file = ::open(disk.deviceName.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (file < 0) refused += (refused.empty() ? "" : ", ") + disk.deviceName + ": " + ErrorText();
    if (file >= 0) ::close(file);
  }
  if (refused.empty()) return {true, std::to_string(disks.size()) + " disks can be read", ""};
  return {false, refused, "run it as root, and in a container pass the disks through to it"};
}

Finding TimeZone() {
  const char* const zone = std::getenv("TZ");
  const std::string remedy = "install the zones: apt install tzdata";
  // A zone's name is a path; a rule such as "CET-1" needs no file.
  if (zone != nullptr && std::strchr(zone, '/') != nullptr) {
    const std::string name = *zone == ':' ? zone + 1 : zone;
    const std::string path = name.starts_with('/') ? name : std::string(kZones) + "/" + name;
    if (::access(path.c_str(), R_OK) != 0)
      return {false, "TZ names " + path + ": " + ErrorText(), remedy + ", or correct TZ"};
    return {true, "TZ names " + path, ""};
  }
  if (::access(kZones, R_OK | X_OK) != 0)
    return {false, std::string(kZones) + ": " + ErrorText(), remedy};
  if (::access("/etc/localtime", R_OK) != 0)
    return {true, "zones are there; /etc/localtime is not, local time is UTC", ""};
  return {true, "local time is that of /etc/localtime", ""};
}

Finding Libraries() {
  for (const Library& library : kLibraries) {
    void* const handle = ::dlopen(library.file, RTLD_LAZY | RTLD_LOCAL);
    if (handle == nullptr)
      return {false, std::string(library.use) + " needs " + ::dlerror(),
              std::string("apt install ") + library.package};
    ::dlclose(handle);
  }
  return {true, "all that are loaded on demand are there", ""};
}

/// Whether the file holds the text. Reads it piece by piece: a library with what debuggers want to
/// know is large.
bool IsInFile(const std::string& path, std::string_view text) {
  constexpr std::size_t kPiece = std::size_t{64} * 1024;
  std::ifstream file(path, std::ios::binary);
  std::string piece;
  do {
    // A text that two pieces share begins in the last characters of the first.
    piece.erase(0, piece.size() - std::min(piece.size(), text.size() - 1));
    const std::size_t kept = piece.size();
    piece.resize(kept + kPiece);
    file.read(piece.data() + kept, static_cast<std::streamsize>(kPiece));
    piece.resize(kept + static_cast<std::size_t>(file.gcount()));
    if (piece.find(text) != std::string::npos) return true;
  } while (file);
  return false;
}

Finding MessageTable() {
  const std::string path = Ondrel::Host::LibraryPath();
  // The name of the section that holds it.
  if (IsInFile(path, ".msgtable")) return {true, path + " has it", ""};
  return {false, (path.empty() ? std::string("the library's file") : path) + " has no messages",
          "install the library again"};
}

Finding Speaker() {
  const std::string problem = SpeakerProblem();
  if (problem.empty()) return {true, "can be sounded", ""};
  const std::size_t cut = problem.find("; ");
  return {false, problem.substr(0, cut), problem.substr(cut + 2)};
}

Finding PciNames() {
  const std::string path = PciNamesFile();
  if (!path.empty()) return {true, path, ""};
  return {false, "adapters are shown without names", "apt install pci.ids"};
}

Finding Find(const std::string& name, const EventLogPlace& place, const std::string& storePath) {
  if (name == "rights") return Rights();
  if (name == "eventLog") return EventLog(place, storePath);
  if (name == "journal") return Journal();
  if (name == "store") return Store(storePath);
  if (name == "devices") return Devices();
  if (name == "timeZone") return TimeZone();
  if (name == "libraries") return Libraries();
  if (name == "messageTable") return MessageTable();
  if (name == "speaker") return Speaker();
  return PciNames();
}

}  // namespace

HostCheck CheckHost(const std::string& name, const EventLogPlace& place,
                    const std::string& storePath) {
  const Finding found = Find(name, place, storePath);
  return {.name = name, .isOk = found.isOk, .finding = found.finding, .remedy = found.remedy};
}

}  // namespace Tool
