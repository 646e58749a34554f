#include "Host/MemoryOperations.h"
#include "Host/VolumeOperations.h"

#include <Ondrel/PartitionTable.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

// Lists the partitions of a disk of a host that answers with arbitrary bytes: names without ends,
// extents of any number, lists of any shape and any size needed.
//
// The input is the device's name with its length in one byte, then the answers one after the other.
// An operation takes one byte that says whether it succeeds and what of its answer is a lie.

namespace {

using Ondrel::ULong;

class Input {
public:
  Input(const std::uint8_t* data, std::size_t size)
      : m_rest(reinterpret_cast<const char*>(data), size) {}

  std::string_view Take(std::size_t count) {
    const std::string_view taken = m_rest.substr(0, count);
    m_rest.remove_prefix(taken.size());
    return taken;
  }

  // 0 when the input is used up: everything then fails, and every walk ends.
  ULong TakeNumber(std::size_t byteCount) {
    ULong number = 0;
    for (const char byte : Take(byteCount)) number = number << 8 | static_cast<unsigned char>(byte);
    return number;
  }

private:
  std::string_view m_rest;
};

Input* g_input = nullptr;
ULong g_lastError = 0;
std::vector<std::unique_ptr<wchar_t[]>> g_lists;
char g_handle;

bool Succeeds() { return g_input->TakeNumber(1) % 4 != 0; }

int FillText(char* text, ULong size) {
  if (!Succeeds()) return 0;
  // Not terminated when the bytes fill the buffer.
  const std::string_view bytes = g_input->Take(g_input->TakeNumber(1));
  std::memset(text, 'x', size);
  std::memcpy(text, bytes.data(), std::min<std::size_t>(bytes.size(), size));
  if (bytes.size() < size) text[bytes.size()] = '\0';
  return 1;
}

int FillExtents(void* output, ULong outputSize, ULong* bytesReturned) {
  if (!Succeeds()) return 0;
  const std::string_view bytes = g_input->Take(g_input->TakeNumber(2) % (outputSize + 1));
  std::memcpy(output, bytes.data(), bytes.size());
  *bytesReturned = g_input->TakeNumber(2);
  return 1;
}

int FillList(wchar_t* list, ULong size, ULong* returnedSize) {
  if (!Succeeds()) {
    *returnedSize = g_input->TakeNumber(2);
    g_lastError = g_input->TakeNumber(1);
    return 0;
  }
  // Not terminated when the characters fill the list.
  const ULong count = g_input->TakeNumber(2);
  for (ULong index = 0; index < size; ++index)
    list[index] = index < count ? static_cast<wchar_t>(g_input->TakeNumber(2)) : L'\0';
  if (count > size) std::fill_n(list, size, L'x');
  return 1;
}

void* Begin(char* text, ULong size) {
  return FillText(text, size) ? &g_handle : Ondrel::INVALID_HANDLE_VALUE;
}

void UsePreparedOperations() {
  Ondrel::Host::VolumeOperations& host = Ondrel::Host::Volume();
  host.KeepPicture = nullptr;
  host.SetErrorMode = [](ULong mode) { return mode; };
  host.FindFirstVolumeA = Begin;
  host.FindNextVolumeA = [](void*, char* name, ULong size) { return FillText(name, size); };
  host.FindVolumeClose = [](void*) { return 1; };
  host.CreateFileA = [](const char*, ULong, ULong, void*, ULong, ULong, void*) -> void* {
    return Succeeds() ? &g_handle : Ondrel::INVALID_HANDLE_VALUE;
  };
  host.DeviceIoControl = [](void*, ULong, void*, ULong, void* output, ULong outputSize,
                            ULong* bytesReturned,
                            void*) { return FillExtents(output, outputSize, bytesReturned); };
  host.CloseHandle = [](void*) { return 1; };
  host.QueryDosDeviceA = [](const char*, char* path, ULong size) {
    return static_cast<ULong>(FillText(path, size));
  };
  host.GetVolumePathNamesForVolumeNameW = [](const wchar_t*, wchar_t* paths, ULong size,
                                             ULong* returnedSize) {
    return FillList(paths, size, returnedSize);
  };
  host.FindFirstVolumeMountPointA = [](const char*, char* folder, ULong size) {
    return Begin(folder, size);
  };
  host.FindNextVolumeMountPointA = [](void*, char* folder, ULong size) {
    return FillText(folder, size);
  };
  host.FindVolumeMountPointClose = [](void*) { return 1; };
  host.GetVolumeNameForVolumeMountPointA = [](const char*, char* name, ULong size) {
    return FillText(name, size);
  };
  host.GetVolumeInformationW = [](const wchar_t*, wchar_t* label, ULong labelSize, ULong*, ULong*,
                                  ULong*, wchar_t*, ULong) {
    ULong ignored = 0;
    return FillList(label, labelSize, &ignored);
  };
  host.GetDriveTypeA = [](const char*) { return g_input->TakeNumber(1); };
  host.GetLastError = [] { return g_lastError; };

  // The lists that are intentionally not released would fill the memory in the course of the runs.
  Ondrel::Host::MemoryOperations& memory = Ondrel::Host::Memory();
  memory.Allocate = [](std::size_t size) -> void* {
    g_lists.push_back(std::make_unique<wchar_t[]>(size / sizeof(wchar_t)));
    return g_lists.back().get();
  };
  memory.Free = [](void*) {};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const bool isPrepared = (UsePreparedOperations(), true);
  static_cast<void>(isPrepared);
  Input input(data, size);
  g_input = &input;
  g_lastError = 0;

  const std::string name = "Disk " + std::string(input.Take(input.TakeNumber(1) % 12));
  std::vector<Ondrel::CSystemPartition> partitions;
  Ondrel::CSystemPartitionTable(name).GetPartitions(partitions);
  for (const Ondrel::CSystemPartition& partition : partitions)
    if (!(partition == Ondrel::CSystemPartition(partition)) || partition.m_Kind != 1) std::abort();
  g_lists.clear();
  return 0;
}
