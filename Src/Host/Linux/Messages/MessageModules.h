#pragma once

#include "Host/Types.h"

namespace Ondrel::Host {

/// The message-file operations of this host: `LoadLibraryExA`, `FreeLibrary` and `FormatMessageA`
/// of `EventLogOperations`.
///
/// A message file is an ELF file with a section `.msgtable` that holds a message table in the
/// published layout of a message table resource. All operations may be called from any thread; all
/// failures set the calling thread's last error.

/// Loads the message table of the file at `path`. The file is only read: it is not mapped, and none
/// of its code is run.
///
/// `file` must be null, and `flags` must hold a data file flag (0x02 or 0x20). Yields a handle, or
/// null: 87 for other arguments, 2 for a file that is not there, 5 for one that may not be read,
/// 193 for what is not a regular file or not a sound ELF file. An ELF file without the section
/// loads; it has no messages. What the table itself holds is looked at when a message is asked for.
void* LoadMessageModule(const char* path, void* file, ULong flags);

/// Gives a module back. Non-zero on success; 0 with last error 6 for a handle that is not open, one
/// that was given back before included.
int FreeMessageModule(void* module);

/// Formats a message.
///
/// `flags` joins sources and ways:
/// - 0x0800 from the module `source`, 0x1000 from the system: both together try the module first,
///   and a handle that is not open counts as a module without messages. 0x0400 alone: from the
///   definition that `source` points to, narrow text. The system's messages are the host's own
///   texts for the last-error numbers that it has, each with a line end.
/// - 0x0100 allocates: `buffer` is a `char**` in the guise of a `char*`; it receives the text,
///   zero-terminated, in a block of at least `size` characters that the C library's `free`
///   releases. Without it the text goes to `buffer`, which has room for `size` characters.
/// - 0x0200 leaves the inserts in place. 0x2000 says that `arguments` is an array; other argument
///   lists are not supported, so that without this flag there are no arguments.
/// - The low byte 0xFF puts a space for each line break of the definition; hard line breaks (%n)
///   stay. Other widths than that are taken as 0: lines are not wrapped.
///
/// Definitions with the UTF-16 flag give UTF-8 (an unpaired surrogate reads U+FFFD); others are
/// taken as they are. `FormatDefinition` has what the escapes of a definition mean.
///
/// Yields the text's length without its end, or 0 and leaves `buffer` alone: 317 when no source has
/// the message, 6 when `source` is not open and no other source is asked, 87 for wrong flags or a
/// definition that can't be formatted with these arguments, 122 when `buffer` is too small, 8 when
/// memory is short, 235 when the text is empty, 234 when it is longer than any message may be.
/// `languageId` is not looked at: a module has each message once.
ULong FormatMessageText(ULong flags, const void* source, ULong messageId, ULong languageId,
                        char* buffer, ULong size, char** arguments);

}  // namespace Ondrel::Host
