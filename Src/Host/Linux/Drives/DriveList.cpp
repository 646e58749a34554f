#include "Host/Linux/Drives/DriveList.h"

#include "Drives/DriveStatus.h"
#include "Host/Linux/Drives/DriveFiles.h"

#include <algorithm>

namespace Ondrel::Host {

namespace {

bool IsNumbered(std::string_view name, std::string_view kind) {
  return name.starts_with(kind) && name.size() > kind.size() && name[kind.size()] >= '0' &&
         name[kind.size()] <= '9';
}

// Whether a disk of /sys/block stands for hardware whose presence means something.
bool IsOfMachine(const std::string& folder, const std::string& name) {
  constexpr std::string_view kMade[] = {"loop", "ram", "zram", "dm-", "md", "nbd", "sr", "fd"};
  for (const std::string_view kind : kMade)
    if (IsNumbered(name, kind)) return false;
  if (name.starts_with("md_")) return false;
  // A hidden path to a namespace that is shown under another name.
  if (NumberOf(folder + "/hidden") != 0 || NumberOf(folder + "/removable") != 0) return false;
  return name.starts_with("nvme") || NumberOf(folder + "/size") != 0;
}

// The unit serial number page of a SCSI disk: four bytes, of which the last is the length.
std::string SerialOfPage(const std::string& page) {
  constexpr std::size_t kHead = 4;
  if (page.size() <= kHead || page[1] != '\x80') return {};
  return page.substr(kHead, static_cast<unsigned char>(page[3]));
}

std::string FirstOf(std::initializer_list<std::string> texts) {
  for (const std::string& text : texts)
    if (!text.empty()) return text;
  return {};
}

std::string SerialOf(const std::string& diskFolder, const std::string& deviceFolder) {
  return FirstOf({PrintableOf(TextOf(deviceFolder + "/serial")),
                  PrintableOf(SerialOfPage(TextOf(deviceFolder + "/vpd_pg80"))),
                  PrintableOf(TextOf(diskFolder + "/serial"))});
}

// What a disk that the kernel makes of another is known by.
std::string MadeFrom(const std::string& diskFolder) {
  const auto named = [&](const char* kind, const char* file) {
    const std::string text = PrintableOf(TextOf(diskFolder + file));
    return text.empty() ? text : kind + text;
  };
  return FirstOf(
      {named("loop:", "/loop/backing_file"), named("dm:", "/dm/uuid"), named("md:", "/md/uuid")});
}

// The controllers of a namespace: the device itself, or what the subsystem holds.
std::vector<std::string> ControllersIn(const std::string& deviceFolder) {
  const std::string name = LastPartOf(deviceFolder);
  if (IsNumbered(name, "nvme") && name.find('n', 1) == std::string::npos) return {name};
  std::vector<std::string> controllers;
  if (!name.starts_with("nvme-subsys")) return controllers;
  for (const std::string& entry : SysfsEntries(deviceFolder))
    if (IsNumbered(entry, "nvme") && entry.find('n', 1) == std::string::npos)
      controllers.push_back(entry);
  return controllers;
}

std::string NodeOf(std::string name) {
  std::ranges::replace(name, '!', '/');
  return "/dev/" + name;
}

}  // namespace

DriveList::DriveList(const DriveSources& sources) : m_sources(sources) {
  ReadUse();
  const std::string disks = m_sources.sysfs + "/block/";
  for (const std::string& name : SysfsEntries(disks))
    if (IsOfMachine(disks + name, name)) AddDisk(RealPathOf(disks + name));
  AddControllers();
}

void DriveList::ReadUse() {
  const auto lines = [](const std::string& text, auto&& take) {
    std::size_t begin = 0;
    while (begin < text.size()) {
      const std::size_t end = std::min(text.find('\n', begin), text.size());
      take(WordsOf(std::string_view(text).substr(begin, end - begin)));
      begin = end + 1;
    }
  };
  lines(TextOf(m_sources.processes + "/self/mountinfo"), [&](const auto& words) {
    if (words.size() < 3) return;
    m_usedNumbers.emplace(words[2]);
    const auto mark = std::ranges::find(words, std::string_view("-"));
    // Some file systems have a device number of their own and name the device as their source.
    if (words.end() - mark > 2) m_usedNodes.emplace(mark[2]);
  });
  lines(TextOf(m_sources.processes + "/swaps"), [&](const auto& words) {
    if (!words.empty()) m_usedNodes.emplace(words[0]);
  });
}

bool DriveList::IsUsedPart(const std::string& folder) const {
  return !SysfsEntries(folder + "/holders").empty() ||
         m_usedNumbers.contains(TextOf(folder + "/dev")) ||
         m_usedNodes.contains(NodeOf(LastPartOf(folder)));
}

bool DriveList::IsUsed(const std::string& folder) const {
  if (IsUsedPart(folder)) return true;
  const std::string name = LastPartOf(folder);
  const std::string start = folder + '/';
  for (const std::string& entry : SysfsEntries(folder))
    if (entry.starts_with(name) && IsUsedPart(start + entry)) return true;
  return false;
}

void DriveList::AddDisk(const std::string& folder) {
  if (folder.empty()) return;
  const std::size_t drive = Add(folder);
  if (IsUsed(folder)) m_drives[drive].status = kStatusSystem;
}

std::size_t DriveList::Add(const std::string& diskFolder) {
  std::string device = RealPathOf(diskFolder + "/device");
  if (device.empty()) device = diskFolder;
  const auto known = m_byFolder.find(device);
  if (known != m_byFolder.end()) return known->second;

  Drive drive;
  const std::vector<std::string> controllers = ControllersIn(device);
  drive.isNVMe = !controllers.empty();
  drive.name = drive.isNVMe ? controllers.front() : LastPartOf(diskFolder);
  drive.device = NodeOf(drive.name);
  drive.name = PrintableOf(drive.name);
  drive.serial = SerialOf(diskFolder, device);
  drive.model = PrintableOf(FirstOf({TextOf(device + "/model"), TextOf(device + "/name")}));
  drive.status = TextOf(device + "/state") == "dead" ? kStatusFailed : kStatusAvailable;
  const std::string worldWideName = PrintableOf(
      FirstOf({TextOf(diskFolder + "/wwid"), TextOf(device + "/wwid"), MadeFrom(diskFolder)}));
  drive.id = FirstOf({drive.serial, worldWideName, PrintableOf("at " + device)});

  m_byFolder.emplace(device, m_drives.size());
  for (const std::string& controller : controllers)
    m_byFolder.emplace(RealPathOf(m_sources.sysfs + "/class/nvme/" + controller), m_drives.size());
  m_places.push_back({device, worldWideName});
  m_drives.push_back(std::move(drive));
  return m_drives.size() - 1;
}

// Controllers without a namespace have no disk.
void DriveList::AddControllers() {
  const std::string folder = m_sources.sysfs + "/class/nvme/";
  for (const std::string& name : SysfsEntries(folder)) {
    const std::string device = RealPathOf(folder + name);
    if (device.empty() || m_byFolder.contains(device)) continue;
    Drive drive;
    drive.isNVMe = true;
    drive.name = PrintableOf(name);
    drive.device = NodeOf(name);
    drive.serial = PrintableOf(TextOf(device + "/serial"));
    drive.model = PrintableOf(TextOf(device + "/model"));
    drive.status = TextOf(device + "/state") == "dead" ? kStatusFailed : kStatusAvailable;
    drive.id = FirstOf({drive.serial, PrintableOf("at " + device)});
    m_byFolder.emplace(device, m_drives.size());
    m_places.push_back({device, ""});
    m_drives.push_back(std::move(drive));
  }
}

std::size_t DriveList::DriveOf(const std::string& path) {
  const bool isPartition = ReadTextOf(path + "/partition").has_value();
  return Add(isPartition ? path.substr(0, path.rfind('/')) : path);
}

void DriveList::Distinguish() {
  const auto isShared = [this](const std::string& id) {
    return std::ranges::count(m_drives, id, &Drive::id) > 1;
  };
  const auto lengthen = [&](auto&& longer) {
    std::vector<std::string> ids;
    for (std::size_t index = 0; index < m_drives.size(); ++index)
      ids.push_back(isShared(m_drives[index].id) ? longer(index) : m_drives[index].id);
    for (std::size_t index = 0; index < m_drives.size(); ++index) m_drives[index].id = ids[index];
  };
  lengthen([this](std::size_t index) {
    return m_drives[index].model.empty() ? m_drives[index].id
                                         : m_drives[index].model + " " + m_drives[index].id;
  });
  lengthen([this](std::size_t index) {
    return m_places[index].worldWideName.empty()
               ? m_drives[index].id
               : m_drives[index].id + " " + m_places[index].worldWideName;
  });
  lengthen([this](std::size_t index) {
    return m_drives[index].id + " " + PrintableOf("at " + m_places[index].folder);
  });
}

}  // namespace Ondrel::Host
