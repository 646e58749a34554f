#pragma once

#include <Ondrel/StatusTransition.h>

#include <cstdint>

/// Codes of the event vocabulary that the service reports, and what it asks of a status.
namespace Tool::Watch {

namespace EventCode {
inline constexpr std::int32_t kBadBlock = 10031;             // DISK_BAD_BLOCK
inline constexpr std::int32_t kPluggedIn = 10032;            // PNPADD
inline constexpr std::int32_t kGone = 10033;                 // PNPREMOVE
inline constexpr std::int32_t kTaskError = 10038;            // TASK_ERROR
inline constexpr std::int32_t kMediaError = 10043;           // MEDIA_ERROR
inline constexpr std::int32_t kSmartWarning = 10044;         // SMART_WARNING
inline constexpr std::int32_t kSmartError = 10045;           // SMART_ERROR
inline constexpr std::int32_t kRebuildStarted = 10055;       // REBUILD_STARTED
inline constexpr std::int32_t kRebuildFinished = 10056;      // REBUILD_FINISHED
inline constexpr std::int32_t kRebuildFailed = 10057;        // REBUILD_FAILED
inline constexpr std::int32_t kRebuildCancelled = 10058;     // REBUILD_CANCELED
inline constexpr std::int32_t kCheckStarted = 10060;         // CHECK_STARTED
inline constexpr std::int32_t kCheckFinished = 10061;        // CHECK_FINISHED
inline constexpr std::int32_t kCheckCancelled = 10063;       // CHECK_CANCELED
inline constexpr std::int32_t kCheckError = 10066;           // CHECK_ERROR
inline constexpr std::int32_t kReshapeStarted = 10068;       // MIGRATION_STARTED
inline constexpr std::int32_t kReshapeFinished = 10069;      // MIGRATION_FINISHED
inline constexpr std::int32_t kReshapeAborted = 10071;       // MIGRATION_ABORTED
inline constexpr std::int32_t kResyncStarted = 10087;        // BGI_STARTED
inline constexpr std::int32_t kResyncFinished = 10088;       // BGI_FINISHED
inline constexpr std::int32_t kResyncCancelled = 10089;      // BGI_CANCELED
inline constexpr std::int32_t kErrorFixed = 10157;           // DISK_ERROR_FIXED
inline constexpr std::int32_t kHealthUnreadable = 10713;     // DEVICE_OPEN_ERROR
inline constexpr std::int32_t kArrayStopped = 10809;         // LD_NOT_READY
inline constexpr std::int32_t kTemperatureHigh = 11021;      // PD_TEMP_HIGH
inline constexpr std::int32_t kTemperatureCritical = 11022;  // PD_TEMP_CRITICAL
inline constexpr std::int32_t kTemperatureNormal = 11023;    // PD_TEMP_NORMAL
inline constexpr std::int32_t kLifeNotOptimal = 11027;       // PD_LIFE_NOT_OPTIMAL
inline constexpr std::int32_t kLifeCritical = 11028;         // PD_LIFE_CRITICAL
}  // namespace EventCode

/// The status without its `_SMART` mark.
std::int32_t WithoutSmart(std::int32_t status);

/// The status with its `_SMART` mark, or without it.
std::int32_t WithSmart(std::int32_t status, bool hasMark);

/// Whether a drive or an array of this status needs nobody's attention: OPERATIONAL, a hot spare,
/// AVAILABLE or SYSTEM, without the `_SMART` mark.
bool IsWell(std::int32_t status);

}  // namespace Tool::Watch
