#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>

namespace Pirsk::Language_Support {

/// Texts by index.
using LanguageTexts = std::map<std::size_t, std::string>;

/// Reads the text of a language file with indices below `count`; `CLngFile` says the form.
/// Nothing when the file is broken: not UTF-8, a zero byte, a line of another form, an index that
/// is too large or that stands twice; then `fault` says which, where it is given.
std::optional<LanguageTexts> ParseLanguageFile(const std::string& text, std::size_t count,
                                               std::string* fault = nullptr);

}  // namespace Pirsk::Language_Support
