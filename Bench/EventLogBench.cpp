#include "Support/JournalDaemon.h"

#include <Ondrel/Host.h>
#include <Ondrel/SystemLog.h>

#include <benchmark/benchmark.h>
#include <sqlite3.h>
#include <systemd/sd-journal.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <sys/uio.h>
#include <unistd.h>
#include <utility>
#include <vector>

// Reports and reads of the event log against the same work by plain calls of what lies beneath. A
// read builds a CSystemEvent_Win of each record in either case.

namespace {

using Ondrel::CSystemEvent_Win;
using Ondrel::CSystemLog_Win;
using Ondrel::CSystemLogReader_Win;

constexpr char kSource[] = "Bench";
constexpr int kRecords = 20000;

// A text that no earlier report had.
std::string NewText() {
  static int number = 0;
  return "PD 3 (slot 7): status changed from OPERATIONAL to FAILED, change " +
         std::to_string(++number);
}

class Folder {
public:
  Folder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "ondrel-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp");
    m_path = pattern;
  }
  ~Folder() { std::filesystem::remove_all(m_path); }

  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  std::string operator/(const char* name) const { return (m_path / name).string(); }

private:
  std::filesystem::path m_path;
};

void Check(bool holds, const char* what) {
  if (!holds) throw std::runtime_error(what);
}

// The same records in a table of their own: a durable insert for each, a scan to read them.
class PlainDatabase {
public:
  explicit PlainDatabase(const std::string& path) {
    Check(sqlite3_open(path.c_str(), &m_database) == SQLITE_OK, "sqlite3_open");
    Run("PRAGMA journal_mode=WAL");
    Run("PRAGMA synchronous=FULL");
    Run("CREATE TABLE record(number INTEGER PRIMARY KEY, time INTEGER, id INTEGER, type INTEGER,"
        " source TEXT, computer TEXT, text TEXT)");
    m_insert = Prepare(
        "INSERT INTO record(time, id, type, source, computer, text)"
        " VALUES(?,?,?,?,?,?)");
    m_select = Prepare("SELECT number, time, id, type, source, text FROM record WHERE number>?");
  }
  ~PlainDatabase() {
    sqlite3_finalize(m_insert);
    sqlite3_finalize(m_select);
    sqlite3_close(m_database);
  }

  PlainDatabase(const PlainDatabase&) = delete;
  PlainDatabase& operator=(const PlainDatabase&) = delete;

  void Run(const char* sql) {
    Check(sqlite3_exec(m_database, sql, nullptr, nullptr, nullptr) == SQLITE_OK, sql);
  }

  void Report() {
    char computer[65] = {};
    gethostname(computer, sizeof computer - 1);
    sqlite3_bind_int64(m_insert, 1, std::time(nullptr));
    sqlite3_bind_int64(m_insert, 2, 0x200028E7);
    sqlite3_bind_int64(m_insert, 3, 1);
    sqlite3_bind_text(m_insert, 4, kSource, -1, SQLITE_STATIC);
    sqlite3_bind_text(m_insert, 5, computer, -1, SQLITE_STATIC);
    const std::string text = NewText();
    sqlite3_bind_text(m_insert, 6, text.c_str(), -1, SQLITE_STATIC);
    Check(sqlite3_step(m_insert) == SQLITE_DONE, "insert");
    sqlite3_reset(m_insert);
  }

  std::vector<CSystemEvent_Win> Read(std::int64_t after) {
    std::vector<CSystemEvent_Win> events;
    sqlite3_bind_int64(m_select, 1, after);
    while (sqlite3_step(m_select) == SQLITE_ROW) {
      if (std::strcmp(Text(4), kSource) != 0) continue;
      CSystemEvent_Win event;
      event.recordNumber = static_cast<Ondrel::ULong>(sqlite3_column_int64(m_select, 0));
      event.timeGenerated = static_cast<Ondrel::ULong>(sqlite3_column_int64(m_select, 1));
      event.eventID = static_cast<Ondrel::ULong>(sqlite3_column_int64(m_select, 2)) & 0xFFFF;
      event.eventType = static_cast<Ondrel::ULong>(sqlite3_column_int64(m_select, 3));
      event.args.emplace_back(Text(5));
      events.push_back(std::move(event));
    }
    sqlite3_reset(m_select);
    return events;
  }

private:
  sqlite3_stmt* Prepare(const char* sql) {
    sqlite3_stmt* statement = nullptr;
    Check(sqlite3_prepare_v2(m_database, sql, -1, &statement, nullptr) == SQLITE_OK, sql);
    return statement;
  }

