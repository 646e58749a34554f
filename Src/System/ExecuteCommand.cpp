#include "Host/ProcessOperations.h"

#include <Ondrel/System.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <locale>

namespace Ondrel {

namespace {

constexpr int kPieceSize = 1024;

std::FILE* Start(const std::string& command, const std::string& arguments) {
  const std::string line = "\"" + command + "\" " + arguments;
  return Host::Process()._popen(line.c_str(), "r");
}

// Hands each piece of the stream to `take`: a line with its end, or 1023 bytes of a longer one.
template <class Take>
void ReadPieces(std::FILE* stream, Take take) {
  char piece[kPieceSize];
  const auto& read = Host::Process().fgets;
  while (read(piece, kPieceSize, stream) != nullptr) take(piece);
}

// What the global locale calls printable, by byte. Made when the program has ended: the locale of
// that time counts.
class PrintableBytes {
public:
  PrintableBytes() {
    const std::locale locale;
    const auto& characters = std::use_facet<std::ctype<char>>(locale);
    for (std::size_t byte = 0; byte < m_isPrintable.size(); ++byte)
      m_isPrintable[byte] = characters.is(std::ctype_base::print, static_cast<char>(byte));
    m_hasPlainBytes =
        std::all_of(m_isPrintable.begin() + kFirstPlain, m_isPrintable.begin() + kLastPlain + 1,
                    [](bool isPrintable) { return isPrintable; });
  }

  // Takes the others out of a text, moving each run of printable ones as a whole.
  void CleanUp(std::string& text) const {
    const char* const end = text.data() + text.size();
    char* kept = text.data();
    for (const char* next = kept; next != end;) {
      const char* const runEnd = EndOfRun(next, end);
      if (kept != next) std::memmove(kept, next, static_cast<std::size_t>(runEnd - next));
      kept += runEnd - next;
      next = std::find_if(runEnd, end, [this](char character) { return Has(character); });
    }
    text.resize(static_cast<std::size_t>(kept - text.data()));
  }

private:
  // The space to the tilde: printable in every locale that there is.
  static constexpr unsigned char kFirstPlain = 0x20;
  static constexpr unsigned char kLastPlain = 0x7E;
  static constexpr std::ptrdiff_t kBlock = 32;

  bool Has(char character) const { return m_isPrintable[static_cast<unsigned char>(character)]; }

  // Looks at blocks of plain bytes as a whole, which is what most of an output consists of.
  const char* EndOfRun(const char* next, const char* end) const {
    for (; m_hasPlainBytes && end - next >= kBlock; next += kBlock) {
      unsigned char others = 0;
      for (std::ptrdiff_t i = 0; i < kBlock; ++i)
        others |= static_cast<unsigned char>(next[i] - kFirstPlain) > kLastPlain - kFirstPlain;
      if (others != 0) break;
    }
    return std::find_if_not(next, end, [this](char character) { return Has(character); });
  }

  std::array<bool, 256> m_isPrintable;
  bool m_hasPlainBytes;
};

}  // namespace

unsigned int CSystem::ExecuteCommand(const std::string& command, const std::string& arguments,
                                     std::string& output) {
  output.clear();
  std::FILE* const stream = Start(command, arguments);
  if (stream == nullptr) return 0;
  ReadPieces(stream, [&](const char* piece) { output += piece; });
  Host::Process()._pclose(stream);
  PrintableBytes().CleanUp(output);
  return 1;
}

unsigned int CSystem::ExecuteCommand(const std::string& command, const std::string& arguments,
                                     std::vector<std::string>& lines) {
  int exitStatus = 0;
  return ExecuteCommand(command, arguments, lines, exitStatus);
}

unsigned int CSystem::ExecuteCommand(const std::string& command, const std::string& arguments,
                                     std::vector<std::string>& lines, int& exitStatus) {
  lines.clear();
  std::FILE* const stream = Start(command, arguments);
  if (stream == nullptr) return 0;
  ReadPieces(stream, [&](const char* piece) { lines.emplace_back(piece); });
  exitStatus = Host::Process()._pclose(stream);
  const PrintableBytes printable;
  for (std::string& line : lines) printable.CleanUp(line);
  return 1;
}

}  // namespace Ondrel
