#define SD_JOURNAL_SUPPRESS_LOCATION

#include "Host/Host.h"

#include <systemd/sd-journal.h>

#include <array>
#include <string_view>
#include <sys/uio.h>
#include <syslog.h>
#include <system_error>

namespace Pirsk::Host {

namespace {

// The line end that some messages carry is not part of a journal entry.
std::string_view WithoutLineEnd(std::string_view text) {
  return text.substr(0, text.find_last_not_of("\r\n") + 1);
}

}  // namespace

Trace::Sink MakeJournalSink(const std::string& identifier) {
  return [identifier](const Trace::Line& line) {
    std::array<std::string, 6> fields = {
        std::string("MESSAGE=").append(WithoutLineEnd(line.text)),
        "PRIORITY=" + std::to_string(line.level == Misc::kTraceError ? LOG_ERR : LOG_DEBUG),
        "SYSLOG_IDENTIFIER=" + (identifier.empty() ? line.module : identifier),
        std::string("CODE_FILE=") + line.file,
        "CODE_LINE=" + std::to_string(line.line),
        std::string("CODE_FUNC=") + line.function,
    };
    std::array<iovec, std::tuple_size_v<decltype(fields)>> parts;
    for (std::size_t i = 0; i < fields.size(); ++i) parts[i] = {fields[i].data(), fields[i].size()};
    const int outcome = sd_journal_sendv(parts.data(), static_cast<int>(parts.size()));
    if (outcome != 0)
      throw std::system_error(-outcome, std::generic_category(), "sd_journal_sendv");
  };
}

}  // namespace Pirsk::Host
