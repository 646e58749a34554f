#include "Tool/Command.h"
#include "Tool/Failure.h"
#include "Tool/Host/StandardInput.h"
#include "Tool/Lines.h"
#include "Tool/LogRecords.h"
#include "Tool/Options.h"
#include "Tool/Output.h"
#include "Tool/Progress.h"

#include <Pirsk/Strings.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <fstream>
#include <iostream>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <streambuf>
#include <string>
#include <system_error>
#include <vector>

namespace Tool {

namespace {

using Ondrel::Host::CEventLogImport;
using Ondrel::Host::CEventLogReader;
using Ondrel::Host::EventLogItem;
using Ondrel::Host::EventLogItemKind;
using Ondrel::Host::EventLogPlace;
using Ondrel::Host::EventLogRecord;

constexpr std::string_view kDigits =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

std::string Base64(std::string_view bytes) {
  std::string text;
  while (!bytes.empty()) {
    const std::size_t taken = std::min<std::size_t>(bytes.size(), 3);
    std::uint32_t group = 0;
    for (std::size_t i = 0; i < 3; ++i)
      group = group << 8 | (i < taken ? static_cast<unsigned char>(bytes[i]) : 0u);
    for (std::size_t i = 0; i < 4; ++i)
      text += i <= taken ? kDigits[group >> (18 - 6 * i) & 0x3F] : '=';
    bytes.remove_prefix(taken);
  }
  return text;
}

std::optional<std::string> BytesOfBase64(std::string_view text) {
  if (text.size() % 4 != 0) return std::nullopt;
  std::string bytes;
  while (!text.empty()) {
    const std::string_view quad = text.substr(0, 4);
    text.remove_prefix(4);
    const std::size_t used = std::min(quad.find('='), quad.size());
    if (used < 2 ||
        (used < 4 && (!text.empty() || quad.substr(used).find_first_not_of('=') != quad.npos)))
      return std::nullopt;
    std::uint32_t group = 0;
    for (std::size_t i = 0; i < 4; ++i) {
      const std::size_t digit = i < used ? kDigits.find(quad[i]) : 0;
      if (digit == kDigits.npos) return std::nullopt;
      group = group << 6 | static_cast<std::uint32_t>(digit);
    }
    for (std::size_t i = 0; i + 1 < used; ++i)
      bytes += static_cast<char>(group >> (16 - 8 * i) & 0xFF);
  }
  return bytes;
}

// A text as it is; what is not UTF-8 as {"base64": ...}, so that nothing is lost.
void AppendText(std::string& line, const std::string& text) {
  if (AppendPlainJson(line, text)) return;
  if (Pirsk::Strings::UTF8length(text) != std::numeric_limits<std::size_t>::max())
    AppendJson(line, text);
  else
    line.append("{\"base64\":\"").append(Base64(text)).append("\"}");
}

class Exporter {
public:
  explicit Exporter(const std::string& log)
      : m_head("{\"jsonVersion\":" + std::to_string(kJsonVersion) + ",\"log\":") {
    AppendText(m_head, log);
    m_head.append(",\"recordNumber\":");
  }

  void Add(const EventLogRecord& record) {
    m_text.append(m_head);
    AppendNumber(m_text, record.number);
    SetOrigin(record);
    m_text.append(m_origin);
    for (std::size_t i = 0; i < record.strings.size(); ++i) {
      if (i > 0) m_text.append(",");
      AppendText(m_text, record.strings[i]);
    }
    m_text.append("]");
    if (!record.data.empty())
      m_text.append(",\"data\":\"").append(Base64(record.data)).append("\"");
    m_text.append("}\n");
  }

