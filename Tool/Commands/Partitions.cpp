#include "Tool/Command.h"
#include "Tool/DiskBar.h"
#include "Tool/Options.h"
#include "Tool/Output.h"
#include "Tool/Progress.h"
#include "Tool/Suggestion.h"

#include <Ondrel/Disks.h>
#include <Ondrel/PartitionTable.h>

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <iostream>
#include <limits>
#include <memory>
#include <sstream>
#include <vector>

namespace Tool {

namespace {

using Ondrel::CSystemPartition;

constexpr std::uint64_t kSectorSize = 512;
constexpr std::size_t kBarWidth = 72;

/// "512 B", "1.5 GiB": with one digit after the point where it is not whole.
std::string SizeText(std::uint64_t bytes) {
  static constexpr const char* kUnits[] = {"B", "KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
  std::size_t unit = 0;
  double size = static_cast<double>(bytes);
  while (size >= 1024 && unit + 1 < std::size(kUnits)) {
    size /= 1024;
    ++unit;
  }
  std::ostringstream text;
  const double tenths = std::round(size * 10);
  const bool isWhole = tenths == std::round(size) * 10;
  text << std::fixed << std::setprecision(isWhole ? 0 : 1) << size << ' ' << kUnits[unit];
  return text.str();
}

std::vector<CSystemPartition> PartitionsOf(const std::string& deviceName) {
  const Progress progress("asking the host");
  std::vector<CSystemPartition> partitions;
  Ondrel::CSystemPartitionTable(deviceName).GetPartitions(partitions);
  return partitions;
}

/// "Disk 0" for "Disk 0", "0" or the device of that disk, such as "/dev/vda". Throws `UsageError`
/// for anything else; a number that no disk has is left to the host.
std::string DiskName(const std::string& name) {
  const std::string_view digits =
      name.starts_with("Disk ") ? std::string_view(name).substr(5) : std::string_view(name);
  const bool isNumber = digits.find_first_not_of("0123456789") == std::string_view::npos;
  const auto number =
      isNumber ? ParseNumber(digits, 0, std::numeric_limits<std::uint32_t>::max()) : std::nullopt;
  if (number) return "Disk " + std::to_string(*number);
  std::vector<std::string> known;
  for (const Ondrel::Host::Disk& disk : Ondrel::Host::Disks()) {
    if (disk.deviceName == name) return "Disk " + std::to_string(disk.number);
    known.push_back(disk.deviceName);
  }
  throw UsageError("\"" + OneLine(name) + "\" is not a disk: \"Disk 0\", 0 or a disk's device" +
                   Suggestion(name, known));
}

/// Size of the disk that is named so; 0 when it is not known.
std::uint64_t SizeOfDisk(const std::string& deviceName) {
  for (const Ondrel::Host::Disk& disk : Ondrel::Host::Disks())
    if (deviceName == "Disk " + std::to_string(disk.number)) return disk.sizeInBytes;
  return 0;
}

Json JsonOf(const CSystemPartition& partition) {
  return {{"info1", partition.m_Info1},
          {"startSector", partition.m_StartSector},
          {"sectorCount", partition.m_SectorCount},
          {"info2", partition.m_Info2},
          {"info3", partition.m_Info3},
          {"kind", partition.m_Kind},
          {"driveRoot", partition.m_DriveRoot},
          {"mountPath", partition.m_MountPath},
          {"volumeLabel", partition.m_VolumeLabel},
          {"volumeName", partition.m_VolumeName}};
}

using Row = std::vector<std::string>;

/// Columns as wide as their longest text; the first `numberColumns` are set to the right.
void PrintTable(const std::vector<Row>& rows, std::size_t numberColumns) {
  std::vector<std::size_t> widths(rows.front().size());
  for (const Row& row : rows)
    for (std::size_t column = 0; column < row.size(); ++column)
      widths[column] = std::max(widths[column], CharactersOf(row[column]));
  for (const Row& row : rows) {
    std::string line;
    for (std::size_t column = 0; column < row.size(); ++column) {
      const std::string padding(widths[column] - CharactersOf(row[column]), ' ');
      line += column < numberColumns ? padding + row[column] : row[column] + padding;
      line += "  ";
    }
    line.erase(line.find_last_not_of(' ') + 1);
    std::cout << line << '\n';
  }
}

void PrintPartitions(const std::vector<CSystemPartition>& partitions) {
  std::vector<Row> rows = {{"", "start", "size", "label", "mounted at", "volume"}};
  for (const CSystemPartition& partition : partitions) {
    const std::string& mount =
        partition.m_MountPath.empty() ? partition.m_DriveRoot : partition.m_MountPath;
    rows.push_back({std::to_string(rows.size()), SizeText(partition.m_StartSector * kSectorSize),
                    SizeText(partition.m_SectorCount * kSectorSize),
                    OneLine(partition.m_VolumeLabel), OneLine(mount),
                    OneLine(partition.m_VolumeName)});
  }
  PrintTable(rows, 3);
}

int ShowPartitions(const GlobalOptions& globals, const std::string& deviceName) {
  const std::vector<CSystemPartition> partitions = PartitionsOf(deviceName);
  if (globals.json) {
    Json list = Json::array();
    for (const CSystemPartition& partition : partitions) list.push_back(JsonOf(partition));
    PrintJson({{"device", deviceName}, {"partitions", list}});
  } else if (partitions.empty()) {
    std::cout << "no partitions on " << OneLine(deviceName) << '\n';
  } else {
    const std::uint64_t size = SizeOfDisk(deviceName);
    std::vector<BarPart> parts;
    parts.reserve(partitions.size());
    for (const CSystemPartition& partition : partitions)
      parts.push_back({partition.m_StartSector, partition.m_SectorCount});
    std::cout << deviceName;
    if (size != 0) std::cout << ", " << SizeText(size);
    std::cout << "\n\n" << DiskBar(parts, size / kSectorSize, kBarWidth) << '\n';
    PrintPartitions(partitions);
  }
  return partitions.empty() ? kNegativeAnswer : kDone;
}

int ShowDisks(const GlobalOptions& globals) {
  const std::vector<Ondrel::Host::Disk> disks = [] {
    const Progress progress("asking the host");
    return Ondrel::Host::Disks();
  }();
  if (globals.json) {
    Json list = Json::array();
    for (const Ondrel::Host::Disk& disk : disks)
      list.push_back({{"disk", "Disk " + std::to_string(disk.number)},
                      {"number", disk.number},
                      {"device", disk.deviceName},
                      {"size", disk.sizeInBytes}});
    PrintJson({{"disks", list}});
  } else if (disks.empty()) {
    std::cout << "there is no disk\n";
  } else {
    std::vector<Row> rows = {{"size", "disk", "device"}};
    for (const Ondrel::Host::Disk& disk : disks)
      rows.push_back({SizeText(disk.sizeInBytes), "Disk " + std::to_string(disk.number),
                      OneLine(disk.deviceName)});
    PrintTable(rows, 1);
  }
  return disks.empty() ? kNegativeAnswer : kDone;
}

}  // namespace

Work AddPartitionsCommand(CLI::App& app) {
  app.footer("Exit status: 0 there are partitions, 1 there are none or there is no such disk.\n");
  const auto name = std::make_shared<std::string>();
  app.add_option("DISK", *name,
                 "\"Disk 0\", 0, or the disk's device such as /dev/sda; see ondrel disks")
      ->required()
      ->type_name("");
  return [name](const GlobalOptions& globals) { return ShowPartitions(globals, DiskName(*name)); };
}

Work AddDisksCommand(CLI::App& app) {
  app.footer("Exit status: 0 there are disks, 1 there are none.\n");
  return ShowDisks;
}

}  // namespace Tool
