#pragma once

#include <Pirsk/Export.h>
#include <Pirsk/LanguageFile.h>

#include <atomic>
#include <cstdint>
#include <string>

namespace Pirsk::Misc {

/// Identity of a loaded module, registered for as long as the object lives.
///
/// Module numbers (1 to 0xFFF) are unique within a process; a second module of the same number is
/// registered too, and the one that came first answers for the number while it is loaded.
///
/// Reading the object is for any thread. Destroying it waits for what the functions below are doing
/// with the module.
class CModuleInfo {
public:
  /// Registers the module, with all trace levels off. All arguments have static storage in the
  /// module. The error list ends with a row of two zeros.
  PIRSK_API CModuleInfo(std::uint32_t number, const char* name, const char* version,
                        Language_Support::CLanguageSupport::CLngFile* languageFile,
                        const Language_Support::CLanguageSupport::ERROR_MSG_LIST* errorMessages);

  /// Takes the module out of the registry.
  PIRSK_API virtual ~CModuleInfo();

  CModuleInfo(const CModuleInfo&) = delete;
  CModuleInfo& operator=(const CModuleInfo&) = delete;

  /// Bits of the trace levels that are on. Read afresh at every trace site.
  std::uint32_t TraceMask() const noexcept { return m_traceMask.load(std::memory_order_relaxed); }

  std::uint32_t Number() const noexcept { return m_number; }  ///< The module's number.
  const char* Name() const noexcept { return m_name; }        ///< The module's name.
  const char* Version() const noexcept { return m_version; }  ///< Its version, as it gave it.

private:
  friend class CModuleRegistry;

  std::atomic<std::uint32_t> m_traceMask;
  std::uint32_t m_number;
  const char* m_name;
  const char* m_version;
  Language_Support::CLanguageSupport::CLngFile* m_languageFile;
  const Language_Support::CLanguageSupport::ERROR_MSG_LIST* m_errorMessages;
  CModuleInfo* m_next;
};

/// Trace levels that modules of the product line use, as bits of the mask.
inline constexpr std::uint32_t kTraceError = 1;    ///< Failures.
inline constexpr std::uint32_t kTraceEntry = 2;    ///< Entry to and exit from functions.
inline constexpr std::uint32_t kTraceDetail = 16;  ///< Intermediate facts.

/// Sets the trace mask of the module with this number, at once and for any thread. False when no
/// such module is loaded.
PIRSK_API bool SetTraceMask(std::uint32_t moduleNumber, std::uint32_t mask);

/// Trace mask of the module with this number; 0 when no such module is loaded.
PIRSK_API std::uint32_t GetTraceMask(std::uint32_t moduleNumber);

/// "name version" of the module with this number; empty when no such module is loaded.
PIRSK_API std::string ModuleIdentity(std::uint32_t moduleNumber);

/// The catalogue text of a module error, UTF-8: from the language file, else from the module's own
/// table; the module's stand-in text for an error that it does not list. "No information available
/// for this error" for a number whose module is not loaded. May read the language file.
PIRSK_API std::string ErrorText(std::uint32_t errorNumber);

}  // namespace Pirsk::Misc
