#include "Fuzz/DriveTree.h"

#include <algorithm>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

// In memory where the machine has such a folder: a run writes many small files.
std::string MakeRoot() {
  std::error_code ignored;
  const fs::path shared = "/dev/shm";
  std::string root =
      (fs::is_directory(shared, ignored) ? shared : fs::temp_directory_path()) / "drives-XXXXXX";
  if (::mkdtemp(root.data()) == nullptr) std::abort();
  return root;
}

const std::vector<std::string> kArrayFiles = {
    "uuid",     "level",  "raid_disks",   "sync_action",      "last_sync_action", "sync_completed",
    "sync_min", "layout", "resync_start", "reshape_position", "mismatch_cnt",     "array_state"};
const std::vector<std::string> kMemberFiles = {"state", "slot", "errors", "bad_blocks"};
const std::vector<std::string> kDiskFiles = {"hidden", "removable", "size", "serial",
                                             "wwid",   "dev",       "nsid"};
const std::vector<std::string> kDeviceFiles = {"serial", "vpd_pg80", "model",
                                               "name",   "state",    "wwid"};

}  // namespace

DriveTree::DriveTree() : m_root(MakeRoot()) {
  m_sources = {.sysfs = m_root + "/sys",
               .processes = m_root + "/proc",
               .arrayConfigurations = {m_root + "/mdadm.conf", m_root + "/missing.conf"}};
  AddFiles("", {"mdadm.conf"});
  AddFiles("proc/", {"swaps", "self/mountinfo"});

  for (const char* const device : {"scsi0", "scsi1", "nvme0", "nvme3", "nvme-subsys1"})
    AddFiles(std::string("sys/devices/") + device + "/", kDeviceFiles);
  AddFolder("sys/devices/nvme-subsys1/nvme1");
  AddFolder("sys/devices/nvme-subsys1/nvme2");
  AddFolder("sys/class/nvme");
  for (const char* const controller : {"nvme0", "nvme3"})
    AddLink(std::string("sys/class/nvme/") + controller, std::string("sys/devices/") + controller);
  AddLink("sys/class/nvme/nvme4", "sys/devices/pulled");

  for (const char* const disk :
       {"sda", "sdb", "cciss!c0d0", "nvme0n1", "nvme1n1", "loop0", "md0", "md1", "md_home"})
    AddFiles(std::string("sys/block/") + disk + "/", kDiskFiles);
  AddFiles("sys/block/loop0/", {"loop/backing_file", "dm/uuid", "md/uuid"});
  AddFiles("sys/block/sda/sda1/", {"dev", "partition"});
  AddFolder("sys/block/sdb/holders/dm-0");
  AddLink("sys/block/sdd", "sys/devices/pulled");
  AddLink("sys/block/sda/device", "sys/devices/scsi0");
  AddLink("sys/block/sdb/device", "sys/devices/scsi1");
  AddLink("sys/block/nvme0n1/device", "sys/devices/nvme0");
  AddLink("sys/block/nvme1n1/device", "sys/devices/nvme-subsys1");

  for (const char* const array : {"md0", "md1"}) {
    const std::string folder = std::string("sys/block/") + array + "/md/";
    AddFiles(folder, kArrayFiles);
    for (const char* const member :
         {"sda1", "sdb", "nvme0n1", "nvme1n1", "loop0", "cciss!c0d0", "pulled"})
      AddFiles(folder + "dev-" + member + "/", kMemberFiles);
    AddLink(folder + "dev-sda1/block", "sys/block/sda/sda1");
    for (const char* const disk : {"sdb", "nvme0n1", "nvme1n1", "loop0", "cciss!c0d0"})
      AddLink(folder + "dev-" + disk + "/block", std::string("sys/block/") + disk);
  }
}

DriveTree::~DriveTree() {
  for (const auto& [path, file] : m_files) ::close(file);
  std::error_code ignored;
  fs::remove_all(m_root, ignored);
}

void DriveTree::Write(std::string_view text) {
  for (const int file : m_written)
    if (::ftruncate(file, 0) != 0) std::abort();
  m_written.clear();
  while (!text.empty()) {
    const std::string_view part = text.substr(0, text.find('\x01'));
    text.remove_prefix(std::min(part.size() + 1, text.size()));
    const std::string_view path = part.substr(0, part.find(' '));
    const auto file = m_files.find(path);
    if (file == m_files.end()) continue;
    const std::string_view content = part.substr(std::min(path.size() + 1, part.size()));
    if (::pwrite(file->second, content.data(), content.size(), 0) < 0) std::abort();
    m_written.push_back(file->second);
  }
}

void DriveTree::AddFolder(const std::string& path) { fs::create_directories(m_root + "/" + path); }

void DriveTree::AddFiles(const std::string& folder, const std::vector<std::string>& names) {
  for (const std::string& name : names) {
    const std::string path = folder + name;
    AddFolder(fs::path(path).parent_path());
    const int file =
        ::open((m_root + "/" + path).c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (file < 0) std::abort();
    m_files.emplace(path, file);
  }
}

void DriveTree::AddLink(const std::string& path, const std::string& target) {
  AddFolder(fs::path(path).parent_path());
  fs::create_symlink(m_root + "/" + target, m_root + "/" + path);
}
