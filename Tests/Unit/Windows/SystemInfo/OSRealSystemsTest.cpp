#include "Host/SystemFactsOperations.h"
#include "Support/PreparedOperations.h"

#include <Ondrel/OSInfo.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <map>
#include <string>
#include <vector>

// From what real systems answer to their record, and from the record to their names. A system is a
// line of Tests/Data/real-systems.jsonl: what it answers ("sources"), the record and the names.

namespace Ondrel {
namespace {

using nlohmann::json;

const std::vector<json>& Systems() {
  static const std::vector<json> systems = [] {
    std::vector<json> read;
    std::ifstream file(ONDREL_SOURCE_FOLDER "/Tests/Data/real-systems.jsonl");
    for (std::string line; std::getline(file, line);) read.push_back(json::parse(line));
    return read;
  }();
  return systems;
}

/// A half as the data has it: what is not there is 0.
struct Half {
  std::uint32_t major;
  std::uint32_t minor;
  std::uint32_t build;
  std::uint16_t spMajor;
  std::string csdVersion;

  explicit Half(const json& half)
      : major(half.at("major")),
        minor(half.at("minor")),
        build(half.at("build")),
        spMajor(half.value("spMajor", std::uint16_t{0})),
        csdVersion(half.value("csdVersion", "")) {}

