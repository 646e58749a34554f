#include "Host/Linux/Devices/NVMeAdmin.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

/// A storage query of any bytes, with an output of any size and a device that answers with any
/// status or fails with any errno. Nothing is written after the reported bytes, and none after the
/// output's end.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace Ondrel;
  constexpr std::uint16_t kIsErrno = 0x8000;
  if (size < 4) return 0;
  std::uint16_t outputSize = 0;
  std::uint16_t status = 0;
  std::memcpy(&outputSize, data, sizeof outputSize);
  std::memcpy(&status, data + 2, sizeof status);
  const std::vector<std::byte> input(reinterpret_cast<const std::byte*>(data + 4),
                                     reinterpret_cast<const std::byte*>(data + size));
  std::vector<std::byte> output(outputSize % 8192, std::byte{0xEE});

  ULong returned = 0;
  const ULong error = Host::AnswerStorageQuery(
      input, output, returned,
      [&](const Host::NVMeAdminCommand&, std::span<std::byte> answer) -> Host::NVMeAdminResult {
        std::memset(answer.data(), 0x11, answer.size());
        if ((status & kIsErrno) != 0) return {.errnoValue = 1 + (status & 0x3F)};
        return {.status = status};
      });
  if (returned > output.size() || (error != 0) != (returned == 0)) std::abort();
  for (std::size_t index = returned; index < output.size(); ++index)
    if (output[index] != std::byte{0xEE}) std::abort();
  return 0;
}
