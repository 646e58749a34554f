#pragma once

#include <Pirsk/Export.h>

#include <cstdint>
#include <string>
#include <vector>

namespace Pirsk::Language_Support {

/// Where the texts of a module's errors come from.
struct LanguageState {
  std::string path;                 ///< The language file in use; empty for the built-in texts.
  std::vector<std::string> faults;  ///< Files that are there and not used: "PATH: reason".
};

/// The language state of the module with this number; an empty one when no such module is loaded.
/// Reads the language file. May be called from any thread.
PIRSK_API LanguageState LanguageStateOf(std::uint32_t moduleNumber);

}  // namespace Pirsk::Language_Support
