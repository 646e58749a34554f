#include "Tool/Watch/Linux/Logbook.h"

#include "Tool/Watch/Watch.h"

#include <Ondrel/Host.h>
#include <Ondrel/SystemLog.h>

#include <algorithm>
#include <vector>

namespace Tool::Watch {

namespace {

// The clock may have gone back a little between the event and its record.
constexpr std::int64_t kClockError = 1;

int TypeOf(int severity) {
  if (severity >= 4) return Ondrel::kEventTypeError;
  return severity == 3 ? Ondrel::kEventTypeWarning : Ondrel::kEventTypeInformation;
}

}  // namespace

void UseEventLog(const LogSettings& settings) {
  if (settings.isJournal) {
    if (!Ondrel::Host::UseJournal())
      throw WatchError("cannot use the journal as event log", "none takes entries on this host");
  } else if (!settings.store.empty() || settings.storeCapacity) {
    Ondrel::Host::UseEventStore(
        settings.store, settings.storeCapacity.value_or(Ondrel::Host::kDefaultEventStoreCapacity));
  } else {
    Ondrel::Host::UseHostEventLog();
  }
}

std::string PlaceOfEvents(const LogSettings& settings) {
  const Ondrel::Host::EventLogPlace place = Ondrel::Host::CurrentEventLog();
  const std::string log = "the log " + settings.name + " in ";
  if (place.isJournalAway)
    return log +
           "the journal, which is away: they wait until it is back, or until [log] names a store";
  return log + (place.path.empty() ? "the journal" : "the event store " + place.path);
}

std::string WriteEvent(const std::string& log, const StoredEvent& event) {
  // The host's own choice would be the store then, where nobody looks for it.
  if (Ondrel::Host::CurrentEventLog().isJournalAway) return "the journal of this host is away";
  Ondrel::Host::CEventLogWriter writer;
  if (const Ondrel::ULong error = writer.Open(log); error != 0)
    return Ondrel::Host::EventLogErrorText(error);
  const Ondrel::Host::EventLogReport report =
      writer.Report(event.event.code, TypeOf(event.event.severity), event.event.text);
  return report.error == 0 ? "" : Ondrel::Host::EventLogErrorText(report.error);
}

bool IsInLog(const std::string& log, const StoredEvent& event) {
  Ondrel::Host::EventLogRange range;
  range.since = static_cast<Ondrel::ULong>(std::max<std::int64_t>(0, event.time - kClockError));
  range.sources = {log};
  Ondrel::Host::CEventLogReader reader;
  if (reader.Open(log, range) != 0) return false;
  std::vector<Ondrel::Host::EventLogItem> items;
  while (reader.Read(items) == 0 && !items.empty())
    for (const Ondrel::Host::EventLogItem& item : items)
      if (item.kind == Ondrel::Host::EventLogItemKind::kRecord &&
          (item.record.eventID & 0xFFFF) == static_cast<Ondrel::ULong>(event.event.code) &&
          item.record.strings == std::vector<std::string>{event.event.text})
        return true;
  return false;
}

}  // namespace Tool::Watch
