#pragma once

#include <optional>
#include <string>

namespace Tool {

/// What the host knows of a driver.
struct DriverState {
  enum class Kind {
    kLoaded,     ///< It was loaded into the kernel.
    kBuiltIn,    ///< It is a part of the kernel.
    kNotLoaded,  ///< It is installed and not loaded.
    kUnknown,    ///< There is none of this name.
  };

  Kind kind;
  std::string name;     ///< As the host spells it.
  std::string version;  ///< Empty when it has none, or when it is not in the kernel.
};

/// Looks for a driver by its name without extension. On Linux "-" and "_" are alike in it, as the
/// kernel has it.
DriverState StateOfDriver(const std::string& name);

}  // namespace Tool
