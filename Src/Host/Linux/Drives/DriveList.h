#pragma once

#include "Host/Linux/Drives/DrivePicture.h"

#include <map>
#include <set>
#include <string>
#include <vector>

namespace Ondrel::Host {

/// The drives below one sysfs, found by the disks and partitions on them.
class DriveList {
public:
  explicit DriveList(const DriveSources& sources);

  /// The drive of the disk or partition in the folder `path` (without links), which is added where
  /// it is not one of the machine's drives otherwise. Counts into `Drives`.
  std::size_t DriveOf(const std::string& path);

  std::vector<Drive>& Drives() { return m_drives; }

  /// Gives drives that have the same serial number identities of their own.
  void Distinguish();

private:
  struct Place {
    std::string folder;  ///< What the drive's disks lie on.
    std::string worldWideName;
  };

  void AddDisk(const std::string& folder);
  std::size_t Add(const std::string& diskFolder);
  void AddControllers();
  void ReadUse();
  bool IsUsed(const std::string& folder) const;
  bool IsUsedPart(const std::string& folder) const;

  DriveSources m_sources;
  std::vector<Drive> m_drives;
  std::vector<Place> m_places;
  std::map<std::string, std::size_t> m_byFolder;
  std::set<std::string> m_usedNumbers;  // "8:1", of devices that are mounted.
  std::set<std::string> m_usedNodes;    // "/dev/sda1", mounted or used for paging.
};

}  // namespace Ondrel::Host
