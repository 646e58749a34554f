#include "Tool/Watch/View.h"

#include "Tool/Watch/Codes.h"

#include <algorithm>
#include <cstdio>
#include <vector>

namespace Tool::Watch {

namespace {

using Row = std::vector<std::string>;

std::string Lines(const std::vector<Row>& rows) {
  std::vector<std::size_t> widths(rows.front().size(), 0);
  for (const Row& row : rows)
    for (std::size_t column = 0; column < row.size(); ++column)
      widths[column] = std::max(widths[column], row[column].size());
  std::string text;
  for (const Row& row : rows) {
    std::string line;
    for (std::size_t column = 0; column < row.size(); ++column) {
      line += row[column];
      line.append(widths[column] - row[column].size() + 2, ' ');
    }
    line.erase(line.find_last_not_of(' ') + 1);
    text += line + '\n';
  }
  return text;
}

std::string SizeOf(std::uint64_t bytes) {
  constexpr const char* kUnits[] = {"B", "KiB", "MiB", "GiB", "TiB", "PiB"};
  double size = static_cast<double>(bytes);
  std::size_t unit = 0;
  while (size >= 1024 && unit + 1 < std::size(kUnits)) {
    size /= 1024;
    ++unit;
  }
  char text[32];
  std::snprintf(text, sizeof text, unit == 0 ? "%.0f %s" : "%.1f %s", size, kUnits[unit]);
  return text;
}

std::string ActionOf(const Ondrel::Host::DriveArray& array) {
  std::string text = NameOfAction(array.action);
  if (text.empty()) return text;
  if (array.actionTotal != 0) {
    char percent[32];
    std::snprintf(
        percent, sizeof percent, " %.1f %%",
        100 * static_cast<double>(array.actionDone) / static_cast<double>(array.actionTotal));
    text += percent;
  }
  return text;
}

std::string MembersOf(const Ondrel::Host::DriveArray& array) {
  std::string text;
  for (const Ondrel::Host::ArrayMember& member : array.members)
    text += (text.empty() ? "" : " ") + member.name;
  return text;
}

std::string NoteOf(const DriveRecord& drive) {
  if (!drive.isPresent) return "gone";
  if (drive.health.unreadable > 0) return "health unreadable";
  if (!drive.health.last) return "";
  const Ondrel::Host::DriveHealth& health = *drive.health.last;
  std::string text;
  if (health.temperature != 0) text += std::to_string(int{health.temperature} - 273) + " C, ";
  text += std::to_string(int{health.percentageUsed}) + " % used";
  if (health.criticalWarning != 0) {
    char bits[32];
    std::snprintf(bits, sizeof bits, ", warning 0x%02X", unsigned{health.criticalWarning});
    text += bits;
  }
  return text;
}

// A drive that an array gave up and that was taken away is remembered, but nobody misses it.
bool IsShown(const DriveRecord& drive) { return drive.isPresent || drive.isListed; }

}  // namespace

bool AreAllWell(const WatchState& state) {
  return std::ranges::all_of(
             state.drives,
             [](const DriveRecord& drive) { return !IsShown(drive) || IsWell(drive.status); }) &&
         std::ranges::all_of(state.arrays, [](const ArrayRecord& record) {
           return record.isStopped || IsWell(record.array.status);
         });
}

std::string TableOf(const WatchState& state) {
  std::vector<Row> drives = {{"DRIVE", "NAME", "STATUS", "MODEL", ""}};
  for (const DriveRecord& drive : state.drives)
    if (IsShown(drive))
      drives.push_back(
          {drive.id, drive.name, NameOfStatus(drive.status), drive.model, NoteOf(drive)});
  std::vector<Row> arrays = {{"ARRAY", "NAME", "STATUS", "LEVEL", "SIZE", "MEMBERS", ""}};
  for (const ArrayRecord& record : state.arrays) {
    const Ondrel::Host::DriveArray& array = record.array;
    arrays.push_back({array.id, array.name,
                      record.isStopped ? "stopped" : NameOfStatus(array.status), array.level,
                      SizeOf(array.size), MembersOf(array), ActionOf(array)});
  }
  std::string text = drives.size() > 1 ? Lines(drives) : "no drives\n";
  text += '\n';
  return text + (arrays.size() > 1 ? Lines(arrays) : "no arrays\n");
}

Json JsonOfAll(const WatchState& state) {
  Json json = {{"drives", Json::array()}, {"arrays", Json::array()}, {"well", AreAllWell(state)}};
  for (const DriveRecord& drive : state.drives)
    if (IsShown(drive)) json["drives"].push_back(JsonOfDrive(drive));
  for (const ArrayRecord& record : state.arrays) json["arrays"].push_back(JsonOfArray(record));
  return json;
}

}  // namespace Tool::Watch
