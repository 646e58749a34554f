#include "Tool/Watch/Settings.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

// Any text is a configuration, or an error that names its file and a line.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  try {
    Tool::Watch::ReadSettings(text, "F");
  } catch (const Tool::Watch::SettingsError& error) {
    const std::string what = error.what();
    if (!what.starts_with("F:") || std::strtoul(what.c_str() + 2, nullptr, 10) == 0) std::abort();
  }
  return 0;
}
