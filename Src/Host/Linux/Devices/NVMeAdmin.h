#pragma once

#include "Host/DeviceTypes.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>

namespace Ondrel::Host {

/// An administrative command that reads data, as the standard lays it out.
struct NVMeAdminCommand {
  std::uint8_t opcode;
  std::uint32_t nameSpace;
  std::uint32_t dword10;

  bool operator==(const NVMeAdminCommand&) const = default;
};

/// How a command ended.
struct NVMeAdminResult {
  int errnoValue = 0;        ///< Why the command was not carried out; 0 when it was.
  std::uint16_t status = 0;  ///< The controller's status without its phase tag: 0 for success.
  std::uint32_t value = 0;   ///< First word of the completion.
};

/// Carries out a command and fills `data` with what the device transfers.
using NVMeSubmit =
    std::function<NVMeAdminResult(const NVMeAdminCommand& command, std::span<std::byte> data)>;

/// Answers `IOCTL_STORAGE_QUERY_PROPERTY` by an Identify or a Get Log Page command.
///
/// Yields 0 and the bytes written to `output`, or the number of the error: 87 for a query that is
/// too short, asks in another way or for a length that no query of the library has; 50 for another
/// property, protocol or kind of data; 122 when the data does not fit into `output` after the
/// descriptor; the number of `errno`; and when the controller refuses the command, 1 for an
/// operation that it does not know, 87 for a field, namespace or log page that it does not have,
/// else 1117. `output` is written on success only, and may be the same memory as `input`.
///
/// The status of a command that is refused is traced at the level of details.
ULong AnswerStorageQuery(std::span<const std::byte> input, std::span<std::byte> output,
                         ULong& bytesReturned, const NVMeSubmit& submit);

}  // namespace Ondrel::Host
