#include "FileName.h"
#include "HandOver.h"
#include "Host/Host.h"
#include "Host/Mutex.h"
#include "Instrumentation.h"

#include <Pirsk/Strings.h>
#include <Pirsk/Trace.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <utility>

namespace Pirsk::Trace {

namespace {

// Guards the sink and keeps its calls apart. The sink is held through a plain pointer so that
// tracing works until the very end of the process.
constinit Host::Mutex g_mutex;
constinit const Sink* g_sink = nullptr;
constinit std::atomic<std::uint64_t> g_lostLines{0};

// The sink whose call is running on this thread, which then holds the lock.
thread_local const Sink* t_running = nullptr;

}  // namespace

void HandOver(const Line& line) {
  if (t_running != nullptr) return;
  std::unique_ptr<const Sink> replaced;  // Destroyed when the lock is given back.
  const std::lock_guard lock(g_mutex);
  if (g_sink == nullptr) return;
  t_running = g_sink;
  try {
    (*t_running)(line);
  } catch (...) {
    // A line is handed over from a destructor, so that nothing may go on from here.
    g_lostLines.fetch_add(1, std::memory_order_relaxed);
  }
  if (g_sink != t_running) replaced.reset(t_running);
  t_running = nullptr;
}

namespace {

// A process that forks while another thread's line is on its way would leave the child with a lock
// that nobody gives back. A fork by the sink itself happens under this thread's own lock.
void HoldLines() {
  if (t_running == nullptr) g_mutex.lock();
}

void ReleaseLines() {
  if (t_running == nullptr) g_mutex.unlock();
}

}  // namespace

void SetSink(Sink sink) {
  [[maybe_unused]] static const bool isForkSafe = (Host::AroundFork(HoldLines, ReleaseLines), true);
  std::unique_ptr<const Sink> next;
  if (sink) next = std::make_unique<const Sink>(std::move(sink));

  std::unique_ptr<const Sink> earlier;
  if (t_running != nullptr) {
    // Called by the sink: the lock is this thread's already, and the running sink must not go yet.
    earlier.reset(std::exchange(g_sink, next.release()));
    if (earlier.get() == t_running) static_cast<void>(earlier.release());
    return;
  }
  const std::lock_guard lock(g_mutex);
  earlier.reset(std::exchange(g_sink, next.release()));
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
  shown += ' ';
  shown += module;
  shown += " [" + std::to_string(thread) + "] ";
  shown += Internals::FileName(file);
  shown += ':' + std::to_string(this->line) + ' ' + Strings::Printable(text);
  return shown;
}

Sink JournalSink(const std::string& identifier) { return Host::MakeJournalSink(identifier); }

}  // namespace Pirsk::Trace

namespace Pirsk::Internals {

CTraceStreamBuffer::CTraceStreamBuffer(std::uint32_t level, const Misc::CModuleInfo& module,
                                       const char* file, const char* function, std::uint32_t line)
    : m_errorState(Host::GetErrorState()),
      m_level(level),
      m_module(module),
      m_file(file),
      m_function(function),
      m_line(line) {
  PIRSK_RECORD("CTraceStreamBuffer::CTraceStreamBuffer(" + std::to_string(level) + ", " +
               module.Name() + ", " + function + ")");
}

CTraceStreamBuffer::~CTraceStreamBuffer() {
  PIRSK_RECORD("CTraceStreamBuffer::~CTraceStreamBuffer");
  Trace::HandOver({.time = std::chrono::system_clock::now(),
                   .thread = Host::ThreadNumber(),
                   .level = m_level,
                   .module = m_module.Name(),
                   .file = m_file,
                   .function = m_function,
                   .line = m_line,
                   .text = m_message});
  Host::SetErrorState(m_errorState);
}

Output_Streams::CFormatStream CTraceStreamBuffer::Format(const char* format) {
  PIRSK_RECORD(std::string("CTraceStreamBuffer::Format(") + format + ")");
  return Output_Streams::CFormatStream(m_message, format);
}

}  // namespace Pirsk::Internals
