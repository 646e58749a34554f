#include "HandOver.h"
#include "Host/Host.h"
#include "Instrumentation.h"
#include "LanguageFaults.h"
#include "ModuleRegistry.h"

#include <Pirsk/LanguageState.h>
#include <Pirsk/ModuleInfo.h>

#include <chrono>
#include <mutex>
#include <string>
#include <vector>

namespace Pirsk::Misc {

namespace {

constexpr char kStandInText[] = "No information available for this error";

constexpr std::uint32_t ModuleOfError(std::uint32_t errorNumber) {
  return (errorNumber >> 16) & 0x0FFF;
}

// Without the registry's lock: a sink may ask for a text.
void TraceFaults(const std::string& module, const std::vector<std::string>& faults) {
  for (const std::string& fault : faults)
    Trace::HandOver({.time = std::chrono::system_clock::now(),
                     .thread = Host::ThreadNumber(),
                     .level = kTraceError,
                     .module = module.c_str(),
                     .file = __FILE__,
                     .function = "ErrorText",
                     .line = __LINE__,
                     .text = "Language file not used: " + fault});
}

}  // namespace

constinit Host::SharedMutex CModuleRegistry::s_mutex;
constinit CModuleInfo* CModuleRegistry::s_first = nullptr;

void CModuleRegistry::Add(CModuleInfo& module) {
  const std::lock_guard lock(s_mutex);
  CModuleInfo** place = &s_first;
  while (*place != nullptr) place = &(*place)->m_next;
  *place = &module;
}

void CModuleRegistry::Remove(CModuleInfo& module) {
  const std::lock_guard lock(s_mutex);
  CModuleInfo** place = &s_first;
  while (*place != nullptr && *place != &module) place = &(*place)->m_next;
  if (*place != nullptr) *place = module.m_next;
}

CModuleInfo* CModuleRegistry::Find(std::uint32_t moduleNumber) {
  CModuleInfo* module = s_first;
  while (module != nullptr && module->m_number != moduleNumber) module = module->m_next;
  return module;
}

void CModuleRegistry::SetMask(CModuleInfo& module, std::uint32_t mask) {
  module.m_traceMask.store(mask, std::memory_order_relaxed);
}

std::string CModuleRegistry::Text(const CModuleInfo& module, std::uint32_t errorNumber) {
  for (const auto* row = module.m_errorMessages; row->errorNumber != 0; ++row)
    if (row->errorNumber == errorNumber) return module.m_languageFile->Text(row->messageIndex);
  return module.m_languageFile->Text(module.m_languageFile->StandInIndex());
}

CModuleInfo::CModuleInfo(std::uint32_t number, const char* name, const char* version,
                         Language_Support::CLanguageSupport::CLngFile* languageFile,
                         const Language_Support::CLanguageSupport::ERROR_MSG_LIST* errorMessages)
    : m_traceMask(0),
      m_number(number),
      m_name(name),
      m_version(version),
      m_languageFile(languageFile),
      m_errorMessages(errorMessages),
      m_next(nullptr) {
  PIRSK_RECORD("CModuleInfo::CModuleInfo(" + std::to_string(number) + ", " + name + ", " + version +
               ", " + Instrumentation::RowsOf(errorMessages) + ")");
  CModuleRegistry::Add(*this);
}

CModuleInfo::~CModuleInfo() {
  PIRSK_RECORD("CModuleInfo::~CModuleInfo");
  CModuleRegistry::Remove(*this);
}

bool SetTraceMask(std::uint32_t moduleNumber, std::uint32_t mask) {
  return CModuleRegistry::With(
      moduleNumber, [mask](CModuleInfo& module) { CModuleRegistry::SetMask(module, mask); });
}

std::uint32_t GetTraceMask(std::uint32_t moduleNumber) {
  std::uint32_t mask = 0;
  CModuleRegistry::With(moduleNumber,
                        [&mask](const CModuleInfo& module) { mask = module.TraceMask(); });
  return mask;
}

std::string ModuleIdentity(std::uint32_t moduleNumber) {
  std::string identity;
  CModuleRegistry::With(moduleNumber, [&identity](const CModuleInfo& module) {
    identity = std::string(module.Name()) + " " + module.Version();
  });
  return identity;
}

std::string ErrorText(std::uint32_t errorNumber) {
  std::string text = kStandInText;
  std::string name;
  std::vector<std::string> faults;
  CModuleRegistry::With(ModuleOfError(errorNumber), [&](const CModuleInfo& module) {
    text = CModuleRegistry::Text(module, errorNumber);
    if ((module.TraceMask() & kTraceError) == 0) return;
    name = module.Name();
    faults = Language_Support::NewFaultsOf(CModuleRegistry::LanguageFile(module));
  });
  TraceFaults(name, faults);
  return text;
}

}  // namespace Pirsk::Misc

namespace Pirsk::Language_Support {

LanguageState LanguageStateOf(std::uint32_t moduleNumber) {
  LanguageState state;
  Misc::CModuleRegistry::With(moduleNumber, [&state](const Misc::CModuleInfo& module) {
    const CLanguageSupport::CLngFile& file = Misc::CModuleRegistry::LanguageFile(module);
    state.path = file.Path();
    state.faults = FaultsOf(file);
  });
  return state;
}

}  // namespace Pirsk::Language_Support
