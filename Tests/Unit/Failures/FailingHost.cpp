#include "Unit/Failures/FailingHost.h"

#include "Host/DeviceOperations.h"
#include "Host/DeviceSetupOperations.h"
#include "Host/DrivesOperations.h"
#include "Host/EventLogOperations.h"
#include "Host/MemoryOperations.h"
#include "Host/ProcessOperations.h"
#include "Host/ServiceOperations.h"
#include "Host/SystemFactsOperations.h"
#include "Host/TimeOperations.h"
#include "Host/VolumeOperations.h"
#include "Support/PreparedOperations.h"

#include <new>
#include <tuple>
#include <type_traits>
#include <utility>

namespace Ondrel::Testing {

namespace Allocations {

namespace {

thread_local bool t_isCounting = false;
thread_local bool t_hasFailed = false;
thread_local long t_left = 0;

}  // namespace

void FailAt(long number) {
  t_left = number;
  t_hasFailed = false;
}

bool HasFailed() { return t_hasFailed; }

bool Fails() noexcept {
  if (!t_isCounting || t_left == 0 || --t_left != 0) return false;
  t_hasFailed = true;
  return true;
}

Counted::Counted() { t_isCounting = true; }
Counted::~Counted() { t_isCounting = false; }
Uncounted::Uncounted() : m_wasCounting(std::exchange(t_isCounting, false)) {}
Uncounted::~Uncounted() { t_isCounting = m_wasCounting; }

}  // namespace Allocations

bool FailurePlan::Fails(const std::string& operation) {
  const int number = ++m_callsOf[operation];
  if (!m_failing.contains(m_calls++)) return false;
  m_failed.push_back(operation + "#" + std::to_string(number));
  lastError = kPlannedError;
  return true;
}

void FailurePlan::Close(void* handle) {
  const auto found = m_open.find(handle);
  if (found != m_open.end())
    m_open.erase(found);
  else
    ++m_strayCloses;
}

namespace {

// What an operation does with handles: nothing, yields one, takes one back.
enum class Handles { kNone, kYields, kTakes };

class Wrapper {
public:
  explicit Wrapper(FailurePlan& plan) : m_plan(plan) {}

  template <class Result, class... Arguments>
  void operator()(std::function<Result(Arguments...)>& operation, const char* name,
                  std::type_identity_t<Result> failure, Handles handles = Handles::kNone) const {
    if (!operation) return;
    operation = [&plan = m_plan, inner = std::move(operation), name, failure,
                 handles](Arguments... arguments) -> Result {
      const Allocations::Uncounted uncounted;
      static_cast<void>(handles);  // Not asked where neither result nor argument is a pointer.
      if constexpr (sizeof...(Arguments) > 0) {
        const auto first = std::get<0>(std::tie(arguments...));
        if constexpr (std::is_pointer_v<decltype(first)>)
          if (handles == Handles::kTakes)
            plan.Close(const_cast<void*>(static_cast<const void*>(first)));
      }
      if (plan.Fails(name)) return failure;
      const Result result = inner(arguments...);
      if (result == failure) plan.lastError.reset();
      if constexpr (std::is_pointer_v<Result>)
        if (handles == Handles::kYields && result != failure) plan.Open(result);
      return result;
    };
  }

  // One that yields a handle by its argument `place`, and 0 or another result on success.
  template <std::size_t place, class Result, class... Arguments>
  void Out(std::function<Result(Arguments...)>& operation, const char* name, Result failure,
           bool isZeroSuccess) const {
    if (!operation) return;
    operation = [&plan = m_plan, inner = std::move(operation), name, failure,
                 isZeroSuccess](Arguments... arguments) -> Result {
      const Allocations::Uncounted uncounted;
      if (plan.Fails(name)) return failure;
      const Result result = inner(arguments...);
      if ((result == 0) == isZeroSuccess)
        plan.Open(*std::get<place>(std::tie(arguments...)));
      else
        plan.lastError.reset();
      return result;
    };
  }

  // One that does not fail.
  template <class Result, class... Arguments>
  void Steady(std::function<Result(Arguments...)>& operation) const {
    if (!operation) return;
    operation = [inner = std::move(operation)](Arguments... arguments) {
      const Allocations::Uncounted uncounted;
      return inner(arguments...);
    };
  }