  bool WriteTo(std::ostream& output) {
    output.write(m_text.data(), static_cast<std::streamsize>(m_text.size()));
    m_text.clear();
    return static_cast<bool>(output);
  }

private:
  // What stands between the number and the texts: mostly as in the line before.
  void SetOrigin(const EventLogRecord& record) {
    const std::array<Ondrel::ULong, 5> numbers = {record.timeGenerated, record.timeWritten,
                                                  record.eventID, record.eventType,
                                                  record.category};
    if (!m_origin.empty() && numbers == m_numbers && record.source == m_source &&
        record.computer == m_computer)
      return;
    m_numbers = numbers;
    m_source = record.source;
    m_computer = record.computer;
    m_origin.clear();
    constexpr std::array kNames = {"timeGenerated", "timeWritten", "eventID", "eventType",
                                   "category"};
    for (std::size_t i = 0; i < numbers.size(); ++i) {
      m_origin.append(",\"").append(kNames[i]).append("\":");
      AppendNumber(m_origin, numbers[i]);
    }
    m_origin.append(",\"source\":");
    AppendText(m_origin, m_source);
    m_origin.append(",\"computer\":");
    AppendText(m_origin, m_computer);
    m_origin.append(",\"strings\":[");
  }

  std::string m_head;  // What every line begins with.
  std::string m_origin;
  std::array<Ondrel::ULong, 5> m_numbers{};
  std::string m_source;
  std::string m_computer;
  std::string m_text;
};

// What the host says of an error number of its own, where it gave one.
std::string ReasonOf(int number) {
  return number != 0 ? std::generic_category().message(number) : "the host gives no reason";
}

struct ExportOptions {
  RecordChoice choice;
  std::string output;
};

int ExportLog(const GlobalOptions& globals, const ExportOptions& options) {
  const RecordFilter filter(options.choice);
  const EventLogPlace place = KnownPlace();
  Say("exporting " + options.choice.log + " of " + PlaceText(place));
  const Progress progress("exporting " + OneLine(options.choice.log));
  const std::string what = "cannot read the log " + options.choice.log;
  CEventLogReader reader;
  CheckLog(reader.Open(options.choice.log, RangeOf(options.choice, place)), what);
  std::ofstream file;
  if (!options.output.empty()) {
    errno = 0;
    file.open(options.output, std::ios::binary | std::ios::trunc);
    if (!file) throw HostFailure("cannot write to " + options.output, ReasonOf(errno));
  }
  std::ostream& output = options.output.empty() ? std::cout : file;
  Exporter exporter(options.choice.log);
  std::vector<EventLogItem> items;
  bool isAnythingMissing = false;
  std::uint64_t count = 0;
  for (;;) {
    const Ondrel::ULong error = reader.Read(items);
    if (error != 0) output.flush();
    CheckLog(error, what + " after " + std::to_string(count) + " records");
    if (items.empty()) break;
    for (const EventLogItem& item : items) {
      if (item.kind != EventLogItemKind::kRecord) {
        Say(NoteText(options.choice.log, item));
        isAnythingMissing = true;
      } else if (filter.Wants(item.record)) {
        exporter.Add(item.record);
        ++count;
      }
    }
    if (!exporter.WriteTo(output)) break;
  }
  errno = 0;
  if (!output.flush()) {
    throw HostFailure(
        "cannot write all records to " +
            (options.output.empty() ? std::string("standard output") : options.output),
        ReasonOf(errno));
  }
  if (count == 0 && !isAnythingMissing) ExpectLog(options.choice.log, place);
  Say("exported " + std::to_string(count) + " records");
  if (isAnythingMissing) {
    const std::string words = "records of " + options.choice.log + " are damaged or missing";
    if (!globals.json) return kNegativeAnswer;
    // On standard output it follows the records; an import knows it.
    throw Failure(
        kNegativeAnswer, words,
        {{"kind", "answer"}, {"number", nullptr}, {"name", "RECORDS_MISSING"}, {"text", words}});
  }
  if (globals.json && !options.output.empty())
    PrintJson({{"exported", count}, {"output", options.output}, {"place", JsonOfPlace(place)}});
  return kDone;
}

struct ImportOptions {
  std::string file;
  std::string log;
  bool isRenumbered = false;
};

// Reads a text of an exported record.
bool TakeText(const ReadJson& value, std::string& text) {
  if (value.is_string()) {
    text = value.get<std::string>();
    return text.find('\0') == text.npos;
  }
  if (!value.is_object() || !value.contains("base64") || !value["base64"].is_string()) return false;
  std::optional<std::string> bytes = BytesOfBase64(value["base64"].get<std::string>());
  if (!bytes || bytes->find('\0') != bytes->npos) return false;
  text = std::move(*bytes);
  return true;
}

// Reads an exported record; the words say what is wrong with it.
std::string TakeRecord(const ReadJson& line, std::string& log, EventLogRecord& record) {
  if (!line.is_object()) return "it is not a JSON object";
  if (line.contains("jsonVersion") && line["jsonVersion"] != kJsonVersion) {
    const ReadJson& version = line["jsonVersion"];
    return "it is of another version, " + (version.is_number() ? version.dump() + ", " : "") +
           "not " + std::to_string(kJsonVersion);
  }
  if (!line.contains("log") || !TakeText(line["log"], log)) return "\"log\" is not a text";
  constexpr std::uint64_t kMost = std::numeric_limits<Ondrel::ULong>::max();
  constexpr std::uint64_t kMostWord = std::numeric_limits<std::uint16_t>::max();
  std::array<std::uint64_t, 6> numbers{};
  constexpr std::array<std::pair<const char*, std::uint64_t>, 6> kNumbers = {
      {{"recordNumber", kMost},
       {"timeGenerated", kMost},
       {"timeWritten", kMost},
       {"eventID", kMost},
       {"eventType", kMostWord},
       {"category", kMostWord}}};
  for (std::size_t i = 0; i < kNumbers.size(); ++i) {
    const auto& [name, most] = kNumbers[i];
    if (!line.contains(name) || !line[name].is_number_unsigned() ||
        line[name].get<std::uint64_t>() > most)
      return std::string("\"") + name + "\" is not a number of 0 to " + std::to_string(most);
    numbers[i] = line[name].get<std::uint64_t>();
  }
  record.number = numbers[0];
  record.timeGenerated = static_cast<Ondrel::ULong>(numbers[1]);
  record.timeWritten = static_cast<Ondrel::ULong>(numbers[2]);
  record.eventID = static_cast<Ondrel::ULong>(numbers[3]);
  record.eventType = static_cast<Ondrel::ULong>(numbers[4]);
  record.category = static_cast<Ondrel::ULong>(numbers[5]);
  if (!line.contains("source") || !TakeText(line["source"], record.source))
    return "\"source\" is not a text";
  if (!line.contains("computer") || !TakeText(line["computer"], record.computer))
    return "\"computer\" is not a text";
  if (!line.contains("strings") || !line["strings"].is_array()) return "\"strings\" is not a list";
  for (const ReadJson& text : line["strings"])
    if (!TakeText(text, record.strings.emplace_back())) return "\"strings\" has what is not a text";
  if (line.contains("data")) {
    std::optional<std::string> data;
    if (line["data"].is_string()) data = BytesOfBase64(line["data"].get<std::string>());
    if (!data) return "\"data\" is not Base64";
    record.data = std::move(*data);
  }
  return {};
}

// A later version may write more of a record: what of it is left out is said once.
void NoteUnknownMembers(const ReadJson& line, std::uint64_t number) {
  constexpr std::array kMembers = {"jsonVersion", "log",      "recordNumber", "timeGenerated",
                                   "timeWritten", "eventID",  "eventType",    "category",
                                   "source",      "computer", "strings",      "data"};
  static bool isSaid = false;
  for (const auto& [name, value] : line.items()) {
    if (isSaid || std::ranges::find(kMembers, name) != kMembers.end()) continue;
    Say("line " + std::to_string(number) + ": \"" + OneLine(name) +
        "\" is not known and is left out, here and in further lines");
    isSaid = true;
  }
}

// The last line of an export that failed, under --json.
bool IsFailureOfExport(const ReadJson& line) {
  return line.is_object() && line.contains("error") && line["error"].is_object() &&
         line.contains("exitStatus") && !line.contains("log");
}

std::string WordsOfFailure(const ReadJson& line) {
  const ReadJson& error = line["error"];
  const bool hasWords = error.contains("text") && error["text"].is_string();
  return hasWords ? OneLine(error["text"].get<std::string>()) : "it failed";
}

/// Standard input for a stream. `std::cin` takes a failure for the end.
class StandardInputBuffer : public std::streambuf {
public:
  const std::error_code& Failure() const { return m_failure; }

protected:
  int_type underflow() override {
    try {
      const std::size_t size = ReadStandardInput(m_bytes.data(), m_bytes.size());
      setg(m_bytes.data(), m_bytes.data(), m_bytes.data() + size);
      return size == 0 ? traits_type::eof() : traits_type::to_int_type(m_bytes.front());
    } catch (const std::system_error& error) {
      m_failure = error.code();
      throw;  // The stream takes it for its bad state.
    }
  }

private:
  std::array<char, 65536> m_bytes;
  std::error_code m_failure;
};

/// The lines of a text, with a bound on memory. What is longer than any record is not read.
class TextLines {
public:
  explicit TextLines(std::istream& input) : m_input(input), m_line(kLongestLine + 1) {}

