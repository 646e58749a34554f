#include "Tool/Names.h"

namespace Tool {

namespace {

constexpr std::int32_t kEventIdBit = 0x20000000;

}  // namespace

std::string NumberAndName(const Ondrel::CCodeNames& names, std::int32_t code) {
  const std::optional<std::string_view> name = names.Name(code);
  std::string text = std::to_string(code);
  if (name && !name->empty()) text.append(" (").append(*name).append(")");
  return text;
}

Json JsonOfName(const Ondrel::CCodeNames& names, std::int32_t code) {
  const std::optional<std::string_view> name = names.Name(code);
  return name ? Json(*name) : Json();
}

std::int32_t EventCodeOf(std::int32_t id) { return id & ~kEventIdBit; }

}  // namespace Tool
