#pragma once

#include "Host/Linux/Drives/DrivePicture.h"
#include "Host/Linux/FileDescriptor.h"

#include <map>
#include <string>

namespace Ondrel::Host {

/// What the kernel notifies of: its device events, the arrays' state file, and attributes of arrays
/// and their members. All of them are waited for with one descriptor.
///
/// A notification says no more than that something may have changed. One that is not to be had is
/// left out.
class DriveNotifications {
public:
  explicit DriveNotifications(const DriveSources& sources);

  int Descriptor() const { return m_poll.Number(); }

  /// Follows the arrays and members that there are now.
  void FollowArrays();

  /// Takes what is pending. False when device events were lost.
  bool Take();

private:
  void OpenDeviceEvents();
  void Follow(const std::string& path);
  static void Rearm(const FileDescriptor& file);

  std::string m_disks;
  std::string m_stateFile;
  FileDescriptor m_poll;
  FileDescriptor m_deviceEvents;
  std::map<std::string, FileDescriptor> m_files;  // By path.
};

}  // namespace Ondrel::Host
