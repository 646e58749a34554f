#include "Host/SystemFactsOperations.h"
#include "Support/PreparedOperations.h"

#include <Ondrel/OSInfo.h>

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <utility>

// Values in the registry reach the record. What only older systems are asked for is read where the
// version call refuses its larger record.

namespace Ondrel {
namespace {

constexpr char kCurrent[] = "SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion";
constexpr char kProductOptions[] = "System\\CurrentControlSet\\Control\\ProductOptions";
constexpr char kTerminalServer[] = "System\\CurrentControlSet\\Control\\Terminal Server";

/// A value in the registry for one scope; what was there stands again afterwards.
class PlantedValue {
public:
  PlantedValue(const char* key, const char* name, DWORD type, const std::string& data)
      : m_name(name) {
    RegCreateKeyExA(HKEY_LOCAL_MACHINE, key, 0, nullptr, 0, KEY_ALL_ACCESS | KEY_WOW64_64KEY,
                    nullptr, &m_key, nullptr);
    char before[1024];
    DWORD size = sizeof before;
    m_wasThere = RegQueryValueExA(m_key, name, nullptr, &m_typeBefore,
                                  reinterpret_cast<BYTE*>(before), &size) == ERROR_SUCCESS;
    m_before.assign(before, m_wasThere ? size : 0);
    Set(type, data);
  }
  ~PlantedValue() {
    if (m_wasThere)
      Set(m_typeBefore, m_before);
    else
      RegDeleteValueA(m_key, m_name);
    RegCloseKey(m_key);
  }

  PlantedValue(const PlantedValue&) = delete;
  PlantedValue& operator=(const PlantedValue&) = delete;

private:
  void Set(DWORD type, const std::string& data) {
    RegSetValueExA(m_key, m_name, 0, type, reinterpret_cast<const BYTE*>(data.data()),
                   static_cast<DWORD>(data.size()));
  }

  const char* m_name;
  HKEY m_key = nullptr;
  DWORD m_typeBefore = REG_NONE;
  bool m_wasThere = false;
  std::string m_before;
};

std::string Number(DWORD number) {
  std::string bytes(sizeof number, '\0');
  std::memcpy(bytes.data(), &number, sizeof number);
  return bytes;
}

// This host, as a system of these numbers whose version call knows the smaller record alone.
Host::SystemFactsOperations OlderSystem(DWORD major, const char* servicePack) {
  Host::SystemFactsOperations host = Host::MakeSystemFactsOperations();
  host.GetVersionExA = [major, servicePack](OSVERSIONINFOA* version) {
    if (version->dwOSVersionInfoSize != sizeof(OSVERSIONINFOA)) return 0;
    version->dwMajorVersion = major;
    version->dwMinorVersion = 0;
    version->dwBuildNumber = 1381;
    version->dwPlatformId = 2;
    std::strcpy(version->szCSDVersion, servicePack);
    return 1;
  };
  host.RtlGetVersion = nullptr;
  host.RtlGetDeviceFamilyInfoEnum = nullptr;
  return host;
}

OS_FACTS FactsOf(Host::SystemFactsOperations host) {
  const Testing::PreparedOperations<Host::SystemFactsOperations> prepared(Host::SystemFacts(),
                                                                          std::move(host));
  OS_FACTS facts{};
  EXPECT_TRUE(COSProbe().Collect(facts));
  return facts;
}

// What a host program that derives from the class can see.
class HostInfo : public COSInfo_Win {
public:
  bool IsStorageProduct() const { return m_IsStorageProduct; }
};

TEST(OSRegistry, StorageProductIsKnownByItsName) {
  EXPECT_FALSE(HostInfo().IsStorageProduct());
  const std::string name = "Windows Storage Server 2016 Standard";
  const PlantedValue planted(kCurrent, "ProductName", REG_SZ, name + '\0');
  EXPECT_TRUE(HostInfo().IsStorageProduct());
}

TEST(OSRegistry, ProductSuiteIsReadOnOlderSystems) {
  using namespace std::string_literals;
  const PlantedValue planted(kProductOptions, "ProductSuite", REG_MULTI_SZ,
                             "terminal server\0Small Business\0Enterprise\0\0"s);
  const OS_FACTS facts = FactsOf(OlderSystem(4, "Service Pack 5"));
  EXPECT_TRUE(OSFlagIsSet(facts, OSFlags::TerminalServices));
  EXPECT_TRUE(OSFlagIsSet(facts, OSFlags::SmallBusiness));
  EXPECT_TRUE(OSFlagIsSet(facts, OSFlags::Enterprise));
  EXPECT_FALSE(OSFlagIsSet(facts, OSFlags::Personal));
  EXPECT_EQ(facts.underlying.spMajor, 5);

  const OS_FACTS newer = FactsOf(Host::MakeSystemFactsOperations());
  EXPECT_FALSE(OSFlagIsSet(newer, OSFlags::TerminalServices));
}

TEST(OSRegistry, RemoteAdminModeIsReadOnOlderSystems) {
  const PlantedValue compatible(kTerminalServer, "TSAppCompat", REG_DWORD, Number(1));
  EXPECT_FALSE(OSFlagIsSet(FactsOf(OlderSystem(5, "")), OSFlags::RemoteAdminMode));
  const PlantedValue planted(kTerminalServer, "TSAppCompat", REG_DWORD, Number(0));
  EXPECT_TRUE(OSFlagIsSet(FactsOf(OlderSystem(5, "")), OSFlags::RemoteAdminMode));
}

// Yields whether there was no such key before.
bool CreateKey(const char* name) {
  HKEY key = nullptr;
  DWORD disposition = 0;
  RegCreateKeyExA(HKEY_LOCAL_MACHINE, name, 0, nullptr, 0, KEY_ALL_ACCESS | KEY_WOW64_64KEY,
                  nullptr, &key, &disposition);
  RegCloseKey(key);
  return disposition == REG_CREATED_NEW_KEY;
}

TEST(OSRegistry, HotfixMakesServicePack6a) {
  constexpr char kHotfix[] = "SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Hotfix\\Q246009";
  const bool isNew = CreateKey(kHotfix);
  const OS_FACTS with = FactsOf(OlderSystem(4, "Service Pack 6"));
  ASSERT_EQ(RegDeleteKeyExA(HKEY_LOCAL_MACHINE, kHotfix, KEY_WOW64_64KEY, 0), ERROR_SUCCESS);
  const OS_FACTS without = FactsOf(OlderSystem(4, "Service Pack 6"));
  if (!isNew) CreateKey(kHotfix);

  EXPECT_EQ(with.underlying.spMajor, 6);
  EXPECT_EQ(with.underlying.spMinor, 1);
  EXPECT_EQ(with.reported.spMinor, 1);
  EXPECT_EQ(without.underlying.spMajor, 6);
  EXPECT_EQ(without.underlying.spMinor, 0);
}

TEST(OSRegistry, ProductTypeDecidesTheKindOnOlderSystems) {
  using namespace std::string_literals;
  const PlantedValue planted(kProductOptions, "ProductType", REG_SZ, "LANMANNT\0"s);
  const OS_FACTS facts = FactsOf(OlderSystem(4, "Service Pack 6"));
  EXPECT_EQ(facts.osType, 3U);
  EXPECT_TRUE(OSFlagIsSet(facts, OSFlags::PrimaryDomainController));
  EXPECT_TRUE(OSFlagIsSet(facts, OSFlags::Standard));
}

}  // namespace
}  // namespace Ondrel
