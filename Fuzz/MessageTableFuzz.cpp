#include "Host/Linux/Messages/FormatMessage.h"
#include "Host/Linux/Messages/MessageTable.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <span>
#include <string>

// Looks up and formats a message in a table of any bytes. The id stands in front of the table.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::uint32_t id = 0;
  if (size < sizeof id) return 0;
  std::memcpy(&id, data, sizeof id);

  const auto table = std::as_bytes(std::span(data, size)).subspan(sizeof id);
  const std::optional<std::string> definition = Ondrel::Host::FindMessage(table, id);
  if (!definition) return 0;
  std::array<const char*, 99> arguments{};
  arguments.fill("argument");
  Ondrel::Host::FormatDefinition(*definition, {.arguments = arguments.data()});
  return 0;
}
