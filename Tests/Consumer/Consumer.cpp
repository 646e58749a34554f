// What a host program does with the installed library. Exit status 0 when all of it works.

#include <Ondrel/Ondrel.h>
#include <Pirsk/Exceptions.h>

#include <cstdio>
#include <string>
#include <vector>

namespace {

int g_failures = 0;

void Check(bool holds, const char* what) {
  std::printf("%s: %s\n", holds ? "ok" : "FAILED", what);
  if (!holds) ++g_failures;
}

unsigned int NumberRaisedByEmptyName() {
  Ondrel::CSystemLog_Win log;
  try {
    log.Open("");
  } catch (unsigned int number) {
    return number;
  }
  return 0;
}

}  // namespace

int main(int argumentCount, char** arguments) {
  if (argumentCount != 2) {
    std::fprintf(stderr, "usage: consumer STORE-FILE\n");
    return 2;
  }
  Check(Ondrel::Host::UseEventStore(arguments[1]), "choose the event store");

  Ondrel::CStateChangeEvent event{};
  Check(Ondrel::FindStatusTransitionPD({Ondrel::kStatusOperational, Ondrel::kStatusFailed}, event),
        "a failed drive has an event");
  Check(event.EventCode == 10471 && event.Severity == 4, "event 10471, severity 4");

  Check(NumberRaisedByEmptyName() == Ondrel::kInvalidParameter,
        "an empty log name is raised across the library");
  Check(Pirsk::Exceptions::ReportOf(Ondrel::kInvalidParameter).text == "Invalid parameter",
        "and has its text");
  {
    const Pirsk::Threading::CRaisingSwitchedOff off;
    Ondrel::CSystemLog_Win log;
    Check(log.Report(event.EventCode, 1, "not opened") == 1, "switched-off raising lets it pass");
  }

  Ondrel::CSystemLog_Win log;
  Check(log.Open("consumer") == 1, "open the log");
  Check(log.Report(event.EventCode, 1, "before the reader") == 1, "report");
  Ondrel::CSystemLogReader_Win reader;
  Check(reader.GetMessageResources(Ondrel::Host::LibraryPath()) == 1, "load the messages");
  Check(reader.Open("consumer", {"consumer"}) == 1, "open the reader");
  Check(log.Report(event.EventCode, 1, "PD 3 failed") == 1, "report again");
  const std::vector<Ondrel::CSystemEvent_Win> events = reader.ReadEvents();
  Check(events.size() == 1 && events[0].eventID == 10471 && events[0].message == "PD 3 failed\r\n",
        "read it back with its text");

  Ondrel::CSmtp mail;
  Check(!mail.AddTO(""), "a recipient without address is refused");
  Check(mail.GetLastError() == Ondrel::CSMTP_ERROR_NO_RECIPIENT_MAIL, "with its number");
  return g_failures == 0 ? 0 : 1;
}
