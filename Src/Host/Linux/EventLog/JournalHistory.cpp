#include "Host/Linux/EventLog/EventRecord.h"
#include "Host/Linux/EventLog/Journal.h"
#include "Host/Linux/EventLog/JournalEntry.h"
#include "Host/Linux/EventLog/JournalFields.h"
#include "Host/Linux/EventLog/JournalFiles.h"

#include <systemd/sd-id128.h>

#include <chrono>
#include <limits>
#include <optional>
#include <set>
#include <thread>
#include <utility>

namespace Ondrel::Host {

namespace {

constexpr std::string_view kPositionMark = "journal:";
constexpr std::uint64_t kMicroseconds = 1000000;

struct JournalError {
  int outcome;  // Negative, an errno.
};

int Checked(int outcome) {
  if (outcome < 0) throw JournalError{outcome};
  return outcome;
}

template <class Operation>
ULong Answer(Operation operation) {
  try {
    return operation();
  } catch (const JournalError& failure) {
    return ErrorFromJournal(-failure.outcome);
  }
}

class JournalHistory final : public EventHistory {
public:
  JournalHistory(const std::string& path, const EventLogRange& range)
      : m_path(path), m_range(range) {
    if (!range.after.empty() && !range.after.starts_with(kPositionMark))
      throw JournalError{-EINVAL};
    Checked(OpenJournalAt(path, m_journal));
    sd_journal_set_data_threshold(m_journal.get(), 0);
    sd_journal_get_fd(m_journal.get());  // From here on new files are noticed.
    AddMatches();
    Begin();
  }

  ULong Read(ItemList& items) override {
    return Answer([&]() -> ULong {
      NoteChange(items);
      if (m_isLossPossible && !m_range.isNewestFirst) NoteLoss(items);
      while (!items.IsFull() && Step()) {
        const JournalEntry entry(m_journal.get());
        const std::optional<Place> place = entry.Where();
        if (!place) continue;
        m_last = place;
        m_isAtEntry = true;
        Take(items, entry, *place);
      }
      if (m_isAtEntry) m_cursor = JournalEntry(m_journal.get()).Cursor();
      return ERROR_SUCCESS;
    });
  }

  std::string Position() const override {
    if (m_range.isNewestFirst) return {};
    // Of a journal without entries, its beginning: nothing of what comes is old.
    if (m_cursor.empty() && !m_range.isNewOnly) return {};
    return std::string(kPositionMark) + m_cursor;
  }

  std::string Identity() const override {
    return m_last ? std::string(m_last->numbering.begin(), m_last->numbering.end()) : std::string();
  }

private:
  // Fields of different names have to hold together, those of one name each for itself.
  void AddMatches() {
    const auto add = [this](const std::string& field) {
      Checked(sd_journal_add_match(m_journal.get(), field.data(), field.size()));
    };
    for (const char* name : {"SYSLOG_IDENTIFIER=", "_COMM="}) {
      if (!m_range.computer.empty()) add("_HOSTNAME=" + m_range.computer);
      if (m_range.sources.empty()) return;
      for (const std::string& source : m_range.sources) add(name + source);
      Checked(sd_journal_add_disjunction(m_journal.get()));
    }
  }

  void Begin() {
    sd_journal* const journal = m_journal.get();
    if (!m_range.after.empty()) return BeginAfter(m_range.after.substr(kPositionMark.size()));
    if (m_range.isNewOnly) {
      Checked(sd_journal_seek_tail(journal));
      // The place of the newest entry, beyond which the new ones come.
      m_isAtEntry = Checked(sd_journal_previous(journal)) > 0;
      if (!m_isAtEntry) Checked(sd_journal_seek_head(journal));
      if (m_isAtEntry) m_last = JournalEntry(journal).Where();
      if (m_isAtEntry) m_cursor = JournalEntry(journal).Cursor();
      return;
    }
    if (m_range.isNewestFirst) {
      Checked(m_range.until
                  ? sd_journal_seek_realtime_usec(journal, (*m_range.until + 1) * kMicroseconds)
                  : sd_journal_seek_tail(journal));
    } else {
      Checked(m_range.since ? sd_journal_seek_realtime_usec(journal, *m_range.since * kMicroseconds)
                            : sd_journal_seek_head(journal));
    }
  }

