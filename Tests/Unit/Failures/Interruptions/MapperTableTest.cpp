#include "Host/Linux/LastError.h"
#include "Host/Linux/Volumes/VolumePicture.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <fcntl.h>
#include <libdevmapper.h>
#include <optional>
#include <string>
#include <sys/syscall.h>
#include <unistd.h>
#include <utility>
#include <vector>

// How a table of the device mapper is asked for, without one: this program has functions of its own
// in place of the library's.

struct dm_task {
  int type = 0;
};

namespace {

/// What a table says of one part of a device.
struct Target {
  std::uint64_t start;
  std::uint64_t count;
  std::string type;
  std::optional<std::string> parameters;
};

/// The library's answers to this thread for one scope, and what it was asked.
struct Mapper {
  Mapper();
  ~Mapper();

  Mapper(const Mapper&) = delete;
  Mapper& operator=(const Mapper&) = delete;

  int controlErrno = 0;  ///< Why the control may not be opened; 0 when it may.
  int createErrno = -1;  ///< What a task that cannot be made sets; -1 when it can be made.
  int runErrno = -1;     ///< The same of a task that fails.
  int kernelErrno = 0;   ///< What the task keeps of the kernel's answer.
  std::vector<Target> targets;

  int accessMode = 0;
  int tasks = 0;  ///< That were made and not destroyed yet.
  int type = 0;
  std::pair<int, int> device;
  bool isSecure = false;
  bool isQuiet = false;
  bool wasQuiet = false;  ///< When the task was run.
};

thread_local Mapper* t_mapper = nullptr;

Mapper::Mapper() { t_mapper = this; }
Mapper::~Mapper() { t_mapper = nullptr; }

}  // namespace

// The names and the form are the library's.
// NOLINTBEGIN(readability-identifier-naming)
extern "C" {

[[gnu::visibility("default")]] int access(const char* path, int mode) noexcept {
  if (t_mapper == nullptr || std::string("/dev/mapper/control") != path)
    return static_cast<int>(::syscall(SYS_faccessat, AT_FDCWD, path, mode));
  t_mapper->accessMode = mode;
  if (t_mapper->controlErrno == 0) return 0;
  errno = t_mapper->controlErrno;
  return -1;
}

int dm_log_is_non_default() { return 0; }

void dm_log_with_errno_init(dm_log_with_errno_fn log) { t_mapper->isQuiet = log != nullptr; }

dm_task* dm_task_create(int type) {
  if (t_mapper->createErrno >= 0) {
    if (t_mapper->createErrno > 0) errno = t_mapper->createErrno;
    return nullptr;
  }
  ++t_mapper->tasks;
  t_mapper->type = type;
  return new dm_task{type};
}

void dm_task_destroy(dm_task* task) {
  --t_mapper->tasks;
  delete task;
}

int dm_task_set_major_minor(dm_task*, int major, int minor, int) {
  t_mapper->device = {major, minor};
  return 1;
}

int dm_task_secure_data(dm_task*) {
  t_mapper->isSecure = true;
  return 1;
}

int dm_task_run(dm_task*) {
  t_mapper->wasQuiet = t_mapper->isQuiet;
  if (t_mapper->runErrno < 0) return 1;
  if (t_mapper->runErrno > 0) errno = t_mapper->runErrno;
  return 0;
}

int dm_task_get_errno(dm_task*) { return t_mapper->kernelErrno; }

void* dm_get_next_target(dm_task*, void* next, std::uint64_t* start, std::uint64_t* length,
                         char** type, char** parameters) {
  // As the library does with a table of nothing.
  *type = *parameters = nullptr;
  if (t_mapper->targets.empty()) return nullptr;
  Target* const target = next != nullptr ? static_cast<Target*>(next) : t_mapper->targets.data();
  *start = target->start;
  *length = target->count;
  *type = target->type.data();
  if (target->parameters) *parameters = target->parameters->data();
  return target + 1 != t_mapper->targets.data() + t_mapper->targets.size() ? target + 1 : nullptr;
}

}  // extern "C"
// NOLINTEND(readability-identifier-naming)

