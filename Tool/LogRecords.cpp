#include "Tool/LogRecords.h"

#include "Regex/Pattern.h"
#include "Tool/Dates.h"
#include "Tool/HostErrors.h"
#include "Tool/Names.h"
#include "Tool/Options.h"
#include "Tool/Suggestion.h"

#include <Ondrel/SystemLog.h>

#include <CLI/Error.hpp>

#include <algorithm>
#include <array>
#include <chrono>
#include <ctime>
#include <iostream>
#include <limits>

namespace Tool {

namespace {

using Ondrel::Host::EventLogItem;
using Ondrel::Host::EventLogItemKind;
using Ondrel::Host::EventLogKind;
using Ondrel::Host::EventLogPlace;
using Ondrel::Host::EventLogRange;
using Ondrel::Host::EventLogRecord;

struct NamedType {
  std::string_view name;
  Ondrel::ULong type;
};

constexpr std::array kTypes = {
    NamedType{"error", Ondrel::kEventTypeError},
    NamedType{"warning", Ondrel::kEventTypeWarning},
    NamedType{"information", Ondrel::kEventTypeInformation},
};

// The published limit of a record's string, in bytes.
constexpr std::size_t kLongestText = 31839;

void AppendType(std::string& text, Ondrel::ULong type) {
  for (const NamedType& known : kTypes) {
    if (known.type != type) continue;
    text.append(known.name);
    return;
  }
  text.append("type-").append(std::to_string(type));
}

std::string Numbers(std::uint64_t first, std::uint64_t last) {
  if (first == last) return "record " + std::to_string(first);
  return "records " + std::to_string(first) + " to " + std::to_string(last);
}

bool IsPlain(std::string_view text) {
  return std::ranges::none_of(text, [](char character) {
    const auto byte = static_cast<unsigned char>(character);
    return byte < 0x20 || byte == 0x7F;
  });
}

void AppendLine(std::string& line, std::string_view text) {
  while (text.ends_with('\n') || text.ends_with('\r')) text.remove_suffix(1);
  if (IsPlain(text))
    line.append(text);
  else
    line.append(OneLine(text));
}

Json DetailsOf(const std::string& what, Ondrel::ULong error) {
  Json details = {{"kind", "host"}};
  details.update(JsonOfHostError(error));
  details["text"] = what + ": " + Ondrel::Host::EventLogErrorText(error);
  return details;
}

}  // namespace

LogError::LogError(const std::string& what, Ondrel::ULong error)
    : Failure(kFailed,
              what + ": " + Ondrel::Host::EventLogErrorText(error) + " (error " +
                  std::to_string(error) + ")",
              DetailsOf(what, error)) {}

void CheckLog(Ondrel::ULong error, const std::string& what) {
  if (error != 0) throw LogError(what, error);
}

std::optional<Ondrel::ULong> ParseEventType(std::string_view text) {
  for (const NamedType& known : kTypes)
    if (IsSameWord(known.name, text)) return known.type;
  const auto number = ParseNumber(text, 0, std::numeric_limits<std::uint16_t>::max());
  if (!number) return std::nullopt;
  return static_cast<Ondrel::ULong>(*number);
}

std::optional<std::int64_t> ParseEvent(const std::string& text, std::int64_t min,
                                       std::int64_t max) {
  if (const auto number = ParseNumber(text, min, max)) return number;
  for (const auto [code, name] : Ondrel::EventCodeNames)
    if (IsSameWord(name, text)) return code;
  return std::nullopt;
}

std::string WhyNotAnEvent(const std::string& text) {
  std::vector<std::string> names;
  for (const auto [code, name] : Ondrel::EventCodeNames) names.emplace_back(name);
  return "\"" + text + "\" is neither an event's number nor its name" + Suggestion(text, names);
}

std::string PlaceText(const EventLogPlace& place) {
  switch (place.kind) {
    case EventLogKind::kStore:
      return "the event store " + place.path;
    case EventLogKind::kJournal:
      return "the journal of this machine";
    case EventLogKind::kJournalFiles:
      return "the journal files " + place.path;
    case EventLogKind::kWindows:
      break;
  }
  return "the Windows event log";
}

Json JsonOfPlace(const EventLogPlace& place) {
  constexpr std::array kNames = {"store", "journal", "journalFiles", "windows"};
  return {{"kind", kNames[static_cast<std::size_t>(place.kind)]}, {"path", place.path}};
}

EventLogPlace KnownPlace() {
  EventLogPlace place = Ondrel::Host::CurrentEventLog();
  if (place.isJournalAway)
    throw HostFailure("the journal of this host is away",
                      "nobody takes entries at its socket; --store " + place.path +
                          " uses the event store in its place");
  return place;
}

CheckedReport ReportChecked(const std::string& log, int event, int type, const std::string& text) {
  CheckedReport reported{.place = KnownPlace(), .report = {}};
  const std::string where = log + " in " + PlaceText(reported.place);
  Ondrel::Host::CEventLogWriter writer;
  CheckLog(writer.Open(log), "cannot write to the log " + where);
  reported.report = writer.Report(event, type, text);
  CheckLog(reported.report.error, "the event was not kept in the log " + where);
  // Windows refuses such a text, and a journal keeps it whole.
  if (reported.place.kind == EventLogKind::kStore && text.size() > kLongestText)
    Say("the text has " + std::to_string(text.size()) + " bytes; at most " +
        std::to_string(kLongestText) + " of them are kept");
  return reported;
}

std::string ReportedWhere(const CheckedReport& reported) {
  std::string where;
  if (reported.report.number > 0)
    where += "as record " + std::to_string(reported.report.number) + " ";
  where += "in " + PlaceText(reported.place);
  if (!reported.report.isChecked) where += ", which may not be read to see whether it kept it";
  return where;
}

std::string NoteText(const std::string& log, const EventLogItem& item) {
  switch (item.kind) {
    case EventLogItemKind::kMissed:
      return log + ": " + Numbers(item.first, item.last) + " went away before " +
             (item.first == item.last ? "it was read" : "they were read");
    case EventLogItemKind::kDamaged:
      if (!item.file.empty())
        return log + ": the file " + OneLine(item.file) +
               " is damaged or cannot be read, and what it has is left out";
      return log + ": " + Numbers(item.first, item.last) +
             (item.first == item.last ? " is damaged and passed over"
                                      : " are damaged and passed over");
    case EventLogItemKind::kReplaced:
      return log +
             ": the log is another one than before, or its numbers went back; it is read from " +
             "its oldest record on";
    case EventLogItemKind::kRecord:
      break;
  }
  return {};
}

void AppendNumber(std::string& text, std::uint64_t number) {
  char digits[24];
  char* end = digits + sizeof digits;
  char* begin = end;
  do {
    *--begin = static_cast<char>('0' + number % 10);
    number /= 10;
  } while (number > 0);
  text.append(begin, end);
}

bool AppendPlainJson(std::string& json, std::string_view text) {
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    if (byte < 0x20 || byte >= 0x7F || byte == '"' || byte == '\\') return false;
  }
  json.push_back('"');
  json.append(text);
  json.push_back('"');
  return true;
}

