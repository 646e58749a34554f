// A module that the tests load and unload.

#include <Pirsk/Exceptions.h>
#include <Pirsk/ModuleInfo.h>
#include <Pirsk/Trace.h>

#include <boost/config.hpp>

namespace {

using Pirsk::Language_Support::CLanguageSupport;

constexpr const char* kTexts[] = {"Loaded failed", "Nothing is known"};
constexpr CLanguageSupport::ERROR_MSG_LIST kErrors[] = {{0x20B10001, 0}, {0, 0}};

CLanguageSupport::CLngFile g_languageFile("pirsk-loaded.nls", 0x656E, "utf-8", 1, kTexts, 2);
Pirsk::Misc::CModuleInfo g_module(0x0B1, "loaded", "1.0", &g_languageFile, kErrors);

}  // namespace

extern "C" BOOST_SYMBOL_EXPORT void RaiseInModule() {
  Pirsk::Threading::CThrowState guard;
  try {
    Pirsk::Exceptions::CException exception = guard.StartException(__LINE__);
    const auto stream = exception.prepareThrow(0x20B10001, {2, 5}, "in the module");
    stream.exception.tryThrow();
  } catch (unsigned int) {
    static constexpr Pirsk::Exceptions::SOURCE_INFO kHere{&g_module, "Src/Loaded.cpp", 1234};
    guard.ThrowNext(kHere);
  }
}

extern "C" BOOST_SYMBOL_EXPORT void TraceInModule() {
  Pirsk::Internals::CTraceStreamBuffer buffer(16, g_module, "Src/Loaded.cpp", "TraceInModule", 1);
  buffer.Format("traced %s") << "in the module";
}
