#pragma once

#include "Host/DeviceTypes.h"

#include <cstddef>
#include <cstdint>
#include <span>

/// The request for NVMe data in a storage query, and the check of its answer: work on bytes alone.
namespace Ondrel::StorageQuery {

inline constexpr std::uint32_t kIdentifyBytes = 4096;
inline constexpr std::uint32_t kErrorLogBytes = 4096;
inline constexpr std::uint32_t kHealthLogBytes = 512;
inline constexpr std::uint32_t kVendorLogBytes = 512;

/// Where the protocol's part begins, in a query and in its answer.
inline constexpr std::uint32_t kProtocolPart = 8;

/// Size of a query, and of an answer without its data.
inline constexpr std::uint32_t kHeadBytes = sizeof(STORAGE_PROTOCOL_DATA_DESCRIPTOR);

/// What is asked for.
struct Request {
  STORAGE_PROPERTY_ID property;
  STORAGE_PROTOCOL_NVME_DATA_TYPE dataType;
  std::uint32_t value;     ///< Which identify structure, or which log page.
  std::uint32_t subValue;  ///< Namespace identifier.
  std::uint32_t length;    ///< Bytes of data.
};

/// Writes the query for `request` to the first 48 bytes of `query`. Bytes of other fields stay.
void Write(const Request& request, std::span<std::byte> query);

/// The protocol's part of an answer of at least 48 bytes.
STORAGE_PROTOCOL_SPECIFIC_DATA ProtocolPart(std::span<const std::byte> answer);

/// Whether an answer of `returned` bytes, in a buffer with room for 4096 bytes of data, has its
/// data within those bytes. The sum of offset and length wraps at 32 bits.
bool IsWithin(const STORAGE_PROTOCOL_SPECIFIC_DATA& part, std::uint32_t returned);

/// Whether the descriptor at the start of `answer` has the size that both its words have to state.
bool HasDescriptorHead(std::span<const std::byte> answer);

/// Whether offset and length reach the least that an answer with `length` bytes of data has. There
/// is not an upper bound.
bool ReachesLeast(const STORAGE_PROTOCOL_SPECIFIC_DATA& part, std::uint32_t length);

}  // namespace Ondrel::StorageQuery
