#include "Host/Linux/LastError.h"
#include "Host/Linux/Volumes/VolumePicture.h"

#include <cerrno>
#include <libdevmapper.h>
#include <memory>
#include <mutex>
#include <unistd.h>

namespace Ondrel::Host {

namespace {

constexpr const char* kMapperControl = "/dev/mapper/control";

struct DestroyTask {
  void operator()(dm_task* task) const { dm_task_destroy(task); }
};

// The library of the device mapper writes its complaints on standard error unless it is given a
// function for them. A host program that has given one keeps it.
class QuietMapper {
public:
  QuietMapper() : m_isOurs(!dm_log_is_non_default()) {
    if (m_isOurs) dm_log_with_errno_init(Ignore);
  }
  ~QuietMapper() {
    if (m_isOurs) dm_log_with_errno_init(nullptr);
  }

  QuietMapper(const QuietMapper&) = delete;
  QuietMapper& operator=(const QuietMapper&) = delete;

private:
  static void Ignore(int, const char*, int, int, const char*, ...) {}

  bool m_isOurs;
};

ULong ErrorOf(dm_task* task) {
  const int error = dm_task_get_errno(task);
  return ErrorFromErrno(error != 0 ? error : errno);
}

}  // namespace

// Only root may ask. A table may hold the key of an encrypted device: the kernel and the library
// wipe what they held of it, and no key is copied out of there.
std::optional<std::vector<MapperTarget>> ReadMapperTable(const BlockDevice& device) {
  using Answer = std::optional<std::vector<MapperTarget>>;
  // Of a refusal here the library would not give the reason. A node that is not there it makes.
  if (::access(kMapperControl, R_OK | W_OK) != 0 && errno != ENOENT)
    return Fail<Answer>(ErrorFromErrno(errno));
  // The library has one connection to the kernel for the process.
  static std::mutex mutex;
  const std::lock_guard lock(mutex);
  const QuietMapper quiet;
  errno = 0;
  const std::unique_ptr<dm_task, DestroyTask> task(dm_task_create(DM_DEVICE_TABLE));
  if (!task) return Fail<Answer>(ErrorFromErrno(errno != 0 ? errno : ENOMEM));
  if (!dm_task_set_major_minor(task.get(), static_cast<int>(device.number.first),
                               static_cast<int>(device.number.second), 0) ||
      !dm_task_secure_data(task.get()) || !dm_task_run(task.get()))
    return Fail<Answer>(ErrorOf(task.get()));

  std::vector<MapperTarget> targets;
  void* next = nullptr;
  do {
    std::uint64_t start = 0;
    std::uint64_t count = 0;
    char* type = nullptr;
    char* parameters = nullptr;
    next = dm_get_next_target(task.get(), next, &start, &count, &type, &parameters);
    if (type != nullptr)
      targets.push_back(
          {start, count, type, ParametersToKeep(type, parameters != nullptr ? parameters : "")});
  } while (next != nullptr);
  return targets;
}

}  // namespace Ondrel::Host