void AppendJson(std::string& json, std::string_view text) {
  if (!AppendPlainJson(json, text))
    json.append(Json(text).dump(-1, ' ', false, Json::error_handler_t::replace));
}

std::string RecordText(const EventLogRecord& record) {
  if (!record.message.empty()) return record.message;
  std::string text;
  for (const std::string& part : record.strings) text.append(text.empty() ? "" : " ").append(part);
  return text;
}

void RecordPrinter::Add(const EventLogItem& item) {
  if (item.kind == EventLogItemKind::kRecord) {
    m_asJson ? AddJson(item.record) : AddText(item.record);
    ++m_records;
    return;
  }
  m_isAnythingMissing = true;
  const std::string words = NoteText(m_log, item);
  Flush();
  Say(words);
  if (!m_asJson) return;
  constexpr std::array kNotes = {"", "missed", "damaged", "replaced"};
  Json note = {{"note", kNotes[static_cast<std::size_t>(item.kind)]}};
  if (!item.file.empty()) {
    note["file"] = item.file;
  } else if (item.kind != EventLogItemKind::kReplaced) {
    note["first"] = item.first;
    note["last"] = item.last;
  }
  note["text"] = words;
  m_text.append(JsonLine(note)).append("\n");
}

bool RecordPrinter::Flush() {
  std::cout.write(m_text.data(), static_cast<std::streamsize>(m_text.size()));
  m_text.clear();
  return static_cast<bool>(std::cout.flush());
}

const std::string& RecordPrinter::NameOf(std::int32_t event) {
  const auto known = m_names.find(event);
  if (known != m_names.end()) return known->second;
  const auto name = Ondrel::EventCodeNames.Name(event);
  return m_names.emplace(event, name ? std::string(*name) : std::string()).first->second;
}

void RecordPrinter::SetHead(const EventLogRecord& record) {
  if (!m_head.empty() && record.timeGenerated == m_time && record.computer == m_computer &&
      record.source == m_source)
    return;
  m_time = record.timeGenerated;
  m_computer = record.computer;
  m_source = record.source;
  m_head = TimeText(m_time) + " ";
  AppendLine(m_head, m_computer);
  m_head.append(" ");
  AppendLine(m_head, m_source);
  m_head.append(" ");
}