  const char* Text(int column) const {
    return reinterpret_cast<const char*>(sqlite3_column_text(m_select, column));
  }

  sqlite3* m_database = nullptr;
  sqlite3_stmt* m_insert = nullptr;
  sqlite3_stmt* m_select = nullptr;
};

// Ends the journal daemon with the program, if it was this program that started it.
void UseJournal() {
  static const Ondrel::Testing::JournalDaemon daemon;
  Check(Ondrel::Host::UseJournal(), "no journal");
}

void StoreReport(benchmark::State& state) {
  const Folder folder;
  Ondrel::Host::UseEventStore(folder / "events.db");
  CSystemLog_Win log;
  log.Open(kSource);
  for (auto _ : state) log.Report(10471, 1, NewText());
}
BENCHMARK(StoreReport)->Name("Events/report, durable/ondrel")->UseRealTime();

void ReportMany(benchmark::State& state, int count) {
  for (auto _ : state) {
    const Folder folder;
    Ondrel::Host::UseEventStore(folder / "events.db");
    CSystemLog_Win log;
    log.Open(kSource);
    for (int i = 0; i < count; ++i) log.Report(10471, 1, NewText());
  }
}

BENCHMARK_CAPTURE(ReportMany, growth1, 10)
    ->Name("Growth/records reported, 10 and more/1")
    ->UseRealTime();
BENCHMARK_CAPTURE(ReportMany, growth10, 100)
    ->Name("Growth/records reported, 10 and more/10")
    ->UseRealTime();
BENCHMARK_CAPTURE(ReportMany, growth100, 1000)
    ->Name("Growth/records reported, 10 and more/100")
    ->UseRealTime();

void PlainReport(benchmark::State& state) {
  const Folder folder;
  PlainDatabase database(folder / "plain.db");
  for (auto _ : state) database.Report();
}
BENCHMARK(PlainReport)->Name("Events/report, durable/SQLite")->UseRealTime();

void JournalReport(benchmark::State& state) {
  UseJournal();
  CSystemLog_Win log;
  log.Open(kSource);
  for (auto _ : state) log.Report(10471, 1, NewText());
}
BENCHMARK(JournalReport)->Name("Events/report, journal/ondrel")->UseRealTime();

void PlainJournalReport(benchmark::State& state) {
  UseJournal();
  for (auto _ : state) {
    const std::string text = NewText();
    const int outcome =
        sd_journal_send("MESSAGE=%s", text.c_str(), "PRIORITY=%d", 3, "SYSLOG_IDENTIFIER=%s",
                        kSource, "ONDREL_EVENT_ID=%u", 0x200028E7u, "ONDREL_EVENT_TYPE=%d", 1,
                        "ONDREL_STRING_1=%s", text.c_str(), nullptr);
    if (outcome != 0) state.SkipWithError("not sent");
  }
}
BENCHMARK(PlainJournalReport)->Name("Events/report, journal/sd-journal")->UseRealTime();

// A reader of a log, put back at will to the moment at which it was opened. Copies share what the
// reader holds, so that neither is ever closed.
class RepeatedReader {
public:
  explicit RepeatedReader(const char* log) { m_opened.Open(log, {kSource}); }

  // What other benchmarks have reported since then is left.
  std::size_t ReadAll() {
    m_reader = m_opened;
    std::size_t count = 0;
    for (auto events = m_reader.ReadEvents(); !events.empty(); events = m_reader.ReadEvents()) {
      count += events.size();
      if (count >= kRecords) break;
    }
    return count;
  }

private:
  CSystemLogReader_Win m_opened;
  CSystemLogReader_Win m_reader;
};

// One reader for all runs, of a log with this many records after its watermark.
RepeatedReader& FilledReader(bool isJournal) {
  if (isJournal) UseJournal();
  static const Folder folder;
  if (!isJournal) Ondrel::Host::UseEventStore(folder / "events.db");
  CSystemLog_Win log;
  log.Open(kSource);
  log.Report(10471, 1, NewText());
  if (isJournal) Ondrel::Testing::JournalDaemon::Sync();
  auto* const reader = new RepeatedReader(kSource);
  for (int i = 0; i < kRecords; ++i) log.Report(10471, 1, NewText());
  if (isJournal) Ondrel::Testing::JournalDaemon::Sync();
  return *reader;
}

