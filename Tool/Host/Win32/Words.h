#pragma once

#include <string>
#include <windows.h>

namespace Tool {

/// Text of the narrow code page, in which the command gets its words, as the host's wide text.
std::wstring WideOf(const std::string& text);

/// Wide text as UTF-8.
std::string Utf8Of(const std::wstring& text);

/// The host's own words for one of its error numbers, with the number.
std::string SystemErrorText(unsigned long error);

}  // namespace Tool
