#pragma once

#include "Host/Types.h"

namespace Ondrel::Host {

/// The calling thread's last error, in the published Win32 numbering.
ULong LastError();

/// Sets the calling thread's last error.
void SetLastError(ULong error);

/// Sets the calling thread's last error and yields what a failed operation answers: 0 or null
/// unless another answer is given.
template <class Answer = int>
Answer Fail(ULong error, Answer answer = Answer()) {
  SetLastError(error);
  return answer;
}

/// What a system call that failed was for: the same reason reads differently of a file that would
/// be created where it is missing.
enum class Purpose { kAny, kFileThatIsCreated };

/// The Win32 number for an `errno` value; 31 (general failure) for one without a counterpart. This
/// is the one place where `errno` is mapped.
ULong ErrorFromErrno(int errnoValue, Purpose purpose = Purpose::kAny);

/// The `errno` value whose text explains a Win32 number, or 0 when there is none.
int ErrnoFromError(ULong error);

}  // namespace Ondrel::Host
