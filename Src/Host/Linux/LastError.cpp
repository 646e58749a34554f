#include "Host/Linux/LastError.h"

#include "Host/DeviceTypes.h"

#include <cerrno>

namespace Ondrel::Host {

namespace {

thread_local ULong t_lastError = ERROR_SUCCESS;

struct ErrorRow {
  int errnoValue;
  ULong error;
  ULong ofFileThatIsCreated = error;
};

// The first row of an errno value gives its Win32 number, the first row of a Win32 number its
// errno.
constexpr ErrorRow kErrors[] = {
    {0, ERROR_SUCCESS},
    {ENOTTY, ERROR_INVALID_FUNCTION},
    {ENOENT, ERROR_FILE_NOT_FOUND, ERROR_PATH_NOT_FOUND},  // Its folder is missing.
    {ENOTDIR, ERROR_PATH_NOT_FOUND},
    {ELOOP, ERROR_PATH_NOT_FOUND},
    {ENAMETOOLONG, ERROR_PATH_NOT_FOUND},
    {EMFILE, ERROR_TOO_MANY_OPEN_FILES},
    {ENFILE, ERROR_TOO_MANY_OPEN_FILES},
    {EACCES, ERROR_ACCESS_DENIED},
    {EPERM, ERROR_ACCESS_DENIED},
    {EBADF, ERROR_INVALID_HANDLE},
    {ENOMEM, ERROR_NOT_ENOUGH_MEMORY},
    {EROFS, ERROR_WRITE_PROTECT, ERROR_ACCESS_DENIED},
    {EBUSY, ERROR_SHARING_VIOLATION},
    {ETXTBSY, ERROR_SHARING_VIOLATION},
    {EAGAIN, ERROR_LOCK_VIOLATION},
    {EDEADLK, ERROR_LOCK_VIOLATION},
    {ENOSYS, ERROR_NOT_SUPPORTED},
    {EOPNOTSUPP, ERROR_NOT_SUPPORTED},
    {ENODEV, ERROR_DEV_NOT_EXIST},
    {ENXIO, ERROR_DEV_NOT_EXIST},
    {EEXIST, ERROR_FILE_EXISTS},
    {EINVAL, ERROR_INVALID_PARAMETER},
    {ENOSPC, ERROR_DISK_FULL},
    {EDQUOT, ERROR_DISK_FULL},
    {EFBIG, ERROR_DISK_FULL},
    {ERANGE, ERROR_INSUFFICIENT_BUFFER},
    {ENOEXEC, ERROR_BAD_EXE_FORMAT},
    {EISDIR, ERROR_DIRECTORY, ERROR_ACCESS_DENIED},
    {EIO, ERROR_IO_DEVICE},
};

}  // namespace

ULong LastError() { return t_lastError; }

void SetLastError(ULong error) { t_lastError = error; }

ULong ErrorFromErrno(int errnoValue, Purpose purpose) {
  for (const ErrorRow& row : kErrors)
    if (row.errnoValue == errnoValue)
      return purpose == Purpose::kFileThatIsCreated ? row.ofFileThatIsCreated : row.error;
  return ERROR_GEN_FAILURE;
}

int ErrnoFromError(ULong error) {
  for (const ErrorRow& row : kErrors)
    if (row.error == error) return row.errnoValue;
  return 0;
}

}  // namespace Ondrel::Host