  void BeginAfter(const std::string& cursor) {
    sd_journal* const journal = m_journal.get();
    if (cursor.empty()) {
      m_range.isNewOnly = true;
      Checked(sd_journal_seek_head(journal));
      return;
    }
    m_last = PlaceOfCursor(cursor);
    if (!m_last) throw JournalError{-EINVAL};
    m_cursor = cursor;
    Checked(sd_journal_seek_cursor(journal, cursor.c_str()));
    if (Checked(sd_journal_next(journal)) <= 0) {
      // There is nothing at that place or after it.
      m_isLossPossible = true;
      Checked(sd_journal_seek_tail(journal));
      m_isAtEntry = Checked(sd_journal_previous(journal)) > 0;
      return;
    }
    m_isAtEntry = true;
    if (Checked(sd_journal_test_cursor(journal, cursor.c_str())) > 0) return;
    m_isLossPossible = true;
    m_isEntryDue = true;
  }

  // Steps to the next entry that is to be given.
  bool Step() {
    if (std::exchange(m_isEntryDue, false)) return true;
    return Checked(m_range.isNewestFirst ? sd_journal_previous(m_journal.get())
                                         : sd_journal_next(m_journal.get())) > 0;
  }

  void Take(ItemList& items, const JournalEntry& entry, const Place& place) {
    EventLogRecord& record = items.AddRecord();
    record.number = place.sequence;
    record.timeGenerated = record.timeWritten = static_cast<ULong>(place.time / kMicroseconds);
    record.source = entry.Source();
    record.computer = entry.Computer();
    if (!IsInRange(m_range, record)) return items.Drop();
    JournalEvent event;
    event.strings.swap(record.strings);
    event.data.swap(record.data);
    entry.Read(event);
    record.eventID = event.id;
    record.eventType = event.type;
    record.category = event.category;
    record.strings.swap(event.strings);
    record.data.swap(event.data);
  }

  // Files came or went, and with them perhaps entries that were not read yet.
  void NoteChange(ItemList& items) {
    const bool isFirst = !std::exchange(m_areFilesKnown, true);
    const bool isInvalid = Checked(sd_journal_process(m_journal.get())) == SD_JOURNAL_INVALIDATE;
    if (isInvalid && m_last) m_isLossPossible = true;
    if (m_path.empty() || !(isFirst || isInvalid)) return;
    for (const std::string& file : JournalFilesAt(m_path)) {
      if (m_damaged.contains(file) || !IsUnreadableJournalFile(file)) continue;
      m_damaged.insert(file);
      items.AddDamagedFile(file);
    }
  }

  // Looks whether entries went away that stood after the one read last. The oldest that is left of
  // its numbering says so: what goes, goes from that end.
  void NoteLoss(ItemList& items) {
    JournalHandle all;
    Checked(OpenJournalAt(m_path, all));
    Checked(sd_journal_seek_head(all.get()));
    bool hasOthers = false;
    while (Checked(sd_journal_next(all.get())) > 0) {
      const std::optional<Place> oldest = JournalEntry(all.get()).Where();
      if (!oldest) continue;
      if (oldest->numbering != m_last->numbering) {
        hasOthers = true;
        continue;
      }
      if (oldest->sequence > m_last->sequence + 1)
        items.AddNote(EventLogItemKind::kMissed, m_last->sequence + 1, oldest->sequence - 1);
      m_isLossPossible = false;
      return;
    }
    // Where nothing is left yet, the next entry will say it.
    if (!hasOthers) return;
    items.AddNote(EventLogItemKind::kReplaced);
    m_isLossPossible = m_isEntryDue = false;
    Checked(sd_journal_seek_head(m_journal.get()));
  }

