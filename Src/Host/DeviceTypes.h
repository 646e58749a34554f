#pragma once

#include "Host/Types.h"

/// The published records and constants of storage queries, declared as in `Host/Types.h`.

#if defined(_WIN32)

#include <winioctl.h>

#else

namespace Ondrel {

inline constexpr DWORD IOCTL_STORAGE_QUERY_PROPERTY = 0x2D1400;

inline constexpr DWORD ERROR_INVALID_FUNCTION = 1;
inline constexpr DWORD ERROR_BAD_LENGTH = 24;
inline constexpr DWORD ERROR_DEV_NOT_EXIST = 55;

enum STORAGE_PROPERTY_ID : std::uint32_t {
  StorageAdapterProtocolSpecificProperty = 49,
  StorageDeviceProtocolSpecificProperty = 50,
};

enum STORAGE_QUERY_TYPE : std::uint32_t {
  PropertyStandardQuery = 0,
};

enum STORAGE_PROTOCOL_TYPE : std::uint32_t {
  ProtocolTypeNvme = 3,
};

enum STORAGE_PROTOCOL_NVME_DATA_TYPE : std::uint32_t {
  NVMeDataTypeIdentify = 1,
  NVMeDataTypeLogPage = 2,
};

/// Head of a property query; the property's parameters begin at `AdditionalParameters`.
struct STORAGE_PROPERTY_QUERY {
  STORAGE_PROPERTY_ID PropertyId;
  STORAGE_QUERY_TYPE QueryType;
  std::uint8_t AdditionalParameters[1];
};

/// What a protocol is asked for, and where in an answer its data stands.
struct STORAGE_PROTOCOL_SPECIFIC_DATA {
  STORAGE_PROTOCOL_TYPE ProtocolType;
  DWORD DataType;                     ///< One of `STORAGE_PROTOCOL_NVME_DATA_TYPE`.
  DWORD ProtocolDataRequestValue;     ///< Which identify structure (CNS), or which log page.
  DWORD ProtocolDataRequestSubValue;  ///< Namespace identifier.
  DWORD ProtocolDataOffset;           ///< Offset of the data from this record's start.
  DWORD ProtocolDataLength;           ///< Bytes of data.
  DWORD FixedProtocolReturnData;      ///< First word of the command's completion.
  DWORD ProtocolDataRequestSubValue2;
  DWORD ProtocolDataRequestSubValue3;
  DWORD ProtocolDataRequestSubValue4;
};

/// Head of the answer.
struct STORAGE_PROTOCOL_DATA_DESCRIPTOR {
  DWORD Version;  ///< Size of this record.
  DWORD Size;     ///< Size of this record.
  STORAGE_PROTOCOL_SPECIFIC_DATA ProtocolSpecificData;
};

}  // namespace Ondrel

#endif

namespace Ondrel {

static_assert(IOCTL_STORAGE_QUERY_PROPERTY == 0x2D1400);
static_assert(StorageAdapterProtocolSpecificProperty == 49);
static_assert(StorageDeviceProtocolSpecificProperty == 50);
static_assert(PropertyStandardQuery == 0);
static_assert(ProtocolTypeNvme == 3);
static_assert(NVMeDataTypeIdentify == 1);
static_assert(NVMeDataTypeLogPage == 2);

static_assert(sizeof(STORAGE_PROPERTY_QUERY) == 12);
static_assert(offsetof(STORAGE_PROPERTY_QUERY, PropertyId) == 0);
static_assert(offsetof(STORAGE_PROPERTY_QUERY, QueryType) == 4);
static_assert(offsetof(STORAGE_PROPERTY_QUERY, AdditionalParameters) == 8);

static_assert(sizeof(STORAGE_PROTOCOL_SPECIFIC_DATA) == 40);
static_assert(offsetof(STORAGE_PROTOCOL_SPECIFIC_DATA, ProtocolType) == 0);
static_assert(offsetof(STORAGE_PROTOCOL_SPECIFIC_DATA, DataType) == 4);
static_assert(offsetof(STORAGE_PROTOCOL_SPECIFIC_DATA, ProtocolDataRequestValue) == 8);
static_assert(offsetof(STORAGE_PROTOCOL_SPECIFIC_DATA, ProtocolDataRequestSubValue) == 12);
static_assert(offsetof(STORAGE_PROTOCOL_SPECIFIC_DATA, ProtocolDataOffset) == 16);
static_assert(offsetof(STORAGE_PROTOCOL_SPECIFIC_DATA, ProtocolDataLength) == 20);
static_assert(offsetof(STORAGE_PROTOCOL_SPECIFIC_DATA, FixedProtocolReturnData) == 24);
static_assert(offsetof(STORAGE_PROTOCOL_SPECIFIC_DATA, ProtocolDataRequestSubValue2) == 28);
static_assert(offsetof(STORAGE_PROTOCOL_SPECIFIC_DATA, ProtocolDataRequestSubValue3) == 32);
static_assert(offsetof(STORAGE_PROTOCOL_SPECIFIC_DATA, ProtocolDataRequestSubValue4) == 36);

static_assert(sizeof(STORAGE_PROTOCOL_DATA_DESCRIPTOR) == 48);
static_assert(offsetof(STORAGE_PROTOCOL_DATA_DESCRIPTOR, Version) == 0);
static_assert(offsetof(STORAGE_PROTOCOL_DATA_DESCRIPTOR, Size) == 4);
static_assert(offsetof(STORAGE_PROTOCOL_DATA_DESCRIPTOR, ProtocolSpecificData) == 8);

}  // namespace Ondrel
