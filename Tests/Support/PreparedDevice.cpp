#include "Support/PreparedDevice.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <sstream>

namespace Ondrel::Testing {

namespace {

char g_handle;

std::string NullOr(const void* pointer, const char* name) {
  return pointer == nullptr ? "null" : name;
}

std::string Hexadecimal(ULong number) {
  std::ostringstream text;
  text << std::hex << "0x" << number;
  return text.str();
}

}  // namespace

PreparedDevice::PreparedDevice()
    : m_device(Host::Device(), Operations()), m_memory(Host::Memory(), MemoryOperations()) {}

PreparedDevice::~PreparedDevice() {
  for (const auto& [block, size] : m_blocks) std::free(block);
}

std::vector<std::size_t> PreparedDevice::BlocksLeft() const {
  std::vector<std::size_t> sizes;
  for (const auto& [block, size] : m_blocks) sizes.push_back(size);
  return sizes;
}

int PreparedDevice::Control(std::span<const char> input, std::span<char> output, ULong* returned) {
  query.assign(input.begin(), input.end());
  const std::size_t size = std::min(answer.bytes.size(), output.size());
  std::copy_n(answer.bytes.begin(), size, output.begin());
  *returned = answer.returned;
  return answer.succeeds;
}

Host::DeviceOperations PreparedDevice::Operations() {
  return {
      .CreateFileA = [this](const char* name, ULong access, ULong shareMode, void* security,
                            ULong disposition, ULong flags, void* templateFile) -> void* {
        std::ostringstream call;
        call << "CreateFileA(" << name << ", " << Hexadecimal(access) << ", " << shareMode << ", "
             << NullOr(security, "security") << ", " << disposition << ", " << flags << ", "
             << NullOr(templateFile, "template") << ')';
        m_calls.push_back(call.str());
        return opens ? &g_handle : INVALID_HANDLE_VALUE;
      },
      .DeviceIoControl =
          [this](void* device, ULong controlCode, void* input, ULong inputSize, void* output,
                 ULong outputSize, ULong* bytesReturned, void* overlapped) {
            std::ostringstream call;
            call << "DeviceIoControl(" << Hexadecimal(controlCode) << ", " << inputSize << ", "
                 << outputSize << ')';
            if (input == output) call << " in place";
            if (device != &g_handle) call << " of another device";
            if (overlapped != nullptr) call << " overlapped";
            m_calls.push_back(call.str());
            return Control({static_cast<const char*>(input), inputSize},
                           {static_cast<char*>(output), outputSize}, bytesReturned);
          },
      .CloseHandle =
          [this](void* handle) {
            m_calls.push_back(handle == &g_handle ? "CloseHandle(device)" : "CloseHandle(other)");
            return 1;
          },
      .GetLastError =
          [this] {
            m_calls.push_back("GetLastError()");
            if (lastErrors.empty()) return ULong{0};
            const ULong error = lastErrors.front();
            lastErrors.pop_front();
            return error;
          },
  };
}

Host::MemoryOperations PreparedDevice::MemoryOperations() {
  return {
      .Allocate = [this](std::size_t size) -> void* {
        m_calls.push_back("Allocate(" + std::to_string(size) + ")");
        if (size == refusedBytes) return nullptr;
        void* const block = std::malloc(size);
        std::memset(block, freshByte, size);
        m_blocks[block] = size;
        return block;
      },
      .Reallocate = nullptr,
      .Free =
          [this](void* block) {
            const auto known = m_blocks.find(block);
            if (known == m_blocks.end()) {
              m_calls.push_back("Free(unknown)");
              return;
            }
            m_calls.push_back("Free(" + std::to_string(known->second) + ")");
            m_blocks.erase(known);
            std::free(block);
          },
  };
}

}  // namespace Ondrel::Testing
