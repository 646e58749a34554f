#include "Host/Linux/Drives/DrivePicture.h"

#include "Drives/DriveStatus.h"
#include "Host/Linux/Drives/DriveFiles.h"
#include "Host/Linux/Drives/DriveList.h"
#include "Host/Linux/LastError.h"
#include "Host/Linux/Sysfs.h"

#include <algorithm>
#include <cerrno>
#include <unistd.h>

namespace Ondrel::Host {

namespace {

constexpr std::uint64_t kSectorSize = 512;
constexpr std::uint64_t kMostPlaces = 4096;
constexpr std::string_view kMemberPrefix = "dev-";
constexpr std::string_view kNone = "none";

struct ActionRow {
  std::string_view start;  ///< What the kernel's word begins with.
  ArrayAction action;
};

constexpr ActionRow kActions[] = {
    {"recover", ArrayAction::Rebuild}, {"resync", ArrayAction::Resync},
    {"check", ArrayAction::Check},     {"repair", ArrayAction::Check},
    {"reshape", ArrayAction::Reshape},
};

ArrayAction ActionOf(std::string_view word) {
  for (const ActionRow& row : kActions)
    if (word.starts_with(row.start)) return row.action;
  return ArrayAction::None;
}

std::string GroupedUuid(const std::string& digits) {
  std::string text;
  for (std::size_t start = 0; start < digits.size(); start += 8) {
    if (start != 0) text += ':';
    text.append(digits, start, 8);
  }
  return text;
}

// An array that runs. A container never does, and an array that waits for members does not yet.
bool IsRunning(const std::string& folder) {
  const std::string state = TextOf(folder + "/array_state");
  return !state.empty() && state != "clear" && state != "inactive";
}

// A position that says by "none" that there is nothing left to do.
bool IsUnfinished(const std::string& path) {
  const std::string text = TextOf(path);
  return !text.empty() && text != kNone;
}

std::int32_t StatusOfMember(const ArrayMember& member, bool isOfGroup, bool isJournal) {
  if (member.isGone || member.isFaulty) return kStatusFailed;
  if (member.isInSync || isJournal) return kStatusOperational;
  if (member.slot >= 0) return kStatusRebuilding;
  return isOfGroup ? kStatusGlobalHotspare : kStatusDedicatedHotspare;
}

ArrayMember ReadMember(const std::string& folder, bool isOfGroup) {
  ArrayMember member;
  const std::string state = TextOf(folder + "/state");
  member.name = PrintableOf(LastPartOf(folder).substr(kMemberPrefix.size()));
  member.isInSync = HasWord(state, "in_sync");
  member.isSpare = HasWord(state, "spare");
  // While a bad block is being recorded, a member that works says so too for a moment.
  member.isFaulty = HasWord(state, "faulty") && !member.isInSync && !member.isSpare;
  member.isReplacement = HasWord(state, "replacement");
  member.isReplacementWanted = HasWord(state, "want_replacement");
  member.hasWriteError = HasWord(state, "write_error");
  const auto slot = NumberAtStart(TextOf(folder + "/slot"));
  member.slot = slot && *slot < kMostPlaces ? static_cast<int>(*slot) : -1;
  member.errors = NumberOf(folder + "/errors");
  member.badSectors = BadSectorsIn(TextOf(folder + "/bad_blocks"));
  // The kernel leaves the link to a disk that was pulled.
  member.isGone = RealPathOf(folder + "/block").empty();
  member.status = StatusOfMember(member, isOfGroup, HasWord(state, "journal"));
  if (member.hasWriteError) member.status = WithSmart(member.status);
  return member;
}

// What distinguishes the parts of one drive: "-ns2" for a namespace other than the first, "-part1"
// for a partition.
std::string PartOf(const std::string& block) {
  if (block.empty()) return {};
  const auto partition = NumberAtStart(TextOf(block + "/partition"));
  const std::string disk = partition ? block.substr(0, block.rfind('/')) : block;
  const std::uint64_t nameSpace = NumberOf(disk + "/nsid");
  std::string part;
  if (nameSpace > 1) part += "-ns" + std::to_string(nameSpace);
  if (partition) part += "-part" + std::to_string(*partition);
  return part;
}

std::vector<char> LostPlaces(const DriveArray& array) {
  std::vector<char> isLost(array.places, 1);
  for (const ArrayMember& member : array.members)
    if (member.isInSync && !member.isGone && member.slot >= 0 &&
        static_cast<std::size_t>(member.slot) < isLost.size())
      isLost[static_cast<std::size_t>(member.slot)] = 0;
  return isLost;
}

void ReadProgress(const std::string& folder, DriveArray& array) {
  const std::string progress = TextOf(folder + "/sync_completed");
  const std::size_t slash = progress.find('/');
  if (slash == std::string::npos) return;
  array.actionDone = NumberAtStart(progress).value_or(0);
  const std::size_t total = progress.find_first_not_of(' ', slash + 1);
  if (total != std::string::npos)
    array.actionTotal = NumberAtStart(std::string_view(progress).substr(total)).value_or(0);
}

class ArrayReader {
public:
  ArrayReader(const DriveSources& sources, DriveList& drives) : m_drives(drives) {
    for (const std::string& file : sources.arrayConfigurations)
      m_withSpareGroup.merge(ArraysWithSpareGroup(TextOf(file)));
  }

