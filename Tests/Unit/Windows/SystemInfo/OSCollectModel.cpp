#include "Unit/Windows/SystemInfo/OSCollectModel.h"

#include "Unit/Windows/SystemInfo/OSTableRows.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <sstream>

namespace Ondrel::Testing {

namespace {

constexpr char kRead[] = "20119";
constexpr char kQuery[] = "101";
constexpr char kProductOptions[] = "System\\CurrentControlSet\\Control\\ProductOptions";
constexpr char kCurrent[] = "Software\\Microsoft\\Windows NT\\CurrentVersion";
constexpr char kCurrentInCapitals[] = "SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion";

std::string Lower(std::string text) {
  for (char& character : text)
    character = static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
  return text;
}

bool Same(const std::optional<std::string>& text, const std::string& word) {
  return text && Lower(*text) == Lower(word);
}

bool Holds(const std::optional<std::string>& text, const std::string& part) {
  return text && text->find(part) != std::string::npos;
}

// The first number in a text; 0 for none.
std::uint32_t ServicePackOf(const std::string& text) {
  std::size_t place = 0;
  while (place < text.size() && (text[place] < '0' || text[place] > '9')) ++place;
  std::uint32_t number = 0;
  for (; place < text.size() && text[place] >= '0' && text[place] <= '9'; ++place)
    number = number * 10 + static_cast<std::uint32_t>(text[place] - '0');
  return number;
}

std::uint32_t ProcessorOf(std::uint16_t architecture) {
  switch (architecture) {
    case 0:
      return 1;
    case 1:
      return 2;
    case 2:
      return 3;
    case 3:
      return 4;
    case 4:
      return 10;
    case 5:
      return 9;
    case 6:
      return 5;
    case 7:
      return 7;
    case 8:
      return 8;
    case 9:
      return 6;
    case 10:
      return 11;
    case 11:
      return 12;
    case 12:
      return 13;
    case 13:
      return 14;
    case 14:
      return 15;
    default:
      return 0;
  }
}

void Put(char (&target)[128], const std::string& text) {
  std::memset(target, 0, sizeof target);
  std::memcpy(target, text.c_str(), std::min<std::size_t>(text.size(), 127));
}

}  // namespace

const OSCollectModel::Values* OSCollectModel::Open(const std::string& access,
                                                   const std::string& key) {
  m_calls.push_back("RegOpenKeyExA(" + key + ", " + access + ")");
  const auto found = m_host.registry.find(Lower(key));
  return found == m_host.registry.end() ? nullptr : &found->second;
}

std::optional<std::string> OSCollectModel::Query(const Values& key, const std::string& name,
                                                 std::size_t size) {
  m_calls.push_back("RegQueryValueExA(" + name + ", " + std::to_string(size) + ")");
  const auto found = key.find(name);
  if (found == key.end() || found->second.size() > size) return std::nullopt;
  return found->second;
}

std::optional<std::string> OSCollectModel::Text(const std::string& access, const std::string& key,
                                                const std::string& name, std::size_t size) {
  const Values* const values = Open(access, key);
  if (values == nullptr) return std::nullopt;
  std::optional<std::string> text = Query(*values, name, size);
  if (text) text = text->substr(0, text->find('\0'));
  Close();
  return text;
}

std::optional<std::uint32_t> OSCollectModel::Number(const std::string& key, const std::string& name,
                                                    std::uint32_t start) {
  const Values* const values = Open(kRead, key);
  if (values == nullptr) return std::nullopt;
  const std::optional<std::string> bytes = Query(*values, name, 4);
  Close();
  if (!bytes) return std::nullopt;
  std::memcpy(&start, bytes->data(), bytes->size());
  return start;
}

int OSCollectModel::Metric(int index) {
  m_calls.push_back("GetSystemMetrics(" + std::to_string(index) + ")");
  return m_host.metrics.at(index);
}

bool OSCollectModel::Collect() {
  const OSVERSIONINFOEXA& version = m_host.version;
  if (m_host.hasVersionCall) {
    m_calls.emplace_back("GetVersionExA(156)");
    if (m_host.takesExtended) {
      ApplySuiteMask(version.wSuiteMask);
      switch (version.wProductType) {
        case 1:
          m_facts.osType = 1;
          break;
        case 2:
          m_facts.osType = 3;
          break;
        case 3:
          m_facts.osType = 2;
          break;
        default:
          m_facts.osType = 0;
          break;
      }
      FillVersion(version.dwMajorVersion, version.dwMinorVersion, version.dwBuildNumber,
                  version.szCSDVersion, version.wServicePackMajor, version.wServicePackMinor,
                  version.dwPlatformId, true);
      if (m_facts.osType != 1 && (version.wSuiteMask & 0x0002) == 0 &&
          (version.wSuiteMask & 0x0020) == 0 && (version.wSuiteMask & 0x0080) == 0)
        m_flags.insert("Standard");
      return true;
    }

    m_calls.emplace_back("GetVersionExA(148)");
    if (m_host.takesClassic) {
      std::uint16_t packMajor = 0;
      std::uint16_t packMinor = 0;
      const std::uint32_t build = version.dwBuildNumber;
      if (version.dwPlatformId == 2)
        packMajor = static_cast<std::uint16_t>(ServicePackOf(version.szCSDVersion));
      if (version.dwPlatformId == 1 && version.dwMajorVersion == 4) {
        if (build >= 951 && build <= 1080) packMajor = 1;
        if (version.dwMinorVersion < 10 && build >= 1081 && build <= 1213) packMajor = 2;
        if (version.dwMinorVersion < 10 && build >= 1214) {
          packMajor = 2;
          packMinor = 5;
        }
        if (version.dwMinorVersion == 10 && build >= 1999 && build <= 2182) packMajor = 1;
      }
      FillVersion(version.dwMajorVersion, version.dwMinorVersion, build, version.szCSDVersion,
                  packMajor, packMinor, version.dwPlatformId, false);
      if (version.dwPlatformId == 2) Tail();
      return true;
    }
  }

  if (!m_host.packedVersion) return false;
  m_calls.emplace_back("GetVersion");
  const Values* const current = Open(kRead, kCurrent);
  if (current == nullptr) return false;
  const auto text = Query(*current, "CurrentBuildNumber", 128);
  Close();
  const std::uint32_t build =
      text ? static_cast<std::uint32_t>(std::stoul("0" + text->substr(0, text->find('\0')))) : 0;
  FillVersion(*m_host.packedVersion & 0xFF, *m_host.packedVersion >> 8 & 0xFF, build, "", 0, 0, 2,
              false);
  Tail();
  return true;
}

void OSCollectModel::ApplySuiteMask(std::uint16_t mask) {
  if (mask & 0x0001) m_flags.insert("SmallBusiness");
  if (mask & 0x0002) m_flags.insert("Enterprise");
  if (mask & 0x0004) m_flags.insert("BackOffice");
  if (mask & 0x0008) m_flags.insert("Communications");
  if (mask & 0x0010) m_flags.insert("TerminalServices");
  if (mask & 0x0020) m_flags.insert({"SmallBusiness", "Restricted"});
  if (mask & 0x0040) m_flags.insert("Embedded");
  if (mask & 0x0080) m_flags.insert("Datacenter");
  if (mask & 0x0100) m_flags.insert("RemoteAdminMode");
  if (mask & 0x0200) m_flags.insert("Personal");
  if (mask & 0x0400) m_flags.insert("WebEdition");
  if (mask & 0x0800) m_flags.insert({"Embedded", "Restricted"});
  if (mask & 0x1000) m_flags.insert("SecurityAppliance");
  if (mask & 0x2000) m_flags.insert("StorageServer");
  if (mask & 0x4000) m_flags.insert("ComputeCluster");
  if (mask & 0x8000) m_flags.insert("HomeServer");
}

void OSCollectModel::FillVersion(std::uint32_t major, std::uint32_t minor, std::uint32_t build,
                                 const std::string& text, std::uint16_t packMajor,
                                 std::uint16_t packMinor, std::uint32_t platformId,
                                 bool hasExtended) {
  OS_VERSION_HALF& reported = m_facts.reported;
  OS_VERSION_HALF& underlying = m_facts.underlying;
  reported.major = major;
  reported.minor = minor;
  reported.build = build % 65536;
  Put(reported.csdVersion, text);
  reported.spMajor = packMajor;
  reported.spMinor = packMinor;

  const auto type = Text(kRead, kProductOptions, "ProductType");
  if (Same(type, "LANMANNT")) {
    m_flags.insert("PrimaryDomainController");
    if (!hasExtended) m_facts.osType = 3;
  } else if (Same(type, "LANSECNT")) {
    m_flags.insert("BackupDomainController");
    if (!hasExtended) m_facts.osType = 3;
  } else if (Same(type, "SERVERNT")) {
    if (!hasExtended) m_facts.osType = 2;
  } else if (Same(type, "WinNT")) {
    if (!hasExtended) m_facts.osType = 1;
  }

  auto edition = Text(kRead, kCurrent, "EditionID");
  if (edition) edition = Lower(*edition);
  if (Holds(edition, "coreconnected") || Holds(edition, "connectedcore"))
    m_flags.insert("CoreConnected");

  if (Metric(87) != 0 || Number("System\\WPA\\MediaCenter", "Installed", 0).value_or(0) != 0)
    m_flags.insert("MediaCenter");
  if (Metric(86) != 0 || Number("System\\WPA\\TabletPC", "Installed", 0).value_or(0) != 0)
    m_flags.insert("TabletPC");
  if (Metric(88) != 0) m_flags.insert("Starter");
  if (Metric(89) != 0) m_flags.insert("ServerR2");

  switch (platformId) {
    case 1:
      reported.platform = 3;
      break;
    case 2:
      reported.platform = 4;
      break;
    case 3:
      reported.platform = 5;
      break;
    default:
      reported.platform = 0;
      break;
  }
  underlying.major = reported.major;
  underlying.minor = reported.minor;
  underlying.build = reported.build;
  underlying.platform = reported.platform;
  std::memcpy(underlying.csdVersion, reported.csdVersion, sizeof reported.csdVersion);
  underlying.spMajor = reported.spMajor;
  underlying.spMinor = reported.spMinor;

  ApplyProductInfo();
  ReadRegistry();
  if (platformId == 0) {
    m_flags.insert("Win32s");
    reported.platform = 4;
    underlying.major = 3;
    underlying.minor = 10;
    underlying.build = 0;
    underlying.platform = 2;
  }
  ReadLowerSources();
  if (underlying.platform == 4 && underlying.major == 6 && underlying.minor == 3) ReadHal();
}

void OSCollectModel::ApplyProductInfo() {
  OS_VERSION_HALF& underlying = m_facts.underlying;
  if (m_host.product) {
    std::ostringstream call;
    call << "GetProductInfo(" << underlying.major << ", " << underlying.minor << ", "
         << underlying.spMajor << ", " << underlying.spMinor << ")";
    m_calls.push_back(call.str());
    m_facts.productInfo = *m_host.product;
  }
  m_flags.erase("Enterprise");
  for (const ProductTextRow& row : kProductRows)
    if (row.value == m_facts.productInfo) {
      std::istringstream names(row.flags);
      for (std::string name; names >> name;) m_flags.insert(name);
    }
  if (underlying.platform == 4 && m_facts.osType == 1 && underlying.major == 5 &&
      (underlying.minor == 0 || !m_flags.contains("Personal")))
    m_flags.insert("Professional");
}

void OSCollectModel::ReadRegistry() {
  const OS_VERSION_HALF& underlying = m_facts.underlying;
  if (underlying.major == 4 && underlying.spMajor == 6 &&
      Open(kQuery, "SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Hotfix\\Q246009") != nullptr) {
    Close();
    m_facts.reported.spMinor = 1;
    m_facts.underlying.spMinor = 1;
  }
  if (underlying.major == 5 && underlying.minor != 0 && underlying.spMajor == 1 &&
      Same(Text(kQuery, kCurrentInCapitals, "SubVersionNumber"), "a")) {
    m_facts.reported.spMinor = 1;
    m_facts.underlying.spMinor = 1;
  }
  const auto kernel = Text(kQuery, kCurrentInCapitals, "CurrentType");
  if (Same(kernel, "Uniprocessor Free")) m_flags.insert("UniprocessorFree");
  if (Same(kernel, "Uniprocessor Checked")) m_flags.insert("UniprocessorChecked");
  if (Same(kernel, "Multiprocessor Free")) m_flags.insert("MultiprocessorFree");
  if (Same(kernel, "Multiprocessor Checked")) m_flags.insert("MultiprocessorChecked");
  m_facts.ubr = Number(kCurrent, "UBR", 0).value_or(0);
  m_facts.semiAnnual = Holds(Text(kRead, kCurrent, "EditionID"), "ACor") ? 1 : 0;
}

void OSCollectModel::ReadLowerSources() {
  OS_VERSION_HALF& underlying = m_facts.underlying;
  std::uint16_t native = m_host.seenProcessor;
  if (m_host.nativeProcessor) {
    m_calls.emplace_back("GetNativeSystemInfo");
    native = *m_host.nativeProcessor;
  }
  m_calls.emplace_back("GetSystemInfo");
  underlying.processor = ProcessorOf(native);
  m_facts.reported.processor = ProcessorOf(m_host.seenProcessor);

  if (m_host.lowerVersion) {
    m_calls.emplace_back("RtlGetVersion(284)");
    if (m_host.lowerStatus == 0) {
      const RTL_OSVERSIONINFOEXW& lower = *m_host.lowerVersion;
      m_calls.emplace_back("WideCharToMultiByte(0, 0, -1, 128)");
      std::string text;
      for (const WCHAR* next = lower.szCSDVersion; *next != 0; ++next)
        text += static_cast<char>(*next);
      underlying.major = lower.dwMajorVersion;
      underlying.minor = lower.dwMinorVersion;
      underlying.build = lower.dwBuildNumber;
      Put(underlying.csdVersion, text);
      underlying.spMajor = static_cast<std::uint16_t>(ServicePackOf(text));
      underlying.spMinor = 0;
    }
  }

  if (m_host.family) {
    m_calls.emplace_back("RtlGetDeviceFamilyInfoEnum");
    const std::uint64_t packed = m_host.family->version;
    m_facts.deviceFamilyVersion = packed;
    m_facts.deviceFamily = m_host.family->family;
    m_facts.deviceForm = m_host.family->form;
    underlying.major = static_cast<std::uint32_t>(packed / 0x1000000000000);
    underlying.minor = static_cast<std::uint32_t>(packed / 0x100000000 % 0x10000);
    underlying.build = static_cast<std::uint32_t>(packed / 0x10000 % 0x10000);
    m_facts.ubr = static_cast<std::uint32_t>(packed % 0x10000);
  }
}

void OSCollectModel::ReadHal() {
  const PlannedHost::Hal& hal = m_host.hal;
  const std::string path = m_host.systemFolder + "\\HAL.DLL";
  m_calls.emplace_back("GetSystemDirectoryA(260)");
  if (m_host.systemFolder.empty() || m_host.systemFolder.size() >= 260) return;
  m_calls.push_back("GetFileVersionInfoSizeA(" + path + ")");
  if (hal.size == 0) return;
  m_calls.push_back("GetFileVersionInfoA(" + path + ", 0, " + std::to_string(hal.size) + ")");
  if (!hal.isRead) return;
  m_calls.emplace_back("VerQueryValueA(\\)");
  if (hal.isFound && hal.length >= 52 && hal.low >= 629162631) m_flags.insert("Windows81Update");
}

void OSCollectModel::Tail() {
  if (const Values* const options = Open(kRead, kProductOptions)) {
    const auto found = options->find("ProductSuite");
    m_calls.emplace_back("RegQueryValueExA(ProductSuite, size)");
    if (found != options->end()) {
      std::istringstream suites(*Query(*options, "ProductSuite", found->second.size()));
      for (std::string suite; std::getline(suites, suite, '\0') && !suite.empty();) {
        if (Same(suite, "Terminal Server")) m_flags.insert("TerminalServices");
        if (Same(suite, "SBS")) m_flags.insert("SmallBusiness");
        if (Same(suite, "Small Business")) m_flags.insert("SmallBusiness");
        if (Same(suite, "Enterprise")) m_flags.insert("Enterprise");
        if (Same(suite, "Personal")) m_flags.insert("Personal");
      }
    }
    Close();
  }
  if (m_facts.osType != 1) m_flags.insert("Standard");
  const auto compatible =
      Number("System\\CurrentControlSet\\Control\\Terminal Server", "TSAppCompat", 1);
  if (compatible && *compatible == 0) m_flags.insert("RemoteAdminMode");
}

OS_FACTS OSCollectModel::Facts() const {
  OS_FACTS facts = m_facts;
  std::uint32_t* const words[] = {&facts.suite1, &facts.suite2, &facts.suite3, &facts.suite4};
  for (const FlagRow& row : kFlagRows)
    if (m_flags.contains(row.name)) *words[row.word - 1] |= row.mask;
  return facts;
}

}  // namespace Ondrel::Testing
