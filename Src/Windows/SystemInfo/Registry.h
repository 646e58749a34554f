#pragma once

#include "Host/Types.h"

#include <optional>
#include <string>
#include <vector>

namespace Ondrel {

/// A key under the machine's root, open as long as the object lives. A key or value that is not
/// there is an answer like others.
class RegistryKey {
public:
  /// How a key is opened.
  enum Access : ULong {
    kPlain = 0,       ///< Without a word on access.
    kQuery = 0x101,   ///< Query, 64-bit view.
    kRead = 0x20119,  ///< Read, 64-bit view.
  };

  RegistryKey(Access access, const char* name);
  ~RegistryKey();

  RegistryKey(const RegistryKey&) = delete;
  RegistryKey& operator=(const RegistryKey&) = delete;

  bool IsOpen() const { return m_key != nullptr; }

  /// A text of at most `size` bytes, up to its zero byte.
  std::optional<std::string> Text(const char* name, ULong size = kTextSize) const;

  /// A number of 32 bits. Of a shorter value the other bytes are those of `start`.
  std::optional<std::uint32_t> Number(const char* name, std::uint32_t start = 0) const;

  /// A list of texts up to the first empty one.
  std::vector<std::string> Texts(const char* name) const;

private:
  static constexpr ULong kTextSize = 1024;

  bool Read(const char* name, unsigned char* data, ULong& size) const;

  void* m_key = nullptr;
};

}  // namespace Ondrel
