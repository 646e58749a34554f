#include "Host/Linux/Services/VersionRecord.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace {

using Ondrel::Host::FindVersionValue;

constexpr char kFileVersion[] = "\\StringFileInfo\\040904B0\\FileVersion";

void FindIn(std::span<const char> record) {
  for (const char* key : {"\\", "\\VarFileInfo\\Translation", kFileVersion}) {
    std::span<const char> value;
    if (!FindVersionValue(record, key, value)) continue;
    if (!value.empty() && (value.data() < record.data() ||
                           value.data() + value.size() > record.data() + record.size()))
      std::abort();
  }
}

// A record that is made of any text has it, up to the length that a record may have.
void MakeAndFind(const std::string& version) {
  constexpr std::size_t kLongestVersion = 1024;
  const std::vector<char> record = Ondrel::Host::MakeVersionRecord(version);
  std::span<const char> value;
  if (!FindVersionValue(record, kFileVersion, value)) std::abort();
  if (std::string_view(value.data(), value.size()) !=
      version.substr(0, kLongestVersion) + std::string(1, '\0'))
    std::abort();
  if (!FindVersionValue(record, "\\varfileinfo\\translation", value) || value.size() != 4)
    std::abort();
}

}  // namespace

// Looks values up in a record of any bytes; what is found has to lie within it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::span<const char> bytes(reinterpret_cast<const char*>(data), size);
  FindIn(bytes);
  MakeAndFind(std::string(bytes.data(), bytes.size()));
  return 0;
}
