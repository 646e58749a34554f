#pragma once

#include "Host/Linux/Drives/DrivePicture.h"

#include <map>
#include <string>
#include <string_view>
#include <vector>

/// A copy of the kernel's folders about drives and arrays, whose files hold what an input says:
/// two arrays with members of every kind, disks of a bus with a partition, two NVMe disks, a
/// controller without a disk, and a loop device. Folders and links stay as they are.
class DriveTree {
public:
  DriveTree();
  ~DriveTree();

  DriveTree(const DriveTree&) = delete;
  DriveTree& operator=(const DriveTree&) = delete;

  /// Where it is read from.
  const Ondrel::Host::DriveSources& Sources() const { return m_sources; }

  /// Writes the files that a text names: "PATH CONTENT" with a byte 1 between two of them, each
  /// path from the tree's root on. All others are empty.
  void Write(std::string_view text);

private:
  void AddFolder(const std::string& path);
  void AddFiles(const std::string& folder, const std::vector<std::string>& names);
  void AddLink(const std::string& path, const std::string& target);

  std::string m_root;
  std::map<std::string, int, std::less<>> m_files;  // Opened for writing.
  std::vector<int> m_written;
  Ondrel::Host::DriveSources m_sources;
};