void Read(benchmark::State& state, RepeatedReader& reader) {
  std::size_t count = 0;
  for (auto _ : state) count = reader.ReadAll();
  if (count < kRecords) state.SkipWithError("records are missing");
}

void StoreRead(benchmark::State& state) {
  static RepeatedReader& reader = FilledReader(false);
  Read(state, reader);
}
BENCHMARK(StoreRead)->Name("Events/read 20000, store/ondrel")->UseRealTime();

void PlainRead(benchmark::State& state) {
  static const Folder folder;
  static PlainDatabase database(folder / "plain.db");
  static const bool isFilled = [] {
    for (int i = 0; i <= kRecords; ++i) database.Report();
    return true;
  }();
  std::size_t count = 0;
  for (auto _ : state) count = database.Read(1).size();
  if (!isFilled || count != kRecords) state.SkipWithError("records are missing");
}
BENCHMARK(PlainRead)->Name("Events/read 20000, store/SQLite")->UseRealTime();

constexpr std::uint64_t kMillion = 1'000'000;

// A store of so many records, made once.
const std::string& StoreOf(std::uint64_t count) {
  static const Folder folder;
  static std::map<std::uint64_t, std::string> paths;
  std::string& path = paths[count];
  if (path.empty()) {
    const std::string file = folder / (std::to_string(count) + ".db").c_str();
    Check(Ondrel::Host::UseEventStore(file, std::uint64_t{4} << 30), "no store");
    Ondrel::Host::CEventLogImport import;
    Check(import.Open(kSource) == 0, "import");
    std::vector<Ondrel::Host::EventLogRecord> records(5000);
    for (std::uint64_t added = 0; added < count; added += records.size()) {
      for (Ondrel::Host::EventLogRecord& record : records) {
        record.timeGenerated = record.timeWritten = 1700000000;
        record.eventID = 0x200028E7;
        record.eventType = 1;
        record.source = kSource;
        record.computer = "bench";
        record.strings = {NewText()};
      }
      Check(import.Add(records) == 0, "import");
    }
    path = file;
  }
  Ondrel::Host::UseEventStore(path, std::uint64_t{4} << 30);
  return path;
}

// The library that the command uses: this program holds its objects without the message table.
std::string LibraryFile() { return ONDREL_LIBRARY_FILE; }

// The library's own speed, texts formatted.
void ReadRecords(benchmark::State& state, std::uint64_t expected) {
  StoreOf(expected);
  for (auto _ : state) {
    Ondrel::Host::CEventLogReader reader;
    Check(reader.Open(kSource) == 0, "open");
    reader.GetMessageResources(LibraryFile());
    std::vector<Ondrel::Host::EventLogItem> items;
    std::uint64_t count = 0;
    do {
      Check(reader.Read(items) == 0, "read");
      for (const Ondrel::Host::EventLogItem& item : items) count += item.record.number > 0 ? 1 : 0;
    } while (!items.empty());
    if (count != expected) state.SkipWithError("records are missing");
  }
}
void ReadMillion(benchmark::State& state) { ReadRecords(state, kMillion); }

void RunOver(benchmark::State& state, std::uint64_t records, const std::string& arguments) {
  const std::string command = std::string(ONDREL_COMMAND " --store ") + StoreOf(records) + " log " +
                              arguments + " >/dev/null 2>&1";
  for (auto _ : state)
    if (std::system(command.c_str()) != 0) state.SkipWithError("the command failed");
}

void ShowMillion(benchmark::State& state) { RunOver(state, kMillion, "show Bench"); }
void FollowMillion(benchmark::State& state) {
  RunOver(state, kMillion, "follow Bench --from-start --count 1000000");
}
void ExportMillion(benchmark::State& state) { RunOver(state, kMillion, "export Bench"); }

BENCHMARK(ShowMillion)
    ->Name("Events/log show 1000000/ondrel")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(ReadMillion)
    ->Name("Events/log show 1000000/library")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(FollowMillion)
    ->Name("Events/log follow 1000000/ondrel")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(ReadMillion)
    ->Name("Events/log follow 1000000/library")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(ExportMillion)
    ->Name("Events/log export 1000000/ondrel")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(ReadMillion)
    ->Name("Events/log export 1000000/library")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

void ShowRecords(benchmark::State& state, std::uint64_t count) {
  RunOver(state, count, "show Bench");
}

