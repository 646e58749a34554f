#include "Tool/Host/Win32/Words.h"

#include <windows.h>

namespace Tool {

std::wstring WideOf(const std::string& text) {
  const int size = static_cast<int>(text.size());
  const int length = ::MultiByteToWideChar(CP_ACP, 0, text.data(), size, nullptr, 0);
  std::wstring wide(static_cast<std::size_t>(length), L'\0');
  ::MultiByteToWideChar(CP_ACP, 0, text.data(), size, wide.data(), length);
  return wide;
}

std::string Utf8Of(const std::wstring& text) {
  const int size = static_cast<int>(text.size());
  const int length =
      ::WideCharToMultiByte(CP_UTF8, 0, text.data(), size, nullptr, 0, nullptr, nullptr);
  std::string narrow(static_cast<std::size_t>(length), '\0');
  ::WideCharToMultiByte(CP_UTF8, 0, text.data(), size, narrow.data(), length, nullptr, nullptr);
  return narrow;
}

std::string SystemErrorText(unsigned long error) {
  wchar_t text[512];
  DWORD length = ::FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
                                  nullptr, error, 0, text, 512, nullptr);
  while (length > 0 && (text[length - 1] == L'\n' || text[length - 1] == L'\r' ||
                        text[length - 1] == L' ' || text[length - 1] == L'.'))
    --length;
  return Utf8Of(std::wstring(text, length)) + " (" + std::to_string(error) + ")";
}

}  // namespace Tool
