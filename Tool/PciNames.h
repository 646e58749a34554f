#pragma once

#include <string>
#include <string_view>

namespace Tool {

/// Names of PCI vendors, devices and classes, from a list in the form of the PCI ID repository
/// ("pci.ids"). Names that the list does not have are empty. Digits are hexadecimal in any case.
class PciNames {
public:
  /// `list` is the whole text; an empty one has no names.
  explicit PciNames(std::string list) : m_list(std::move(list)) {}

  bool IsEmpty() const { return m_list.empty(); }

  /// Name of a vendor by its four digits.
  std::string Vendor(std::string_view vendor) const;

  /// Name of a vendor's device by their four digits each.
  std::string Device(std::string_view vendor, std::string_view device) const;

  /// Name of a class by the six digits of class, subclass and interface, with that of the
  /// interface, if it has one, in parentheses: "Non-Volatile memory controller (NVM Express)".
  std::string Class(std::string_view code) const;

private:
  std::string m_list;
};

}  // namespace Tool
