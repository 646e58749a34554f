#include "Host/Linux/Messages/FormatMessage.h"
#include "Host/Linux/Messages/MessageModules.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

using namespace Ondrel;
using namespace Ondrel::Host;

/// The input's parts, each ended by a zero: the definition and the texts of the arguments.
std::vector<std::string> Parts(const std::uint8_t* data, std::size_t size) {
  std::vector<std::string> parts(1);
  for (std::size_t index = 0; index < size; ++index) {
    if (data[index] != 0)
      parts.back() += static_cast<char>(data[index]);
    else
      parts.emplace_back();
  }
  return parts;
}

void Require(bool holds) {
  if (!holds) std::abort();
}

// What is formatted into a block of its own and into a buffer must be the same.
void FormatBothWays(ULong flags, const std::string& definition, char** arguments) {
  char* text = nullptr;
  const ULong length = FormatMessageText(flags | FORMAT_MESSAGE_ALLOCATE_BUFFER, definition.c_str(),
                                         0, 0, reinterpret_cast<char*>(&text), 0, arguments);
  Require((length == 0) == (text == nullptr));
  if (text == nullptr) return;
  std::string buffer(length + 1, '~');
  Require(FormatMessageText(flags, definition.c_str(), 0, 0, buffer.data(), length, arguments) ==
          0);
  Require(FormatMessageText(flags, definition.c_str(), 0, 0, buffer.data(), length + 1,
                            arguments) == length);
  Require(buffer == std::string(text, length + 1));
  std::free(text);
}

}  // namespace

// Formats any definition. The first byte chooses the flags; the definition and the arguments
// follow.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  ULong flags = FORMAT_MESSAGE_FROM_STRING;
  if ((data[0] & 1) == 0) flags |= FORMAT_MESSAGE_ARGUMENT_ARRAY;
  if ((data[0] & 2) != 0) flags |= FORMAT_MESSAGE_IGNORE_INSERTS;
  if ((data[0] & 4) != 0) flags |= FORMAT_MESSAGE_MAX_WIDTH_MASK;

  std::vector<std::string> parts = Parts(data + 1, size - 1);
  // Every insert that a definition may have finds an argument; those without a text are null.
  std::array<char*, 99> arguments{};
  for (std::size_t index = 1; index < parts.size() && index <= arguments.size(); ++index)
    arguments[index - 1] = parts[index].data();
  FormatBothWays(flags, parts[0], arguments.data());
  return 0;
}
