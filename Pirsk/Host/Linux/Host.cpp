#include "Host/Host.h"

#include <Pirsk/Strings.h>

#include <iconv.h>
#include <spdlog/sinks/systemd_sink.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <dlfcn.h>
#include <langinfo.h>
#include <memory>
#include <syslog.h>
#include <unistd.h>

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
    std::string result;
    std::array<char, 1024> part;
    char* in =
        const_cast<char*>(text.data());  // iconv takes its input as non-const; it only reads.
    std::size_t inLeft = text.size();
    while (inLeft > 0) {
      char* out = part.data();
      std::size_t outLeft = part.size();
      const std::size_t outcome = iconv(m_handle, &in, &inLeft, &out, &outLeft);
      const int reason = errno;
      result.append(part.data(), part.size() - outLeft);
      if (outcome == static_cast<std::size_t>(-1) && reason != E2BIG) {
        // An impossible or a cut-off sequence: one byte of it is given up.
        result += kReplacementCharacter;
        ++in;
        --inLeft;
      }
    }
    return result;
  }

private:
  iconv_t m_handle;
};

}  // namespace

std::uint64_t ThreadNumber() { return static_cast<std::uint64_t>(gettid()); }

std::string FolderOfModule(const void* address) {
  Dl_info info{};
  if (dladdr(address, &info) == 0 || info.dli_fname == nullptr) return {};
  const std::string path = info.dli_fname;
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? "." : path.substr(0, slash);
}

std::string NarrowToUtf8(const std::string& text) {
  Converter converter(nl_langinfo(CODESET));
  if (converter.IsOpen()) return converter.Convert(text);
  return Converter("ASCII").Convert(text);
}

Trace::Sink MakeJournalSink(const std::string& identifier) {
  auto sink = std::make_shared<spdlog::sinks::systemd_sink_st>(identifier, false);
  return [sink](const Trace::Line& line) {
    const spdlog::source_loc where{line.file, static_cast<int>(line.line), line.function};
    const auto level = line.level == Misc::kTraceError ? spdlog::level::err : spdlog::level::debug;
    sink->log(spdlog::details::log_msg(line.time, where, line.module, level, line.text));
  };
}

ErrorState GetErrorState() noexcept { return {errno, 0}; }

void SetErrorState(const ErrorState& state) noexcept { errno = state.errnoValue; }

}  // namespace Pirsk::Host
