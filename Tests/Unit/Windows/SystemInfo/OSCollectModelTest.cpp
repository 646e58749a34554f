#include "Host/SystemFactsOperations.h"
#include "Support/PreparedOperations.h"
#include "Support/Sanitized.h"
#include "Unit/Windows/SystemInfo/OSCollectModel.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <random>

// The collection of facts on random prepared hosts against a literal model of it: the record, the
// result, and every call of the host in its order.

namespace Ondrel::Testing {
namespace {

constexpr int kHosts = WithSanitizer(400, 2000);

std::string Lower(std::string text) {
  for (char& character : text)
    character = static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
  return text;
}

// Numbers that are the same on every host, which the library's distributions are not.
class Dice {
public:
  explicit Dice(std::uint32_t seed) : m_numbers(seed) {}

  std::uint32_t Below(std::uint32_t end) { return static_cast<std::uint32_t>(m_numbers() % end); }
  bool Chance(std::uint32_t percent) { return Below(100) < percent; }

  template <class Value>
  Value OneOf(std::initializer_list<Value> values) {
    return *(values.begin() + Below(static_cast<std::uint32_t>(values.size())));
  }

private:
  std::mt19937 m_numbers;
};

std::string Text(const char* text) { return std::string(text) + '\0'; }

std::string List(std::initializer_list<const char*> texts) {
  std::string list;
  for (const char* const text : texts) list += Text(text);
  return list + '\0';
}

// The bytes of a number, or fewer or more than those.
std::string NumberBytes(Dice& dice) {
  const std::uint32_t number = dice.OneOf<std::uint32_t>({0, 0, 1, 256, 3134, 0x01000000});
  std::string bytes(sizeof number, '\0');
  std::memcpy(bytes.data(), &number, sizeof number);
  bytes.resize(dice.OneOf<std::size_t>({4, 4, 4, 4, 0, 1, 2, 5}), '\x01');
  return bytes;
}

void PlanRegistry(Dice& dice, PlannedHost& host) {
  const auto value = [&](const char* key, const char* name, const std::string& bytes) {
    if (!dice.Chance(85)) return;
    auto& values = host.registry[Lower(key)];
    if (dice.Chance(85)) values[name] = bytes;
  };
  constexpr char kCurrent[] = "Software\\Microsoft\\Windows NT\\CurrentVersion";
  constexpr char kOptions[] = "System\\CurrentControlSet\\Control\\ProductOptions";
  value(kOptions, "ProductType",
        Text(dice.OneOf({"LANMANNT", "lansecNT", "ServerNT", "WINNT", "WinNT", "other", ""})));
  value(kOptions, "ProductSuite",
        dice.OneOf({List({"Terminal Server", "enterprise"}), List({"SBS"}), List({}),
                    List({"small business", "", "Personal"}), List({"PERSONAL", "Blade"}),
                    std::string("Enterprise"), std::string()}));
  value(kCurrent, "EditionID",
        dice.OneOf({Text("ServerACor"), Text("serveracor"), Text("coreConnected"),
                    Text("ConnectedCore"), Text("Core"), std::string("ACor"),
                    std::string(1100, 'A') + "ACor"}));
  value(kCurrent, "SubVersionNumber", Text(dice.OneOf({"a", "A", "b", ""})));
  value(kCurrent, "CurrentType",
        Text(dice.OneOf({"Uniprocessor Free", "uniprocessor checked", "Multiprocessor FREE",
                         "Multiprocessor Checked", "Multiprocessor"})));
  value(kCurrent, "CurrentBuildNumber",
        dice.OneOf(
            {Text("1381"), Text("70000"), Text(""), std::string("2195"), std::string(129, '1')}));
  value(kCurrent, "UBR", NumberBytes(dice));
  value("System\\WPA\\MediaCenter", "Installed", NumberBytes(dice));
  value("System\\WPA\\TabletPC", "Installed", NumberBytes(dice));
  value("System\\CurrentControlSet\\Control\\Terminal Server", "TSAppCompat", NumberBytes(dice));
  if (dice.Chance(60))
    host.registry[Lower("SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Hotfix\\Q246009")];
}

void PlanVersion(Dice& dice, OSVERSIONINFOEXA& version) {
  version.dwMajorVersion = dice.OneOf<std::uint32_t>({3, 4, 4, 5, 5, 6, 6, 10});
  version.dwMinorVersion = dice.OneOf<std::uint32_t>({0, 0, 1, 2, 3, 10, 90});
  version.dwBuildNumber =
      dice.OneOf<std::uint32_t>({950, 951, 1080, 1081, 1213, 1214, 1381, 1998, 1999, 2182, 2183,
                                 9600, 19045, 65535, 65536, 0x10007, 0xFFFFFFFF});
  version.dwPlatformId = dice.OneOf<std::uint32_t>({0, 1, 1, 2, 2, 2, 2, 3, 4});
  std::strcpy(version.szCSDVersion,
              dice.OneOf({"", "Service Pack 1", "Service Pack 6", "Pack", " B", "3", "v70000.4"}));
  version.wServicePackMajor = static_cast<WORD>(dice.OneOf<std::uint32_t>({0, 1, 1, 2, 6, 6}));
  version.wServicePackMinor = static_cast<WORD>(dice.Below(2) * 7);
  version.wSuiteMask =
      static_cast<WORD>(dice.Chance(50) ? 1U << dice.Below(16) : dice.Below(65536));
  if (dice.Chance(20)) version.wSuiteMask = 0;
  version.wProductType = static_cast<std::uint8_t>(dice.Below(5));
}

void PlanLowerSources(Dice& dice, PlannedHost& host) {
  const auto architecture = [&] {
    return static_cast<std::uint16_t>(dice.Chance(10) ? 0xFFFF : dice.Below(17));
  };
  if (dice.Chance(70)) host.nativeProcessor = architecture();
  host.seenProcessor = architecture();
  if (dice.Chance(50)) {
    RTL_OSVERSIONINFOEXW& lower = host.lowerVersion.emplace();
    lower.dwMajorVersion = dice.OneOf<std::uint32_t>({6, 6, 10});
    lower.dwMinorVersion = dice.OneOf<std::uint32_t>({3, 3, 0});
    lower.dwBuildNumber = dice.OneOf<std::uint32_t>({9600, 19045, 70000});
    const std::string text = dice.OneOf({"", "Service Pack 2", "x65537", "none"});
    std::copy(text.begin(), text.end(), lower.szCSDVersion);
    host.lowerStatus = dice.Chance(85) ? 0 : -1;
  }
  if (dice.Chance(30))
    host.family = {dice.OneOf<std::uint64_t>({0x000A000049FE0C3E, 0x0006000325800001, 0}), 3,
                   dice.Below(9)};
  host.systemFolder = dice.Chance(85) ? "C:\\Windows\\system32" : "";
  if (dice.Chance(5)) host.systemFolder.assign(260, 'x');
  host.hal = {.size = dice.Chance(90) ? 1000U : 0U,
              .isRead = dice.Chance(90),
              .isFound = dice.Chance(90),
              .length = dice.OneOf<std::uint32_t>({52, 52, 52, 60, 51}),
              .low = dice.OneOf<std::uint32_t>({629162630, 629162631, 0x25804290, 0})};
}

PlannedHost Plan(std::uint32_t seed) {
  Dice dice(seed);
  PlannedHost host;
  host.hasVersionCall = dice.Chance(90);
  host.takesExtended = dice.Chance(60);
  host.takesClassic = dice.Chance(80);
  PlanVersion(dice, host.version);
  if (dice.Chance(80)) host.packedVersion = dice.OneOf<std::uint32_t>({0x05650004, 0x0A280105, 3});
  if (dice.Chance(70))
    host.product = dice.Chance(80) ? dice.Below(200) : dice.OneOf<std::uint32_t>({406, 408, 500});
  for (int index = 86; index <= 89; ++index) host.metrics[index] = dice.Chance(20) ? 1 : 0;
  PlanRegistry(dice, host);
  PlanLowerSources(dice, host);
  return host;
}

/// The planned host as operations that note how they are called.
class NotedHost {
public:
  explicit NotedHost(const PlannedHost& host)
      : m_host(host), m_operations(Host::SystemFacts(), Operations()) {}

