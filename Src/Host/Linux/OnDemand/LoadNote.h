#pragma once

#include <cstddef>
#include <cstdint>

namespace Ondrel::Host {

/// One note of the section .note.dlopen, where it has to be put: says to packaging tools, in JSON,
/// which library is loaded on demand and what for. Source of the format: the UAPI group's ELF
/// dlopen metadata.
template <std::size_t Length>
struct LoadNote {
  std::uint32_t ownerLength;
  std::uint32_t textLength;
  std::uint32_t type;
  char owner[4];
  char text[(Length + 3) / 4 * 4];
};

/// The note of a JSON text, whose closing zero byte belongs to it.
template <std::size_t Length>
constexpr LoadNote<Length> MakeLoadNote(const char (&json)[Length]) {
  LoadNote<Length> note{4, Length, 0x407c0c0a, {'F', 'D', 'O', '\0'}, {}};
  for (std::size_t i = 0; i < Length; ++i) note.text[i] = json[i];
  return note;
}

}  // namespace Ondrel::Host
