#include "Tool/Host/StandardInput.h"

#include <algorithm>
#include <limits>
#include <system_error>
#include <windows.h>

namespace Tool {

std::size_t ReadStandardInput(char* bytes, std::size_t size) {
  const auto room =
      static_cast<DWORD>(std::min<std::size_t>(size, std::numeric_limits<std::int32_t>::max()));
  DWORD count = 0;
  if (::ReadFile(::GetStdHandle(STD_INPUT_HANDLE), bytes, room, &count, nullptr)) return count;
  const DWORD error = ::GetLastError();
  // The writer has closed its end of the pipe.
  if (error == ERROR_BROKEN_PIPE || error == ERROR_HANDLE_EOF) return 0;
  throw std::system_error(static_cast<int>(error), std::system_category());
}

}  // namespace Tool