  void LastError(std::function<ULong()>& operation) const {
    if (!operation) return;
    operation = [&plan = m_plan, inner = std::move(operation)] {
      const Allocations::Uncounted uncounted;
      return plan.lastError ? *plan.lastError : inner();
    };
  }

  FailurePlan& Plan() const { return m_plan; }

private:
  FailurePlan& m_plan;
};

Host::EventLogOperations Wrap(const Wrapper& wrap, Host::EventLogOperations host) {
  wrap(host.OpenEventLogA, "OpenEventLogA", nullptr, Handles::kYields);
  wrap(host.CloseEventLog, "CloseEventLog", 0, Handles::kTakes);
  wrap(host.RegisterEventSourceA, "RegisterEventSourceA", nullptr, Handles::kYields);
  wrap(host.DeregisterEventSource, "DeregisterEventSource", 0, Handles::kTakes);
  wrap(host.ReportEventA, "ReportEventA", 0);
  wrap(host.ReadEventLogA, "ReadEventLogA", 0);
  wrap(host.LoadLibraryExA, "LoadLibraryExA", nullptr, Handles::kYields);
  wrap(host.FreeLibrary, "FreeLibrary", 0, Handles::kTakes);
  wrap(host.FormatMessageA, "FormatMessageA", 0);
  wrap.LastError(host.GetLastError);
  return host;
}

Host::DeviceOperations Wrap(const Wrapper& wrap, Host::DeviceOperations host) {
  wrap(host.CreateFileA, "CreateFileA", INVALID_HANDLE_VALUE, Handles::kYields);
  wrap(host.DeviceIoControl, "DeviceIoControl", 0);
  wrap(host.CloseHandle, "CloseHandle", 0, Handles::kTakes);
  wrap.LastError(host.GetLastError);
  return host;
}

Host::MemoryOperations Wrap(const Wrapper& wrap, Host::MemoryOperations host) {
  FailurePlan& plan = wrap.Plan();
  const Host::MemoryOperations inner = host;
  host.Allocate = [&plan, inner](std::size_t size) -> void* {
    const Allocations::Uncounted uncounted;
    if (plan.Fails("Allocate")) return nullptr;
    void* const block = inner.Allocate(size);
    plan.AddBlock(block);
    return block;
  };
  host.Reallocate = [&plan, inner](void* block, std::size_t size) -> void* {
    const Allocations::Uncounted uncounted;
    if (plan.Fails("Reallocate")) return nullptr;
    void* const other = inner.Reallocate(block, size);
    plan.RemoveBlock(block);
    plan.AddBlock(other);
    return other;
  };
  host.Free = [&plan, inner](void* block) {
    const Allocations::Uncounted uncounted;
    plan.RemoveBlock(block);
    inner.Free(block);
  };
  return host;
}

Host::DeviceSetupOperations Wrap(const Wrapper& wrap, Host::DeviceSetupOperations host) {
  wrap(host.SetupDiGetClassDevsA, "SetupDiGetClassDevsA", INVALID_HANDLE_VALUE, Handles::kYields);
  wrap(host.SetupDiEnumDeviceInfo, "SetupDiEnumDeviceInfo", 0);
  wrap(host.SetupDiGetDeviceRegistryPropertyA, "SetupDiGetDeviceRegistryPropertyA", 0);
  wrap(host.SetupDiDestroyDeviceInfoList, "SetupDiDestroyDeviceInfoList", 0, Handles::kTakes);
  return host;
}

// `Open` and `Look` have no failure but want of memory.
Host::DrivesOperations Wrap(const Wrapper& wrap, Host::DrivesOperations host) {
  if (!host.Open) return host;
  FailurePlan& plan = wrap.Plan();
  host.Open = [&plan, inner = std::move(host.Open)] {
    const Allocations::Uncounted uncounted;
    if (plan.Fails("Open")) throw std::bad_alloc();
    void* const watch = inner();
    plan.Open(watch);
    return watch;
  };
  host.Close = [&plan, inner = std::move(host.Close)](void* watch) {
    const Allocations::Uncounted uncounted;
    plan.Close(watch);
    inner(watch);
  };
  host.Look = [&plan, inner = std::move(host.Look)](void* watch) {
    const Allocations::Uncounted uncounted;
    if (plan.Fails("Look")) throw std::bad_alloc();
    return inner(watch);
  };
  wrap(host.Descriptor, "Descriptor", -1);
  wrap(host.TakeNotifications, "TakeNotifications", false);
  wrap(host.ArmHealthEvents, "ArmHealthEvents", kPlannedError);
  return host;
}

Host::ProcessOperations Wrap(const Wrapper& wrap, Host::ProcessOperations host) {
  wrap(host._popen, "_popen", nullptr, Handles::kYields);
  wrap(host.fgets, "fgets", nullptr);
  wrap(host._pclose, "_pclose", -1, Handles::kTakes);
  return host;
}

Host::ServiceOperations Wrap(const Wrapper& wrap, Host::ServiceOperations host) {
  wrap(host.EnumDeviceDrivers, "EnumDeviceDrivers", 0);
  wrap(host.GetDeviceDriverBaseNameA, "GetDeviceDriverBaseNameA", 0);
  wrap(host.GetSystemDirectoryA, "GetSystemDirectoryA", 0);
  wrap(host.GetSystemWow64DirectoryA, "GetSystemWow64DirectoryA", 0);
  wrap(host.GetFileVersionInfoSizeA, "GetFileVersionInfoSizeA", 0);
  wrap(host.GetFileVersionInfoA, "GetFileVersionInfoA", 0);
  wrap(host.VerQueryValueA, "VerQueryValueA", 0);
  wrap(host.LookupPrivilegeValueA, "LookupPrivilegeValueA", 0);
  wrap.Out<2>(host.OpenProcessToken, "OpenProcessToken", 0, false);
  // Its success sets the last error too.
  wrap(host.AdjustTokenPrivileges, "AdjustTokenPrivileges", 0);
  if (host.AdjustTokenPrivileges)
    host.AdjustTokenPrivileges =
        [&plan = wrap.Plan(), inner = std::move(host.AdjustTokenPrivileges)](auto... arguments) {
          const int result = inner(arguments...);
          if (result != 0) plan.lastError.reset();
          return result;
        };
  wrap.Steady(host.GetCurrentProcess);
  wrap(host.CloseHandle, "CloseHandle", 0, Handles::kTakes);
  wrap(host.InitiateSystemShutdownA, "InitiateSystemShutdownA", 0);
  wrap(host.Beep, "Beep", 0);
  wrap.LastError(host.GetLastError);
  return host;
}

Host::SystemFactsOperations Wrap(const Wrapper& wrap, Host::SystemFactsOperations host) {
  constexpr std::int32_t kFailure = kPlannedError;
  wrap(host.GetVersionExA, "GetVersionExA", 0);
  wrap(host.GetProductInfo, "GetProductInfo", 0);
  wrap(host.RtlGetVersion, "RtlGetVersion", -1);
  wrap(host.GetSystemMetrics, "GetSystemMetrics", 0);
  wrap.Out<4>(host.RegOpenKeyExA, "RegOpenKeyExA", kFailure, true);
  wrap.Out<2>(host.RegOpenKeyA, "RegOpenKeyA", kFailure, true);
  wrap(host.RegQueryValueExA, "RegQueryValueExA", kFailure);
  wrap(host.RegCloseKey, "RegCloseKey", kFailure, Handles::kTakes);
  wrap(host.GetSystemDirectoryA, "GetSystemDirectoryA", 0);
  wrap(host.GetFileVersionInfoSizeA, "GetFileVersionInfoSizeA", 0);
  wrap(host.GetFileVersionInfoA, "GetFileVersionInfoA", 0);
  wrap(host.VerQueryValueA, "VerQueryValueA", 0);
  wrap(host.WideCharToMultiByte, "WideCharToMultiByte", 0);
  wrap.Steady(host.GetVersion);
  wrap.Steady(host.GetNativeSystemInfo);
  wrap.Steady(host.RtlGetDeviceFamilyInfoEnum);
  wrap.Steady(host.GetSystemInfo);
  return host;
}

Host::TimeOperations Wrap(const Wrapper& wrap, Host::TimeOperations host) {
  wrap(host.FileTimeToSystemTime, "FileTimeToSystemTime", 0);
  wrap(host.SystemTimeToFileTime, "SystemTimeToFileTime", 0);
  wrap(host.SystemTimeToTzSpecificLocalTime, "SystemTimeToTzSpecificLocalTime", 0);
  wrap(host.TzSpecificLocalTimeToSystemTime, "TzSpecificLocalTimeToSystemTime", 0);
  wrap(host.LocalFileTimeToFileTime, "LocalFileTimeToFileTime", 0);
  wrap(host.GetTimeZoneInformation, "GetTimeZoneInformation", ULong{0xFFFFFFFF});
  wrap(host.NtQuerySystemInformation, "NtQuerySystemInformation", -1);
  return host;
}

Host::VolumeOperations Wrap(const Wrapper& wrap, Host::VolumeOperations host) {
  wrap(host.FindFirstVolumeA, "FindFirstVolumeA", INVALID_HANDLE_VALUE, Handles::kYields);
  wrap(host.FindNextVolumeA, "FindNextVolumeA", 0);
  wrap(host.FindVolumeClose, "FindVolumeClose", 0, Handles::kTakes);
  wrap(host.CreateFileA, "CreateFileA", INVALID_HANDLE_VALUE, Handles::kYields);
  wrap(host.DeviceIoControl, "DeviceIoControl", 0);
  wrap(host.CloseHandle, "CloseHandle", 0, Handles::kTakes);
  wrap(host.QueryDosDeviceA, "QueryDosDeviceA", 0);
  wrap(host.GetVolumePathNamesForVolumeNameW, "GetVolumePathNamesForVolumeNameW", 0);
  wrap(host.FindFirstVolumeMountPointA, "FindFirstVolumeMountPointA", INVALID_HANDLE_VALUE,
       Handles::kYields);
  wrap(host.FindNextVolumeMountPointA, "FindNextVolumeMountPointA", 0);
  wrap(host.FindVolumeMountPointClose, "FindVolumeMountPointClose", 0, Handles::kTakes);
  wrap(host.GetVolumeNameForVolumeMountPointA, "GetVolumeNameForVolumeMountPointA", 0);
  wrap(host.MultiByteToWideChar, "MultiByteToWideChar", 0);
  wrap(host.GetVolumeInformationW, "GetVolumeInformationW", 0);
  wrap(host.GetDriveTypeA, "GetDriveTypeA", ULong{0});
  wrap.Steady(host.KeepPicture);
  wrap.Steady(host.SetErrorMode);
  wrap.LastError(host.GetLastError);
  return host;
}

}  // namespace

class FailingHost::Tables {
public:
  explicit Tables(const Wrapper& wrap)
      : m_eventLog(Host::EventLog(), Wrap(wrap, Host::EventLog())),
        m_device(Host::Device(), Wrap(wrap, Host::Device())),
        m_memory(Host::Memory(), Wrap(wrap, Host::Memory())),
        m_deviceSetup(Host::DeviceSetup(), Wrap(wrap, Host::DeviceSetup())),
        m_drives(Host::Drives(), Wrap(wrap, Host::Drives())),
        m_process(Host::Process(), Wrap(wrap, Host::Process())),
        m_service(Host::Service(), Wrap(wrap, Host::Service())),
        m_facts(Host::SystemFacts(), Wrap(wrap, Host::SystemFacts())),
        m_time(Host::Time(), Wrap(wrap, Host::Time())),
        m_volume(Host::Volume(), Wrap(wrap, Host::Volume())) {}

private:
  PreparedOperations<Host::EventLogOperations> m_eventLog;
  PreparedOperations<Host::DeviceOperations> m_device;
  PreparedOperations<Host::MemoryOperations> m_memory;
  PreparedOperations<Host::DeviceSetupOperations> m_deviceSetup;
  PreparedOperations<Host::DrivesOperations> m_drives;
  PreparedOperations<Host::ProcessOperations> m_process;
  PreparedOperations<Host::ServiceOperations> m_service;
  PreparedOperations<Host::SystemFactsOperations> m_facts;
  PreparedOperations<Host::TimeOperations> m_time;
  PreparedOperations<Host::VolumeOperations> m_volume;
};

FailingHost::FailingHost(FailurePlan& plan) : m_tables(std::make_unique<Tables>(Wrapper(plan))) {}
FailingHost::~FailingHost() = default;

}  // namespace Ondrel::Testing