  const std::vector<std::string>& Calls() const { return m_calls; }
  int OpenKeys() const { return m_openKeys; }

private:
  using Values = std::map<std::string, std::string>;

  void Note(const std::string& call) { m_calls.push_back(call); }

  std::int32_t Open(void* root, const char* name, ULong access, void** key) {
    char hexadecimal[16];
    std::snprintf(hexadecimal, sizeof hexadecimal, "%X", static_cast<unsigned int>(access));
    Note("RegOpenKeyExA(" + std::string(name) + ", " + hexadecimal + ")");
    EXPECT_EQ(root, static_cast<void*>(HKEY_LOCAL_MACHINE));
    const auto found = m_host.registry.find(Lower(name));
    if (found == m_host.registry.end()) return 2;
    *key = const_cast<Values*>(&found->second);
    ++m_openKeys;
    return 0;
  }

  std::int32_t Query(void* key, const char* name, unsigned char* data, ULong* size) {
    Note("RegQueryValueExA(" + std::string(name) + ", " +
         (data == nullptr ? std::string("size") : std::to_string(*size)) + ")");
    const auto& values = *static_cast<const Values*>(key);
    const auto found = values.find(name);
    if (found == values.end()) return 2;
    const auto length = static_cast<ULong>(found->second.size());
    if (data != nullptr && length > *size) return 234;
    if (data != nullptr) std::memcpy(data, found->second.data(), length);
    *size = length;
    return 0;
  }