BENCHMARK_CAPTURE(ReadRecords, growth1, 10'000)
    ->Name("Growth/records read, 10000 and more/1")
    ->UseRealTime();
BENCHMARK_CAPTURE(ReadRecords, growth10, 100'000)
    ->Name("Growth/records read, 10000 and more/10")
    ->UseRealTime();
BENCHMARK_CAPTURE(ReadRecords, growth100, kMillion)
    ->Name("Growth/records read, 10000 and more/100")
    ->UseRealTime();
BENCHMARK_CAPTURE(ShowRecords, growth1, 10'000)
    ->Name("Growth/records shown, a process, 10000 and more/1")
    ->UseRealTime();
BENCHMARK_CAPTURE(ShowRecords, growth10, 100'000)
    ->Name("Growth/records shown, a process, 10000 and more/10")
    ->UseRealTime();
BENCHMARK_CAPTURE(ShowRecords, growth100, kMillion)
    ->Name("Growth/records shown, a process, 10000 and more/100")
    ->UseRealTime();

struct CloseJournal {
  void operator()(sd_journal* journal) const { sd_journal_close(journal); }
};
using Journal = std::unique_ptr<sd_journal, CloseJournal>;

std::string_view Field(const Journal& journal, std::string_view name) {
  const void* data = nullptr;
  std::size_t length = 0;
  if (sd_journal_get_data(journal.get(), name.data(), &data, &length) < 0) return {};
  return std::string_view(static_cast<const char*>(data), length).substr(name.size() + 1);
}

// What a program would write that wants the same of every entry.
bool NextEvent(const Journal& journal, CSystemEvent_Win& event) {
  if (sd_journal_next(journal.get()) <= 0) return false;
  char* cursor = nullptr;
  Check(sd_journal_get_cursor(journal.get(), &cursor) == 0, "cursor");
  const char* const number = std::strstr(cursor, "i=");
  event.recordNumber = static_cast<Ondrel::ULong>(std::strtoull(number + 2, nullptr, 16));
  std::free(cursor);
  std::uint64_t time = 0;
  sd_journal_get_realtime_usec(journal.get(), &time);
  event.timeGenerated = static_cast<Ondrel::ULong>(time / 1000000);
  event.eventID = static_cast<Ondrel::ULong>(
      std::strtoul(std::string(Field(journal, "ONDREL_EVENT_ID")).c_str(), nullptr, 10) & 0xFFFF);
  event.eventType = static_cast<Ondrel::ULong>(
      std::strtoul(std::string(Field(journal, "ONDREL_EVENT_TYPE")).c_str(), nullptr, 10));
  event.args = {std::string(Field(journal, "ONDREL_STRING_1"))};
  return true;
}

void JournalRead(benchmark::State& state) {
  static RepeatedReader& reader = FilledReader(true);
  Read(state, reader);
}
BENCHMARK(JournalRead)->Name("Events/read 20000, journal/ondrel")->UseRealTime();

void PlainJournalRead(benchmark::State& state) {
  UseJournal();
  CSystemLog_Win log;
  log.Open(kSource);
  sd_journal* opened = nullptr;
  Check(sd_journal_open(&opened, SD_JOURNAL_LOCAL_ONLY) == 0, "sd_journal_open");
  const Journal journal(opened);
  sd_journal_get_fd(journal.get());
  static const std::string start = [&journal] {
    Ondrel::Testing::JournalDaemon::Sync();
    sd_journal_seek_tail(journal.get());
    sd_journal_previous(journal.get());
    char* cursor = nullptr;
    sd_journal_get_cursor(journal.get(), &cursor);
    std::string place = cursor;
    std::free(cursor);
    return place;
  }();
  static const bool isFilled = [&log] {
    for (int i = 0; i < kRecords; ++i) log.Report(10471, 1, NewText());
    Ondrel::Testing::JournalDaemon::Sync();
    return true;
  }();
  std::size_t count = 0;
  for (auto _ : state) {
    count = 0;
    std::vector<CSystemEvent_Win> events;
    sd_journal_process(journal.get());
    sd_journal_seek_cursor(journal.get(), start.c_str());
    sd_journal_next(journal.get());
    CSystemEvent_Win event;
    while (events.size() < kRecords && NextEvent(journal, event))
      if (Field(journal, "SYSLOG_IDENTIFIER") == kSource) events.push_back(event);
    count = events.size();
  }
  if (!isFilled || count != kRecords) state.SkipWithError("records are missing");
}
BENCHMARK(PlainJournalRead)->Name("Events/read 20000, journal/sd-journal")->UseRealTime();

}  // namespace
