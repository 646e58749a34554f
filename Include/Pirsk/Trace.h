#pragma once

#include <Pirsk/Export.h>
#include <Pirsk/ModuleInfo.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

namespace Pirsk::Exceptions {
class CException;
class CExceptionLog;
}  // namespace Pirsk::Exceptions

namespace Pirsk::Internals {
class CTraceStreamBuffer;
}

namespace Pirsk::Output_Streams {

/// One message being filled: each value takes the place of the next placeholder (%s or %d) of the
/// format, in order. "%%" stands for a per cent sign. Values beyond the last placeholder are added
/// behind the text, each after a blank; placeholders without a value stay as they are.
class CFormatStream {
public:
  /// Puts the rest of the format behind the last value.
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

  CFormatStream(std::string& target, const char* format);

  void Put(const char* text, std::size_t length);

  std::string& m_target;  // Lives longer than the stream.
  const char* m_rest;     // What of the format has not been put out yet.
};

}  // namespace Pirsk::Output_Streams

namespace Pirsk::Internals {

/// One trace line, from its opening to its hand-over to the sink.
///
/// Leaves `errno` and the host's last error as they were.
class CTraceStreamBuffer {
public:
  /// Opens a line of this level and origin. The texts have to outlive the line.
  PIRSK_API CTraceStreamBuffer(std::uint32_t level, const Misc::CModuleInfo& module,
                               const char* file, const char* function, std::uint32_t line);

  /// Closes the line and hands it to the sink as a whole.
  PIRSK_API virtual ~CTraceStreamBuffer();

  CTraceStreamBuffer(const CTraceStreamBuffer&) = delete;
  CTraceStreamBuffer& operator=(const CTraceStreamBuffer&) = delete;

  /// Starts the line's message with this format.
  virtual Output_Streams::CFormatStream Format(const char* format);

private:
  std::uint32_t m_level;
  const Misc::CModuleInfo& m_module;
  const char* m_file;
  const char* m_function;
  std::uint32_t m_line;
  std::string m_message;
};

}  // namespace Pirsk::Internals

namespace Pirsk::Trace {

/// One finished trace line, as a sink receives it.
struct Line {
  std::chrono::system_clock::time_point time;
  std::uint64_t thread;     ///< The host's number of the thread.
  std::uint32_t level;      ///< The level's bit.
  const char* module;       ///< The module's name.
  const char* file;         ///< Path of the source file.
  const char* function;     ///< Function with its namespace.
  std::uint32_t line;       ///< Line in the source file.
  const std::string& text;  ///< The message, with its own line feed where it has one.

  /// Level, origin and message on one line without a line end, as the ready-made sinks write it.
  PIRSK_API std::string str() const;
};

/// Receives finished lines, one at a time: calls never overlap. What a sink itself causes to be
/// traced is dropped. A line whose sink throws is lost and counted.
using Sink = std::function<void(const Line&)>;

/// Chooses where lines go; null for nowhere, which is the beginning. Returns when no call of the
/// earlier sink is running any more.
PIRSK_API void SetSink(Sink sink);

/// Number of lines that were lost because a sink threw.
PIRSK_API std::uint64_t LostLines();

/// Writes lines to standard error.
PIRSK_API Sink StandardErrorSink();

/// Writes lines to a file that is started anew at `maxBytes`, keeping `maxFiles` earlier ones.
/// Throws a `std::exception` when the file cannot be opened.
PIRSK_API Sink RotatingFileSink(const std::string& path, std::size_t maxBytes,
                                std::size_t maxFiles);

/// Writes lines to the host's journal under `identifier`. Null on a host without one.
PIRSK_API Sink JournalSink(const std::string& identifier);

}  // namespace Pirsk::Trace
