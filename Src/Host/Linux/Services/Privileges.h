#pragma once

#include "Host/ServiceTypes.h"

/// The operations of `ServiceOperations` around restarting. The one privilege that counts here is
/// that of restarting the machine.
namespace Ondrel::Host {

int LookupPrivilegeValue(const char* system, const char* name, LUID* privilege);
int OpenProcessToken(void* process, ULong access, void** token);
int AdjustTokenPrivileges(void* token, int disableAll, TOKEN_PRIVILEGES* state, ULong size,
                          TOKEN_PRIVILEGES* previous, ULong* needed);
int InitiateSystemShutdown(char* machine, char* message, ULong seconds, int force, int restart);

}  // namespace Ondrel::Host
