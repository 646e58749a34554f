#pragma once

#include <Pirsk/Export.h>
#include <Pirsk/ModuleInfo.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace Pirsk::Exceptions {
class CException;
class CExceptionLog;
}  // namespace Pirsk::Exceptions

namespace Pirsk::Internals {
class CTraceStreamBuffer;
}

namespace Pirsk::Output_Streams {

/// One message being filled: each value takes the place of the next placeholder (%s or %d) of the
/// format, in order. "%%" stands for a per cent sign; any other use of it is plain text. Values
/// beyond the last placeholder are added after the text, apart from it by a space; placeholders
/// without a value stay as they are.
///
/// Without memory the message is cut short; feeding it never fails.
class CFormatStream {
public:
  /// Puts the rest of the format after the last value.
  PIRSK_API virtual ~CFormatStream();

  CFormatStream(const CFormatStream&) = delete;
  CFormatStream& operator=(const CFormatStream&) = delete;

  /// Replaces the next placeholder with a zero-terminated text; null reads "(null)".
  PIRSK_API CFormatStream& operator<<(const char* text);

  /// Replaces the next placeholder with a text.
  PIRSK_API CFormatStream& operator<<(const std::string& text);

  /// Replaces the next placeholder with a number in plain decimal.
  PIRSK_API CFormatStream& FormatInt(std::uint32_t number);

private:
  friend class Internals::CTraceStreamBuffer;
  friend class Exceptions::CException;
  friend class Exceptions::CExceptionLog;

  CFormatStream(std::string& target, const char* format) noexcept;

  void Put(std::string_view value) noexcept;
  bool PutUpToPlaceholder() noexcept;
  void Append(std::string_view text) noexcept;

  std::string& m_target;  // Lives longer than the stream.
  const char* m_rest;     // What of the format has not been put out yet.
};

}  // namespace Pirsk::Output_Streams

namespace Pirsk::Internals {

/// The calling thread's error state as the host keeps it.
struct ErrorState {
  int errnoValue;           ///< `errno`.
  std::uint32_t lastError;  ///< The last-error number; 0 on a host that has none.
};

/// One trace line, from its opening to its hand-over to the sink. Belongs to one thread.
///
/// `errno` and the host's last error are after the line what they were before it, whatever the
/// statement and the sink did in between.
class CTraceStreamBuffer {
public:
  /// Opens a line of this level and origin. The texts and the module have to outlive the line.
  PIRSK_API CTraceStreamBuffer(std::uint32_t level, const Misc::CModuleInfo& module,
                               const char* file, const char* function, std::uint32_t line);

  /// Closes the line and hands it to the sink as a whole. The stream of its message is destroyed
  /// before.
  PIRSK_API virtual ~CTraceStreamBuffer();

  CTraceStreamBuffer(const CTraceStreamBuffer&) = delete;
  CTraceStreamBuffer& operator=(const CTraceStreamBuffer&) = delete;

  /// Starts the line's message with this format.
  PIRSK_API virtual Output_Streams::CFormatStream Format(const char* format);

private:
  ErrorState m_errorState;  // Before anything else is done for the line.
  std::uint32_t m_level;
  const Misc::CModuleInfo& m_module;
  const char* m_file;
  const char* m_function;
  std::uint32_t m_line;
  std::string m_message;
};

}  // namespace Pirsk::Internals

namespace Pirsk::Trace {

/// One finished trace line, as a sink receives it. Valid during the call alone.
struct Line {
  std::chrono::system_clock::time_point time;  ///< When the line was closed.
  std::uint64_t thread;                        ///< The host's number of the thread.
  std::uint32_t level;                         ///< The level's bit.
  const char* module;                          ///< The module's name.
  const char* file;                            ///< Path of the source file.
  const char* function;                        ///< Function with its namespace.
  std::uint32_t line;                          ///< Line in the source file.
  const std::string& text;  ///< The message, with its own line feed where it has one.

  /// Level, module, thread, origin and message on one line without a line end, as the ready-made
  /// sinks write it. Control characters of the message are shown escaped.
  PIRSK_API std::string str() const;
};

/// Receives finished lines, one at a time: calls never overlap, and a line that another thread
/// closes meanwhile waits. What a sink itself causes to be traced is dropped. A line whose sink
/// throws is lost and counted.
///
/// A sink must not load or unload modules, nor wait for another thread that traces. It is not
/// destroyed at the end of the process, where static objects may still trace: what it refers to has
/// to live on, or `SetSink(nullptr)` be called before.
using Sink = std::function<void(const Line&)>;

/// Chooses where lines go; null for nowhere, which is the case at the start. Returns when no call
/// of the earlier sink is running any more, and has destroyed it. Called by the sink itself it
/// returns at once, and the earlier sink is destroyed when its running call has ended.
PIRSK_API void SetSink(Sink sink);

/// Number of lines that were lost because a sink threw.
PIRSK_API std::uint64_t LostLines();

/// Writes lines to standard error, each after the local time.
PIRSK_API Sink StandardErrorSink();

/// Writes lines to a file, each after the local time, and lets none of them wait in a buffer. The
/// file goes on where it ended and is started anew before a line that would take it beyond
/// `maxBytes` (a longer line stands in a file alone). `maxFiles` earlier ones are kept: "trace.log"
/// becomes "trace.1.log", that "trace.2.log", the last is removed. Folders of the path that are
/// missing are created.
///
/// Throws a `std::exception` when the file cannot be opened, `maxBytes` is 0 or `maxFiles` is
/// above 200000.
PIRSK_API Sink RotatingFileSink(const std::string& path, std::size_t maxBytes,
                                std::size_t maxFiles);

/// Writes lines to the host's journal under `identifier`: the message, its source file, line and
/// function, and the priority, 3 (error) for `kTraceError` and 7 (debug) for every other level.
/// With no journal running lines go nowhere. Null on a host that has no such thing.
PIRSK_API Sink JournalSink(const std::string& identifier);

}  // namespace Pirsk::Trace
