#include "Tool/StandardOutput.h"

#include "Tool/Failure.h"
#include "Tool/Progress.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <optional>
#include <unistd.h>

namespace Tool {

namespace {

constexpr std::size_t kBlockSize = std::size_t{64} * 1024;

int workComesFirstCount = 0;

}  // namespace

StandardOutput::StandardOutput()
    : m_replaced(std::cout.rdbuf(this)), m_isTerminal(IsOutputTerminal()) {
  m_block.reserve(kBlockSize);
  // A message would flush what may have failed already; `Say` keeps the two in order.
  std::cerr.tie(nullptr);
  std::cout.exceptions(std::ios::badbit);
}

StandardOutput::~StandardOutput() {
  std::cout.exceptions(std::ios::goodbit);
  std::cout.rdbuf(m_replaced);
  std::cerr.tie(&std::cout);
}

void StandardOutput::Finish() {
  Write();
  if (!m_failure.empty()) Throw();
}

StandardOutput::int_type StandardOutput::overflow(int_type character) {
  if (traits_type::eq_int_type(character, traits_type::eof())) return 0;
  const char byte = traits_type::to_char_type(character);
  xsputn(&byte, 1);
  return character;
}

std::streamsize StandardOutput::xsputn(const char* text, std::streamsize size) {
  const std::size_t length = static_cast<std::size_t>(size);
  m_block.insert(m_block.end(), text, text + length);
  const bool isLineDone = m_isTerminal && std::memchr(text, '\n', length) != nullptr;
  if (m_block.size() >= kBlockSize || isLineDone) Write();
  return size;
}

int StandardOutput::sync() {
  Write();
  return 0;
}

void StandardOutput::Write() {
  std::optional<NoProgress> noProgress;
  if (m_isTerminal) noProgress.emplace();
  std::size_t written = 0;
  while (written < m_block.size() && m_failure.empty()) {
    const auto count = write(STDOUT_FILENO, m_block.data() + written,
                             static_cast<unsigned int>(m_block.size() - written));
    if (count > 0)
      written += static_cast<std::size_t>(count);
    else if (count == 0 || errno != EINTR)
      Fail(count == 0 ? ENOSPC : errno);
  }
  m_block.clear();
  if (m_failure.empty() || m_isThrown || workComesFirstCount != 0) return;
  m_isThrown = true;
  Throw();
}

void StandardOutput::Fail(int errorNumber) {
  m_isReaderGone = errorNumber == EPIPE;
  m_failure = std::string("cannot write to standard output: ") + std::strerror(errorNumber);
}

void StandardOutput::Throw() const {
  if (m_isReaderGone) throw ReaderGone();
  throw OutputFailure(m_failure);
}

WorkComesFirst::WorkComesFirst() { ++workComesFirstCount; }

WorkComesFirst::~WorkComesFirst() { --workComesFirstCount; }

EndsWithReader::EndsWithReader() : m_watch([] { std::_Exit(kReaderGone); }) {}

}  // namespace Tool
