#pragma once

#include <Ondrel/Types.h>

#include <cstddef>
#include <cstdint>

/// The published records and constants of the host operations.
///
/// On Windows they come from the platform's own headers. Elsewhere they are declared here under
/// the same names and with the same layout and values, so that the logic above reads the same.

#if defined(_WIN32)

#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

#else

namespace Ondrel {

using WORD = std::uint16_t;
using DWORD = ULong;

/// One record of a system event log. After the fixed part follow the source name and the computer
/// name (zero-terminated), the user's security identifier, the insertion strings (zero-terminated),
/// the raw data, padding to four bytes, and the length once more.
struct EVENTLOGRECORD {
  DWORD Length;               ///< Bytes of the whole record, the closing length included.
  DWORD Reserved;             ///< The mark 0x654C664C ("LfLe").
  DWORD RecordNumber;         ///< Number of the record in its log.
  DWORD TimeGenerated;        ///< Seconds since 1 January 1970 UTC.
  DWORD TimeWritten;          ///< Seconds since 1 January 1970 UTC.
  DWORD EventID;              ///< Full id: severity, customer bit, facility and code.
  WORD EventType;             ///< 1 error, 2 warning, 4 information.
  WORD NumStrings;            ///< Number of insertion strings.
  WORD EventCategory;         ///< Category of the source's own.
  WORD ReservedFlags;         ///< Not used.
  DWORD ClosingRecordNumber;  ///< Not used.
  DWORD StringOffset;         ///< Offset of the first insertion string from the record's start.
  DWORD UserSidLength;        ///< Bytes of the user's security identifier; 0 for none.
  DWORD UserSidOffset;        ///< Its offset from the record's start.
  DWORD DataLength;           ///< Bytes of raw data; 0 for none.
  DWORD DataOffset;           ///< Its offset from the record's start.
};

inline constexpr DWORD EVENTLOG_SEQUENTIAL_READ = 0x0001;
inline constexpr DWORD EVENTLOG_SEEK_READ = 0x0002;
inline constexpr DWORD EVENTLOG_FORWARDS_READ = 0x0004;
inline constexpr DWORD EVENTLOG_BACKWARDS_READ = 0x0008;

inline constexpr DWORD CP_ACP = 0;  ///< The host's narrow code page.

inline constexpr DWORD FORMAT_MESSAGE_ALLOCATE_BUFFER = 0x0100;
inline constexpr DWORD FORMAT_MESSAGE_IGNORE_INSERTS = 0x0200;
inline constexpr DWORD FORMAT_MESSAGE_FROM_STRING = 0x0400;
inline constexpr DWORD FORMAT_MESSAGE_FROM_HMODULE = 0x0800;
inline constexpr DWORD FORMAT_MESSAGE_FROM_SYSTEM = 0x1000;
inline constexpr DWORD FORMAT_MESSAGE_ARGUMENT_ARRAY = 0x2000;
inline constexpr DWORD FORMAT_MESSAGE_MAX_WIDTH_MASK = 0x00FF;

inline constexpr DWORD LOAD_LIBRARY_AS_DATAFILE = 0x02;
inline constexpr DWORD LOAD_LIBRARY_AS_IMAGE_RESOURCE = 0x20;

inline constexpr DWORD GENERIC_READ = 0x80000000;
inline constexpr DWORD GENERIC_WRITE = 0x40000000;
inline constexpr DWORD FILE_SHARE_READ = 0x01;
inline constexpr DWORD FILE_SHARE_WRITE = 0x02;
inline constexpr DWORD OPEN_EXISTING = 3;

/// What opening a file or device yields in place of a handle.
inline void* const INVALID_HANDLE_VALUE = reinterpret_cast<void*>(std::intptr_t{-1});

inline constexpr DWORD ERROR_SUCCESS = 0;
inline constexpr DWORD ERROR_FILE_NOT_FOUND = 2;
inline constexpr DWORD ERROR_PATH_NOT_FOUND = 3;
inline constexpr DWORD ERROR_TOO_MANY_OPEN_FILES = 4;
inline constexpr DWORD ERROR_ACCESS_DENIED = 5;
inline constexpr DWORD ERROR_INVALID_HANDLE = 6;
inline constexpr DWORD ERROR_NOT_ENOUGH_MEMORY = 8;
inline constexpr DWORD ERROR_INVALID_DATA = 13;
inline constexpr DWORD ERROR_WRITE_PROTECT = 19;
inline constexpr DWORD ERROR_GEN_FAILURE = 31;
inline constexpr DWORD ERROR_SHARING_VIOLATION = 32;
inline constexpr DWORD ERROR_LOCK_VIOLATION = 33;
inline constexpr DWORD ERROR_HANDLE_EOF = 38;
inline constexpr DWORD ERROR_NOT_SUPPORTED = 50;
inline constexpr DWORD ERROR_FILE_EXISTS = 80;
inline constexpr DWORD ERROR_INVALID_PARAMETER = 87;
inline constexpr DWORD ERROR_DISK_FULL = 112;
inline constexpr DWORD ERROR_INSUFFICIENT_BUFFER = 122;
inline constexpr DWORD ERROR_BAD_EXE_FORMAT = 193;
inline constexpr DWORD ERROR_MORE_DATA = 234;
inline constexpr DWORD ERROR_DIRECTORY = 267;
inline constexpr DWORD ERROR_MR_MID_NOT_FOUND = 317;
inline constexpr DWORD ERROR_IO_DEVICE = 1117;
inline constexpr DWORD ERROR_EVENTLOG_FILE_CORRUPT = 1500;
inline constexpr DWORD ERROR_EVENTLOG_CANT_START = 1501;
inline constexpr DWORD ERROR_LOG_FILE_FULL = 1502;
inline constexpr DWORD ERROR_EVENTLOG_FILE_CHANGED = 1503;

}  // namespace Ondrel

#endif

namespace Ondrel {

static_assert(sizeof(EVENTLOGRECORD) == 56);
static_assert(offsetof(EVENTLOGRECORD, Length) == 0);
static_assert(offsetof(EVENTLOGRECORD, Reserved) == 4);
static_assert(offsetof(EVENTLOGRECORD, RecordNumber) == 8);
static_assert(offsetof(EVENTLOGRECORD, TimeGenerated) == 12);
static_assert(offsetof(EVENTLOGRECORD, TimeWritten) == 16);
static_assert(offsetof(EVENTLOGRECORD, EventID) == 20);
static_assert(offsetof(EVENTLOGRECORD, EventType) == 24);
static_assert(offsetof(EVENTLOGRECORD, NumStrings) == 26);
static_assert(offsetof(EVENTLOGRECORD, EventCategory) == 28);
static_assert(offsetof(EVENTLOGRECORD, ReservedFlags) == 30);
static_assert(offsetof(EVENTLOGRECORD, ClosingRecordNumber) == 32);
static_assert(offsetof(EVENTLOGRECORD, StringOffset) == 36);
static_assert(offsetof(EVENTLOGRECORD, UserSidLength) == 40);
static_assert(offsetof(EVENTLOGRECORD, UserSidOffset) == 44);
static_assert(offsetof(EVENTLOGRECORD, DataLength) == 48);
static_assert(offsetof(EVENTLOGRECORD, DataOffset) == 52);

}  // namespace Ondrel
