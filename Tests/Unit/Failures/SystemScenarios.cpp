#include "Host/ClockOperations.h"
#include "Host/CurlOperations.h"
#include "Host/ProcessOperations.h"
#include "Host/ServiceOperations.h"
#include "Host/SystemFactsOperations.h"
#include "Support/PreparedClock.h"
#include "Support/PreparedDeviceSetup.h"
#include "Support/PreparedTime.h"
#include "Unit/Failures/Scenario.h"
#include "Windows/RestartRequest.h"

#include <Ondrel/ConfigManager.h>
#include <Ondrel/OSInfo.h>
#include <Ondrel/Smtp.h>
#include <Ondrel/System.h>
#include <Ondrel/SystemLog.h>
#include <Ondrel/SystemTime.h>

#include <gtest/gtest.h>

#include <cstdarg>
#include <cstring>
#include <optional>

namespace Ondrel::Testing {

namespace {

using namespace std::string_literals;

// The second object looks again where the first found nothing.
std::string RunAdapters(FailurePlan& plan) {
  PreparedDeviceSetup host;
  PreparedDevice other = StorageController();
  other[SPDRP_BUSNUMBER] = NumberProperty(3);
  host.devices = {StorageController(), other};
  const FailingHost failing(plan);
  const std::vector<std::string> ids{"80862922"};
  Outcome outcome;
  for (int object = 0; object < 2; ++object) {
    int segment = 0;
    int bus = 0;
    int device = 0;
    int function = 0;
    outcome.Add("found", [&] {
      return CConfigManager().GetLocation(ids, 2, segment, bus, device, function);
    });
    outcome.Say(" at " + std::to_string(bus));
  }
  // The list is one for the whole process.
  std::vector<CDevNode>().swap(CDeviceList::Devices());
  return outcome.Text();
}

Scenario Adapters() {
  const std::string outcome = "found 1 at 5, found 1 at 5";
  const std::string none = "found 0 at -1, found 1 at 5";
  const std::string oneIsLeftOut = "found 0 at -1, found 0 at -1";
  return {.name = "CConfigManager",
          .outcome = outcome,
          .failures = {{"SetupDiGetClassDevsA", none},
                       {"SetupDiEnumDeviceInfo#1", none},
                       {"SetupDiEnumDeviceInfo#2", oneIsLeftOut},
                       {"SetupDiEnumDeviceInfo#3", outcome},
                       // Without its class the device is known by the class's GUID.
                       {"SetupDiGetDeviceRegistryPropertyA#1", outcome},
                       {"SetupDiGetDeviceRegistryPropertyA#5", outcome},
                       {"SetupDiGetDeviceRegistryPropertyA", oneIsLeftOut},
                       {"SetupDiDestroyDeviceInfoList", outcome}},
          .run = RunAdapters};
}

unsigned int Give(const std::string& text, char* buffer) {
  std::strcpy(buffer, text.c_str());
  return static_cast<unsigned int>(text.size());
}

char g_process;
char g_token;
bool g_isShutDown;

Host::ServiceOperations ServiceHost() {
  static std::uint16_t translation[2] = {0x0409, 0x04B0};
  static char version[] = "1.2.3 (build 4)";
  return {
      .EnumDeviceDrivers =
          [](void** images, ULong, ULong* needed) {
            images[0] = &g_process;
            *needed = sizeof(void*);
            return 1;
          },
      .GetDeviceDriverBaseNameA = [](void*, char* name, ULong) -> ULong {
        return Give("storage.sys", name);
      },
      .GetSystemDirectoryA = [](char* folder, unsigned int) { return Give("C:\\Windows", folder); },
      .GetSystemWow64DirectoryA = [](char* folder,
                                     unsigned int) { return Give("C:\\Wow", folder); },
      .GetFileVersionInfoSizeA = [](const char*, ULong*) -> ULong { return 40; },
      .GetFileVersionInfoA = [](const char*, ULong, ULong, void*) { return 1; },
      .VerQueryValueA =
          [](const void*, const char* key, void** value, unsigned int* length) {
            const bool isTranslation = std::strcmp(key, "\\VarFileInfo\\Translation") == 0;
            *value = isTranslation ? static_cast<void*>(translation) : version;
            *length = isTranslation ? sizeof translation : sizeof version;
            return 1;
          },
      .LookupPrivilegeValueA = [](const char*, const char*, LUID*) { return 1; },
      .GetCurrentProcess = []() -> void* { return &g_process; },
      .OpenProcessToken =
          [](void*, ULong, void** token) {
            *token = &g_token;
            return 1;
          },
      .AdjustTokenPrivileges = [](void*, int, TOKEN_PRIVILEGES*, ULong, TOKEN_PRIVILEGES*,
                                  ULong*) { return 1; },
      .CloseHandle = [](void*) { return 1; },
      .InitiateSystemShutdownA =
          [](char*, char*, ULong, int, int) {
            g_isShutDown = true;
            return 1;
          },
      .Beep = [](ULong, ULong) { return 1; },
      .GetLastError = [] { return ULong{0}; },
  };
}

std::string RunModuleVersion(FailurePlan& plan) {
  const PreparedOperations<Host::ServiceOperations> host(Host::Service(), ServiceHost());
  const FailingHost failing(plan);
  const std::string module = "storage";
  std::string version = "old";
  Outcome outcome;
  outcome.Add("asked", [&] {
    CSystem::GetModuleVersion(module, version);
    return 1;
  });
  outcome.Say(" [" + version + "]");
  return outcome.Text();
}

Scenario ModuleVersion() {
  return {.name = "GetModuleVersion",
          .outcome = "asked 1 [1.2.3]",
          .failures = {{"EnumDeviceDrivers", "asked 1 []"},
                       {"GetDeviceDriverBaseNameA", "asked 1 []"},
                       {"GetSystemDirectoryA", "asked 1 []"},
                       {"GetFileVersionInfoSizeA", "asked 1 []"},
                       {"GetFileVersionInfoA", "asked 1 []"},
                       {"VerQueryValueA", "asked 1 []"}},
          .run = RunModuleVersion};
}

std::string RunRestart(FailurePlan& plan) {
  const PreparedOperations<Host::ServiceOperations> host(Host::Service(), ServiceHost());
  const FailingHost failing(plan);
  Outcome outcome;
  const std::string message = "A message of more letters than a string holds by itself";
  g_isShutDown = false;
  outcome.Add("asked", [] {
    CSystem::Reboot();
    return 1;
  });
  outcome.Say(g_isShutDown ? " restarts" : " stays");
  g_isShutDown = false;
  outcome.Add("request", [&] { return RequestRestart(message); });
  outcome.Say(g_isShutDown ? " restarts" : " stays");
  outcome.Add("beep", [] {
    CSystem::Beep(440, 1);
    return 1;
  });
  return outcome.Text();
}

Scenario Restart() {
  const std::string outcome = "asked 1 restarts, request 0 restarts, beep 1";
  const std::string first = "asked 1 stays, request 0 restarts, beep 1";
  const std::string second = "asked 1 restarts, request 1117 stays, beep 1";
  return {.name = "Reboot",
          .outcome = outcome,
          .failures = {{"LookupPrivilegeValueA#1", first},
                       {"OpenProcessToken#1", first},
                       {"AdjustTokenPrivileges#1", first},
                       {"AdjustTokenPrivileges#2", first},
                       {"CloseHandle", outcome},
                       {"InitiateSystemShutdownA#1", first},
                       {"LookupPrivilegeValueA#2", second},
                       {"OpenProcessToken#2", second},
                       {"AdjustTokenPrivileges#3", second},
                       {"AdjustTokenPrivileges#4", second},
                       {"InitiateSystemShutdownA#2", second},
                       {"Beep", outcome}},
          .run = RunRestart};
}

char g_streams[2];

std::string RunCommand(FailurePlan& plan) {
  int started = 0;
  int lines = 0;
  const PreparedOperations<Host::ProcessOperations> host(
      Host::Process(),
      {._popen =
           [&](const char* line, const char*) {
             EXPECT_EQ(line, "\"a command of more letters than a string holds by itself\" more"s);
             lines = 0;
             return reinterpret_cast<std::FILE*>(&g_streams[started++ % 2]);
           },
       .fgets = [&](char* buffer, int, std::FILE*) -> char* {
         if (++lines > 2) return nullptr;
         Give(lines == 1 ? "a line of more letters than a string holds by itself\n" : "b\n",
              buffer);
         return buffer;
       },
       ._pclose = [](std::FILE*) { return 7; }});
  const FailingHost failing(plan);
  const std::string command = "a command of more letters than a string holds by itself";
  std::string output = "old";
  std::vector<std::string> pieces{"old"};
  int status = 99;
  Outcome outcome;
  outcome.Add("text", [&] { return CSystem::ExecuteCommand(command, "more", output); });
  outcome.Say(" of " + std::to_string(output.size()));
  outcome.Add("lines", [&] { return CSystem::ExecuteCommand(command, "more", pieces, status); });
  outcome.Say(" of " + std::to_string(pieces.size()) + " status " + std::to_string(status));
  return outcome.Text();
}

Scenario Command() {
  return {.name = "ExecuteCommand",
          .outcome = "text 1 of 53, lines 1 of 2 status 7",
          .failures = {{"_popen#1", "text 0 of 0, lines 1 of 2 status 7"},
                       {"fgets#1", "text 1 of 0, lines 1 of 2 status 7"},
                       {"fgets#2", "text 1 of 52, lines 1 of 2 status 7"},
                       {"fgets#3", "text 1 of 53, lines 1 of 2 status 7"},
                       {"_pclose#1", "text 1 of 53, lines 1 of 2 status 7"},
                       {"_popen#2", "text 1 of 53, lines 0 of 0 status 99"},
                       {"fgets#4", "text 1 of 53, lines 1 of 0 status 7"},
                       {"fgets#5", "text 1 of 53, lines 1 of 1 status 7"},
                       {"fgets#6", "text 1 of 53, lines 1 of 2 status 7"},
                       {"_pclose#2", "text 1 of 53, lines 1 of 2 status -1"}},
          .run = RunCommand,
          .isStreamLeftOpen = true};
}

std::string RunTimes(FailurePlan& plan) {
  Host::TimeOperations operations = TimeWithOffset(60);
  operations.NtQuerySystemInformation = [](int, void* information, ULong, ULong*) {
    const std::uint64_t times[4] = {10000, 70000, 0, 0};
    std::memcpy(information, times, sizeof times);
    return 0;
  };
  const PreparedOperations<Host::TimeOperations> host(Host::Time(), operations);
  const FailingHost failing(plan);
  Outcome outcome;
  CSystemDate_Win date{};
  unsigned long long stamp = 0;
  outcome.Add("up", [] { return CSystemTime_Win::UpTime(); });
  outcome.Add("date", [&] {
    CSystemTime_Win::GetDate(1648730519000, date);
    return 1;
  });
  // The 29 February that fails is tried as the 1 March.
  date = {.Year = 2024,
          .Month = 2,
          .Day = 29,
          .WeekDay = 0,
          .WeekOfMonth = 5,
          .Hour = 1,
          .Minute = 0,
          .Second = 0};
  outcome.Add("time", [&] {
    CSystemTime_Win::GetTime(date, stamp);
    return 1;
  });
  outcome.Say(" " + std::to_string(stamp / 86400000));
  outcome.Add("week", [&] {
    CSystemTime_Win::GetDateByWeek(date, date);
    return 1;
  });
  std::string text;
  outcome.Add("text", [&] {
    text = timeStampToStrDateTime(1648730519000);
    return text.size();
  });
  return outcome.Text();
}

Scenario Times() {
  const std::string outcome = "up 6, date 1, time 1 19782, week 1, text 19";
  return {
      .name = "CSystemTime_Win",
      .outcome = outcome,
      .failures = {{"NtQuerySystemInformation", "up 0, date 1, time 1 19782, week 1, text 19"},
                   // Midnight of the 1 March at 1:00 local time.
                   {"TzSpecificLocalTimeToSystemTime",
                    "up 6, date 1, time 1 19783, week 1, text 19"},
                   // A time stamp without a meaning: the file time stays at its start.
                   {"SystemTimeToFileTime#1", "up 6, date 1, time 1 213503847560, week 1, text 19"},
                   {"FileTimeToSystemTime", outcome},
                   {"SystemTimeToTzSpecificLocalTime", outcome},
                   {"SystemTimeToFileTime", outcome},
                   {"LocalFileTimeToFileTime", outcome}},
      .run = RunTimes};
}

char g_key;

Host::SystemFactsOperations FactsHost() {
  Host::SystemFactsOperations host;
  host.GetVersionExA = [](OSVERSIONINFOA* version) {
    version->dwMajorVersion = 5;
    version->dwMinorVersion = 1;
    version->dwBuildNumber = 2600;
    version->dwPlatformId = 2;
    std::strcpy(version->szCSDVersion, "Service Pack 1");
    return 1;
  };
  host.GetProductInfo = [](ULong, ULong, ULong, ULong, ULong* product) {
    *product = 48;
    return 1;
  };
  host.RtlGetVersion = [](RTL_OSVERSIONINFOEXW* version) {
    version->dwMajorVersion = 6;
    version->dwMinorVersion = 3;
    return 0;
  };
  host.GetSystemMetrics = [](int) { return 0; };
  host.RegOpenKeyExA = [](void*, const char*, ULong, ULong, void** key) {
    *key = &g_key;
    return 0;
  };
  host.RegOpenKeyA = [](void*, const char*, void** key) {
    *key = &g_key;
    return 0;
  };
  host.RegQueryValueExA = [](void*, const char*, ULong*, ULong*, unsigned char* data, ULong* size) {
    if (data != nullptr) std::memset(data, 0, *size);
    if (data != nullptr && *size > 2) std::memcpy(data, "1", 2);
    if (data == nullptr) *size = 40;
    return 0;
  };
  host.RegCloseKey = [](void*) { return 0; };
  host.GetSystemDirectoryA = [](char* folder, unsigned int) { return Give("C:\\Windows", folder); };
  host.GetFileVersionInfoSizeA = [](const char*, ULong*) -> ULong { return 40; };
  host.GetFileVersionInfoA = [](const char*, ULong, ULong, void*) { return 1; };
  host.VerQueryValueA = [](const void*, const char*, void** value, unsigned int* length) {
    static VS_FIXEDFILEINFO fixed{};
    *value = &fixed;
    *length = sizeof fixed;
    return 1;
  };
  host.WideCharToMultiByte = [](unsigned int, ULong, const WCHAR*, int, char* narrow, int,
                                const char*, int*) {
    *narrow = '\0';
    return 1;
  };
  return host;
}

std::string RunFacts(FailurePlan& plan) {
  const PreparedOperations<Host::SystemFactsOperations> host(Host::SystemFacts(), FactsHost());
  const FailingHost failing(plan);
  OS_FACTS facts;
  std::memset(&facts, 0, sizeof facts);
  Outcome outcome;
  outcome.Add("collected", [&] { return COSProbe().Collect(facts); });
  std::string text;
  outcome.Add("named", [&] {
    const COSInfo_Win info;
    info.GetOSProduct(text);
    return 1;
  });
  OS_FACTS given{};
  given.underlying.build = 19045;
  given.underlying.spMajor = 2;
  std::string texts[3];
  outcome.Add("texts", [&] {
    const COSInfo_Win info(given);
    info.GetOSBuildNumber(texts[0]);
    info.GetOSVersion(texts[1]);
    info.GetOSServicePack(texts[2]);
    return 1;
  });
  outcome.Say(" " + texts[0] + " " + texts[1] + " " + texts[2]);
  CSystemEvent_Win event;
  event.args = {"an insert of more letters than a string holds by itself"};
  outcome.Add("event", [&] { return event.str().size(); });
  return outcome.Text();
}

// What the record holds after each failure is what the literal model of the collection checks.
Scenario Facts() {
  const std::string outcome = "collected 1, named 1, texts 1 19045 0.0 2, event 124";
  Scenario scenario{.name = "COSProbe", .outcome = outcome, .failures = {}, .run = RunFacts};
  for (const char* const operation :
       {"GetVersionExA", "GetProductInfo", "RtlGetVersion", "GetSystemMetrics", "RegOpenKeyExA",
        "RegOpenKeyA", "RegQueryValueExA", "RegCloseKey", "GetSystemDirectoryA",
        "GetFileVersionInfoSizeA", "GetFileVersionInfoA", "VerQueryValueA", "WideCharToMultiByte"})
    scenario.failures.emplace_back(operation, outcome);
  return scenario;
}

// A libcurl of which each function fails by plan. Its functions are plain pointers.
FailurePlan* g_curlPlan;
char g_curl;
curl_read_callback g_read;
void* g_readData;

CURL* InitCurl() {
  const Allocations::Uncounted uncounted;
  if (g_curlPlan->Fails("curl_easy_init")) return nullptr;
  g_curlPlan->Open(&g_curl);
  return reinterpret_cast<CURL*>(&g_curl);
}

CURLcode SetCurl(CURL*, CURLoption option, ...) {
  const Allocations::Uncounted uncounted;
  std::va_list arguments;
  va_start(arguments, option);
  if (option == CURLOPT_READFUNCTION) g_read = va_arg(arguments, curl_read_callback);
  if (option == CURLOPT_READDATA) g_readData = va_arg(arguments, void*);
  va_end(arguments);
  return g_curlPlan->Fails("curl_easy_setopt") ? CURLE_OUT_OF_MEMORY : CURLE_OK;
}

CURLcode PerformCurl(CURL*) {
  {
    const Allocations::Uncounted uncounted;
    if (g_curlPlan->Fails("curl_easy_perform")) return CURLE_COULDNT_CONNECT;
  }
  if (g_read == nullptr || g_readData == nullptr) return CURLE_READ_ERROR;
  static char buffer[65536];
  while (g_read(buffer, 1, sizeof buffer, g_readData) != 0) {
  }
  return CURLE_OK;
}

void CleanupCurl(CURL*) { g_curlPlan->Close(&g_curl); }

// The entries of all lists of one mail; the plan knows those in use as blocks.
curl_slist g_entries[16];
std::size_t g_entryCount;

curl_slist* AppendCurl(curl_slist* list, const char*) {
  const Allocations::Uncounted uncounted;
  if (g_curlPlan->Fails("curl_slist_append")) return nullptr;
  curl_slist* const entry = &g_entries[g_entryCount++];
  *entry = {.data = nullptr, .next = list};
  g_curlPlan->AddBlock(entry);
  return entry;
}

void FreeCurlList(curl_slist* list) {
  while (list != nullptr) {
    g_curlPlan->RemoveBlock(list);
    list = list->next;
  }
}

std::string RunMail(FailurePlan& plan) {
  g_curlPlan = &plan;
  g_entryCount = 0;
  g_read = nullptr;
  g_readData = nullptr;
  const PreparedOperations<Host::CurlOperations> curl(Host::Curl(),
                                                      {.curl_easy_init = InitCurl,
                                                       .curl_easy_setopt = SetCurl,
                                                       .curl_easy_perform = PerformCurl,
                                                       .curl_easy_cleanup = CleanupCurl,
                                                       .curl_slist_append = AppendCurl,
                                                       .curl_slist_free_all = FreeCurlList,
                                                       .missing = {}});
  const PreparedOperations<Host::ClockOperations> clock(Host::Clock(), ClockStandingStill(0));
  CSmtp mail;
  mail.SetFrom("raid@example.com", "RAID");
  mail.AddTO("to@example.com", "Admin");
  mail.AddCC("cc@example.com");
  mail.SetUserName("raid");
  mail.SetPassword("secret");
  mail.SetSubject("Drive failed");
  mail.SetMessageBody("A drive failed.\nAnother line of more letters than a string holds.");
  Outcome outcome;
  outcome.Add("sent", [&] { return mail.Send(); });
  outcome.Say(" error " + std::to_string(mail.GetLastError()));
  return outcome.Text();
}

Scenario Mail() {
  const std::string outcome = "sent 1 error 0";
  return {.name = "CSmtp",
          .outcome = outcome,
          .failures = {{"curl_easy_init", "sent 0 error 0"},
                       // What libcurl refuses is not looked at.
                       {"curl_easy_setopt", outcome},
                       {"curl_slist_append", outcome},
                       {"curl_easy_perform", "sent 0 error 25"}},
          .run = RunMail,
          // A list whose next entry cannot be had is lost.
          .mostKept = 1};
}

}  // namespace

std::vector<Scenario> SystemScenarios() {
  return {Adapters(), ModuleVersion(), Restart(), Command(), Times(), Facts(), Mail()};
}

}  // namespace Ondrel::Testing
