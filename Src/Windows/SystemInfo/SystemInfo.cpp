#include "Host/SystemFactsOperations.h"
#include "Module.h"
#include "Windows/SystemInfo/Registry.h"

#include <Ondrel/OSInfo.h>

namespace Ondrel {

CSystemInfo::CSystemInfo() : m_Facts{}, m_IsStorageProduct(false) {
  if (!m_Probe.Collect(m_Facts))
    ONDREL_TRACE(kTraceDetail, "Ondrel::CSystemInfo::CSystemInfo",
                 "CSystemInfo::CSystemInfo failed");
  const RegistryKey key(RegistryKey::kPlain, "SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion");
  const std::optional<std::string> product = key.Text("ProductName");
  // Read by nothing here; kept for the host program.
  m_IsStorageProduct = product && product->find("Storage") != std::string::npos;
}

CSystemInfo::CSystemInfo(const OS_FACTS& facts) : m_Facts(facts), m_IsStorageProduct(false) {}

CSystemInfo::~CSystemInfo() = default;

}  // namespace Ondrel
