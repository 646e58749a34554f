#include "Tool/NVMeDevice.h"

#include "Tool/Output.h"

#include <Ondrel/NVMeDevices.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <limits>
#include <optional>

namespace Tool {

namespace {

using Ondrel::NVME_ERROR_INFORMATION_LOG_ENTRY;
using Ondrel::NVME_STATUS_FIELD;

constexpr std::uint8_t kUnlikelyByte = 0xEE;
constexpr Ondrel::ULong kUnlikelyCount = std::numeric_limits<Ondrel::ULong>::max();
constexpr std::size_t kAskedErrorEntries = 64;
constexpr unsigned int kVendorType = 7;
constexpr unsigned int kFirstVendorCode = 0xC0;

/// What a host error of a query may come from.
struct ErrorHint {
  unsigned int number;
  const char* text;
};

constexpr std::array kErrorHints = {
    ErrorHint{1, "is it an NVMe device?"},
    ErrorHint{24, "the lengths in the device's answer do not fit"},
    ErrorHint{87, "the controller may not have it"},
};

std::string What(const std::string& device) { return "cannot read " + OneLine(device); }

[[noreturn]] void RefuseAnswer(const std::string& device) {
  throw HostFailure(What(device), "its answer is not valid, or there was no memory for it");
}

bool IsUnknown(const char* text) { return std::strcmp(text, "?") == 0; }

std::string TypeWords(NVME_STATUS_FIELD& status) {
  if (!IsUnknown(status.sStatusCodeType())) return status.sStatusCodeType();
  return status.SCT == kVendorType ? "Vendor Specific" : "unknown type";
}

std::string CodeWords(NVME_STATUS_FIELD& status) {
  if (!IsUnknown(status.sStatusCode())) return status.sStatusCode();
  return status.SCT == kVendorType || status.SC >= kFirstVendorCode ? "vendor specific code"
                                                                    : "unknown code";
}

}  // namespace

NVMeImage AskNVMe(const std::string& device, std::size_t size,
                  const std::function<unsigned int(NVMeImage& image)>& query) {
  NVMeImage image(size, kUnlikelyByte);
  const NVMeImage before = image;
  if (const unsigned int error = query(image); error != 0) RefuseNVMe(device, error);
  // The library's 0 does not prove that it wrote the record.
  if (image == before) RefuseAnswer(device);
  return image;
}

NVMeImage AskErrorLog(const std::string& device, const ErrorLogQuery& query) {
  constexpr std::size_t kEntryBytes = sizeof(NVME_ERROR_INFORMATION_LOG_ENTRY);
  NVMeImage image(kAskedErrorEntries * kEntryBytes, 0);
  // The count is what shows whether the log was written: one without entries writes nothing else.
  Ondrel::ULong count = kUnlikelyCount;
  const unsigned int error =
      query(device.c_str(), count, &RecordIn<NVME_ERROR_INFORMATION_LOG_ENTRY>(image));
  if (error != 0) RefuseNVMe(device, error);
  if (count > kAskedErrorEntries) RefuseAnswer(device);
  // What was written after the last whole entry is none.
  std::fill(image.begin() + static_cast<std::ptrdiff_t>(count * kEntryBytes), image.end(),
            std::uint8_t{0});
  return image;
}

void RefuseNVMe(const std::string& device, unsigned int number) {
  // Before anything else asks a device in this thread.
  const std::optional<NVME_STATUS_FIELD> status = Ondrel::Host::LastNVMeRefusal();
  if (status) {
    const HostFailure failure(What(device), number,
                              "the controller refused it: " + StatusWords(*status));
    Json details = failure.Details();
    details["nvmeStatus"] = JsonOfStatus(*status);
    throw Failure(kFailed, failure.what(), details);
  }
  const auto* const known = std::ranges::find(kErrorHints, number, &ErrorHint::number);
  throw HostFailure(What(device), number, known != kErrorHints.end() ? known->text : "");
}

std::string StatusWords(NVME_STATUS_FIELD status) {
  std::array<char, 48> numbers{};
  std::snprintf(numbers.data(), numbers.size(), " (type %u, code 0x%02X%s%s)", unsigned{status.SCT},
                unsigned{status.SC}, status.M != 0 ? ", more" : "",
                status.DNR != 0 ? ", do not retry" : "");
  std::string text = TypeWords(status) + ": " + CodeWords(status);
  if (text.ends_with('.')) text.pop_back();
  return text + numbers.data();
}

Json JsonOfStatus(NVME_STATUS_FIELD status) {
  std::uint16_t value = 0;
  std::memcpy(&value, &status, sizeof value);
  return {{"value", value},
          {"P", status.P != 0},
          {"SC", unsigned{status.SC}},
          {"SCT", unsigned{status.SCT}},
          {"M", status.M != 0},
          {"DNR", status.DNR != 0},
          {"type", status.sStatusCodeType()},
          {"text", status.sStatusCode()}};
}

}  // namespace Tool
