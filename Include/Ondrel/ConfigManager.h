#pragma once

#include <Ondrel/Export.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace Ondrel {

/// One storage adapter on the PCI bus.
struct CDevNode {
  std::string m_Info;           ///< Empty.
  std::string m_VendorId;       ///< PCI vendor, four hexadecimal digits as the device gives them.
  std::string m_DeviceId;       ///< PCI device, four hexadecimal digits as the device gives them.
  std::int32_t m_Segment = 0;   ///< PCI segment; its lowest 8 bits.
  std::int32_t m_Bus = 0;       ///< Bus, 0 to 255.
  std::int32_t m_Device = 0;    ///< Device on the bus, 0 to 31.
  std::int32_t m_Function = 0;  ///< Function of the device, 0 to 7.
};

/// Finds where on the PCI bus the n-th storage adapter of a type is.
///
/// The list of adapters is one for the whole process. The first object that is constructed takes it
/// from the host, in ascending order of segment, bus, device and function; it then stays as it is
/// until the library is unloaded, so that an adapter added later is not seen. While no adapter has
/// been found, each further object looks again. The class has no data of its own.
///
/// Nothing traces or raises: a device that does not report all it has to is left out.
///
/// The construction of the first object has to be finished before other threads construct or ask;
/// from then on any number of threads may do both.
class ONDREL_API CConfigManager {
public:
  CConfigManager();
  CConfigManager(const CConfigManager& other);
  CConfigManager& operator=(const CConfigManager& other);
  ~CConfigManager();

  /// Finds the adapter of rank `index`, counted from 1, among those whose vendor and device are the
  /// given ones (four hexadecimal digits each, in any case), in the order of their locations.
  ///
  /// Returns true and its location. Returns false, with segment 0 and the others -1, when there are
  /// fewer such adapters, or when `index` is 0.
  bool GetLocation(const std::string& vendorId, const std::string& deviceId, std::size_t index,
                   int& segment, int& bus, int& device, int& function);

  /// As above, among the adapters of several types. An id is a vendor and a device together, eight
  /// hexadecimal digits such as "80862922"; one of another length is passed over. The rank runs
  /// across all types in the order of the locations. An adapter counts once for each id that is
  /// its: twice if `ids` has its id twice.
  bool GetLocation(const std::vector<std::string>& ids, std::size_t index, int& segment, int& bus,
                   int& device, int& function);

private:
  friend class CDeviceList;

  static bool Enumerate();

  static std::vector<CDevNode> m_Devices;
};

/// The storage adapters of the list that every `CConfigManager` shares, in the order of their
/// locations; empty before the first object is constructed. For a program that shows all adapters
/// rather than asking for one. Threads as for `CConfigManager::GetLocation`.
ONDREL_API std::vector<CDevNode> StorageAdapters();

}  // namespace Ondrel
