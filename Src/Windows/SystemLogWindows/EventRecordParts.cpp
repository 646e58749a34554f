#include "Host/EventHistory.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace Ondrel::Host {

namespace {

// Takes a zero-terminated text from the front of `rest`. False when its end is missing.
bool TakeText(std::string_view& rest, std::string& text) {
  const std::size_t end = rest.find('\0');
  if (end == std::string_view::npos) return false;
  text.assign(rest.data(), end);
  rest.remove_prefix(end + 1);
  return true;
}

}  // namespace

bool IsWantedSource(const EventLogRange& range, const char* source) {
  return range.sources.empty() || std::ranges::find(range.sources, source) != range.sources.end();
}

bool IsInRange(const EventLogRange& range, const EventLogRecord& record) {
  return (!range.firstNumber || record.number >= *range.firstNumber) &&
         (!range.lastNumber || record.number <= *range.lastNumber) &&
         (!range.since || record.timeGenerated >= *range.since) &&
         (!range.until || record.timeGenerated <= *range.until) &&
         (range.computer.empty() || record.computer == range.computer) &&
         IsWantedSource(range, record.source.c_str());
}

bool ReadEventRecord(const std::byte* bytes, std::size_t size, EventLogRecord& record) {
  EVENTLOGRECORD fields;
  if (size < sizeof fields) return false;
  std::memcpy(&fields, bytes, sizeof fields);
  if (fields.Length > size || fields.Length < sizeof fields) return false;
  const std::string_view whole(reinterpret_cast<const char*>(bytes), fields.Length);

  record.number = fields.RecordNumber;
  record.timeGenerated = fields.TimeGenerated;
  record.timeWritten = fields.TimeWritten;
  record.eventID = fields.EventID;
  record.eventType = fields.EventType;
  record.category = fields.EventCategory;
  record.data.clear();
  record.strings.resize(fields.NumStrings);

  std::string_view names = whole.substr(sizeof fields);
  if (!TakeText(names, record.source) || !TakeText(names, record.computer)) return false;
  if (fields.NumStrings > 0) {
    if (fields.StringOffset > whole.size()) return false;
    std::string_view texts = whole.substr(fields.StringOffset);
    for (std::string& text : record.strings)
      if (!TakeText(texts, text)) return false;
  }
  if (fields.DataLength > 0) {
    if (fields.DataOffset > whole.size() || fields.DataLength > whole.size() - fields.DataOffset)
      return false;
    record.data.assign(whole.substr(fields.DataOffset, fields.DataLength));
  }
  return true;
}

}  // namespace Ondrel::Host
