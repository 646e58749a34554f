#include "Host/Linux/Services/VersionRecord.h"

#include <cstdlib>

// Looks values up in a record of any bytes; what is found has to lie within it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::span<const char> record(reinterpret_cast<const char*>(data), size);
  for (const char* key :
       {"\\", "\\VarFileInfo\\Translation", "\\StringFileInfo\\040904B0\\FileVersion"}) {
    std::span<const char> value;
    if (!Ondrel::Host::FindVersionValue(record, key, value)) continue;
    if (!value.empty() && (value.data() < record.data() ||
                           value.data() + value.size() > record.data() + record.size()))
      std::abort();
  }
  return 0;
}