  std::string m_path;
  EventLogRange m_range;
  JournalHandle m_journal;
  std::optional<Place> m_last;  // Of the entry read last.
  std::string m_cursor;         // Of the same.
  bool m_isAtEntry = false;
  bool m_isEntryDue = false;  // The journal stands at an entry that was not given yet.
  bool m_isLossPossible = false;
  bool m_areFilesKnown = false;
  std::set<std::string> m_damaged;  // Those that were named.
};

/// Reports, and looks for the entry in the journal.
class CheckedJournalSource final : public CheckedSource {
public:
  explicit CheckedJournalSource(const std::string& source) : m_source(source) {}

  EventLogReport Report(WORD type, ULong id, const std::string& text) override {
    sd_id128_t random{};
    char token[SD_ID128_STRING_MAX];
    EventLogReport report;
    report.error = Answer([&]() -> ULong {
      Checked(sd_id128_randomize(&random));
      sd_id128_to_string(random, token);
      const ULong error =
          RegisterJournalSource(m_source, token)
              ->Report({.type = type, .category = 0, .id = id, .strings = {text}, .data = {}});
      if (error != ERROR_SUCCESS) return error;
      return LookFor(std::string(kTokenField) + "=" + token, report);
    });
    return report;
  }

private:
  static constexpr std::chrono::seconds kPatience{2};
  static constexpr std::chrono::milliseconds kPause{5};

  static ULong LookFor(const std::string& match, EventLogReport& report) {
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    JournalHandle journal;
    if (OpenJournalAt({}, journal) < 0) return ERROR_SUCCESS;  // Taken, and not to be looked for.
    sd_journal_get_fd(journal.get());
    for (;;) {
      Checked(sd_journal_add_match(journal.get(), match.data(), match.size()));
      Checked(sd_journal_seek_head(journal.get()));
      if (Checked(sd_journal_next(journal.get())) > 0) {
        const std::optional<Place> place = JournalEntry(journal.get()).Where();
        report.number = place ? place->sequence : 0;
        report.isChecked = true;
        return ERROR_SUCCESS;
      }
      if (std::chrono::steady_clock::now() >= deadline) break;
      std::this_thread::sleep_for(kPause);
      Checked(sd_journal_process(journal.get()));
    }
    // Who may read nothing of it cannot say that it is not there.
    sd_journal_flush_matches(journal.get());
    Checked(sd_journal_seek_tail(journal.get()));
    if (Checked(sd_journal_previous(journal.get())) <= 0) return ERROR_SUCCESS;
    return ERROR_EVENTLOG_CANT_START;
  }

  std::string m_source;
};

}  // namespace

std::unique_ptr<EventHistory> OpenJournalHistory(const std::string& path,
                                                 const EventLogRange& range, ULong& error) {
  std::unique_ptr<EventHistory> history;
  error = Answer([&] {
    history = std::make_unique<JournalHistory>(path, range);
    return ERROR_SUCCESS;
  });
  return history;
}

std::unique_ptr<CheckedSource> OpenCheckedJournalSource(const std::string& source, ULong& error) {
  error = ERROR_SUCCESS;
  return std::make_unique<CheckedJournalSource>(source);
}

ULong SummarizeJournal(const std::string& path, std::vector<EventLogSummary>& logs) {
  return Answer([&]() -> ULong {
    JournalHandle journal;
    Checked(OpenJournalAt(path, journal));
    EventLogSummary summary;
    summary.name = "journal";
    Checked(sd_journal_get_usage(journal.get(), &summary.bytes));
    Checked(sd_journal_seek_head(journal.get()));
    while (Checked(sd_journal_next(journal.get())) > 0) {
      if (summary.records++ > 0) continue;
      if (const std::optional<Place> first = JournalEntry(journal.get()).Where()) {
        summary.firstNumber = first->sequence;
        summary.firstTime = static_cast<ULong>(first->time / kMicroseconds);
      }
    }
    Checked(sd_journal_seek_tail(journal.get()));
    if (Checked(sd_journal_previous(journal.get())) > 0) {
      if (const std::optional<Place> last = JournalEntry(journal.get()).Where()) {
        summary.lastNumber = last->sequence;
        summary.lastTime = static_cast<ULong>(last->time / kMicroseconds);
      }
    }
    logs.push_back(std::move(summary));
    return ERROR_SUCCESS;
  });
}

}  // namespace Ondrel::Host
