#include "Module.h"

#include <cstddef>

namespace Ondrel {

namespace {

using Pirsk::Language_Support::CLanguageSupport;

constexpr std::uint32_t kEnglish = 0x656E;  // "en", the first letter in the high byte.
constexpr std::uint32_t kLanguageFileForm = 1;

// The texts for the case that the language file is missing. The index is what the error list refers
// to; the last one stands for every error that the list does not hold.
constexpr const char* kMessages[] = {
    "System log already opened",
    "Cannot close system log",
    "System log deregistration failed",
    "Invalid parameter",
    "System log not opened for writing",
    "Cannot open system log",
    "System log registration failed",
    "Time system call failed",
    "No information available for this error",
};

// In the order that the catalogue fixes, which is that of neither column. Three rows are never
// raised and stay all the same.
constexpr CLanguageSupport::ERROR_MSG_LIST kErrorMessages[] = {
    {kSystemLogAlreadyOpened, 0},
    {kCannotCloseSystemLog, 1},
    {kSystemLogDeregistrationFailed, 2},
    {kInvalidParameter, 3},
    {kSystemLogNotOpenedForWriting, 4},
    {kCannotOpenSystemLog, 5},
    {kSystemLogRegistrationFailed, 6},
    {kTimeSystemCallFailed, 7},
    {0, 0},
};

CLanguageSupport::CLngFile g_languageFile("ondrel.nls", kEnglish, "utf-8", kLanguageFileForm,
                                          kMessages, std::size(kMessages));

}  // namespace

// After the language file in this file: it is built after it and destroyed before it.
Pirsk::Misc::CModuleInfo g_moduleInfo(kModuleNumber, "ondrel", "P:7.10.2 F:7.10.2", &g_languageFile,
                                      kErrorMessages);

// Referred to by no code; a text search over the file finds it.
extern char g_versionStamp[];
char g_versionStamp[] = "$Header: @(#) ondrel.dll P7.10.2 F7.10.2 $";

namespace Detail {

Pirsk::Output_Streams::CFormatStream StartMessage(Pirsk::Internals::CTraceStreamBuffer& buffer,
                                                  const char* format) {
  return buffer.Format(format);
}

}  // namespace Detail

}  // namespace Ondrel
