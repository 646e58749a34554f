#pragma once

#include <sched.h>
#include <string>
#include <sys/mount.h>

namespace Ondrel::Testing {

/// Gives this process mounts of its own, which end with it. False without the right to it.
inline bool TakeOwnMounts() {
  return unshare(CLONE_NEWNS) == 0 &&
         mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

/// The same with a small file system in memory at `folder`.
inline bool MountOwnFileSystem(const std::string& folder, const char* options = "size=1m") {
  return TakeOwnMounts() && mount("tmpfs", folder.c_str(), "tmpfs", 0, options) == 0;
}

}  // namespace Ondrel::Testing
