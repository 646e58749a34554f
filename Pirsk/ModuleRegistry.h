#pragma once

#include "Host/Mutex.h"

#include <Pirsk/ModuleInfo.h>

#include <shared_mutex>

namespace Pirsk::Misc {

/// The loaded modules, linked through their own module info objects.
class CModuleRegistry {
public:
  static void Add(CModuleInfo& module);
  static void Remove(CModuleInfo& module);

  /// Calls `use` with the module of this number, which stays loaded meanwhile; false when there is
  /// none. Uses do not wait for each other: one may be reading a language file.
  template <class Use>
  static bool With(std::uint32_t moduleNumber, Use use) {
    const std::shared_lock lock(s_mutex);
    CModuleInfo* module = Find(moduleNumber);
    if (module == nullptr) return false;
    use(*module);
    return true;
  }

  static void SetMask(CModuleInfo& module, std::uint32_t mask);
  static std::string Text(const CModuleInfo& module, std::uint32_t errorNumber);
  static const Language_Support::CLanguageSupport::CLngFile& LanguageFile(
      const CModuleInfo& module) {
    return *module.m_languageFile;
  }

private:
  static CModuleInfo* Find(std::uint32_t moduleNumber);

  static Host::SharedMutex s_mutex;
  static CModuleInfo* s_first;
};

}  // namespace Pirsk::Misc
