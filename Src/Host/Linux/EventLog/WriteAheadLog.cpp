#include "Host/Linux/EventLog/WriteAheadLog.h"

#include <cstdint>
#include <fstream>
#include <optional>
#include <span>
#include <vector>

// Source: "WAL-mode File Format" of SQLite's published documentation.
namespace Ondrel::Host {

namespace {

constexpr std::size_t kHeaderSize = 32;
constexpr std::size_t kFrameHeaderSize = 24;
constexpr std::uint32_t kMagic =
    0x377F0682;  // The lowest bit says in which order numbers are summed.
constexpr std::uint32_t kMinPageSize = 512;
constexpr std::uint32_t kMaxPageSize = 65536;

using Bytes = std::span<const unsigned char>;

std::uint32_t BigEndianAt(Bytes bytes, std::size_t at) {
  return std::uint32_t{bytes[at]} << 24 | std::uint32_t{bytes[at + 1]} << 16 |
         std::uint32_t{bytes[at + 2]} << 8 | std::uint32_t{bytes[at + 3]};
}

std::uint32_t LittleEndianAt(Bytes bytes, std::size_t at) {
  return std::uint32_t{bytes[at + 3]} << 24 | std::uint32_t{bytes[at + 2]} << 16 |
         std::uint32_t{bytes[at + 1]} << 8 | std::uint32_t{bytes[at]};
}

struct Checksum {
  std::uint32_t first = 0;
  std::uint32_t second = 0;

  void Add(Bytes bytes, bool isBigEndian) {
    const auto numberAt = isBigEndian ? BigEndianAt : LittleEndianAt;
    for (std::size_t at = 0; at + 8 <= bytes.size(); at += 8) {
      first += numberAt(bytes, at) + second;
      second += numberAt(bytes, at + 4) + first;
    }
  }

  bool IsAt(Bytes bytes, std::size_t at) const {
    return BigEndianAt(bytes, at) == first && BigEndianAt(bytes, at + 4) == second;
  }
};

std::optional<std::vector<unsigned char>> BytesOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary | std::ios::ate);
  if (!file) return std::nullopt;
  std::vector<unsigned char> bytes(static_cast<std::size_t>(file.tellg()));
  file.seekg(0);
  file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  bytes.resize(static_cast<std::size_t>(file.gcount()));
  return bytes;
}

bool LooksDamaged(Bytes log) {
  if (log.size() < kHeaderSize + kFrameHeaderSize) return false;
  const std::uint32_t magic = BigEndianAt(log, 0);
  const bool isBigEndian = (magic & 1) != 0;
  const std::uint32_t pageSize = BigEndianAt(log, 8);
  Checksum sum;
  sum.Add(log.first(kHeaderSize - 8), isBigEndian);
  if ((magic & ~1u) != kMagic || pageSize < kMinPageSize || pageSize > kMaxPageSize ||
      !sum.IsAt(log, kHeaderSize - 8))
    return true;

  bool isSound = true;
  const Bytes salts = log.subspan(16, 8);
  const std::size_t frameSize = kFrameHeaderSize + pageSize;
  for (std::size_t at = kHeaderSize; at + frameSize <= log.size(); at += frameSize) {
    const Bytes frame = log.subspan(at, frameSize);
    // Another salt: left over from before the log was begun anew.
    const bool isOurs = BigEndianAt(frame, 8) == BigEndianAt(salts, 0) &&
                        BigEndianAt(frame, 12) == BigEndianAt(salts, 4);
    if (isSound) {
      sum.Add(frame.first(8), isBigEndian);
      sum.Add(frame.subspan(kFrameHeaderSize), isBigEndian);
      isSound = isOurs && sum.IsAt(frame, 16);
    }
    const bool isCommit = BigEndianAt(frame, 4) != 0;
    if (!isSound && isOurs && isCommit) return true;
  }
  return false;
}

}  // namespace

bool LooksWriteAheadLogDamaged(const std::string& path) {
  const std::optional<std::vector<unsigned char>> bytes = BytesOf(path);
  return bytes && LooksDamaged(*bytes);
}

}  // namespace Ondrel::Host
