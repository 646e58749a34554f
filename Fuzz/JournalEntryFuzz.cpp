#include "Host/Linux/EventLog/JournalEntry.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

// Reads an entry of a journal whose fields and cursor are arbitrary bytes.
//
// The input is the cursor, and fields "NAME=value" as the journal has them, each after its length
// in two bytes. The calls of the journal's library come here.

namespace {

std::string g_cursor;
std::string_view g_fields;
std::unique_ptr<char[]> g_field;

std::string_view TakePart(std::string_view& rest) {
  std::size_t length = 0;
  for (const char byte : rest.substr(0, 2)) length = length << 8 | static_cast<unsigned char>(byte);
  rest.remove_prefix(std::min<std::size_t>(2, rest.size()));
  const std::string_view part = rest.substr(0, length);
  rest.remove_prefix(part.size());
  return part;
}

void Require(bool holds) {
  if (!holds) std::abort();
}

}  // namespace

extern "C" int sd_journal_get_data(sd_journal*, const char* name, const void** data,
                                   std::size_t* length) {
  std::string_view rest = g_fields;
  while (!rest.empty()) {
    const std::string_view field = TakePart(rest);
    if (field.substr(0, field.find('=')) != name) continue;
    // As much as the field has, so that a look past it is seen.
    g_field = std::make_unique<char[]>(field.size());
    std::ranges::copy(field, g_field.get());
    *data = g_field.get();
    *length = field.size();
    return 0;
  }
  return -ENOENT;
}

extern "C" int sd_journal_get_cursor(sd_journal*, char** cursor) {
  if (g_cursor.empty()) return -EADDRNOTAVAIL;
  *cursor = ::strdup(g_cursor.c_str());
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string_view rest(reinterpret_cast<const char*>(data), size);
  g_cursor = TakePart(rest);
  g_fields = rest;

  const Ondrel::Host::JournalEntry entry(nullptr);
  const std::string known(g_cursor.c_str());
  Require(entry.Cursor() == known);
  Require(known.empty() ? !entry.Where() : entry.Where() == Ondrel::Host::PlaceOfCursor(known));
  Ondrel::Host::JournalEvent event;
  entry.Read(event);
  event.source = entry.Source();
  event.computer = entry.Computer();
  for (const std::string& text : event.strings) Require(text.find('\0') == std::string::npos);
  Require(event.source.find('\0') == std::string::npos);
  Require(event.computer.find('\0') == std::string::npos);
  Require(event.data.size() <= size);
  return 0;
}
