#include <Ondrel/Ondrel.h>
#include <Pirsk/Exceptions.h>

#include <cstdlib>
#include <iostream>
#include <poll.h>
#include <string>
#include <vector>

namespace {

using namespace Ondrel;

const std::string kLog = "RAID";
const std::string kText = "PD 3: status changed from OPERATIONAL to FAILED";

// The operations of Ondrel/Host.h raise nothing: they yield 0 or the host's error number.
bool Succeeds(const char* what, ULong error) {
  if (error != 0) std::cerr << what << ": " << Host::EventLogErrorText(error) << '\n';
  return error == 0;
}

// Raising is on: what cannot be done is thrown, as an unsigned int.
bool WriteEvent(CSystemLog_Win& log) {
  CStateChangeEvent event{};
  if (!FindStatusTransitionPD({kStatusOperational, kStatusFailed}, event)) return false;
  try {
    log.Open(kLog);
    log.Report(event.EventCode, kEventTypeError, kText);
    log.Open(kLog);  // A mistake, to have something to catch.
  } catch (unsigned int number) {
    Pirsk::Exceptions::PrintError(std::cout, number);
    return number == kSystemLogAlreadyOpened;
  }
  return true;
}

// Raising is off on this thread: what cannot be done is kept, and work goes on.
std::size_t WriteToClosedLog() {
  Pirsk::Exceptions::ForgetErrors();
  const Pirsk::Threading::CRaisingSwitchedOff raisingIsOff;
  CSystemLog_Win closed;
  closed.Report(10002, kEventTypeInformation, "Service started");
  const std::vector<Pirsk::Exceptions::CErrorReport> passed = Pirsk::Exceptions::PassedErrors();
  for (const Pirsk::Exceptions::CErrorReport& report : passed)
    std::cout << "passed over: " << report.text << '\n';
  return passed.size();
}

// Mail raises nothing either: the answer is a bool, the reason a number and the server's own words.
bool SendMail(unsigned short port) {
  CSmtp mail;
  mail.SetServer("localhost", port);
  mail.SetTimeout(60'000);
  mail.SetFrom("raid@example.com", "RAID service");
  mail.AddTO("admin@example.com");
  mail.SetSubject("PD 3 failed");
  mail.SetMessageBody(kText);
  const bool isSent = mail.Send();
  if (!isSent)
    std::cerr << "mail: error " << mail.GetLastError() << ' ' << mail.GetServerAnswer() << '\n';
  return isSent;
}

// The program's own loop: the log's descriptor stands beside those that it waits for anyway.
bool FollowOneEvent(Host::CEventLogReader& reader, Host::CEventLogWait& wait) {
  pollfd waiting[] = {{static_cast<int>(wait.Handle()), POLLIN, 0}};
  std::vector<Host::EventLogItem> items;
  for (;;) {
    // Before the read: what comes meanwhile shows at the next poll.
    wait.Reset();
    if (!Succeeds("reading", reader.Read(items))) return false;
    for (const Host::EventLogItem& item : items) {
      if (item.kind != Host::EventLogItemKind::kRecord) continue;  // Missed, damaged or replaced.
      std::cout << "followed: " << item.record.message;  // It ends in a line feed of its own.
      return true;
    }
    if (poll(waiting, 1, 60'000) == 0) return false;
  }
}

}  // namespace

// Exit status 0 when all of it works. The argument is the port of a mail server on this machine.
int main(int argumentCount, char** arguments) {
  if (argumentCount != 2) return 2;
  if (!Host::UseEventStore("events.db")) return 3;

  Host::CEventLogWait wait;
  Host::CEventLogReader reader;
  if (!Succeeds("waiting", wait.Open(kLog)) || !Succeeds("reading", reader.Open(kLog)) ||
      !Succeeds("texts", reader.GetMessageResources(Host::LibraryPath())))
    return 3;

  CSystemLog_Win log;
  const bool isWritten = WriteEvent(log);
  const bool isPassedOver = WriteToClosedLog() == 1;
  const bool isFollowed = FollowOneEvent(reader, wait);
  const bool isSent = SendMail(static_cast<unsigned short>(std::atoi(arguments[1])));
  if (isSent) std::cout << "mail sent\n";
  return isWritten && isPassedOver && isFollowed && isSent ? 0 : 1;
}
