#include "Windows/SystemInfo/Registry.h"

#include "Host/SystemFactsOperations.h"

#include <algorithm>
#include <cstring>

namespace Ondrel {

RegistryKey::RegistryKey(Access access, const char* name) {
  const Host::SystemFactsOperations& host = Host::SystemFacts();
  void* key = nullptr;
  if (access == kPlain) {
    if (!host.RegOpenKeyA || host.RegOpenKeyA(HKEY_LOCAL_MACHINE, name, &key) != 0) return;
  } else {
    if (!host.RegOpenKeyExA || host.RegOpenKeyExA(HKEY_LOCAL_MACHINE, name, 0, access, &key) != 0)
      return;
  }
  m_key = key;
}

RegistryKey::~RegistryKey() {
  if (m_key != nullptr && Host::SystemFacts().RegCloseKey) Host::SystemFacts().RegCloseKey(m_key);
}

bool RegistryKey::Read(const char* name, unsigned char* data, ULong& size) const {
  const auto& query = Host::SystemFacts().RegQueryValueExA;
  return m_key != nullptr && query && query(m_key, name, nullptr, nullptr, data, &size) == 0;
}

std::optional<std::string> RegistryKey::Text(const char* name, ULong size) const {
  // One byte more: a text need not have its zero byte.
  std::vector<unsigned char> bytes(std::size_t{size} + 1);
  if (!Read(name, bytes.data(), size)) return std::nullopt;
  return std::string(reinterpret_cast<const char*>(bytes.data()));
}

std::optional<std::uint32_t> RegistryKey::Number(const char* name, std::uint32_t start) const {
  std::uint32_t number = start;
  unsigned char bytes[sizeof number];
  std::memcpy(bytes, &number, sizeof number);
  ULong size = sizeof number;
  if (!Read(name, bytes, size)) return std::nullopt;
  std::memcpy(&number, bytes, sizeof number);
  return number;
}

std::vector<std::string> RegistryKey::Texts(const char* name) const {
  std::vector<std::string> texts;
  ULong size = 0;
  if (!Read(name, nullptr, size)) return texts;
  std::vector<unsigned char> bytes(std::size_t{size} + 1);
  if (!Read(name, bytes.data(), size)) return texts;
  const char* const end = reinterpret_cast<const char*>(bytes.data()) + bytes.size() - 1;
  for (const char* text = reinterpret_cast<const char*>(bytes.data()); text < end && *text != '\0';
       text += texts.back().size() + 1)
    texts.emplace_back(text);
  return texts;
}

}  // namespace Ondrel
