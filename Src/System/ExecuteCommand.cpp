#include "Host/ProcessOperations.h"

#include <Ondrel/System.h>

#include <boost/format.hpp>

#include <algorithm>
#include <locale>

namespace Ondrel {

namespace {

constexpr int kPieceSize = 1024;

std::FILE* Start(const std::string& command, const std::string& arguments) {
  const std::string line = boost::str(boost::format("\"%s\" %s") % command % arguments);
  return Host::Process()._popen(line.c_str(), "r");
}

// Hands each piece of the stream to `take`: a line with its end, or 1023 bytes of a longer one.
template <class Take>
void ReadPieces(std::FILE* stream, Take take) {
  char piece[kPieceSize];
  const auto& read = Host::Process().fgets;
  while (read(piece, kPieceSize, stream) != nullptr) take(piece);
}

// Takes out what the global locale does not call printable.
void RemoveUnprintable(std::string& text) {
  const std::locale locale;
  const auto& characters = std::use_facet<std::ctype<char>>(locale);
  const auto isUnprintable = [&characters](char character) {
    return !characters.is(std::ctype_base::print, character);
  };
  text.erase(std::remove_if(text.begin(), text.end(), isUnprintable), text.end());
}

}  // namespace

unsigned int CSystem::ExecuteCommand(const std::string& command, const std::string& arguments,
                                     std::string& output) {
  output.clear();
  std::FILE* const stream = Start(command, arguments);
  if (stream == nullptr) return 0;
  ReadPieces(stream, [&output](const char* piece) { output += piece; });
  Host::Process()._pclose(stream);
  RemoveUnprintable(output);
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
  ReadPieces(stream, [&lines](const char* piece) { lines.emplace_back(piece); });
  exitStatus = Host::Process()._pclose(stream);
  for (std::string& line : lines) RemoveUnprintable(line);
  return 1;
}

}  // namespace Ondrel
