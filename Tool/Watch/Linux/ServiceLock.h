#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace Tool::Watch {

/// What another process learns of the service that uses a state file.
struct ServiceSign {
  std::int64_t process = 0;
  std::int64_t lastLook = 0;  ///< Seconds since 1 January 1970 UTC.
};

/// The lock that one service at a time holds beside its state file. It goes with the process.
class ServiceLock {
public:
  /// Takes the lock. Throws `WatchError` when another service still has it after two seconds, or it
  /// cannot be made.
  explicit ServiceLock(const std::string& stateFile);
  ~ServiceLock();
  ServiceLock(const ServiceLock&) = delete;
  ServiceLock& operator=(const ServiceLock&) = delete;

  /// Writes when the drives were looked at last. Not kept over a loss of power.
  void Sign(std::int64_t lastLook) const;

  /// What the service that holds the lock wrote; nothing when none is running.
  static std::optional<ServiceSign> Read(const std::string& stateFile);

private:
  int m_file = -1;
};

}  // namespace Tool::Watch