void RecordPrinter::SetKind(Ondrel::ULong type, std::int32_t event) {
  if (!m_kind.empty() && type == m_type && event == m_event) return;
  m_type = type;
  m_event = event;
  m_kind = " ";
  AppendType(m_kind, type);
  m_kind.append(" ").append(std::to_string(event));
  if (const std::string& name = NameOf(event); !name.empty()) m_kind.append(" ").append(name);
  m_kind.append(": ");
}

std::string RecordPrinter::LineOf(const EventLogRecord& record) {
  std::string line;
  AddText(record);
  line.swap(m_text);
  line.pop_back();
  return line;
}

void RecordPrinter::AddText(const EventLogRecord& record) {
  SetHead(record);
  SetKind(record.eventType, static_cast<std::int32_t>(record.eventID & 0xFFFF));
  m_text.append(m_head);
  AppendNumber(m_text, record.number);
  m_text.append(m_kind);
  AppendLine(m_text, record.message.empty() ? RecordText(record) : record.message);
  m_text.append("\n");
}

void RecordPrinter::AddJson(const EventLogRecord& record) {
  const std::int32_t event = static_cast<std::int32_t>(record.eventID & 0xFFFF);
  static const std::string kHead =
      "{\"jsonVersion\":" + std::to_string(kJsonVersion) + ",\"recordNumber\":";
  m_text.append(kHead);
  AppendNumber(m_text, record.number);
  m_text.append(",\"timeGenerated\":");
  AppendNumber(m_text, record.timeGenerated);
  m_text.append(",\"computer\":");
  AppendJson(m_text, record.computer);
  m_text.append(",\"source\":");
  AppendJson(m_text, record.source);
  m_text.append(",\"eventID\":");
  AppendNumber(m_text, static_cast<std::uint64_t>(event));
  m_text.append(",\"eventName\":");
  if (const std::string& name = NameOf(event); !name.empty())
    AppendJson(m_text, name);
  else
    m_text.append("null");
  m_text.append(",\"eventType\":");
  AppendNumber(m_text, record.eventType);
  m_text.append(",\"args\":[");
  bool isFirst = true;
  for (const std::string& text : record.strings) {
    if (text.empty()) continue;
    if (!isFirst) m_text.append(",");
    isFirst = false;
    AppendJson(m_text, text);
  }
  m_text.append("],\"message\":");
  AppendJson(m_text, record.message);
  m_text.append("}\n");
}

std::string RecordLine(const EventLogRecord& record) {
  RecordPrinter printer({}, false);
  return printer.LineOf(record);
}

Json JsonOfRecord(const EventLogRecord& record) {
  const std::int32_t event = static_cast<std::int32_t>(record.eventID & 0xFFFF);
  Json args = Json::array();
  for (const std::string& text : record.strings)
    if (!text.empty()) args.push_back(text);
  return {{"recordNumber", record.number},
          {"timeGenerated", record.timeGenerated},
          {"computer", record.computer},
          {"source", record.source},
          {"eventID", event},
          {"eventName", JsonOfName(Ondrel::EventCodeNames, event)},
          {"eventType", record.eventType},
          {"args", args},
          {"message", record.message}};
}

Ondrel::ULong TimeOf(const std::string& option, const std::string& text) {
  using namespace std::chrono;
  const auto refuse = [&] {
    throw CLI::ValidationError(option, "\"" + text +
                                           "\" is not a time: 2026-11-21T20:34:24Z, 2026-11-21, "
                                           "@SECONDS since 1970, or 30s, 15min, 2h, 3d ago are");
  };
  constexpr std::int64_t kMost = std::numeric_limits<Ondrel::ULong>::max();
  std::int64_t time = -1;
  if (text.starts_with('@')) {
    time = ParseNumber(std::string_view(text).substr(1), 0, kMost).value_or(-1);
  } else if (text.find('-') == std::string::npos && text.size() > 1) {
    const std::optional<milliseconds> ago = ParseDuration(text, "", seconds(kMost));
    if (!ago) {
      refuse();
      return 0;
    }
    const auto then = floor<seconds>(system_clock::now().time_since_epoch() - *ago);
    time = std::max<std::int64_t>(then.count(), 0);
  } else {
    const std::optional<WrittenDate> date = ParseDate(text);
    const std::optional<std::uint64_t> stamp = date ? TimeStampOf(*date) : std::nullopt;
    if (stamp) time = static_cast<std::int64_t>(*stamp / 1000);
  }
  if (time < 0 || time > kMost) refuse();
  return static_cast<Ondrel::ULong>(time);
}

