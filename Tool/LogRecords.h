#pragma once

#include "Tool/Command.h"
#include "Tool/Output.h"

#include <Ondrel/Host.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

/// What the subcommands of `log` share: the event log in use in words, records as text and JSON,
/// the choice among them, and errors of the host in words.
namespace Tool {

/// An operation of the host's event log failed: a failure with the event log's own words.
class LogError : public Failure {
public:
  LogError(const std::string& what, Ondrel::ULong error);
};

/// Throws a `LogError` of these words where `error` is not 0.
void CheckLog(Ondrel::ULong error, const std::string& what);

/// "the event store /var/lib/ondrel/events.db", "the journal of this machine", ...
std::string PlaceText(const Ondrel::Host::EventLogPlace& place);

/// {"kind","path"}.
Json JsonOfPlace(const Ondrel::Host::EventLogPlace& place);

/// The event log in use. Throws a `LogError` where this host's journal is away and nothing on the
/// command line chooses another place: events would go where nobody looks for them.
Ondrel::Host::EventLogPlace KnownPlace();

/// Which records a subcommand shows.
struct RecordChoice {
  std::string log;
  Ondrel::Host::EventLogRange range;
  std::vector<std::string> types;
  std::vector<std::string> events;
  std::string pattern;
  std::string messages;
  bool isAllSources = false;
};

/// Adds LOG and the options that choose among its records.
void AddRecordChoice(CLI::App& app, RecordChoice& choice);

/// A time as options take it: 2026-11-21T20:34:24Z, 2026-11-21, @SECONDS, or 30s, 15min, 2h, 3d
/// ago. Throws `CLI::ValidationError`.
Ondrel::ULong TimeOf(const std::string& option, const std::string& text);

/// Says whether a record is wanted, beyond what its range asks of it.
class RecordFilter {
public:
  explicit RecordFilter(const RecordChoice& choice);
  ~RecordFilter();

  bool Wants(const Ondrel::Host::EventLogRecord& record) const;

private:
  struct Pattern;

  std::vector<Ondrel::ULong> m_types;
  std::vector<Ondrel::ULong> m_events;
  std::unique_ptr<Pattern> m_pattern;
};

/// The range of a choice, with the sources that it means in this place.
Ondrel::Host::EventLogRange RangeOf(const RecordChoice& choice,
                                    const Ondrel::Host::EventLogPlace& place);

/// Nothing where the log may be there, else that it is not: "there is no log Dmeo in the event
/// store
/// ..., did you mean Demo?". Only a store knows its logs by name.
std::optional<std::string> NoSuchLog(const std::string& log,
                                     const Ondrel::Host::EventLogPlace& place);

/// Throws a `Failure` with these words and exit status 1, where there is no such log.
void ExpectLog(const std::string& log, const Ondrel::Host::EventLogPlace& place);

/// Loads the messages that the choice names, or the library's own. Only the former have to load.
void LoadMessages(Ondrel::Host::CEventLogReader& reader, const RecordChoice& choice);

/// Writes records and notes of what is missing to standard output, many at a time.
class RecordPrinter {
public:
  RecordPrinter(std::string log, bool asJson) : m_log(std::move(log)), m_asJson(asJson) {}

  /// Adds one item to what is to be written. A note goes to standard error as well where the output
  /// is text.
  void Add(const Ondrel::Host::EventLogItem& item);

  /// Writes what was added. False when standard output does not take it.
  bool Flush();

  /// The line of a record, without its line end.
  std::string LineOf(const Ondrel::Host::EventLogRecord& record);

  std::int64_t Records() const { return m_records; }
  bool IsAnythingMissing() const { return m_isAnythingMissing; }

private:
  void AddText(const Ondrel::Host::EventLogRecord& record);
  void AddJson(const Ondrel::Host::EventLogRecord& record);
  const std::string& NameOf(std::int32_t event);
  void SetHead(const Ondrel::Host::EventLogRecord& record);
  void SetKind(Ondrel::ULong type, std::int32_t event);

  std::string m_log;
  bool m_asJson;
  std::string m_text;
  std::int64_t m_records = 0;
  bool m_isAnythingMissing = false;
  std::unordered_map<std::int32_t, std::string> m_names;
  // What a line has of time, computer and source, and of type and event: mostly those of the line
  // before.
  std::string m_head;
  Ondrel::ULong m_time = 0;
  std::string m_computer;
  std::string m_source;
  std::string m_kind;
  Ondrel::ULong m_type = 0;
  std::int32_t m_event = 0;
};

/// What a note says, in words.
std::string NoteText(const std::string& log, const Ondrel::Host::EventLogItem& item);

/// Appends a number in decimal.
void AppendNumber(std::string& text, std::uint64_t number);

/// Appends a text as JSON where that is the text between quotation marks; false where it is not.
bool AppendPlainJson(std::string& json, std::string_view text);

/// Appends a text as JSON; bytes that are not UTF-8 are replaced.
void AppendJson(std::string& json, std::string_view text);

/// The one text of a record: its message, else its strings.
std::string RecordText(const Ondrel::Host::EventLogRecord& record);

/// A record on one line, without a line end.
std::string RecordLine(const Ondrel::Host::EventLogRecord& record);

/// A record of this kind as `log show --json` has it.
Json JsonOfRecord(const Ondrel::Host::EventLogRecord& record);

/// The type of an event: error, warning, information in any case, or a number of 16 bits.
std::optional<Ondrel::ULong> ParseEventType(std::string_view text);

/// The event code or full id that a text gives: a number of `min` to `max`, or the name of an event
/// in any case. Nothing for anything else, of which `WhyNotAnEvent` says what is wrong.
std::optional<std::int64_t> ParseEvent(const std::string& text, std::int64_t min, std::int64_t max);
std::string WhyNotAnEvent(const std::string& text);

/// Reports an event and says what became of it.
struct CheckedReport {
  Ondrel::Host::EventLogPlace place;
  Ondrel::Host::EventLogReport report;
};

/// Writes one event and looks whether it was kept. Throws a `LogError` when it was not.
CheckedReport ReportChecked(const std::string& log, int event, int type, const std::string& text);

/// "as record 7 in the event store /...", or that nobody could look.
std::string ReportedWhere(const CheckedReport& reported);

}  // namespace Tool