  void AddVersions(Host::SystemFactsOperations& host) {
    if (m_host.hasVersionCall)
      host.GetVersionExA = [this](OSVERSIONINFOA* version) {
        const ULong size = version->dwOSVersionInfoSize;
        Note("GetVersionExA(" + std::to_string(size) + ")");
        if (size == sizeof(OSVERSIONINFOEXA) ? !m_host.takesExtended : !m_host.takesClassic)
          return 0;
        std::memcpy(static_cast<void*>(version), &m_host.version, size);
        return 1;
      };
    if (m_host.packedVersion)
      host.GetVersion = [this] {
        Note("GetVersion");
        return static_cast<ULong>(*m_host.packedVersion);
      };
    if (m_host.product)
      host.GetProductInfo = [this](ULong major, ULong minor, ULong packMajor, ULong packMinor,
                                   ULong* product) {
        Note("GetProductInfo(" + std::to_string(major) + ", " + std::to_string(minor) + ", " +
             std::to_string(packMajor) + ", " + std::to_string(packMinor) + ")");
        *product = *m_host.product;
        return 1;
      };
    if (m_host.lowerVersion)
      host.RtlGetVersion = [this](RTL_OSVERSIONINFOEXW* version) {
        Note("RtlGetVersion(" + std::to_string(version->dwOSVersionInfoSize) + ")");
        *version = *m_host.lowerVersion;
        return m_host.lowerStatus;
      };
    if (m_host.family)
      host.RtlGetDeviceFamilyInfoEnum = [this](std::uint64_t* version, ULong* family, ULong* form) {
        Note("RtlGetDeviceFamilyInfoEnum");
        *version = m_host.family->version;
        *family = m_host.family->family;
        *form = m_host.family->form;
      };
    host.WideCharToMultiByte = [this](unsigned int codePage, ULong flags, const WCHAR* wide,
                                      int length, char* narrow, int size, const char*, int*) {
      Note("WideCharToMultiByte(" + std::to_string(codePage) + ", " + std::to_string(flags) + ", " +
           std::to_string(length) + ", " + std::to_string(size) + ")");
      int count = 0;
      do narrow[count] = static_cast<char>(wide[count]);
      while (wide[count++] != 0);
      return count;
    };
  }