  /// The next line without its end; nothing at the end of the text, at a line that is too long and
  /// where it cannot be read.
  std::optional<std::string_view> Next() {
    m_input.getline(m_line.data(), static_cast<std::streamsize>(m_line.size()));
    const auto size = static_cast<std::size_t>(m_input.gcount());
    if (m_input.fail()) return std::nullopt;
    // The end of a line is counted, that of the text is not there.
    std::string_view line(m_line.data(), m_input.eof() ? size : size - 1);
    if (line.ends_with('\r')) line.remove_suffix(1);
    return line;
  }

  bool IsLineTooLong() const {
    return m_input.fail() && !m_input.bad() &&
           static_cast<std::size_t>(m_input.gcount()) + 1 == m_line.size();
  }

private:
  std::istream& m_input;
  std::vector<char> m_line;
};

/// Adds records in steps: what was kept is known at any moment.
class Importer {
public:
  explicit Importer(const ImportOptions& options) : m_options(options) {}

  void Add(const std::string& log, EventLogRecord record) {
    const std::string& name = m_options.log.empty() ? log : m_options.log;
    if (m_options.isRenumbered) record.number = 0;
    if (!m_records.empty() && name != m_name) Keep();
    m_name = name;
    m_records.push_back(std::move(record));
    if (m_records.size() >= kStep) Keep();
  }