  bool IsFrom(std::uint32_t wantedMajor, std::uint32_t wantedMinor) const {
    return major > wantedMajor || (major == wantedMajor && minor >= wantedMinor);
  }
};

std::string Number(std::uint32_t number) {
  std::string bytes(sizeof number, '\0');
  std::memcpy(bytes.data(), &number, sizeof number);
  return bytes;
}

using Values = std::map<std::string, std::string>;

/// The keys of the registry in capitals, with their values.
std::map<std::string, Values> RegistryOf(const json& values) {
  constexpr char kCurrent[] = "SOFTWARE\\MICROSOFT\\WINDOWS NT\\CURRENTVERSION";
  constexpr char kProductOptions[] = "SYSTEM\\CURRENTCONTROLSET\\CONTROL\\PRODUCTOPTIONS";
  std::map<std::string, Values> registry;
  registry[kCurrent];
  for (const auto& [name, value] : values.items()) {
    if (name == "Hotfix") {
      registry[kCurrent + std::string("\\HOTFIX\\") + value.get<std::string>()];
      continue;
    }
    std::string& data = registry[name.starts_with("Product") ? kProductOptions : kCurrent][name];
    if (value.is_number())
      data = Number(value.get<std::uint32_t>());
    else if (value.is_array())
      for (const json& text : value) data += text.get<std::string>() + '\0';
    else
      data = value.get<std::string>();
    if (!value.is_number()) data += '\0';
  }
  return registry;
}

void Fill(const json& system, OSVERSIONINFOEXA& version) {
  const Half reported(system.at("reported"));
  version.dwMajorVersion = reported.major;
  version.dwMinorVersion = reported.minor;
  version.dwBuildNumber = reported.build;
  version.dwPlatformId = 2;
  reported.csdVersion.copy(version.szCSDVersion, sizeof version.szCSDVersion - 1);
}

/// The operations of a system; those that came with a later one are absent.
Host::SystemFactsOperations OperationsOf(const json& system,
                                         std::map<std::string, Values>& registry) {
  const json& sources = system.at("sources");
  const Half real(system.at("underlying"));
  Host::SystemFactsOperations host;

  host.GetVersionExA = [&system, &sources](OSVERSIONINFOA* asked) {
    const bool isExtended = asked->dwOSVersionInfoSize == sizeof(OSVERSIONINFOEXA);
    if (isExtended && sources.at("call") != "extended") return 0;
    OSVERSIONINFOEXA version{};
    Fill(system, version);
    version.dwOSVersionInfoSize = asked->dwOSVersionInfoSize;
    if (isExtended) {
      version.wServicePackMajor = Half(system.at("reported")).spMajor;
      version.wSuiteMask = sources.at("suiteMask");
      version.wProductType = sources.at("productType");
    }
    std::memcpy(static_cast<void*>(asked), &version, asked->dwOSVersionInfoSize);
    return 1;
  };
  const auto tellArchitecture = [&sources](SYSTEM_INFO* info) {
    info->wProcessorArchitecture = sources.at("architecture");
  };
  host.GetSystemInfo = tellArchitecture;
  host.GetSystemMetrics = [&sources](int index) {
    const json metrics = sources.value("metrics", json::array());
    return std::find(metrics.begin(), metrics.end(), index) != metrics.end() ? 1 : 0;
  };
  host.RegOpenKeyExA = [&registry](void*, const char* name, ULong, ULong,
                                   void** key) -> std::int32_t {
    std::string capitals = name;
    std::transform(capitals.begin(), capitals.end(), capitals.begin(), [](unsigned char c) {
      return static_cast<char>(c >= 'a' && c <= 'z' ? c - 'a' + 'A' : c);
    });
    const auto found = registry.find(capitals);
    if (found == registry.end()) return 2;
    *key = &found->second;
    return 0;
  };
  host.RegQueryValueExA = [](void* key, const char* name, ULong*, ULong*, unsigned char* data,
                             ULong* size) -> std::int32_t {
    const auto& values = *static_cast<Values*>(key);
    const auto found = values.find(name);
    if (found == values.end()) return 2;
    if (data != nullptr && *size < found->second.size()) return 234;
    if (data != nullptr) std::copy(found->second.begin(), found->second.end(), data);
    *size = static_cast<ULong>(found->second.size());
    return 0;
  };
  host.RegCloseKey = [](void*) { return 0; };

  if (real.IsFrom(5, 0)) {
    host.RtlGetVersion = [real](RTL_OSVERSIONINFOEXW* version) -> std::int32_t {
      version->dwMajorVersion = real.major;
      version->dwMinorVersion = real.minor;
      version->dwBuildNumber = real.build;
      std::copy(real.csdVersion.begin(), real.csdVersion.end(), version->szCSDVersion);
      return 0;
    };
    host.WideCharToMultiByte = [](unsigned int, ULong, const WCHAR* wide, int, char* narrow, int,
                                  const char*, int*) {
      int length = 0;
      do narrow[length] = static_cast<char>(wide[length]);
      while (wide[length++] != 0);
      return length;
    };
  }
  if (real.IsFrom(5, 1)) host.GetNativeSystemInfo = tellArchitecture;
  if (real.IsFrom(6, 0))
    host.GetProductInfo = [&system](ULong, ULong, ULong, ULong, ULong* product) {
      *product = system.value("productInfo", 0U);
      return 1;
    };
  if (real.IsFrom(10, 0))
    host.RtlGetDeviceFamilyInfoEnum = [real, &system](std::uint64_t* version, ULong* family,
                                                      ULong* form) {
      *version = std::uint64_t{real.major} << 48 | std::uint64_t{real.minor} << 32 |
                 std::uint64_t{real.build} << 16 | system.value("ubr", 0U);
      *family = 0;
      *form = 0;
    };
  return host;
}

COSInfo_Win InfoOf(const json& system) {
  std::map<std::string, Values> registry = RegistryOf(system.at("sources").at("registry"));
  const Testing::PreparedOperations<Host::SystemFactsOperations> prepared(
      Host::SystemFacts(), OperationsOf(system, registry));
  return COSInfo_Win();
}

void ExpectHalf(const OS_VERSION_HALF& half, const json& expected) {
  EXPECT_EQ(half.major, expected.at("major"));
  EXPECT_EQ(half.minor, expected.at("minor"));
  EXPECT_EQ(half.build, expected.at("build"));
  EXPECT_EQ(half.platform, expected.at("platform"));
  EXPECT_EQ(half.processor, expected.at("processor"));
  EXPECT_EQ(half.csdVersion, expected.value("csdVersion", ""));
  EXPECT_EQ(half.spMajor, expected.value("spMajor", 0));
  EXPECT_EQ(half.spMinor, expected.value("spMinor", 0));
}

TEST(OSRealSystems, AreAtLeast40WithNamesOfTheirOwn) {
  std::map<std::string, int> names;
  for (const json& system : Systems()) ++names[system.at("system")];
  EXPECT_GE(Systems().size(), 40U);
  EXPECT_EQ(names.size(), Systems().size());
}

TEST(OSRealSystems, AnswerToTheirRecord) {
  for (const json& system : Systems()) {
    const testing::ScopedTrace trace(__FILE__, __LINE__, system.at("system").get<std::string>());
    const OS_FACTS facts = InfoOf(system).Facts();
    {
      const testing::ScopedTrace half(__FILE__, __LINE__, "reported");
      ExpectHalf(facts.reported, system.at("reported"));
    }
    {
      const testing::ScopedTrace half(__FILE__, __LINE__, "underlying");
      ExpectHalf(facts.underlying, system.at("underlying"));
    }
    EXPECT_EQ(facts.suite1, system.value("suite1", 0U)) << std::hex << facts.suite1;
    EXPECT_EQ(facts.suite2, system.value("suite2", 0U)) << std::hex << facts.suite2;
    EXPECT_EQ(facts.suite3, system.value("suite3", 0U)) << std::hex << facts.suite3;
    EXPECT_EQ(facts.suite4, system.value("suite4", 0U));
    EXPECT_EQ(facts.osType, system.at("osType"));
    EXPECT_EQ(facts.ubr, system.value("ubr", 0U));
    EXPECT_EQ(facts.productInfo, system.value("productInfo", 0U));
    EXPECT_EQ(facts.semiAnnual, system.value("semiAnnual", 0U));
  }
}

TEST(OSRealSystems, HaveTheirNames) {
  using Get = bool (COSInfo_Win::*)(std::string&) const;
  const std::pair<const char*, Get> texts[] = {
      {"vendor", &COSInfo_Win::GetOSVendor},
      {"product", &COSInfo_Win::GetOSProduct},
      {"edition", &COSInfo_Win::GetOSEdition},
      {"servicePack", &COSInfo_Win::GetOSServicePack},
      {"version", &COSInfo_Win::GetOSVersion},
      {"build", &COSInfo_Win::GetOSBuildNumber},
      {"architecture", &COSInfo_Win::GetProcessorArchitecture},
      {"features", &COSInfo_Win::GetOSFeatures}};
  for (const json& system : Systems()) {
    const COSInfo_Win info = InfoOf(system);
    for (const auto& [name, get] : texts) {
      std::string text;
      EXPECT_EQ((info.*get)(text), !system.at("names").at(name).get<std::string>().empty());
      EXPECT_EQ(text, system.at("names").at(name)) << system.at("system") << ", " << name;
    }
  }
}

}  // namespace
}  // namespace Ondrel
