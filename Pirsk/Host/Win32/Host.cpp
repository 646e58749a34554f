#include "Host/Host.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <windows.h>

namespace Pirsk::Host {

namespace {

constexpr char kReplacementCharacter[] = "\xEF\xBF\xBD";

constexpr std::size_t kLongestPath = 32768;

// Longest text that is converted in one call; the host counts in `int`.
constexpr std::size_t kLongestPart = 0x10000000;

// Text of the narrow code page as wide text; empty when it holds something that is not a character.
std::wstring WideFromNarrow(const char* text, int length) {
  const int wideLength =
      MultiByteToWideChar(CP_ACP, MB_ERR_INVALID_CHARS, text, length, nullptr, 0);
  std::wstring wide(static_cast<std::size_t>(std::max(wideLength, 0)), L'\0');
  MultiByteToWideChar(CP_ACP, MB_ERR_INVALID_CHARS, text, length, wide.data(), wideLength);
  return wide;
}

void AppendUtf8(const std::wstring& wide, std::string& result) {
  const int wideLength = static_cast<int>(wide.size());
  const int length =
      WideCharToMultiByte(CP_UTF8, 0, wide.data(), wideLength, nullptr, 0, nullptr, nullptr);
  const std::size_t end = result.size();
  result.resize(end + static_cast<std::size_t>(std::max(length, 0)));
  WideCharToMultiByte(CP_UTF8, 0, wide.data(), wideLength, result.data() + end, length, nullptr,
                      nullptr);
}

// Bytes of the longest character of the narrow code page.
std::size_t LongestCharacter() {
  CPINFO page{};
  return GetCPInfo(CP_ACP, &page) != 0 ? page.MaxCharSize : 1;
}

// Character by character, for a text that is not all characters.
std::string ConvertWhatIsCharacters(const std::string& text) {
  std::string result;
  const std::size_t longest = LongestCharacter();
  std::size_t position = 0;
  while (position < text.size()) {
    const std::size_t most = std::min(longest, text.size() - position);
    std::wstring wide;
    std::size_t length = 0;
    while (wide.empty() && length < most)
      wide = WideFromNarrow(text.data() + position, static_cast<int>(++length));
    if (wide.empty()) {
      // An impossible or a cut-off sequence: one byte of it is given up.
      result += kReplacementCharacter;
      length = 1;
    } else {
      AppendUtf8(wide, result);
    }
    position += length;
  }
  return result;
}

}  // namespace

std::uint64_t ThreadNumber() { return GetCurrentThreadId(); }

std::string PathOfModule(const void* address) {
  HMODULE module = nullptr;
  if (GetModuleHandleExA(
          GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
          static_cast<const char*>(address), &module) == 0)
    return {};
  std::wstring wide(kLongestPath, L'\0');
  wide.resize(GetModuleFileNameW(module, wide.data(), static_cast<DWORD>(wide.size())));
  std::string path;
  AppendUtf8(wide, path);
  return path;
}

// The folder that a module was loaded from is the only one that is looked in here.
std::string RealPath(const std::string& path) { return path; }

// The folder says who may read a file here.
void MakePrivateFile(const std::string&) {}

void AroundFork(void (*)(), void (*)()) {}

std::string NarrowToUtf8(const std::string& text) {
  if (text.empty() || text.size() > kLongestPart) return ConvertWhatIsCharacters(text);
  const std::wstring wide = WideFromNarrow(text.data(), static_cast<int>(text.size()));
  if (wide.empty()) return ConvertWhatIsCharacters(text);
  std::string result;
  AppendUtf8(wide, result);
  return result;
}

// There is no journal here.
Trace::Sink MakeJournalSink(const std::string&) { return nullptr; }

ErrorState GetErrorState() noexcept { return {errno, ::GetLastError()}; }

void SetErrorState(const ErrorState& state) noexcept {
  errno = state.errnoValue;
  ::SetLastError(state.lastError);
}

}  // namespace Pirsk::Host
