#include "Tool/Host/AdapterDetails.h"

#include "Tool/Host/Win32/Words.h"

#include <array>
#include <setupapi.h>

namespace Tool {

namespace {

template <class Value>
bool ReadNumber(HDEVINFO devices, SP_DEVINFO_DATA& device, DWORD property, Value& value) {
  DWORD number = 0;
  if (!::SetupDiGetDeviceRegistryPropertyW(devices, &device, property, nullptr,
                                           reinterpret_cast<BYTE*>(&number), sizeof number,
                                           nullptr))
    return false;
  value = number;
  return true;
}

std::string ReadText(HDEVINFO devices, SP_DEVINFO_DATA& device, DWORD property) {
  std::array<wchar_t, 1024> text{};
  // Its last character stays zero.
  if (!::SetupDiGetDeviceRegistryPropertyW(devices, &device, property, nullptr,
                                           reinterpret_cast<BYTE*>(text.data()),
                                           (text.size() - 1) * sizeof(wchar_t), nullptr))
    return "";
  return Utf8Of(text.data());
}

bool IsAt(const Ondrel::CDevNode& adapter, DWORD busNumber, DWORD address) {
  constexpr DWORD kByte = 0xFF;
  constexpr DWORD kHalf = 0xFFFF;
  return static_cast<DWORD>(adapter.m_Bus) == (busNumber & kByte) &&
         static_cast<DWORD>(adapter.m_Segment) == (busNumber >> 8 & kByte) &&
         static_cast<DWORD>(adapter.m_Device) == address >> 16 &&
         static_cast<DWORD>(adapter.m_Function) == (address & kHalf);
}

}  // namespace

std::vector<AdapterDetails> DetailsOf(const std::vector<Ondrel::CDevNode>& adapters) {
  std::vector<AdapterDetails> details(adapters.size());
  const HDEVINFO devices =
      ::SetupDiGetClassDevsW(nullptr, L"PCI", nullptr, DIGCF_PRESENT | DIGCF_ALLCLASSES);
  if (devices == INVALID_HANDLE_VALUE) return details;
  SP_DEVINFO_DATA device{};
  device.cbSize = sizeof device;
  for (DWORD index = 0; ::SetupDiEnumDeviceInfo(devices, index, &device); ++index) {
    DWORD busNumber = 0;
    DWORD address = 0;
    if (!ReadNumber(devices, device, SPDRP_BUSNUMBER, busNumber) ||
        !ReadNumber(devices, device, SPDRP_ADDRESS, address))
      continue;
    for (std::size_t i = 0; i < adapters.size(); ++i) {
      if (!IsAt(adapters[i], busNumber, address)) continue;
      details[i].vendor = ReadText(devices, device, SPDRP_MFG);
      details[i].device = ReadText(devices, device, SPDRP_DEVICEDESC);
      details[i].className = ReadText(devices, device, SPDRP_CLASS);
      details[i].driver = ReadText(devices, device, SPDRP_SERVICE);
    }
  }
  ::SetupDiDestroyDeviceInfoList(devices);
  return details;
}

}  // namespace Tool