  void Keep() {
    if (m_records.empty()) return;
    auto [entry, isNew] = m_logs.try_emplace(m_name);
    if (isNew) CheckLog(entry->second.Open(m_name), "cannot import into the log " + m_name);
    const Ondrel::ULong error = entry->second.Add(m_records);
    if (error == 87)
      throw LogError("the log " + m_name + " has records up to or above number " +
                         std::to_string(m_records.front().number) +
                         " already, or the numbers do not rise; --renumber gives new ones (" +
                         std::to_string(m_kept) + " records were kept)",
                     error);
    CheckLog(error, "records from number " + std::to_string(m_records.front().number) +
                        " on of the log " + m_name + " were not kept (" + std::to_string(m_kept) +
                        " before them were)");
    m_kept += m_records.size();
    m_records.clear();
  }

  std::uint64_t Kept() const { return m_kept; }

  std::uint64_t Dropped() const {
    std::uint64_t dropped = 0;
    for (const auto& [name, log] : m_logs) dropped += log.Dropped();
    return dropped;
  }

private:
  static constexpr std::size_t kStep = 1000;

  const ImportOptions& m_options;
  std::map<std::string, CEventLogImport> m_logs;
  std::string m_name;
  std::vector<EventLogRecord> m_records;
  std::uint64_t m_kept = 0;
};

int ImportRecords(const GlobalOptions& globals, const ImportOptions& options) {
  const EventLogPlace place = KnownPlace();
  std::ifstream file;
  errno = 0;
  const bool isStandardInput = options.file == "-";
  if (!isStandardInput) file.open(options.file, std::ios::binary);
  StandardInputBuffer standardInput;
  std::istream inputStream(&standardInput);
  std::istream& input = isStandardInput ? inputStream : file;
  if (!input) throw UsageError("cannot read " + options.file + ": " + ReasonOf(errno));

  const Progress progress("importing " + OneLine(options.file));
  Importer importer(options);
  std::uint64_t number = 0;
  bool isComplete = true;
  const auto refuse = [&](const std::string& wrong) {
    importer.Keep();
    throw UsageError("line " + std::to_string(number) + " of " + options.file +
                     " is not an exported record: " + wrong + "; " +
                     std::to_string(importer.Kept()) + " records before it were kept");
  };
  TextLines lines(input);
  errno = 0;
  while (const std::optional<std::string_view> text = lines.Next()) {
    ++number;
    if (text->empty()) continue;
    std::string log;
    EventLogRecord record;
    const ReadJson line = ReadJson::parse(*text, nullptr, false);
    if (IsFailureOfExport(line)) {
      Say("line " + std::to_string(number) + ": the export says: " + WordsOfFailure(line));
      isComplete = false;
      continue;
    }
    if (const std::string wrong = TakeRecord(line, log, record); !wrong.empty()) refuse(wrong);
    NoteUnknownMembers(line, number);
    importer.Add(log, std::move(record));
  }
  const std::string reason =
      standardInput.Failure() ? standardInput.Failure().message() : ReasonOf(errno);
  if (lines.IsLineTooLong()) {
    ++number;
    refuse("it is longer than 1 MiB");
  }
  importer.Keep();
  // Opening a folder succeeds on some hosts; reading it then fails.
  if (input.bad() && number == 0 && !isStandardInput)
    throw UsageError("cannot read " + options.file + ": " + reason);
  if (input.bad()) {
    const std::string name = isStandardInput ? "standard input" : options.file;
    throw HostFailure("cannot read " + name + " after line " + std::to_string(number) + "; " +
                          std::to_string(importer.Kept()) + " records before it were kept",
                      reason);
  }
  const std::uint64_t dropped = importer.Dropped();
  if (globals.json)
    PrintJson({{"kept", importer.Kept()},
               {"dropped", dropped},
               {"complete", isComplete},
               {"place", JsonOfPlace(place)}});
  else
    std::cout << "Imported " << importer.Kept() << " records into " << PlaceText(place) << '\n';
  if (dropped > 0)
    Say(std::to_string(dropped) +
        " of the oldest records had to make room: the store is at its capacity");
  return dropped == 0 && isComplete ? kDone : kNegativeAnswer;
}

}  // namespace

Work AddLogExportCommand(CLI::App& app) {
  app.footer(
      "Each line holds one record with all that it says, for 'log import' or another program.\n"
      "TIME is as for 'log show'.\n"
      "Exit status: 1 records are damaged or missing, or there is no such log.\n");
  const auto options = std::make_shared<ExportOptions>();
  AddRecordChoice(app, options->choice);
  app.add_option("--output", options->output, "Write to this file (default: standard output)")
      ->type_name("FILE");
  return [options](const GlobalOptions& globals) { return ExportLog(globals, *options); };
}

Work AddLogImportCommand(CLI::App& app) {
  app.footer(
      "Records keep their numbers, times, sources and computers. The numbers have to lie above "
      "those that a log has given; --renumber gives the next ones instead.\n"
      "Exit status: 1 the oldest records had to make room, or the export says that it is not "
      "complete; 2 a line is not a record.\n");
  const auto options = std::make_shared<ImportOptions>();
  app.add_option("FILE", options->file, "File of 'log export', or - for standard input")
      ->required();
  app.add_option("--log", options->log, "Log for all records (default: each record's own)")
      ->type_name("LOG");
  app.add_flag("--renumber", options->isRenumbered, "Give new record numbers");
  return [options](const GlobalOptions& globals) { return ImportRecords(globals, *options); };
}

}  // namespace Tool
