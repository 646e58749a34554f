
#include <Ondrel/CodeNames.h>
#include <Ondrel/ConfigManager.h>
#include <Ondrel/Disks.h>
#include <Ondrel/Drives.h>
#include <Ondrel/Host.h>
#include <Ondrel/NVMe.h>
#include <Ondrel/NVMeDevices.h>
#include <Ondrel/NVMeQuery.h>
#include <Ondrel/OSInfo.h>
#include <Ondrel/StatusTransition.h>
#include <Ondrel/System.h>
#include <Ondrel/SystemLog.h>
#include <Ondrel/SystemTime.h>

#include <gtest/gtest.h>

#include <barrier>
#include <functional>
#include <string>
#include <thread>
#include <vector>

// Every exported operation that only reads, asked by eight threads at the same time: each hears
// what one thread hears. What may not be asked at once is what the build with the thread sanitizer
// finds.

namespace Ondrel {
namespace {

constexpr int kThreads = 8;
constexpr int kRounds = 3;

std::string Texts(std::initializer_list<std::string> texts) {
  std::string joined;
  for (const std::string& text : texts) joined += text + "|";
  return joined;
}

std::string OfCodeNames() {
  std::string found;
  for (const CCodeNames* const names : {&ErrorCodeNames, &OperationCodeNames, &EventCodeNames,
                                        &PropertyCodeNames, &ValueCodeNames}) {
    const auto entry = *names->begin();
    const std::string name(entry.second);
    found += Texts({name, std::to_string(names->Code(name).value_or(-1)),
                    std::to_string(names->Codes(name).size()), std::to_string(names->size()),
                    std::string(names->Name(entry.first).value_or("")),
                    std::to_string(names->lower_bound(entry.first) != names->end())});
  }
  return found;
}

std::string OfTransitions() {
  CStateChangeEvent drive{};
  CStateChangeEvent array{};
  const bool hasDrive = FindStatusTransitionPD({40093, 40095}, drive);
  const bool hasArray = FindStatusTransitionLD({40093, 40095}, array);
  return Texts({std::to_string(hasDrive), std::to_string(hasArray)});
}

std::string OfSystems() {
  OS_FACTS facts{};
  facts.underlying.platform = 4;
  facts.underlying.major = 6;
  facts.underlying.minor = 3;
  const COSInfo_Win info(facts);
  std::string texts[8];
  info.GetOSProduct(texts[0]);
  info.GetOSEdition(texts[1]);
  info.GetOSFeatures(texts[2]);
  info.GetOSServicePack(texts[3]);
  info.GetOSVersion(texts[4]);
  info.GetOSBuildNumber(texts[5]);
  info.GetProcessorArchitecture(texts[6]);
  info.GetOSVendor(texts[7]);
  OS_FACTS own{};
  const int isCollected = COSProbe().Collect(own);
  std::size_t count = 0;
  const auto* const predicates = OSPredicates(count);
  return Texts({texts[0], texts[1], texts[2], texts[3], texts[4], texts[5], texts[6], texts[7],
                std::to_string(isCollected), std::to_string(count),
                std::to_string(predicates != nullptr)});
}

std::string OfTimes() {
  CSystemDate_Win date{};
  unsigned long long stamp = 0;
  CSystemTime_Win::GetDate(1648730519000, date);
  CSystemTime_Win::GetTime(date, stamp);
  date.WeekOfMonth = 5;
  CSystemTime_Win::GetDateByWeek(date, date);
  return Texts({std::to_string(stamp), std::to_string(date.Day),
                timeStampToStrDateTime(1648730519000),
                std::to_string(CSystemTime_Win::UpTime() != 0)});
}

std::string OfServices() {
  std::string version;
  CSystem::GetModuleVersion("no driver of this name", version);
  std::string output;
  const unsigned int isStarted = CSystem::ExecuteCommand("echo", "one", output);
  return Texts({version, std::to_string(isStarted), output,
                std::to_string(CSystem::VersionCompare("1.2", "1.10", 2)),
                Host::LibraryPath().empty() ? "no path" : "a path", Host::EventLogErrorText(112)});
}

// Nothing of this machine, which other tests may change meanwhile: that they are asked is enough.
std::string OfMachine() {
  Host::Disks();
  Host::ListNVMeDevices();
  int place[4];
  const bool isFound =
      CConfigManager().GetLocation("FFFF", "FFFF", 1, place[0], place[1], place[2], place[3]);
  Host::CDriveMonitor monitor;
  monitor.Look({});
  monitor.TakeNotifications();
  return Texts({std::to_string(isFound), std::to_string(Host::CDriveMonitor::IsSupported())});
}

std::string OfDevices() {
  const char device[] = "/no/device/of/this/name";
  NVME_IDENTIFY_CONTROLLER controller;
  NVME_IDENTIFY_NAMESPACE nameSpace;
  NVME_ERROR_INFORMATION_LOG_ENTRY entries[64];
  NVME_SMART_HEALTH_INFORMATION_LOG log;
  unsigned char page[512];
  ULong count = 0;
  ULong id = 0;
  Host::DriveHealth health;
  return Texts(
      {std::to_string(NVMeStorageQueryPropertyIdentifyController(device, &controller)),
       std::to_string(NVMeStorageQueryPropertyIdentifyNamespace(device, &nameSpace)),
       std::to_string(NVMeStorageQueryPropertyGetLogPageErrorInfo(device, count, entries)),
       std::to_string(NVMeStorageQueryPropertyGetLogPageSMARTHealthInfo(device, &log)),
       std::to_string(NVMeStorageQueryPropertyGetVendorSpecificLogPage(device, 0xC0, page)),
       std::to_string(Host::IdentifyNVMeNamespace(device, 1, &nameSpace)),
       std::to_string(Host::FindNVMeNamespaceId(device, id) != 0),
       std::to_string(Host::ReadDriveHealth(device, health))});
}

class ReadOnlyOperations
    : public testing::TestWithParam<std::pair<const char*, std::function<std::string()>>> {};

TEST_P(ReadOnlyOperations, OfEightThreadsHearWhatOneHears) {
  const auto& ask = GetParam().second;
  // The list of adapters is to be taken before several threads ask for it.
  const CConfigManager adapters;
  const std::string alone = ask();
  ASSERT_NE(alone, "");
  std::barrier start(kThreads);
  std::vector<std::string> heard(kThreads * kRounds);
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread)
    threads.emplace_back([&, thread] {
      for (int round = 0; round < kRounds; ++round) {
        start.arrive_and_wait();
        heard[static_cast<std::size_t>(thread * kRounds + round)] = ask();
      }
    });
  for (std::thread& thread : threads) thread.join();
  for (const std::string& text : heard) EXPECT_EQ(text, alone);
}

using Row = std::pair<const char*, std::function<std::string()>>;

INSTANTIATE_TEST_SUITE_P(, ReadOnlyOperations,
                         testing::Values(Row{"CodeNames", OfCodeNames},
                                         Row{"Transitions", OfTransitions},
                                         Row{"Systems", OfSystems}, Row{"Times", OfTimes},
                                         Row{"Services", OfServices}, Row{"Machine", OfMachine},
                                         Row{"Devices", OfDevices}),
                         [](const auto& test) { return test.param.first; });

}  // namespace
}  // namespace Ondrel
