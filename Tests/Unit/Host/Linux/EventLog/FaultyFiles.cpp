#include "Unit/Host/Linux/EventLog/FaultyFiles.h"

#include <cerrno>
#include <utility>

namespace Ondrel::Testing {

namespace {

struct Fault {
  int result = SQLITE_OK;
  int errnoValue = 0;

  bool Strikes() const {
    if (result == SQLITE_OK) return false;
    errno = errnoValue;
    return true;
  }
};

Fault g_writes;
Fault g_syncs;
Fault g_reads;
std::function<void()> g_beforeSync;
std::function<void()> g_beforeRead;
sqlite3_vfs* g_realVfs = nullptr;

// The real file follows the outer one in the same block.
struct OuterFile {
  sqlite3_file base;
};

constexpr int kRealOffset = 16;
static_assert(sizeof(OuterFile) <= kRealOffset);

sqlite3_file* Real(sqlite3_file* outer) {
  return reinterpret_cast<sqlite3_file*>(reinterpret_cast<char*>(outer) + kRealOffset);
}

const sqlite3_io_methods& Methods(sqlite3_file* outer) { return *Real(outer)->pMethods; }

int Write(sqlite3_file* file, const void* bytes, int size, sqlite3_int64 offset) {
  if (g_writes.Strikes()) return g_writes.result;
  return Methods(file).xWrite(Real(file), bytes, size, offset);
}

int Sync(sqlite3_file* file, int flags) {
  if (const auto action = std::exchange(g_beforeSync, nullptr)) action();
  if (g_syncs.Strikes()) return g_syncs.result;
  return Methods(file).xSync(Real(file), flags);
}

int Read(sqlite3_file* file, void* bytes, int size, sqlite3_int64 offset) {
  if (const auto action = std::exchange(g_beforeRead, nullptr)) action();
  if (g_reads.Strikes()) return g_reads.result;
  return Methods(file).xRead(Real(file), bytes, size, offset);
}

constexpr sqlite3_io_methods kOuterMethods{
    .iVersion = 2,
    .xClose = [](sqlite3_file* file) { return Methods(file).xClose(Real(file)); },
    .xRead = Read,
    .xWrite = Write,
    .xTruncate = [](sqlite3_file* file,
                    sqlite3_int64 size) { return Methods(file).xTruncate(Real(file), size); },
    .xSync = Sync,
    .xFileSize = [](sqlite3_file* file,
                    sqlite3_int64* size) { return Methods(file).xFileSize(Real(file), size); },
    .xLock = [](sqlite3_file* file, int lock) { return Methods(file).xLock(Real(file), lock); },
    .xUnlock = [](sqlite3_file* file, int lock) { return Methods(file).xUnlock(Real(file), lock); },
    .xCheckReservedLock =
        [](sqlite3_file* file, int* isReserved) {
          return Methods(file).xCheckReservedLock(Real(file), isReserved);
        },
    .xFileControl =
        [](sqlite3_file* file, int operation, void* argument) {
          return Methods(file).xFileControl(Real(file), operation, argument);
        },
    .xSectorSize = [](sqlite3_file* file) { return Methods(file).xSectorSize(Real(file)); },
    .xDeviceCharacteristics =
        [](sqlite3_file* file) { return Methods(file).xDeviceCharacteristics(Real(file)); },
    .xShmMap =
        [](sqlite3_file* file, int page, int size, int extend, void volatile** memory) {
          return Methods(file).xShmMap(Real(file), page, size, extend, memory);
        },
    .xShmLock = [](sqlite3_file* file, int offset, int count,
                   int flags) { return Methods(file).xShmLock(Real(file), offset, count, flags); },
    .xShmBarrier = [](sqlite3_file* file) { Methods(file).xShmBarrier(Real(file)); },
    .xShmUnmap = [](sqlite3_file* file,
                    int remove) { return Methods(file).xShmUnmap(Real(file), remove); },
    .xFetch = nullptr,
    .xUnfetch = nullptr,
};

int Open(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* outFlags) {
  file->pMethods = nullptr;
  const int result = g_realVfs->xOpen(g_realVfs, name, Real(file), flags, outFlags);
  if (Real(file)->pMethods != nullptr) file->pMethods = &kOuterMethods;
  return result;
}

}  // namespace

FaultyFiles::FaultyFiles() {
  sqlite3_initialize();
  g_realVfs = sqlite3_vfs_find(nullptr);
  m_vfs = *g_realVfs;
  m_vfs.pNext = nullptr;
  m_vfs.zName = "faulty";
  m_vfs.szOsFile = kRealOffset + g_realVfs->szOsFile;
  m_vfs.xOpen = Open;
  sqlite3_vfs_register(&m_vfs, 1);
}

FaultyFiles::~FaultyFiles() {
  FailWrites(SQLITE_OK, 0);
  FailSyncs(SQLITE_OK, 0);
  FailReads(SQLITE_OK, 0);
  BeforeNextSync(nullptr);
  BeforeNextRead(nullptr);
  sqlite3_vfs_unregister(&m_vfs);
  sqlite3_vfs_register(g_realVfs, 1);
}

void FaultyFiles::FailWrites(int result, int errnoValue) { g_writes = {result, errnoValue}; }

void FaultyFiles::FailSyncs(int result, int errnoValue) { g_syncs = {result, errnoValue}; }

void FaultyFiles::FailReads(int result, int errnoValue) { g_reads = {result, errnoValue}; }

void FaultyFiles::BeforeNextSync(std::function<void()> action) { g_beforeSync = std::move(action); }

void FaultyFiles::BeforeNextRead(std::function<void()> action) { g_beforeRead = std::move(action); }

}  // namespace Ondrel::Testing