void AddRecordChoice(CLI::App& app, RecordChoice& choice) {
  app.add_option("LOG", choice.log, "Log to read; 'journal' is all of a journal")->required();
  for (const auto& [name, target, words] :
       {std::tuple{"--since", &choice.range.since, "Records generated at this time or later"},
        std::tuple{"--until", &choice.range.until, "Records generated at this time or earlier"}})
    app.add_option_function<std::string>(
           name,
           [name = name, target = target](const std::string& text) {
             *target = TimeOf(name, text);
           },
           words)
        ->type_name("TIME");
  AddRepeated(app, "--type", choice.types, "error, warning, information or a number; repeatable");
  AddRepeated(app, "--event", choice.events, "Event code or name; repeatable");
  app.add_option("--grep", choice.pattern, "Records whose text matches this expression")
      ->type_name("EXPRESSION");
  AddRepeated(app, "--source", choice.range.sources,
              "Records of this source; repeatable (default: all of the log; in a journal LOG)");
  app.add_option("--computer", choice.range.computer, "Records of this machine")->type_name("NAME");
  app.add_option("--messages", choice.messages,
                 "File whose message table gives events their text (default: the library)")
      ->type_name("FILE");
}

struct RecordFilter::Pattern {
  Pirsk::Regex::CPatternT pattern;
};

RecordFilter::RecordFilter(const RecordChoice& choice) {
  for (const std::string& text : choice.types) {
    const std::optional<Ondrel::ULong> type = ParseEventType(text);
    if (!type)
      throw UsageError("--type: \"" + text +
                       "\" is neither a number nor error, warning or information");
    m_types.push_back(*type);
  }
  for (const std::string& text : choice.events) {
    const auto code = ParseEvent(text, 0, std::numeric_limits<Ondrel::ULong>::max());
    if (!code) throw UsageError("--event: " + WhyNotAnEvent(text));
    m_events.push_back(static_cast<Ondrel::ULong>(*code) & 0xFFFF);
  }
  if (choice.pattern.empty()) return;
  m_pattern = std::make_unique<Pattern>();
  m_pattern->pattern.Compile(choice.pattern.data(),
                             static_cast<std::ptrdiff_t>(choice.pattern.size()), 0);
  if (m_pattern->pattern.IsUnbalanced())
    throw UsageError("--grep: a group or class is not closed, or a \")\" closes nothing");
}

RecordFilter::~RecordFilter() = default;

bool RecordFilter::Wants(const EventLogRecord& record) const {
  const auto has = [](const std::vector<Ondrel::ULong>& wanted, Ondrel::ULong value) {
    return wanted.empty() || std::ranges::find(wanted, value) != wanted.end();
  };
  if (!has(m_types, record.eventType) || !has(m_events, record.eventID & 0xFFFF)) return false;
  if (!m_pattern) return true;
  const std::string text = RecordText(record);
  Pirsk::Regex::CMatchContext context;
  m_pattern->pattern.PrepareMatch(text.data(), static_cast<std::int64_t>(text.size()), -1,
                                  &context);
  return m_pattern->pattern.Match(context).IsMatched();
}

EventLogRange RangeOf(const RecordChoice& choice, const EventLogPlace& place) {
  EventLogRange range = choice.range;
  const bool isJournal =
      place.kind == EventLogKind::kJournal || place.kind == EventLogKind::kJournalFiles;
  if (isJournal && range.sources.empty() && choice.log != "journal") range.sources = {choice.log};
  return range;
}

std::optional<std::string> NoSuchLog(const std::string& log, const EventLogPlace& place) {
  if (place.kind != EventLogKind::kStore) return std::nullopt;
  std::vector<Ondrel::Host::EventLogSummary> logs;
  CheckLog(Ondrel::Host::ListEventLogs(logs), "cannot list the logs of " + PlaceText(place));
  std::vector<std::string> names;
  names.reserve(logs.size());
  for (const Ondrel::Host::EventLogSummary& known : logs) names.push_back(known.name);
  if (std::ranges::find(names, log) != names.end()) return std::nullopt;
  return "there is no log " + OneLine(log) + " in " + PlaceText(place) + Suggestion(log, names);
}

void ExpectLog(const std::string& log, const EventLogPlace& place) {
  const std::optional<std::string> words = NoSuchLog(log, place);
  if (!words) return;
  throw Failure(
      kNegativeAnswer, *words,
      {{"kind", "answer"}, {"number", nullptr}, {"name", "NO_SUCH_LOG"}, {"text", *words}});
}

void LoadMessages(Ondrel::Host::CEventLogReader& reader, const RecordChoice& choice) {
  const bool isNamed = !choice.messages.empty();
  const std::string path = isNamed ? choice.messages : Ondrel::Host::LibraryPath();
  const Ondrel::ULong error = reader.GetMessageResources(path);
  if (error == 0) return;
  if (isNamed) throw LogError("cannot load messages from " + path, error);
  Say("cannot load messages from " + path);
}

}  // namespace Tool
