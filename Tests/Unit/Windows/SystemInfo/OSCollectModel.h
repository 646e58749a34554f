#pragma once

#include "Host/SystemFactsTypes.h"

#include <Ondrel/OSInfo.h>

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace Ondrel::Testing {

/// What a prepared host knows of itself. An operation without an answer is absent.
struct PlannedHost {
  struct Family {
    std::uint64_t version;
    std::uint32_t family;
    std::uint32_t form;
  };

  /// The version record of HAL.DLL; each step on the way to it may fail.
  struct Hal {
    std::uint32_t size = 0;
    bool isRead = false;
    bool isFound = false;
    std::uint32_t length = 0;
    std::uint32_t low = 0;
  };

  bool hasVersionCall = false;
  bool takesExtended = false;
  bool takesClassic = false;
  OSVERSIONINFOEXA version{};
  std::optional<std::uint32_t> packedVersion;
  std::optional<std::uint32_t> product;
  std::optional<std::uint16_t> nativeProcessor;
  std::uint16_t seenProcessor = 0;
  std::optional<RTL_OSVERSIONINFOEXW> lowerVersion;
  std::int32_t lowerStatus = 0;
  std::optional<Family> family;
  std::map<int, int> metrics;
  /// Values by key, in lower case, and by name.
  std::map<std::string, std::map<std::string, std::string>> registry;
  std::string systemFolder;  ///< Empty where the host does not name it.
  Hal hal;
};

/// What is expected of a collection on a planned host: a second evaluator, written literally and
/// apart from the code.
class OSCollectModel {
public:
  explicit OSCollectModel(const PlannedHost& host) : m_host(host) {}

  bool Collect();

  /// The record, its flags put in by their names.
  OS_FACTS Facts() const;

  const std::set<std::string>& Flags() const { return m_flags; }

  /// All calls of the host in their order.
  const std::vector<std::string>& Calls() const { return m_calls; }

private:
  using Values = std::map<std::string, std::string>;

  const Values* Open(const std::string& access, const std::string& key);
  std::optional<std::string> Query(const Values& key, const std::string& name, std::size_t size);
  void Close() { m_calls.push_back("RegCloseKey"); }
  std::optional<std::string> Text(const std::string& access, const std::string& key,
                                  const std::string& name, std::size_t size = 1024);
  std::optional<std::uint32_t> Number(const std::string& key, const std::string& name,
                                      std::uint32_t start);
  int Metric(int index);

  void ApplySuiteMask(std::uint16_t mask);
  void FillVersion(std::uint32_t major, std::uint32_t minor, std::uint32_t build,
                   const std::string& text, std::uint16_t packMajor, std::uint16_t packMinor,
                   std::uint32_t platformId, bool hasExtended);
  void ApplyProductInfo();
  void ReadRegistry();
  void ReadLowerSources();
  void ReadHal();
  void Tail();

  const PlannedHost& m_host;
  OS_FACTS m_facts{};
  std::set<std::string> m_flags;
  std::vector<std::string> m_calls;
};

}  // namespace Ondrel::Testing
