#pragma once

#include "Host/Types.h"

namespace Ondrel::Host {

/// The calling thread's last error, in the published Win32 numbering.
ULong LastError();

/// Sets the calling thread's last error.
void SetLastError(ULong error);

/// The Win32 number for an `errno` value; 31 (general failure) for one without a counterpart.
ULong ErrorFromErrno(int errnoValue);

/// The `errno` value whose text explains a Win32 number, or 0 when there is none.
int ErrnoFromError(ULong error);

}  // namespace Ondrel::Host
