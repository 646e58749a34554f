#pragma once

#include <Pirsk/LanguageFile.h>

#include <string>
#include <vector>

namespace Pirsk::Language_Support {

/// Language files that were looked at and not used, each with the reason, once a text has been
/// asked for. A file that is not there is none of them. Kept apart from the object, which modules
/// hold: its layout is fixed.
std::vector<std::string> FaultsOf(const CLanguageSupport::CLngFile& file);

/// The same, at the first call alone.
std::vector<std::string> NewFaultsOf(const CLanguageSupport::CLngFile& file);

}  // namespace Pirsk::Language_Support
