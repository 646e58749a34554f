#pragma once

#include "Host/DeviceOperations.h"
#include "Host/MemoryOperations.h"
#include "Support/PreparedOperations.h"

#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace Ondrel::Testing {

/// What one `DeviceIoControl` answers.
struct DeviceAnswer {
  int succeeds = 1;
  std::string bytes = {};  ///< What goes to the beginning of the output.
  ULong returned = 0;      ///< The count that it reports.
};

/// Device and memory operations that record their calls and answer as a test sets them; in force
/// for one scope.
///
/// Calls read like "CreateFileA(disk, 0xc0000000, 1, null, 3, 0, null)",
/// "DeviceIoControl(0x2d1400, 48, 4144)" (with "in place" after it when input and output are the
/// same memory), "CloseHandle(device)", "Allocate(48)", "Free(48)", "GetLastError()". What is not
/// freed is freed at the end of the scope.
class PreparedDevice {
public:
  PreparedDevice();
  ~PreparedDevice();

  PreparedDevice(const PreparedDevice&) = delete;
  PreparedDevice& operator=(const PreparedDevice&) = delete;

  const std::vector<std::string>& Calls() const { return m_calls; }

  /// Sizes of the blocks that were allocated and not freed.
  std::vector<std::size_t> BlocksLeft() const;

  bool opens = true;               ///< Whether `CreateFileA` yields a handle.
  DeviceAnswer answer;             ///< What `DeviceIoControl` answers.
  std::string query;               ///< The input that it got.
  std::deque<ULong> lastErrors;    ///< What `GetLastError` yields, one after the other; then 0.
  std::size_t refusedBytes = 0;    ///< Size of the allocation that fails; 0 for none.
  unsigned char freshByte = 0xA5;  ///< What fresh memory is filled with.

private:
  Host::DeviceOperations Operations();
  Host::MemoryOperations MemoryOperations();
  int Control(std::span<const char> input, std::span<char> output, ULong* returned);

  std::vector<std::string> m_calls;
  std::map<void*, std::size_t> m_blocks;
  PreparedOperations<Host::DeviceOperations> m_device;
  PreparedOperations<Host::MemoryOperations> m_memory;
};

}  // namespace Ondrel::Testing
