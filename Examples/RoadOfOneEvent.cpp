#include <Ondrel/Ondrel.h>
#include <Pirsk/Exceptions.h>

#include <cstdlib>
#include <iostream>

// A physical drive fails: find the event, write it to the event log, mail it, read it back. The
// argument is the port of a mail server on this machine; without one it is 25.
int main(int argumentCount, char** arguments) try {
  Ondrel::Host::UseEventStore("events.db");

  Ondrel::CStateChangeEvent event{};
  if (!Ondrel::FindStatusTransitionPD({Ondrel::kStatusOperational, Ondrel::kStatusFailed}, event))
    return 1;

  Ondrel::CSystemLog_Win log;
  log.Open("Example");
  log.Report(10002, Ondrel::kEventTypeInformation, "Example started");

  Ondrel::CSystemLogReader_Win reader;
  reader.Open("Example", {"Example"});
  reader.GetMessageResources(Ondrel::Host::LibraryPath());
  log.Report(event.EventCode, Ondrel::kEventTypeError,
             "PD 3: status changed from OPERATIONAL to FAILED");

  Ondrel::CSmtp mail;
  const int port = argumentCount > 1 ? std::atoi(arguments[1]) : 25;
  mail.SetServer("localhost", static_cast<unsigned short>(port));
  mail.SetFrom("raid@example.com");
  mail.AddTO("admin@example.com");
  mail.SetSubject("PD 3 failed");
  const bool isSent = mail.Send();
  if (!isSent) std::cerr << "Mail not sent: error " << mail.GetLastError() << '\n';

  for (const Ondrel::CSystemEvent_Win& record : reader.ReadEvents())
    std::cout << record.str() << '\n';
  return isSent ? 0 : 1;
} catch (unsigned int number) {
  Pirsk::Exceptions::PrintError(std::cerr, number);
  return 3;
}