namespace Ondrel::Host {
namespace {

BlockDevice Device() {
  BlockDevice device;
  device.number = {254, 3};
  return device;
}

// The error with which the table of a device cannot be read; 0 when it can.
ULong Error() {
  SetLastError(ERROR_SUCCESS);
  return ReadMapperTable(Device()) ? ERROR_SUCCESS : LastError();
}

TEST(MapperTable, HasEachTargetInItsOrder) {
  Mapper mapper;
  mapper.targets = {{0, 100, "linear", "8:0 2048"}, {100, 50, "zero", std::nullopt}};

  const auto table = ReadMapperTable(Device());

  ASSERT_TRUE(table.has_value());
  ASSERT_EQ(table->size(), 2U);
  EXPECT_EQ((*table)[0].start, 0U);
  EXPECT_EQ((*table)[0].count, 100U);
  EXPECT_EQ((*table)[0].type, "linear");
  EXPECT_EQ((*table)[0].parameters, "8:0 2048");
  EXPECT_EQ((*table)[1].start, 100U);
  EXPECT_EQ((*table)[1].count, 50U);
  EXPECT_EQ((*table)[1].type, "zero");
  EXPECT_EQ((*table)[1].parameters, "");
  EXPECT_EQ(mapper.type, DM_DEVICE_TABLE);
  EXPECT_EQ(mapper.device, std::pair(254, 3));
  EXPECT_TRUE(mapper.isSecure) << "a table may hold a key";
  EXPECT_EQ(mapper.tasks, 0);
}

TEST(MapperTable, OfADeviceWithoutOneIsEmpty) {
  const Mapper mapper;
  const auto table = ReadMapperTable(Device());
  ASSERT_TRUE(table.has_value());
  EXPECT_TRUE(table->empty());
}

TEST(MapperTable, WhoMayNotReadAndWriteTheControlIsNotHeard) {
  Mapper mapper;
  mapper.controlErrno = EACCES;
  EXPECT_EQ(Error(), ERROR_ACCESS_DENIED);
  EXPECT_EQ(mapper.accessMode, R_OK | W_OK);
  EXPECT_EQ(mapper.type, 0) << "the library was asked";
}

TEST(MapperTable, AControlThatIsNotThereIsTheLibrarysToMake) {
  Mapper mapper;
  mapper.controlErrno = ENOENT;
  EXPECT_EQ(Error(), ERROR_SUCCESS);
}

TEST(MapperTable, AnEarlierErrorIsNotThatOfTheControl) {
  const Mapper mapper;
  errno = EACCES;
  EXPECT_EQ(Error(), ERROR_SUCCESS);
}

TEST(MapperTable, AFailureIsTheKernelsElseTheSystemsElseWantOfMemory) {
  struct Row {
    const char* name;
    int createErrno;
    int runErrno;
    int kernelErrno;
    ULong error;
  };
  for (const Row& row : {
           Row{"no such device", -1, 0, ENXIO, 55},
           Row{"the kernel's goes first", -1, EBUSY, EPERM, ERROR_ACCESS_DENIED},
           Row{"the control cannot be opened", -1, EACCES, 0, ERROR_ACCESS_DENIED},
           Row{"no task", ENXIO, -1, 0, 55},
           Row{"no task and no reason", 0, -1, 0, ERROR_NOT_ENOUGH_MEMORY},
       }) {
    Mapper mapper;
    mapper.createErrno = row.createErrno;
    mapper.runErrno = row.runErrno;
    mapper.kernelErrno = row.kernelErrno;
    errno = EEXIST;
    EXPECT_EQ(Error(), row.error) << row.name;
    EXPECT_EQ(mapper.tasks, 0) << row.name;
  }
}

TEST(MapperTable, TheLibraryComplainsToNobodyWhileItIsAsked) {
  Mapper mapper;
  EXPECT_EQ(Error(), ERROR_SUCCESS);
  EXPECT_TRUE(mapper.wasQuiet);
  EXPECT_FALSE(mapper.isQuiet) << "the host program may use it too";
}

}  // namespace
}  // namespace Ondrel::Host
