#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Ondrel::Testing {

/// One captured trace line.
struct CapturedLine {
  std::uint32_t level;
  std::string function;
  std::string text;
};

/// Sets the module's trace mask and collects its lines for one scope.
class TraceCapture {
public:
  explicit TraceCapture(std::uint32_t mask);
  ~TraceCapture();

  TraceCapture(const TraceCapture&) = delete;
  TraceCapture& operator=(const TraceCapture&) = delete;

  const std::vector<CapturedLine>& Lines() const { return m_lines; }

  /// The messages of the lines alone.
  std::vector<std::string> Texts() const;

private:
  std::uint32_t m_earlierMask;
  std::vector<CapturedLine> m_lines;
};

}  // namespace Ondrel::Testing
