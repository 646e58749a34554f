#include "Host/DeviceTypes.h"
#include "Host/DrivesOperations.h"
#include "Support/PreparedDevice.h"
#include "Support/PreparedEventLog.h"
#include "Support/PreparedVolumes.h"
#include "Unit/Failures/Scenario.h"

#include <Ondrel/Drives.h>
#include <Ondrel/NVMe.h>
#include <Ondrel/NVMeDevices.h>
#include <Ondrel/NVMeQuery.h>
#include <Ondrel/PartitionTable.h>
#include <Ondrel/SystemLog.h>

#include <array>
#include <cstring>
#include <optional>

namespace Ondrel::Testing {

namespace {

constexpr unsigned char kUntouched = 0x5A;
constexpr unsigned char kAnswered = 0x01;

std::string RunWriter(FailurePlan& plan) {
  PreparedEventLog host;
  const FailingHost failing(plan);
  Outcome outcome;
  std::optional<CSystemLog_Win> writer(std::in_place);
  const std::string name = "A name that is too long for a string without a block of its own";
  // A failed opening may be tried again; a successful one is not repeated.
  outcome.Add("open", [&] { return writer->Open(name); });
  outcome.Add("open", [&] { return writer->Open(name); });
  outcome.Add("report", [&] { return writer->Report(10002, 4, "text"); });
  outcome.Add("close", [&] { return writer->Close(); });
  outcome.Add("open", [&] { return writer->Open(name); });
  writer.reset();
  return outcome.Text();
}

Scenario Writer() {
  const std::string outcome = "open 1, open 0x20050001, report 1, close 1, open 1";
  return {
      .name = "CSystemLog_Win",
      .outcome = outcome,
      .failures =
          {
              {"OpenEventLogA#1", "open 0x20050003, open 1, report 1, close 1, open 1"},
              {"OpenEventLogA#2", "open 1, open 0x20050001, report 1, close 1, open 0x20050003"},
              {"RegisterEventSourceA#1", "open 0x20050004, open 1, report 1, close 1, open 1"},
              {"RegisterEventSourceA#2",
               "open 1, open 0x20050001, report 1, close 1, open 0x20050004"},
              {"ReportEventA", outcome},
              {"DeregisterEventSource", outcome},
              {"CloseEventLog", outcome},
          },
      .run = RunWriter,
      .withoutMemory = {"open no memory, open 1, report 1, close 1, open 1"}};
}

std::string RunReader(FailurePlan& plan) {
  PreparedEventLog host;
  host.message = "A drive failed in a text of more than a few letters";
  const std::string first = RecordBytes({.number = 1});
  host.FailRead(ERROR_INSUFFICIENT_BUFFER, 600);
  host.AnswerRead(first);
  const std::string both = first + RecordBytes({.number = 2, .strings = {"one", "two"}});
  host.AnswerRead(both);
  host.AnswerRead(both);
  for (int more = 0; more < 4; ++more) host.FailRead(ERROR_HANDLE_EOF);

  const FailingHost failing(plan);
  Outcome outcome;
  std::optional<CSystemLogReader_Win> reader;
  if (!outcome.Add("made", [&] { return reader.emplace().isOpened(); })) return outcome.Text();
  const std::vector<std::string> sources{"ondrel"};
  outcome.Add("resources", [&] { return reader->GetMessageResources("messages"); });
  const std::string name = "A name that is too long for a string without a block of its own";
  outcome.Add("open", [&] { return reader->Open(name, sources); });
  outcome.Add("open", [&] { return reader->Open(name, sources); });
  std::vector<CSystemEvent_Win> events;
  const auto read = [&] {
    events = reader->ReadEvents();
    return events.size();
  };
  // What could not be read comes with the next call.
  if (!outcome.Add("read", read)) outcome.Add("again", read);
  for (const CSystemEvent_Win& event : events)
    outcome.Say(" " + std::to_string(event.recordNumber) +
                (event.message == host.message ? " with text" : " without"));
  reader.reset();
  return outcome.Text();
}

Scenario Reader() {
  const std::string outcome = "made 0, resources 1, open 1, open 0x20050001, read 1 2 with text";
  const std::string notRead = "made 0, resources 1, open 0x2005000C, open 0x20050001, read 0";
  return {
      .name = "CSystemLogReader_Win",
      .outcome = outcome,
      .failures =
          {
              {"Allocate#1", "made 0x2005000B"},
              {"LoadLibraryExA", "made 0, resources 0, open 1, open 0x20050001, read 1 2 without"},
              {"OpenEventLogA", "made 0, resources 1, open 0x20050003, open 1, read 1 2 with text"},
              {"ReadEventLogA#1", notRead},
              {"Reallocate#1", "made 0, resources 1, open 0x2005000B, open 0x20050001, read 0"},
              {"ReadEventLogA#2", notRead},
              {"Reallocate#2",
               "made 0, resources 1, open 1, open 0x20050001, read 0x2005000B, again 1 2 with "
               "text"},
              {"ReadEventLogA#3",
               "made 0, resources 1, open 1, open 0x20050001, read 0x2005000C, again 1 2 with "
               "text"},
              // Its inserts stay in place.
              {"Allocate#2", outcome},
              {"FormatMessageA", "made 0, resources 1, open 1, open 0x20050001, read 1 2 without"},
              {"CloseEventLog", outcome},
              {"FreeLibrary", outcome},
          },
      .run = RunReader,
      .withoutMemory = {
          "made 0, resources 1, open no memory, open 1, read 1 2 with text",
          "made 0, resources 1, open 1, open 0x20050001, read no memory, again 1 2 with text"}};
}

// An answer whose data are 4096 bytes of 1, good for every query.
void Answer(PreparedDevice& host, ULong returned) {
  STORAGE_PROTOCOL_DATA_DESCRIPTOR head{};
  head.Version = head.Size = sizeof head;
  head.ProtocolSpecificData.ProtocolDataOffset = sizeof head.ProtocolSpecificData;
  head.ProtocolSpecificData.ProtocolDataLength = 4096;
  host.answer.bytes.assign(reinterpret_cast<const char*>(&head), sizeof head);
  host.answer.bytes.append(4096, static_cast<char>(kAnswered));
  host.answer.returned = returned;
}

using Record = std::array<unsigned char, 4096>;
using Query = unsigned int (*)(Record& record);

template <Query query>
std::string RunQuery(FailurePlan& plan) {
  PreparedDevice host;
  Answer(host, 4144);
  const FailingHost failing(plan);
  Record record;
  record.fill(kUntouched);
  Outcome outcome;
  outcome.Add("result", [&] { return query(record); });
  outcome.Say(record[0] == kUntouched  ? " untouched"
              : record[0] == kAnswered ? " filled"
                                       : " torn");
  return outcome.Text();
}

unsigned int IdentifyController(Record& record) {
  return NVMeStorageQueryPropertyIdentifyController(
      "/dev/nvme0", reinterpret_cast<NVME_IDENTIFY_CONTROLLER*>(record.data()));
}

unsigned int IdentifyNamespace(Record& record) {
  return NVMeStorageQueryPropertyIdentifyNamespace(
      "/dev/nvme0", reinterpret_cast<NVME_IDENTIFY_NAMESPACE*>(record.data()));
}

unsigned int ErrorInfo(Record& record) {
  ULong count = 0;
  return NVMeStorageQueryPropertyGetLogPageErrorInfo(
      "/dev/nvme0", count, reinterpret_cast<NVME_ERROR_INFORMATION_LOG_ENTRY*>(record.data()));
}

unsigned int Health(Record& record) {
  return NVMeStorageQueryPropertyGetLogPageSMARTHealthInfo(
      "/dev/nvme0", reinterpret_cast<NVME_SMART_HEALTH_INFORMATION_LOG*>(record.data()));
}

unsigned int VendorPage(Record& record) {
  return NVMeStorageQueryPropertyGetVendorSpecificLogPage("/dev/nvme0", 0xC0, record.data());
}

unsigned int IdentifyAnyNamespace(Record& record) {
  return Host::IdentifyNVMeNamespace("/dev/nvme0", 2,
                                     reinterpret_cast<NVME_IDENTIFY_NAMESPACE*>(record.data()));
}

template <Query query>
Scenario QueryScenario(const char* name) {
  return {.name = name,
          .outcome = "result 0 filled",
          .failures = {{"CreateFileA", "result 1117 untouched"},
                       {"DeviceIoControl", "result 1117 untouched"},
                       {"CloseHandle", "result 0 filled"}},
          .run = RunQuery<query>};
}

// The five required queries. Want of memory is not an error of theirs.
template <Query query>
Scenario RequiredQuery(const char* name, std::size_t mostKept) {
  Scenario scenario = QueryScenario<query>(name);
  scenario.failures.emplace_back("Allocate", "result 0 untouched");
  scenario.mostKept = mostKept;
  return scenario;
}

std::string RunDriveHealth(FailurePlan& plan) {
  PreparedDevice host;
  Answer(host, 4144);
  const FailingHost failing(plan);
  Host::DriveHealth health;
  Outcome outcome;
  const std::string device = "/dev/nvme0";
  outcome.Add("result", [&] { return Host::ReadDriveHealth(device, health); });
  outcome.Say(" used " + std::to_string(health.percentageUsed) + " warning at " +
              std::to_string(health.warningTemperature));
  return outcome.Text();
}

Scenario DriveHealth() {
  // Of a drive that does not give its limits the health is known all the same.
  const std::string withoutLimits = "result 0 used 1 warning at 0";
  return {.name = "ReadDriveHealth",
          .outcome = "result 0 used 1 warning at 257",
          .failures = {{"CreateFileA#1", "result 1117 used 0 warning at 0"},
                       {"Allocate#1", "result 13 used 0 warning at 0"},
                       {"DeviceIoControl#1", "result 1117 used 0 warning at 0"},
                       {"CreateFileA#2", withoutLimits},
                       {"Allocate#2", withoutLimits},
                       {"Allocate#3", withoutLimits},
                       {"DeviceIoControl#2", withoutLimits},
                       {"CloseHandle", "result 0 used 1 warning at 257"}},
          .run = RunDriveHealth,
          .mostKept = 1};
}

char g_watch;

std::string RunDriveMonitor(FailurePlan& plan) {
  PreparedDevice device;
  Answer(device, 4144);
  Host::DriveSnapshot snapshot;
  snapshot.drives.resize(1);
  snapshot.drives[0].id = "S1";
  snapshot.drives[0].device = "/dev/nvme0";
  snapshot.drives[0].isNVMe = true;
  const PreparedOperations<Host::DrivesOperations> host(
      Host::Drives(), {.Open = []() -> void* { return &g_watch; },
                       .Look = [&](void*) { return snapshot; },
                       .Descriptor = [](void*) { return 77; },
                       .TakeNotifications = [](void*) { return true; },
                       .ArmHealthEvents = [](const std::string&) { return ULong{0}; },
                       .Close = [](void*) {}});
  const FailingHost failing(plan);
  Outcome outcome;
  std::optional<Host::CDriveMonitor> monitor;
  if (!outcome.Add("made", [&] {
        monitor.emplace();
        return 1;
      }))
    return outcome.Text();
  Host::DriveSnapshot seen;
  outcome.Add("look", [&] {
    seen = monitor->Look({.readHealth = true, .armHealthEvents = true});
    return seen.drives.size();
  });
  for (const Host::Drive& drive : seen.drives)
    outcome.Say(" health " + std::to_string(drive.healthError) +
                (drive.health ? " known" : " unknown"));
  outcome.Add("descriptor", [&] { return monitor->Descriptor(); });
  outcome.Add("taken", [&] { return monitor->TakeNotifications(); });
  monitor.reset();
  return outcome.Text();
}

Scenario DriveMonitor() {
  const std::string outcome = "made 1, look 1 health 0 known, descriptor 77, taken 1";
  const std::string refused = "made 1, look 1 health 1117 unknown, descriptor 77, taken 1";
  return {
      .name = "CDriveMonitor",
      .outcome = outcome,
      .failures = {{"Open", "made no memory"},
                   {"Look", "made 1, look no memory, descriptor 77, taken 1"},
                   {"ArmHealthEvents", outcome},
                   {"CreateFileA#1", refused},
                   {"Allocate#1", "made 1, look 1 health 13 unknown, descriptor 77, taken 1"},
                   {"DeviceIoControl#1", refused},
                   {"CreateFileA#2", outcome},
                   {"Allocate", outcome},
                   {"DeviceIoControl#2", outcome},
                   {"CloseHandle", outcome},
                   {"Descriptor", "made 1, look 1 health 0 known, descriptor -1, taken 1"},
                   {"TakeNotifications", "made 1, look 1 health 0 known, descriptor 77, taken 0"}},
      .run = RunDriveMonitor,
      .mostKept = 1};
}

// One volume with a letter, a path of its own, a folder at which it is mounted once more, and a
// list of paths that is too long at first.
std::string RunPartitions(FailurePlan& plan) {
  PreparedVolumes host;
  host.volumes = {{.name = R"(\\?\Volume{a}\)",
                   .extents = {{.disk = 0, .offset = 1048576, .length = 1048576}},
                   .devicePath = R"(\Device\HarddiskVolume1)",
                   .path = R"(D:\)",
                   .label = L"System",
                   .folders = {R"(data\)"}}};
  host.letters = {{"B:", R"(\Device\HarddiskVolume1)"}};
  host.mountedAt = {{R"(B:\data\)", R"(\\?\Volume{a}\)"}};
  host.pathsAnswers = {{.error = ERROR_MORE_DATA, .needed = 2000}};
  std::vector<CSystemPartition> partitions;
  Outcome outcome;
  {
    const FailingHost failing(plan);
    CSystemPartitionTable table("Disk 0");
    outcome.Add("listed", [&] {
      table.GetPartitions(partitions);
      return partitions.size();
    });
  }
  for (const CSystemPartition& partition : partitions)
    outcome.Say(" [" + partition.m_VolumeLabel + "] [" + partition.m_DriveRoot + "] [" +
                partition.m_MountPath + "]");
  if (host.errorMode != 0x8000) outcome.Say(" error mode changed");
  return outcome.Text();
}

Scenario Partitions() {
  const std::string outcome = R"(listed 1 [System] [B:\] [D:\])";
  const std::string withoutLetter = R"(listed 1 [System] [] [D:\])";
  const std::string withoutLabel = R"(listed 1 [] [B:\] [D:\])";
  Scenario scenario{
      .name = "CSystemPartitionTable",
      .outcome = outcome,
      .failures =
          {
              {"FindFirstVolumeA", "listed 0"},
              {"CreateFileA", "listed 0"},
              {"DeviceIoControl", "listed 0"},
              {"CloseHandle", outcome},
              {"FindNextVolumeA", outcome},
              {"FindVolumeClose", outcome},
              {"Allocate", "listed no memory"},
              // The list that was too small; then the paths themselves.
              {"GetVolumePathNamesForVolumeNameW#1", R"(listed 1 [System] [B:\] [B:\data\])"},
              {"GetVolumePathNamesForVolumeNameW#2", R"(listed 1 [System] [B:\] [B:\data\])"},
              {"FindFirstVolumeMountPointA", outcome},
              {"GetVolumeNameForVolumeMountPointA", outcome},
              {"FindNextVolumeMountPointA", outcome},
              {"FindVolumeMountPointClose", outcome},
              {"MultiByteToWideChar", withoutLabel},
              {"GetVolumeInformationW", withoutLabel},
              {"GetDriveTypeA", "listed 0"},
              // The volume, A: and B: for the mount points; the same for the record.
              {"QueryDosDeviceA#4", withoutLetter},
              {"QueryDosDeviceA#6", withoutLetter},
              {"QueryDosDeviceA", outcome},
          },
      .run = RunPartitions,
      .mostKept = 1};
  return scenario;
}

}  // namespace

std::vector<Scenario> LogAndDeviceScenarios() {
  return {Writer(),
          Reader(),
          RequiredQuery<IdentifyController>("IdentifyController", 1),
          RequiredQuery<IdentifyNamespace>("IdentifyNamespace", 1),
          RequiredQuery<ErrorInfo>("GetLogPageErrorInfo", 1),
          RequiredQuery<Health>("GetLogPageSMARTHealthInfo", 0),
          RequiredQuery<VendorPage>("GetVendorSpecificLogPage", 0),
          QueryScenario<IdentifyAnyNamespace>("IdentifyNVMeNamespace"),
          DriveHealth(),
          DriveMonitor(),
          Partitions()};
}

}  // namespace Ondrel::Testing
