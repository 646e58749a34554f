#include "Tool/Command.h"
#include "Tool/DriveStatus.h"
#include "Tool/EventRank.h"
#include "Tool/LogRecords.h"
#include "Tool/MailOptions.h"
#include "Tool/Options.h"
#include "Tool/Output.h"
#include "Tool/StandardOutput.h"

#include <Ondrel/Host.h>
#include <Ondrel/SystemLog.h>

#include <chrono>
#include <iostream>
#include <memory>
#include <thread>

namespace Tool {

namespace {

using Clock = std::chrono::steady_clock;

// A host may take a moment to show a record that was just written.
constexpr std::chrono::seconds kReadBackPatience{2};
constexpr std::chrono::milliseconds kReadBackInterval{20};

struct AlertOptions {
  StatusChange change;
  std::string object;
  std::string log;
  bool isTest = false;
  MailOptions mail;
};

/// The path of one status change. A step that fails does not keep the others from happening.
class Alert {
public:
  Alert(const GlobalOptions& globals, const AlertOptions& options)
      : m_globals(globals), m_options(options) {}

  int Run() {
    // The event is written whoever reads what is said of it.
    const WorkComesFirst first;
    const std::optional<Ondrel::CStateChangeEvent> event = FindEvent(m_options.change);
    m_result["status"] = JsonOfChange(m_options.change, event);
    ShowLine("Status change: " + ChangeText(m_options.change) + ": " +
             (event ? EventText(*event) : "there is no event for it"));
    if (event) {
      m_event = *event;
      m_text = (m_options.isTest ? "TEST: " : "") + m_options.object + ": status changed from " +
               StatusName(m_options.change.change.OldStatus) + " to " +
               StatusName(m_options.change.change.NewStatus);
      m_result["test"] = m_options.isTest;
      m_result["text"] = m_text;
      ShowLine("Text: " + m_text);
      TakeSteps();
    } else {
      m_isFailed = true;
    }
    const int status = m_isRaised ? kFailed : m_isFailed ? kNegativeAnswer : kDone;
    m_result["ok"] = status == kDone;
    if (m_globals.json) PrintJson(m_result);
    return status;
  }

private:
  void TakeSteps() {
    // Opened before the event is written: what comes after that is read back.
    Ondrel::Host::CEventLogReader reader;
    bool isReading = false;
    Try("readBack", "Read back", [&] {
      OpenNewRecords(reader);
      isReading = true;
    });
    const bool isWritten = Try("log", "Event log", [&] { WriteEvent(); });
    if (m_options.mail.IsAnyThere()) Mail();
    if (!isReading) return;
    if (!isWritten)
      Fail("readBack", "Read back", "nothing was written");
    else
      Try("readBack", "Read back", [&] { ReadBack(reader); });
  }

  void OpenNewRecords(Ondrel::Host::CEventLogReader& reader) const {
    Ondrel::Host::EventLogRange range;
    range.isNewOnly = true;
    range.sources = {m_options.log};
    CheckLog(reader.Open(m_options.log, range), "cannot read the log " + m_options.log);
  }

  void WriteEvent() {
    const auto type = RankOf(m_event.Severity).eventType;
    const CheckedReport reported = ReportChecked(m_options.log, m_event.EventCode, type, m_text);
    m_result["log"] = {{"ok", true},
                       {"log", m_options.log},
                       {"eventType", int{type}},
                       {"place", JsonOfPlace(reported.place)},
                       {"recordNumber", reported.report.number},
                       {"checked", reported.report.isChecked}};
    ShowLine("Event log: reported to " + m_options.log + " with event type " +
             std::to_string(type) + " " + ReportedWhere(reported));
  }

