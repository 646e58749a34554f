#pragma once

#include "Host/Types.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Ondrel::Host {

/// Bytes of the longest record. A reader asks for 65536 bytes at a time and gets the record it has
/// seen last in front of the new ones: two records have to fit.
inline constexpr std::size_t kLongestRecord = 32768;

/// Bytes of the longest insertion string, as the published limit has it.
inline constexpr std::size_t kLongestString = 31839;

/// Bytes of the longest source or computer name.
inline constexpr std::size_t kLongestName = 255;

/// What a record of an event log says.
struct EventRecord {
  ULong number = 0;
  ULong timeGenerated = 0;  // Seconds since 1 January 1970 UTC, as timeWritten.
  ULong timeWritten = 0;
  ULong id = 0;
  WORD type = 0;
  WORD category = 0;
  std::string source;
  std::string computer;
  std::vector<std::string> strings;
  std::vector<std::byte> data;
};

/// The record as a whole EVENTLOGRECORD: fixed part, source and computer name, insertion strings,
/// raw data, padding to four bytes, closing length. Texts end at their first zero byte. At most
/// 65535 strings.
std::vector<std::byte> ComposeEventRecord(const EventRecord& record);

/// This machine's name; empty where it has none.
std::string ComputerName();

/// Puts another record number into a composed record.
void SetRecordNumber(std::span<std::byte> image, ULong number);

/// Puts what is known when a record is written into a composed record.
void StampEventRecord(std::span<std::byte> image, ULong number, ULong timeWritten);

/// True when the bytes carry the mark of a record and both lengths are those of the bytes given.
bool IsWholeRecord(std::span<const std::byte> image);

/// What a stored record's bytes are checked against: any change within eight bytes alters it.
std::int64_t RecordChecksum(std::span<const std::byte> image);

/// The same for a log's id and name.
std::int64_t LogChecksum(std::int64_t id, std::string_view name);

/// The number of a whole record.
ULong RecordNumberOf(std::span<const std::byte> image);

}  // namespace Ondrel::Host
