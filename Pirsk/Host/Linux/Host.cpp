#include "Host/Host.h"

#include <iconv.h>

#include <array>
#include <cerrno>
#include <dlfcn.h>
#include <fcntl.h>
#include <filesystem>
#include <langinfo.h>
#include <pthread.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace Pirsk::Host {

namespace {

constexpr char kReplacementCharacter[] = "\xEF\xBF\xBD";

class Converter {
public:
  explicit Converter(const char* from) : m_handle(iconv_open("UTF-8", from)) {}
  ~Converter() {
    if (IsOpen()) iconv_close(m_handle);
  }

  Converter(const Converter&) = delete;
  Converter& operator=(const Converter&) = delete;

  bool IsOpen() const { return m_handle != reinterpret_cast<iconv_t>(-1); }

  std::string Convert(const std::string& text) {
    m_result.clear();
    char* in =
        const_cast<char*>(text.data());  // iconv takes its input as non-const; it only reads.
    std::size_t inLeft = text.size();
    while (inLeft > 0) {
      if (!Step(&in, &inLeft) && errno != E2BIG) {
        // An impossible or a cut-off sequence: one byte of it is given up.
        m_result += kReplacementCharacter;
        ++in;
        --inLeft;
      }
    }
    // Some code pages hold a character back until they have seen what follows it.
    Step(nullptr, nullptr);
    return std::move(m_result);
  }

private:
  bool Step(char** in, std::size_t* inLeft) {
    std::array<char, 1024> part;
    char* out = part.data();
    std::size_t outLeft = part.size();
    const std::size_t outcome = iconv(m_handle, in, inLeft, &out, &outLeft);
    const int reason = errno;
    m_result.append(part.data(), part.size() - outLeft);
    errno = reason;
    return outcome != static_cast<std::size_t>(-1);
  }

  iconv_t m_handle;
  std::string m_result;
};

}  // namespace

std::uint64_t ThreadNumber() { return static_cast<std::uint64_t>(gettid()); }

std::string PathOfModule(const void* address) {
  Dl_info info{};
  if (dladdr(address, &info) == 0 || info.dli_fname == nullptr) return {};
  std::filesystem::path file = info.dli_fname;
  std::error_code error;
  // The program itself goes by the name that it was called with; libraries go by their path.
  if (!file.has_parent_path()) file = std::filesystem::read_symlink("/proc/self/exe", error);
  if (!error) file = std::filesystem::absolute(file, error);
  return error ? std::string() : file.lexically_normal().string();
}

std::string RealPath(const std::string& path) {
  std::error_code error;
  const std::filesystem::path real = std::filesystem::canonical(path, error);
  return error ? std::string() : real.string();
}

void MakePrivateFile(const std::string& path) {
  std::error_code error;
  const std::filesystem::path folder = std::filesystem::path(path).parent_path();
  if (!folder.empty()) std::filesystem::create_directories(folder, error);
  const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NONBLOCK, 0600);
  if (file >= 0) ::close(file);
}

void AroundFork(void (*before)(), void (*after)()) { ::pthread_atfork(before, after, after); }

std::string NarrowToUtf8(const std::string& text) {
  Converter converter(nl_langinfo(CODESET));
  if (converter.IsOpen()) return converter.Convert(text);
  return Converter("ASCII").Convert(text);
}

ErrorState GetErrorState() noexcept { return {.errnoValue = errno, .lastError = 0}; }

void SetErrorState(const ErrorState& state) noexcept { errno = state.errnoValue; }

}  // namespace Pirsk::Host
