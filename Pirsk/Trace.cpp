#include "Host/Host.h"
#include "Instrumentation.h"

#include <Pirsk/Trace.h>

#include <atomic>
#include <cstdio>
#include <memory>
#include <mutex>
#include <utility>

namespace Pirsk::Trace {

namespace {

// Guards the sink and keeps its calls apart. The sink is held through a plain pointer so that
// tracing works until the very end of the process.
constinit std::mutex g_mutex;
constinit Sink* g_sink = nullptr;
constinit std::atomic<std::uint64_t> g_lostLines{0};

thread_local bool t_isInSink = false;

void HandOver(const Line& line) {
  if (t_isInSink) return;
  const std::lock_guard lock(g_mutex);
  if (g_sink == nullptr) return;
  t_isInSink = true;
  try {
    (*g_sink)(line);
  } catch (...) {
    // A line is handed over from a destructor, so that nothing may go on from here.
    g_lostLines.fetch_add(1, std::memory_order_relaxed);
  }
  t_isInSink = false;
}

}  // namespace

void SetSink(Sink sink) {
  std::unique_ptr<Sink> next;
  if (sink) next = std::make_unique<Sink>(std::move(sink));
  std::unique_ptr<Sink> earlier;
  {
    const std::lock_guard lock(g_mutex);
    earlier.reset(std::exchange(g_sink, next.release()));
  }
}

std::uint64_t LostLines() { return g_lostLines.load(std::memory_order_relaxed); }

std::string Line::str() const {
  std::string shown;
  switch (level) {
    case Misc::kTraceError:
      shown = "error";
      break;
    case Misc::kTraceEntry:
      shown = "entry";
      break;
    case Misc::kTraceDetail:
      shown = "detail";
      break;
    default:
      shown = std::to_string(level);
  }
  const std::string path = file;
  shown += ' ';
  shown += module;
  shown += " [" + std::to_string(thread) + "] ";
  shown += path.substr(path.find_last_of("/\\") + 1);
  shown += ':' + std::to_string(this->line) + ' ';

  // One line stays one line: its own line end goes, control characters within are shown escaped.
  std::string_view message = text;
  while (!message.empty() && (message.back() == '\n' || message.back() == '\r'))
    message.remove_suffix(1);
  for (const char character : message) {
    const auto byte = static_cast<unsigned char>(character);
    if (character == '\n') {
      shown += "\\n";
    } else if (character == '\r') {
      shown += "\\r";
    } else if (character != '\t' && (byte < 0x20 || byte == 0x7F)) {
      char escaped[5];
      std::snprintf(escaped, sizeof escaped, "\\x%02x", static_cast<unsigned>(byte));
      shown += escaped;
    } else {
      shown += character;
    }
  }
  return shown;
}

Sink JournalSink(const std::string& identifier) { return Host::MakeJournalSink(identifier); }

}  // namespace Pirsk::Trace

namespace Pirsk::Internals {

CTraceStreamBuffer::CTraceStreamBuffer(std::uint32_t level, const Misc::CModuleInfo& module,
                                       const char* file, const char* function, std::uint32_t line)
    : m_level(level), m_module(module), m_file(file), m_function(function), m_line(line) {
  PIRSK_RECORD("CTraceStreamBuffer::CTraceStreamBuffer(" + std::to_string(level) + ", " +
               module.Name() + ", " + function + ")");
}

CTraceStreamBuffer::~CTraceStreamBuffer() {
  PIRSK_RECORD("CTraceStreamBuffer::~CTraceStreamBuffer");
  const Host::ErrorStateKeeper keeper;
  Trace::HandOver({.time = std::chrono::system_clock::now(),
                   .thread = Host::ThreadNumber(),
                   .level = m_level,
                   .module = m_module.Name(),
                   .file = m_file,
                   .function = m_function,
                   .line = m_line,
                   .text = m_message});
}

Output_Streams::CFormatStream CTraceStreamBuffer::Format(const char* format) {
  PIRSK_RECORD(std::string("CTraceStreamBuffer::Format(") + format + ")");
  return Output_Streams::CFormatStream(m_message, format);
}

}  // namespace Pirsk::Internals
