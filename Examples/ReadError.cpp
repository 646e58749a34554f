#include <Ondrel/Ondrel.h>
#include <Pirsk/Exceptions.h>
#include <Pirsk/ModuleInfo.h>
#include <Pirsk/Trace.h>

#include <iostream>

namespace {

// The folder does not exist, so that the log cannot be opened.
void OpenLog() {
  Ondrel::Host::UseEventStore("/no/such/folder/events.db");
  Ondrel::CSystemLog_Win log;
  log.Open("Example");
}

}  // namespace

// Follows the library's work in a trace file and reads its errors, caught or passed over.
int main() try {
  Pirsk::Trace::SetSink(Pirsk::Trace::RotatingFileSink("trace.log", 1024 * 1024, 3));
  Pirsk::Misc::SetTraceMask(Ondrel::kModuleNumber, Pirsk::Misc::kTraceError |
                                                       Pirsk::Misc::kTraceEntry |
                                                       Pirsk::Misc::kTraceDetail);

  try {
    OpenLog();
  } catch (unsigned int number) {
    const Pirsk::Exceptions::CErrorReport report = Pirsk::Exceptions::ReportOf(number);
    std::cout << "caught: " << report.text;
    if (report.hostError) std::cout << ", system error " << *report.hostError;
    std::cout << "\n\n";
    Pirsk::Exceptions::PrintError(std::cout, number);
  }

  Pirsk::Exceptions::ForgetErrors();
  const Pirsk::Threading::CRaisingSwitchedOff raisingIsOff;
  Ondrel::CSystemLog_Win closed;
  closed.Report(10002, Ondrel::kEventTypeInformation, "");
  for (const Pirsk::Exceptions::CErrorReport& report : Pirsk::Exceptions::PassedErrors())
    std::cout << "\npassed: " << report.str();

  Ondrel::CSmtp mail;
  mail.AddTO("");
} catch (const std::exception& error) {
  std::cerr << error.what() << '\n';
  return 1;
}
