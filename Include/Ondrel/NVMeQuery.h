#pragma once

#include <Ondrel/Export.h>
#include <Ondrel/NVMe.h>
#include <Ondrel/Types.h>

/// Identify data and log pages of an NVMe device, fetched through the host's storage stack.
///
/// `sDeviceName` is the whole path of the device, zero-terminated ("\\.\PhysicalDrive0" on Windows,
/// "/dev/nvme0" or "/dev/nvme0n1" on Linux); it goes to the host as it is. Each call opens the
/// device, asks once and closes it; nothing is kept between calls.
///
/// All return 0, or the host's number of the error in the published Win32 numbering. 0 does not
/// prove that the record was written: it also comes back, with the record untouched, when there is
/// no memory for the call's buffers, and from the last two functions when the answer's head is not
/// valid. Whoever needs the difference fills the record beforehand. Nothing is raised.
///
/// Any number of threads may call at once.
namespace Ondrel {

/// Fetches the identify data of the controller into `controller` (4096 bytes).
///
/// 24 when the answer's lengths do not fit. Each call that gets as far as asking the device leaves
/// 4144 bytes allocated; so do the next two.
ONDREL_API unsigned int NVMeStorageQueryPropertyIdentifyController(
    const char* sDeviceName, NVME_IDENTIFY_CONTROLLER* controller);

/// Fetches the identify data of namespace 1 into `nameSpace` (4096 bytes). 24 as above.
ONDREL_API unsigned int NVMeStorageQueryPropertyIdentifyNamespace(
    const char* sDeviceName, NVME_IDENTIFY_NAMESPACE* nameSpace);

/// Fetches the error information log into `entries`, which must have room for 64 of them, and
/// stores in `entryCount` how many whole ones the device reported. 24 as above; the count then
/// stays as it was. Entries that the controller does not use have an error count of 0.
ONDREL_API unsigned int NVMeStorageQueryPropertyGetLogPageErrorInfo(
    const char* sDeviceName, ULong& entryCount, NVME_ERROR_INFORMATION_LOG_ENTRY* entries);

/// Fetches the SMART / health information log of the controller into `log` (512 bytes).
ONDREL_API unsigned int NVMeStorageQueryPropertyGetLogPageSMARTHealthInfo(
    const char* sDeviceName, NVME_SMART_HEALTH_INFORMATION_LOG* log);

/// Fetches the first 512 bytes of log page `logPageId` into `page`, which must have room for them.
ONDREL_API unsigned int NVMeStorageQueryPropertyGetVendorSpecificLogPage(const char* sDeviceName,
                                                                         unsigned char logPageId,
                                                                         unsigned char* page);

}  // namespace Ondrel
