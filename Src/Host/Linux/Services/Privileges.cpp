#include "Host/Linux/Services/Privileges.h"

#include "Host/Linux/LastError.h"
#include "Host/Linux/Services/Restart.h"

#include <string>
#include <string_view>

namespace Ondrel::Host {

namespace {

constexpr std::int32_t kShutdownPrivilege = 19;

// What stands for the token of this process.
void* ProcessToken() {
  static char token;
  return &token;
}

}  // namespace

int LookupPrivilegeValue(const char*, const char* name, LUID* privilege) {
  if (std::string_view(name) != "SeShutdownPrivilege") return Fail(ERROR_NO_SUCH_PRIVILEGE);
  *privilege = {.LowPart = static_cast<DWORD>(kShutdownPrivilege), .HighPart = 0};
  return 1;
}

int OpenProcessToken(void*, ULong, void** token) {
  *token = ProcessToken();
  return 1;
}

int AdjustTokenPrivileges(void* token, int, TOKEN_PRIVILEGES* state, ULong size,
                          TOKEN_PRIVILEGES* previous, ULong* needed) {
  if (token != ProcessToken()) return Fail(ERROR_INVALID_HANDLE);
  if (state == nullptr || state->PrivilegeCount != 1 ||
      (previous != nullptr && size < sizeof *previous))
    return Fail(ERROR_INVALID_PARAMETER);
  if (previous != nullptr) *previous = *state;
  if (needed != nullptr) *needed = sizeof(TOKEN_PRIVILEGES);
  const bool isEnabling = (state->Privileges[0].Attributes & SE_PRIVILEGE_ENABLED) != 0;
  SetLastError(isEnabling && !MayRestart(HostRestartCalls()) ? ERROR_NOT_ALL_ASSIGNED
                                                             : ERROR_SUCCESS);
  return 1;
}

int InitiateSystemShutdown(char*, char* message, ULong, int, int restart) {
  if (!restart) return Fail(ERROR_NOT_SUPPORTED);
  const std::string words = message != nullptr ? message : "";
  return RestartMachine(words, true, HostRestartCalls()).empty() ? 1 : Fail(ERROR_ACCESS_DENIED);
}

}  // namespace Ondrel::Host