  // The event is in the log by now, whatever is wrong with the mail's options.
  void Mail() {
    MailContent content;
    content.subject = m_text;
    content.body =
        m_text + "\nEvent log " + OneLine(m_options.log) + ": " + EventText(m_event) + "\n";
    if (m_options.isTest) content.body += "This is a test: no drive has changed its status.\n";
    content.priority = RankOf(m_event.Severity).priority;
    try {
      const MailRoute route = PrepareMail(m_options.mail);
      const MailOutcome outcome = SendMail(route, std::move(content));
      m_result["mail"] = {{"ok", outcome.isSent}};
      m_result["mail"].update(JsonOfOutcome(route, outcome));
      m_isFailed |= !outcome.isSent;
      ShowLine("Mail: " + OutcomeText(route, outcome));
    } catch (const UsageError& error) {
      Fail("mail", "Mail", OneLine(error.what()));
      m_result["mail"]["error"] = error.Details();
    }
  }

  void ReadBack(Ondrel::Host::CEventLogReader& reader) {
    reader.GetMessageResources(Ondrel::Host::LibraryPath());
    const Clock::time_point deadline = Clock::now() + kReadBackPatience;
    std::vector<Ondrel::Host::EventLogItem> items;
    do {
      CheckLog(reader.Read(items), "cannot read the log " + m_options.log);
      for (const Ondrel::Host::EventLogItem& item : items)
        if (IsOurs(item)) return ShowReadBack(item);
      if (items.empty()) std::this_thread::sleep_for(kReadBackInterval);
    } while (Clock::now() < deadline);
    Fail("readBack", "Read back", "the event is not in the log");
  }

  bool IsOurs(const Ondrel::Host::EventLogItem& item) const {
    return item.kind == Ondrel::Host::EventLogItemKind::kRecord &&
           (item.record.eventID & 0xFFFF) == static_cast<Ondrel::ULong>(m_event.EventCode) &&
           item.record.strings == std::vector<std::string>{m_text};
  }

  void ShowReadBack(const Ondrel::Host::EventLogItem& item) {
    m_result["readBack"] = {{"ok", true}, {"record", JsonOfRecord(item.record)}};
    ShowLine("Read back: " + RecordLine(item.record));
  }

  template <class Step>
  bool Try(const char* name, const std::string& title, Step step) {
    try {
      step();
      return true;
    } catch (const Failure& error) {
      m_isRaised = true;
      m_result[name] = {{"ok", false}, {"error", error.Details()}};
      ShowLine(title + ": failed");
      Say(error.what());
      return false;
    } catch (unsigned int number) {
      m_isRaised = true;
      m_result[name] = {{"ok", false}, {"error", JsonOfError(number)}};
      ShowLine(title + ": an error was raised");
      PrintErrorReport(number);
      return false;
    }
  }

  void Fail(const char* name, const std::string& title, const std::string& reason) {
    m_isFailed = true;
    m_result[name] = {{"ok", false}, {"reason", reason}};
    ShowLine(title + ": failed, " + reason);
  }

  void ShowLine(const std::string& line) const {
    if (!m_globals.json) std::cout << line << std::endl;
  }

  const GlobalOptions& m_globals;
  const AlertOptions& m_options;
  Ondrel::CStateChangeEvent m_event{};
  std::string m_text;
  bool m_isFailed = false;
  bool m_isRaised = false;
  Json m_result = Json::object();
};

}  // namespace

Work AddAlertCommand(CLI::App& app) {
  app.footer(
      "Mail is sent when one of its options is given; --server, --mail-from and --to are then "
      "required. A step that fails does not keep the others from happening, and a mail option "
      "that cannot be used fails the mail after the event is in the log.\n"
      "Exit status: 0 all steps worked, 1 there is no event or a step failed, 3 an error was "
      "raised in a step, the event was not kept, or the answer could not be written after all "
      "steps (\"cannot write to standard output\").\n");
  const auto options = std::make_shared<AlertOptions>();
  AddStatusChange(app, options->change);
  app.add_option("--object", options->object, "What changed, such as \"PD 3 (slot 7)\"")
      ->required()
      ->type_name("TEXT")
      ->check(IsOneLine());
  app.add_option("--log", options->log, "Event log to write to")->required()->type_name("LOG");
  AddFlag(app, "--test", options->isTest, "Mark the event and the mail as a test, in their texts");
  AddMailOptions(app, options->mail, true);
  return [options](const GlobalOptions& globals) { return Alert(globals, *options).Run(); };
}

}  // namespace Tool
