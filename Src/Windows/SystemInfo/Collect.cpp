#include "Host/SystemFactsOperations.h"
#include "Windows/SystemInfo/Codes.h"
#include "Windows/SystemInfo/ProductTable.h"
#include "Windows/SystemInfo/Registry.h"

#include <Ondrel/OSInfo.h>

#include <boost/algorithm/string/predicate.hpp>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>

namespace Ondrel {

namespace {

constexpr int kDecimal = 10;

constexpr char kCurrentVersion[] = "Software\\Microsoft\\Windows NT\\CurrentVersion";
constexpr char kCurrentVersionInCapitals[] = "SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion";
constexpr char kProductOptions[] = "System\\CurrentControlSet\\Control\\ProductOptions";

std::uint32_t& WordOf(OS_FACTS& facts, const OSFlag& flag) {
  switch (flag.word) {
    case 1:
      return facts.suite1;
    case 2:
      return facts.suite2;
    case 3:
      return facts.suite3;
    default:
      return facts.suite4;
  }
}

void Set(OS_FACTS& facts, const OSFlag& flag) { WordOf(facts, flag) |= flag.mask; }

void CopyText(char (&target)[128], const char* text) {
  const std::size_t length = strnlen(text, sizeof target - 1);
  std::fill(std::copy_n(text, length, target), std::end(target), '\0');
}

bool IsSame(const std::string& left, const char* right) { return boost::iequals(left, right); }

bool HasText(const std::optional<std::string>& text, const char* part) {
  return text && text->find(part) != std::string::npos;
}

void ReadProductType(int hasExtended, OS_FACTS& facts) {
  const auto type = RegistryKey(RegistryKey::kRead, kProductOptions).Text("ProductType");
  if (!type) return;
  const bool isPrimary = IsSame(*type, "LANMANNT");
  const bool isBackup = IsSame(*type, "LANSECNT");
  if (isPrimary) Set(facts, OSFlags::PrimaryDomainController);
  if (isBackup) Set(facts, OSFlags::BackupDomainController);
  if (hasExtended != 0) return;
  if (isPrimary || isBackup) facts.osType = kDomainController;
  if (IsSame(*type, "SERVERNT")) facts.osType = kServer;
  if (IsSame(*type, "WinNT")) facts.osType = kWorkstation;
}

void ReadCoreConnected(OS_FACTS& facts) {
  auto edition = RegistryKey(RegistryKey::kRead, kCurrentVersion).Text("EditionID");
  if (!edition) return;
  std::transform(edition->begin(), edition->end(), edition->begin(), [](char c) {
    return static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  });
  if (HasText(edition, "CORECONNECTED") || HasText(edition, "CONNECTEDCORE"))
    Set(facts, OSFlags::CoreConnected);
}

int Metric(int index) {
  const auto& metrics = Host::SystemFacts().GetSystemMetrics;
  return metrics ? metrics(index) : 0;
}

void ReadInstalled(int metric, const char* key, const OSFlag& flag, OS_FACTS& facts) {
  if (Metric(metric) != 0 ||
      RegistryKey(RegistryKey::kRead, key).Number("Installed").value_or(0) != 0)
    Set(facts, flag);
}

std::uint32_t PlatformOf(std::uint32_t platformId) {
  switch (platformId) {
    case kId9x:
      return kWindows9x;
    case kIdNT:
      return kNT;
    case kIdCE:
      return kCE;
    default:
      return 0;
  }
}

void SetServicePackMinor(OS_FACTS& facts) {
  facts.reported.spMinor = 1;
  facts.underlying.spMinor = 1;
}

// The service pack numbers that only the registry has.
void ReadServicePackMinor(OS_FACTS& facts) {
  if (facts.underlying.major == 4 && facts.underlying.spMajor == 6 &&
      RegistryKey(RegistryKey::kQuery,
                  "SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Hotfix\\Q246009")
          .IsOpen())
    SetServicePackMinor(facts);
  if (facts.underlying.major == 5 && facts.underlying.minor != 0 && facts.underlying.spMajor == 1) {
    const auto number =
        RegistryKey(RegistryKey::kQuery, kCurrentVersionInCapitals).Text("SubVersionNumber");
    if (number && IsSame(*number, "a")) SetServicePackMinor(facts);
  }
}

void ReadKernelType(OS_FACTS& facts) {
  const struct {
    const char* text;
    const OSFlag& flag;
  } types[] = {{"Uniprocessor Free", OSFlags::UniprocessorFree},
               {"Uniprocessor Checked", OSFlags::UniprocessorChecked},
               {"Multiprocessor Free", OSFlags::MultiprocessorFree},
               {"Multiprocessor Checked", OSFlags::MultiprocessorChecked}};
  const auto current =
      RegistryKey(RegistryKey::kQuery, kCurrentVersionInCapitals).Text("CurrentType");
  if (!current) return;
  for (const auto& type : types)
    if (IsSame(*current, type.text)) Set(facts, type.flag);
}

void ReadRevisionAndChannel(OS_FACTS& facts) {
  facts.ubr = RegistryKey(RegistryKey::kRead, kCurrentVersion).Number("UBR").value_or(0);
  const auto edition = RegistryKey(RegistryKey::kRead, kCurrentVersion).Text("EditionID");
  facts.semiAnnual = HasText(edition, "ACor") ? 1 : 0;
}

void ApplyWin32s(OS_FACTS& facts) {
  Set(facts, OSFlags::Win32s);
  facts.reported.platform = kNT;
  facts.underlying.major = 3;
  facts.underlying.minor = 10;
  facts.underlying.build = 0;
  facts.underlying.platform = kWindows3;
}

void ReadProcessors(COSProbe& probe, OS_FACTS& facts) {
  constexpr WORD kNotFilled = 0xFFFF;
  const Host::SystemFactsOperations& host = Host::SystemFacts();
  SYSTEM_INFO native{};
  SYSTEM_INFO seen{};
  native.wProcessorArchitecture = kNotFilled;
  seen.wProcessorArchitecture = kNotFilled;
  if (host.GetNativeSystemInfo) {
    host.GetNativeSystemInfo(&native);
    if (host.GetSystemInfo) host.GetSystemInfo(&seen);
  } else {
    if (host.GetSystemInfo) host.GetSystemInfo(&native);
    seen.wProcessorArchitecture = native.wProcessorArchitecture;
  }
  facts.underlying.processor = probe.MapProcessor(native.wProcessorArchitecture);
  facts.reported.processor = probe.MapProcessor(seen.wProcessorArchitecture);
}

void ReadUnderlyingVersion(COSProbe& probe, OS_FACTS& facts) {
  const Host::SystemFactsOperations& host = Host::SystemFacts();
  RTL_OSVERSIONINFOEXW version{};
  version.dwOSVersionInfoSize = sizeof version;
  if (!host.RtlGetVersion || host.RtlGetVersion(&version) != 0) return;
  facts.underlying.major = version.dwMajorVersion;
  facts.underlying.minor = version.dwMinorVersion;
  facts.underlying.build = version.dwBuildNumber;

  char text[sizeof facts.underlying.csdVersion + 1] = {};
  if (host.WideCharToMultiByte)
    host.WideCharToMultiByte(CP_ACP, 0, version.szCSDVersion, -1, text,
                             sizeof facts.underlying.csdVersion, nullptr, nullptr);
  CopyText(facts.underlying.csdVersion, text);
  facts.underlying.spMajor =
      static_cast<std::uint16_t>(probe.ParseServicePack(facts.underlying.csdVersion));
  // Intentional: the minor that the registry gave is lost here.
  facts.underlying.spMinor = 0;
}

void ReadDeviceFamily(OS_FACTS& facts) {
  facts.deviceFamilyVersion = 0;
  facts.deviceFamily = 0;
  facts.deviceForm = 0;
  const auto& read = Host::SystemFacts().RtlGetDeviceFamilyInfoEnum;
  if (!read) return;
  ULong family = 0;
  ULong form = 0;
  read(&facts.deviceFamilyVersion, &family, &form);
  facts.deviceFamily = family;
  facts.deviceForm = form;
  const std::uint64_t packed = facts.deviceFamilyVersion;
  facts.underlying.major = static_cast<std::uint32_t>(packed >> 48 & 0xFFFF);
  facts.underlying.minor = static_cast<std::uint32_t>(packed >> 32 & 0xFFFF);
  facts.underlying.build = static_cast<std::uint32_t>(packed >> 16 & 0xFFFF);
  facts.ubr = static_cast<std::uint32_t>(packed & 0xFFFF);
}

// The low half of the version of the hardware abstraction layer; 0 where it is not to be had.
std::uint32_t LowVersionOfHal() {
  const Host::SystemFactsOperations& host = Host::SystemFacts();
  if (!host.GetSystemDirectoryA || !host.GetFileVersionInfoSizeA || !host.GetFileVersionInfoA ||
      !host.VerQueryValueA)
    return 0;
  constexpr unsigned int kPathSize = 260;
  char folder[kPathSize] = {};
  const unsigned int length = host.GetSystemDirectoryA(folder, kPathSize);
  if (length == 0 || length >= kPathSize) return 0;
  const std::string path = std::string(folder) + "\\HAL.DLL";
  ULong handle = 0;
  const ULong size = host.GetFileVersionInfoSizeA(path.c_str(), &handle);
  if (size == 0) return 0;
  std::vector<char> record(size);
  void* value = nullptr;
  unsigned int valueLength = 0;
  if (!host.GetFileVersionInfoA(path.c_str(), 0, size, record.data()) ||
      !host.VerQueryValueA(record.data(), "\\", &value, &valueLength) ||
      valueLength < sizeof(VS_FIXEDFILEINFO))
    return 0;
  VS_FIXEDFILEINFO fixed;
  std::memcpy(&fixed, value, sizeof fixed);
  return fixed.dwFileVersionLS;
}

void ReadWindows81Update(OS_FACTS& facts) {
  constexpr std::uint32_t kFirstWithUpdate = 0x25804287;  // Build 9600.17031
  const OS_VERSION_HALF& half = facts.underlying;
  if (half.platform == kNT && half.major == 6 && half.minor == 3 &&
      LowVersionOfHal() >= kFirstWithUpdate)
    Set(facts, OSFlags::Windows81Update);
}

std::uint32_t TypeOfProduct(std::uint8_t productType) {
  // The host's order of servers and domain controllers is not the record's.
  switch (productType) {
    case 1:
      return kWorkstation;
    case 2:
      return kDomainController;
    case 3:
      return kServer;
    default:
      return kUnknown;
  }
}

struct ServicePack {
  std::uint16_t major;
  std::uint16_t minor;
};

// Windows 9x reports no service pack; the build shows it.
ServicePack ServicePackOf9x(std::uint32_t major, std::uint32_t minor, std::uint32_t build) {
  if (major != 4) return {0, 0};
  if (build >= 951 && build <= 1080) return {1, 0};
  if (minor < 10 && build >= 1081 && build <= 1213) return {2, 0};
  if (minor < 10 && build >= 1214) return {2, 5};
  if (minor == 10 && build >= 1999 && build <= 2182) return {1, 0};
  return {0, 0};
}

void FinishWithoutExtended(COSProbe& probe, OS_FACTS& facts) {
  probe.ReadProductSuite(facts);
  if (facts.osType != kWorkstation) Set(facts, OSFlags::Standard);
  probe.ReadRemoteAdminMode(facts);
}

bool CollectExtended(COSProbe& probe, OS_FACTS& facts) {
  constexpr WORD kSuitesWithoutStandard = 0x0002 | 0x0020 | 0x0080;
  const auto& getVersion = Host::SystemFacts().GetVersionExA;
  OSVERSIONINFOEXA version{};
  version.dwOSVersionInfoSize = sizeof version;
  if (!getVersion || !getVersion(reinterpret_cast<OSVERSIONINFOA*>(&version))) return false;
  probe.ApplySuiteMask(version.wSuiteMask, facts);
  facts.osType = TypeOfProduct(version.wProductType);
  probe.FillVersion(version.dwMajorVersion, version.dwMinorVersion, version.dwBuildNumber,
                    version.szCSDVersion, version.wServicePackMajor, version.wServicePackMinor,
                    version.dwPlatformId, 1, facts);
  if (facts.osType != kWorkstation && (version.wSuiteMask & kSuitesWithoutStandard) == 0)
    Set(facts, OSFlags::Standard);
  return true;
}

bool CollectClassic(COSProbe& probe, OS_FACTS& facts) {
  const auto& getVersion = Host::SystemFacts().GetVersionExA;
  OSVERSIONINFOA version{};
  version.dwOSVersionInfoSize = sizeof version;
  if (!getVersion || !getVersion(&version)) return false;
  ServicePack pack{0, 0};
  if (version.dwPlatformId == kIdNT)
    pack.major = static_cast<std::uint16_t>(probe.ParseServicePack(version.szCSDVersion));
  if (version.dwPlatformId == kId9x)
    pack = ServicePackOf9x(version.dwMajorVersion, version.dwMinorVersion, version.dwBuildNumber);
  probe.FillVersion(version.dwMajorVersion, version.dwMinorVersion, version.dwBuildNumber,
                    version.szCSDVersion, pack.major, pack.minor, version.dwPlatformId, 0, facts);
  if (version.dwPlatformId == kIdNT) FinishWithoutExtended(probe, facts);
  return true;
}

bool CollectPacked(COSProbe& probe, OS_FACTS& facts) {
  constexpr ULong kBuildTextSize = 128;
  const auto& getVersion = Host::SystemFacts().GetVersion;
  if (!getVersion) return false;
  const ULong packed = getVersion();
  std::uint32_t build = 0;
  {
    const RegistryKey key(RegistryKey::kRead, kCurrentVersion);
    if (!key.IsOpen()) return false;
    const auto text = key.Text("CurrentBuildNumber", kBuildTextSize);
    if (text) build = static_cast<std::uint32_t>(std::strtol(text->c_str(), nullptr, kDecimal));
  }
  probe.FillVersion(packed & 0xFF, packed >> 8 & 0xFF, build, "", 0, 0, kIdNT, 0, facts);
  FinishWithoutExtended(probe, facts);
  return true;
}

}  // namespace

// The best source first.
bool COSProbe::Collect(OS_FACTS& facts) {
  facts = {};
  return CollectExtended(*this, facts) || CollectClassic(*this, facts) ||
         CollectPacked(*this, facts);
}

void COSProbe::FillVersion(std::uint32_t major, std::uint32_t minor, std::uint32_t build,
                           const char* csdVersion, std::uint16_t spMajor, std::uint16_t spMinor,
                           std::uint32_t platformId, int hasExtended, OS_FACTS& facts) {
  OS_VERSION_HALF& reported = facts.reported;
  reported.major = major;
  reported.minor = minor;
  // Intentional: the build is cut to 16 bits for all versions.
  reported.build = build & 0xFFFF;
  CopyText(reported.csdVersion, csdVersion);
  reported.spMajor = spMajor;
  reported.spMinor = spMinor;

  ReadProductType(hasExtended, facts);
  ReadCoreConnected(facts);
  ReadInstalled(SM_MEDIACENTER, "System\\WPA\\MediaCenter", OSFlags::MediaCenter, facts);
  ReadInstalled(SM_TABLETPC, "System\\WPA\\TabletPC", OSFlags::TabletPC, facts);
  if (Metric(SM_STARTER) != 0) Set(facts, OSFlags::Starter);
  if (Metric(SM_SERVERR2) != 0) Set(facts, OSFlags::ServerR2);

  reported.platform = PlatformOf(platformId);
  const std::uint32_t processor = facts.underlying.processor;
  facts.underlying = reported;
  facts.underlying.processor = processor;

  ApplyProductInfo(facts);
  ReadServicePackMinor(facts);
  ReadKernelType(facts);
  ReadRevisionAndChannel(facts);
  if (platformId == kIdWin32s) ApplyWin32s(facts);
  ReadProcessors(*this, facts);
  ReadUnderlyingVersion(*this, facts);
  ReadDeviceFamily(facts);
  ReadWindows81Update(facts);
}

void COSProbe::ApplySuiteMask(std::uint16_t wSuiteMask, OS_FACTS& facts) {
  struct Row {
    std::uint16_t bit;
    const OSFlag* first;
    const OSFlag* second = nullptr;
  };
  static constexpr Row kRows[] = {
      {0x0001, &OSFlags::SmallBusiness},
      {0x0002, &OSFlags::Enterprise},
      {0x0004, &OSFlags::BackOffice},
      {0x0008, &OSFlags::Communications},
      {0x0010, &OSFlags::TerminalServices},
      {0x0020, &OSFlags::SmallBusiness, &OSFlags::Restricted},
      {0x0040, &OSFlags::Embedded},
      {0x0080, &OSFlags::Datacenter},
      {0x0100, &OSFlags::RemoteAdminMode},
      {0x0200, &OSFlags::Personal},
      {0x0400, &OSFlags::WebEdition},
      {0x0800, &OSFlags::Embedded, &OSFlags::Restricted},
      {0x1000, &OSFlags::SecurityAppliance},
      {0x2000, &OSFlags::StorageServer},
      {0x4000, &OSFlags::ComputeCluster},
      {0x8000, &OSFlags::HomeServer},
  };
  for (const Row& row : kRows) {
    if ((wSuiteMask & row.bit) == 0) continue;
    Set(facts, *row.first);
    if (row.second != nullptr) Set(facts, *row.second);
  }
}

void COSProbe::ApplyProductInfo(OS_FACTS& facts) {
  const OS_VERSION_HALF& half = facts.underlying;
  if (const auto& getProductInfo = Host::SystemFacts().GetProductInfo) {
    ULong product = 0;
    getProductInfo(half.major, half.minor, half.spMajor, half.spMinor, &product);
    facts.productInfo = product;
  }
  // Intentional: the flag of the suite mask goes, even where no product value replaces it.
  WordOf(facts, OSFlags::Enterprise) &= ~OSFlags::Enterprise.mask;
  if (const ProductRow* const row = FindProduct(facts.productInfo)) {
    for (const OSFlag* flag : row->flags)
      if (flag != nullptr) Set(facts, *flag);
    if (row->processor != kNoProcessor) facts.underlying.processor = row->processor;
  }
  if (half.platform == kNT && facts.osType == kWorkstation && half.major == 5 &&
      (half.minor == 0 || !OSFlagIsSet(facts, OSFlags::Personal)))
    Set(facts, OSFlags::Professional);
}

void COSProbe::ReadProductSuite(OS_FACTS& facts) {
  const RegistryKey key(RegistryKey::kRead, kProductOptions);
  for (const std::string& suite : key.Texts("ProductSuite")) {
    if (IsSame(suite, "Terminal Server")) Set(facts, OSFlags::TerminalServices);
    if (IsSame(suite, "SBS") || IsSame(suite, "Small Business")) Set(facts, OSFlags::SmallBusiness);
    if (IsSame(suite, "Enterprise")) Set(facts, OSFlags::Enterprise);
    if (IsSame(suite, "Personal")) Set(facts, OSFlags::Personal);
  }
}

void COSProbe::ReadRemoteAdminMode(OS_FACTS& facts) {
  const RegistryKey key(RegistryKey::kRead, "System\\CurrentControlSet\\Control\\Terminal Server");
  // Intentional: a value without bytes is not 0.
  if (key.Number("TSAppCompat", 1).value_or(1) == 0) Set(facts, OSFlags::RemoteAdminMode);
}

std::uint32_t COSProbe::MapProcessor(std::uint16_t wProcessorArchitecture) {
  static constexpr std::array<std::uint32_t, 15> kCodes = {1, 2, 3,  4,  10, 9,  5, 7,
                                                           8, 6, 11, 12, 13, 14, 15};
  return wProcessorArchitecture < kCodes.size() ? kCodes[wProcessorArchitecture] : 0;
}

int COSProbe::ParseServicePack(const char* text) {
  return static_cast<int>(std::strtol(text + std::strcspn(text, "0123456789"), nullptr, kDecimal));
}

}  // namespace Ondrel
