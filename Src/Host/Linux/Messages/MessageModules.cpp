#include "Host/Linux/Messages/MessageModules.h"

#include "Host/Immortal.h"
#include "Host/Linux/FileDescriptor.h"
#include "Host/Linux/HandleTable.h"
#include "Host/Linux/LastError.h"
#include "Host/Linux/Messages/ElfMessageSection.h"
#include "Host/Linux/Messages/FormatMessage.h"
#include "Host/Linux/Messages/MessageTable.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <system_error>
#include <vector>

namespace Ondrel::Host {

namespace {

constexpr ULong kErrorNoWorkDone = 235;
constexpr ULong kForeignEntryId = 0x20000000;
constexpr ULong kDataFileFlags = LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE;

using ModuleTable = std::vector<std::byte>;

HandleTable<const ModuleTable>& Modules() {
  static Immortal<HandleTable<const ModuleTable>> modules;
  return modules.Get();
}

// Opening a device can set it going, so that only a regular file is opened; should it turn into
// something else in between, opening does not wait.
MessageSection ReadMessageFile(const char* path) {
  struct stat file {};
  if (stat(path, &file) != 0) return {.error = ErrorFromErrno(errno), .bytes = {}};
  if (!S_ISREG(file.st_mode)) return {.error = ERROR_BAD_EXE_FORMAT, .bytes = {}};
  const FileDescriptor descriptor(open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  if (!descriptor.IsOpen()) return {.error = ErrorFromErrno(errno), .bytes = {}};
  return ReadMessageSection(descriptor.Number());
}

std::optional<std::string> FindSystemMessage(ULong id) {
  // An entry that another program wrote into the journal is its one text.
  if (id == kForeignEntryId) return "%1\r\n";
  const int errnoValue = ErrnoFromError(id);
  if (errnoValue == 0 && id != ERROR_SUCCESS) return std::nullopt;
  return std::generic_category().message(errnoValue) + "\r\n";
}

/// A message's definition, or why there is none.
struct Definition {
  ULong error = ERROR_SUCCESS;
  std::string text;
};

Definition FindDefinition(ULong flags, const void* source, ULong id) {
  const bool fromString = (flags & FORMAT_MESSAGE_FROM_STRING) != 0;
  const bool fromModule = (flags & FORMAT_MESSAGE_FROM_HMODULE) != 0;
  const bool fromSystem = (flags & FORMAT_MESSAGE_FROM_SYSTEM) != 0;
  if (fromString == (fromModule || fromSystem) || (fromString && source == nullptr))
    return {.error = ERROR_INVALID_PARAMETER, .text = {}};
  if (fromString) return {.error = ERROR_SUCCESS, .text = static_cast<const char*>(source)};

  std::optional<std::string> text;
  if (fromModule) {
    const std::shared_ptr<const ModuleTable> module = Modules().Find(source);
    if (!module && !fromSystem) return {.error = ERROR_INVALID_HANDLE, .text = {}};
    if (module) text = FindMessage(*module, id);
  }
  if (!text && fromSystem) text = FindSystemMessage(id);
  if (!text) return {.error = ERROR_MR_MID_NOT_FOUND, .text = {}};
  return {.error = ERROR_SUCCESS, .text = std::move(*text)};
}

FormattedMessage Format(ULong flags, const void* source, ULong id, char** arguments) {
  const Definition definition = FindDefinition(flags, source, id);
  if (definition.error != ERROR_SUCCESS) return {.error = definition.error, .text = {}};
  const bool isArray = (flags & FORMAT_MESSAGE_ARGUMENT_ARRAY) != 0;
  FormattedMessage message = FormatDefinition(
      definition.text,
      {.ignoreInserts = (flags & FORMAT_MESSAGE_IGNORE_INSERTS) != 0,
       .ignoreLineBreaks = (flags & FORMAT_MESSAGE_MAX_WIDTH_MASK) == FORMAT_MESSAGE_MAX_WIDTH_MASK,
       .arguments = isArray ? arguments : nullptr});
  if (message.error == ERROR_SUCCESS && message.text.empty()) message.error = kErrorNoWorkDone;
  return message;
}

// Puts the text, with its closing zero, where the caller wants it; yields the last error.
ULong HandOver(const std::string& text, bool allocate, char* buffer, ULong size) {
  const std::size_t needed = text.size() + 1;
  if (allocate) {
    const std::size_t room = std::max<std::size_t>(needed, size);
    auto* block = static_cast<char*>(std::malloc(room));
    if (block == nullptr) return ERROR_NOT_ENOUGH_MEMORY;
    std::memcpy(block, text.c_str(), needed);
    std::memcpy(buffer, &block, sizeof(block));
    return ERROR_SUCCESS;
  }
  if (needed > size) return ERROR_INSUFFICIENT_BUFFER;
  std::memcpy(buffer, text.c_str(), needed);
  return ERROR_SUCCESS;
}

}  // namespace

void* LoadMessageModule(const char* path, void* file, ULong flags) try {
  if (path == nullptr || file != nullptr || (flags & kDataFileFlags) == 0)
    return Fail<void*>(ERROR_INVALID_PARAMETER);
  MessageSection section = ReadMessageFile(path);
  if (section.error != ERROR_SUCCESS) return Fail<void*>(section.error);
  return Modules().Add(std::make_shared<const ModuleTable>(std::move(section.bytes)));
} catch (const std::bad_alloc&) {
  return Fail<void*>(ERROR_NOT_ENOUGH_MEMORY);
}

int FreeMessageModule(void* module) {
  return Modules().Remove(module) ? 1 : Fail(ERROR_INVALID_HANDLE);
}

ULong FormatMessageText(ULong flags, const void* source, ULong messageId, ULong /*languageId*/,
                        char* buffer, ULong size, char** arguments) try {
  if (buffer == nullptr) return Fail<ULong>(ERROR_INVALID_PARAMETER);
  const FormattedMessage message = Format(flags, source, messageId, arguments);
  if (message.error != ERROR_SUCCESS) return Fail<ULong>(message.error);
  const bool allocate = (flags & FORMAT_MESSAGE_ALLOCATE_BUFFER) != 0;
  const ULong error = HandOver(message.text, allocate, buffer, size);
  if (error != ERROR_SUCCESS) return Fail<ULong>(error);
  return static_cast<ULong>(message.text.size());
} catch (const std::bad_alloc&) {
  return Fail<ULong>(ERROR_NOT_ENOUGH_MEMORY);
}

}  // namespace Ondrel::Host