  void AddMachine(Host::SystemFactsOperations& host) {
    if (m_host.nativeProcessor)
      host.GetNativeSystemInfo = [this](SYSTEM_INFO* system) {
        Note("GetNativeSystemInfo");
        if (*m_host.nativeProcessor != 0xFFFF)
          system->wProcessorArchitecture = *m_host.nativeProcessor;
      };
    host.GetSystemInfo = [this](SYSTEM_INFO* system) {
      Note("GetSystemInfo");
      if (m_host.seenProcessor != 0xFFFF) system->wProcessorArchitecture = m_host.seenProcessor;
    };
    host.GetSystemMetrics = [this](int index) {
      Note("GetSystemMetrics(" + std::to_string(index) + ")");
      return m_host.metrics.at(index);
    };
    host.GetSystemDirectoryA = [this](char* folder, unsigned int size) -> unsigned int {
      Note("GetSystemDirectoryA(" + std::to_string(size) + ")");
      if (m_host.systemFolder.size() < size) std::strcpy(folder, m_host.systemFolder.c_str());
      return static_cast<unsigned int>(m_host.systemFolder.size());
    };
    host.GetFileVersionInfoSizeA = [this](const char* path, ULong*) -> ULong {
      Note("GetFileVersionInfoSizeA(" + std::string(path) + ")");
      return m_host.hal.size;
    };
    host.GetFileVersionInfoA = [this](const char* path, ULong handle, ULong size, void*) {
      Note("GetFileVersionInfoA(" + std::string(path) + ", " + std::to_string(handle) + ", " +
           std::to_string(size) + ")");
      return m_host.hal.isRead ? 1 : 0;
    };
    host.VerQueryValueA = [this](const void*, const char* key, void** value, unsigned int* length) {
      Note("VerQueryValueA(" + std::string(key) + ")");
      m_fixed.dwFileVersionLS = m_host.hal.low;
      *value = &m_fixed;
      *length = m_host.hal.length;
      return m_host.hal.isFound ? 1 : 0;
    };
  }

  Host::SystemFactsOperations Operations() {
    Host::SystemFactsOperations host;
    AddVersions(host);
    AddMachine(host);
    host.RegOpenKeyExA = [this](void* root, const char* name, ULong options, ULong access,
                                void** key) {
      EXPECT_EQ(options, 0U);
      return Open(root, name, access, key);
    };
    host.RegQueryValueExA = [this](void* key, const char* name, ULong*, ULong*, unsigned char* data,
                                   ULong* size) { return Query(key, name, data, size); };
    host.RegCloseKey = [this](void*) {
      Note("RegCloseKey");
      --m_openKeys;
      return 0;
    };
    return host;
  }

  const PlannedHost& m_host;
  std::vector<std::string> m_calls;
  int m_openKeys = 0;
  VS_FIXEDFILEINFO m_fixed{};
  PreparedOperations<Host::SystemFactsOperations> m_operations;
};

TEST(OSCollectModel, SaysTheSameOfRandomHosts) {
  std::map<std::string, int> reached;
  for (std::uint32_t seed = 1; seed <= kHosts; ++seed) {
    const PlannedHost planned = Plan(seed);
    OSCollectModel model(planned);
    const bool expected = model.Collect();
    const OS_FACTS expectedFacts = model.Facts();

    OS_FACTS facts;
    std::memset(&facts, 0x5A, sizeof facts);
    const NotedHost host(planned);
    ASSERT_EQ(COSProbe().Collect(facts), expected) << seed;
    ASSERT_EQ(host.Calls(), model.Calls()) << seed;
    ASSERT_EQ(host.OpenKeys(), 0) << seed;
    ASSERT_EQ(std::memcmp(&facts, &expectedFacts, sizeof facts), 0) << seed;

    for (const std::string& flag : model.Flags()) ++reached[flag];
    if (!expected) ++reached["no version"];
    if (facts.reported.spMinor == 1) ++reached["minor of a service pack"];
    if (facts.reported.spMinor == 5) ++reached["Windows 95 OSR 2.5"];
    if (facts.semiAnnual == 1) ++reached["semi-annual"];
  }
  // The hosts differ in what decides.
  for (const char* const what :
       {"no version", "minor of a service pack", "Windows 95 OSR 2.5", "semi-annual", "Win32s",
        "Windows81Update", "Professional", "PrimaryDomainController", "BackupDomainController",
        "CoreConnected", "Standard", "RemoteAdminMode", "Enterprise", "MultiprocessorChecked",
        "UniprocessorFree", "MediaCenter", "TabletPC"})
    EXPECT_GT(reached[what], 0) << what;
}

}  // namespace
}  // namespace Ondrel::Testing