  /// Nothing when the array was stopped meanwhile.
  std::optional<DriveArray> Read(const std::string& disk) {
    const std::string folder = disk + "/md";
    DriveArray array;
    array.name = PrintableOf(LastPartOf(disk));
    const std::string digits = DigitsOfUuid(TextOf(folder + "/uuid"));
    array.id = digits.empty() ? array.name : GroupedUuid(digits);
    array.level = PrintableOf(TextOf(folder + "/level"));
    array.size = NumberOf(disk + "/size") * kSectorSize;
    array.places =
        static_cast<std::uint32_t>(std::min(NumberOf(folder + "/raid_disks"), kMostPlaces));
    // Before the members: when an action has ended, what it has made of them is to be seen.
    array.action = ActionOf(TextOf(folder + "/sync_action"));
    array.lastAction = ActionOf(TextOf(folder + "/last_sync_action"));
    ReadProgress(folder, array);
    array.isCheckCut = NumberOf(folder + "/sync_min") != 0;
    array.isResyncUnfinished = IsUnfinished(folder + "/resync_start");
    array.isReshapeUnfinished = IsUnfinished(folder + "/reshape_position");
    array.mismatches = NumberOf(folder + "/mismatch_cnt");

    const bool isOfGroup =
        m_withSpareGroup.contains(digits) || m_withSpareGroup.contains(array.name);
    const std::size_t membersBefore = m_driveOfMember.size();
    const std::string start = folder + '/';
    for (const std::string& entry : SysfsEntries(folder))
      if (entry.starts_with(kMemberPrefix)) AddMember(start + entry, isOfGroup, array);
    // An array that is being stopped loses its members first; it has not lost its data.
    if (!IsRunning(folder)) {
      m_driveOfMember.resize(membersBefore);
      return std::nullopt;
    }

    const std::vector<char> isLost = LostPlaces(array);
    array.lostPlaces = static_cast<std::uint32_t>(std::ranges::count(isLost, 1));
    array.status = TextOf(folder + "/array_state") == "broken"
                       ? kStatusFailed
                       : ArrayStatus(array.level, NumberOf(folder + "/layout"), isLost);
    return array;
  }

  /// Gives each drive the worst status of its parts, and members the identities of their drives.
  void Connect(std::vector<DriveArray>& arrays) {
    std::size_t next = 0;
    std::vector<char> isMember(m_drives.Drives().size(), 0);
    for (DriveArray& array : arrays) {
      for (ArrayMember& member : array.members) {
        const std::size_t index = m_driveOfMember[next++];
        if (index == kNoDrive) continue;
        Drive& drive = m_drives.Drives()[index];
        member.drive = drive.id;
        member.id = drive.id + member.id;
        if (drive.status == kStatusFailed) continue;
        drive.status = isMember[index] != 0 ? Worse(drive.status, member.status) : member.status;
        isMember[index] = 1;
      }
    }
  }

private:
  static constexpr std::size_t kNoDrive = static_cast<std::size_t>(-1);

  void AddMember(const std::string& folder, bool isOfGroup, DriveArray& array) {
    ArrayMember member = ReadMember(folder, isOfGroup);
    if (TextOf(folder + "/state").empty() && member.isGone) return;  // Removed while it was read.
    const std::string block = RealPathOf(folder + "/block");
    member.id = PartOf(block);
    m_driveOfMember.push_back(block.empty() ? kNoDrive : m_drives.DriveOf(block));
    array.members.push_back(std::move(member));
  }

  DriveList& m_drives;
  std::set<std::string> m_withSpareGroup;
  std::vector<std::size_t> m_driveOfMember;
};

}  // namespace

DriveSources HostDriveSources() {
  return {.sysfs = "/sys",
          .processes = "/proc",
          .arrayConfigurations = {"/etc/mdadm/mdadm.conf", "/etc/mdadm.conf"}};
}

DriveSnapshot ReadDrives(const DriveSources& sources) {
  DriveSnapshot snapshot;
  TakeSysfsShortage();
  DriveList drives(sources);
  ArrayReader reader(sources, drives);
  const std::string disks = sources.sysfs + "/block/";
  if (::access(disks.c_str(), R_OK | X_OK) != 0) snapshot.error = ErrorFromErrno(errno);
  for (const std::string& name : SysfsEntries(disks))
    if (IsRunning(disks + name + "/md"))
      if (auto array = reader.Read(disks + name)) snapshot.arrays.push_back(std::move(*array));
  drives.Distinguish();
  reader.Connect(snapshot.arrays);
  snapshot.drives = std::move(drives.Drives());
  std::ranges::sort(snapshot.drives, {}, &Drive::id);
  std::ranges::sort(snapshot.arrays, {}, &DriveArray::id);
  if (const int shortage = TakeSysfsShortage()) snapshot.error = ErrorFromErrno(shortage);
  return snapshot;
}

}  // namespace Ondrel::Host
