#pragma once

#include <Ondrel/Export.h>
#include <Ondrel/NVMe.h>
#include <Ondrel/Types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// The NVMe devices of this machine, and what the queries of `Ondrel/NVMeQuery.h` leave open: which
/// namespace a node stands for, the identify data of a namespace other than 1, and the status with
/// which a controller refused a query.
///
/// Error numbers are the published Win32 ones. Any number of threads may call at once.
namespace Ondrel::Host {

/// A controller. In texts that come from devices, whatever is not printable ASCII is replaced by
/// "?".
struct NVMeController {
  std::string name;       ///< The host's name of the moment: "nvme0".
  std::string device;     ///< Its node: "/dev/nvme0", on Windows that of its first disk.
  std::string model;      ///< Model number.
  std::string serial;     ///< Serial number.
  std::string firmware;   ///< Firmware revision.
  std::string subsystem;  ///< Qualified name of its subsystem; may be empty.
  std::string state;      ///< As the host calls it: "live", "resetting", "dead"; may be empty.
  std::string transport;  ///< As the host calls it: "pcie", "tcp"; may be empty.
  std::string address;    ///< Where it is in its transport; may be empty.
};

/// A namespace that has a disk on this host.
struct NVMeNamespace {
  std::string name;               ///< The host's name of the moment: "nvme0n1".
  std::string device;             ///< Its node: "/dev/nvme0n1", `\\.\PhysicalDrive0`.
  ULong id = 0;                   ///< Namespace identifier; 0 where the host does not report it.
  std::uint64_t sizeInBytes = 0;  ///< Size of its disk; 0 when it is not known.
  ULong blockSize = 0;            ///< Bytes of a block; 0 when it is not known.
  std::vector<std::string> controllers;  ///< Names of the controllers that lead to it.
};

/// All that are there, by their names.
struct NVMeDevices {
  std::vector<NVMeController> controllers;  ///< In the order of their numbers.
  std::vector<NVMeNamespace> namespaces;    ///< In the order of their numbers.

  /// Why something may be missing: the host's error number; 0 when nothing is.
  ULong error = 0;
};

/// The NVMe devices of this machine.
///
/// On Linux they are read from the kernel's files, which takes no rights and asks no device; where
/// several controllers lead to one namespace it is there once. On Windows each disk is asked
/// whether it is NVMe, which takes the right to open it.
ONDREL_API NVMeDevices ListNVMeDevices();

/// Stores in `id` the identifier of the namespace that the node `device` stands for, also through
/// one of its partitions. 0, or the error number: 1 for a node that is not a namespace, a
/// controller's among them, and 50 on a host that does not report it, as Windows does not. `id` is
/// written on success only.
ONDREL_API ULong FindNVMeNamespaceId(const char* device, ULong& id);

/// Fetches the identify data of the namespace `id` into `nameSpace` (4096 bytes).
///
/// Unlike `NVMeStorageQueryPropertyIdentifyNamespace`, which knows namespace 1 alone, this releases
/// all that it allocates, and 0 proves that the record was written. A namespace that is not there
/// has a record of zeros where its number is one that the controller could give, else 87. 24 when
/// the answer's lengths do not fit; the record is written on success only.
ONDREL_API ULong IdentifyNVMeNamespace(const char* device, ULong id,
                                       NVME_IDENTIFY_NAMESPACE* nameSpace);

/// The status with which the controller refused the last query that the calling thread made, with a
/// phase tag of 0. Nothing when that query did not end so, and on Windows, which reports its own
/// error numbers alone.
ONDREL_API std::optional<NVME_STATUS_FIELD> LastNVMeRefusal();

}  // namespace Ondrel::Host
