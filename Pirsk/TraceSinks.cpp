#include "Host/Host.h"

#include <Pirsk/Trace.h>

#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>

#include <memory>

namespace Pirsk::Trace {

namespace {

Sink TimedLines(std::shared_ptr<spdlog::sinks::sink> sink) {
  sink->set_pattern("%Y-%m-%d %H:%M:%S.%e %v");
  return [sink = std::move(sink)](const Line& line) {
    const std::string text = line.str();
    sink->log(spdlog::details::log_msg(line.time, spdlog::source_loc{}, line.module,
                                       spdlog::level::trace, text));
    sink->flush();
  };
}

}  // namespace

Sink StandardErrorSink() { return TimedLines(std::make_shared<spdlog::sinks::stderr_sink_st>()); }

Sink RotatingFileSink(const std::string& path, std::size_t maxBytes, std::size_t maxFiles) {
  // Lines may hold a mail login's password.
  spdlog::file_event_handlers handlers;
  handlers.before_open = [](const spdlog::filename_t& file) { Host::MakePrivateFile(file); };
  return TimedLines(std::make_shared<spdlog::sinks::rotating_file_sink_st>(path, maxBytes, maxFiles,
                                                                           false, handlers));
}

}  // namespace Pirsk::Trace
