#pragma once

#include "Tool/Failure.h"

#include <Ondrel/NVMe.h>
#include <Ondrel/Types.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

/// What the subcommands of `nvme` ask of a device, and how they word what it refuses.
namespace Tool {

/// The bytes of a record, or of several.
using NVMeImage = std::vector<std::uint8_t>;

/// The most entries that an error log can have: the controller counts them in one byte.
inline constexpr std::size_t kMostErrorEntries = 256;

template <class Record>
Record& RecordIn(NVMeImage& image) {
  return *reinterpret_cast<Record*>(image.data());
}

/// Asks a device for `size` bytes. `query` fills the image and yields the library's result. Throws
/// a `Failure` that says what was tried ("cannot read /dev/nvme0") for a result that is not 0, and
/// for one of 0 that left the image as it was, as it does for want of memory.
NVMeImage AskNVMe(const std::string& device, std::size_t size,
                  const std::function<unsigned int(NVMeImage& image)>& query);

/// The query for the error log, as the library has it.
using ErrorLogQuery = std::function<unsigned int(const char* device, Ondrel::ULong& count,
                                                 Ondrel::NVME_ERROR_INFORMATION_LOG_ENTRY*)>;

/// Asks a device for its error log. The image has the entries that the device reported, those it
/// does not use among them. Throws as `AskNVMe` does.
NVMeImage AskErrorLog(const std::string& device, const ErrorLogQuery& query);

/// Throws the failure of a query: the host's error, and the status with which the controller
/// refused it where that is known, in words and under "nvmeStatus" in JSON.
[[noreturn]] void RefuseNVMe(const std::string& device, unsigned int number);

/// A status in words: "Media and Data Integrity Errors: Write Fault: ... (type 2, code 0x80, do not
/// retry)". What the standard's tables do not have is called unknown, or vendor specific.
std::string StatusWords(Ondrel::NVME_STATUS_FIELD status);

/// {"value","P","SC","SCT","M","DNR","type","text"}.
Json JsonOfStatus(Ondrel::NVME_STATUS_FIELD status);

}  // namespace Tool
