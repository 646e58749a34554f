#include "Tool/Host/Terminal.h"

#include <cstdlib>
#include <utility>
#include <windows.h>

namespace Tool {

namespace {

bool IsConsole(DWORD stream) {
  DWORD mode = 0;
  return ::GetConsoleMode(::GetStdHandle(stream), &mode) != 0;
}

}  // namespace

bool IsOutputTerminal() { return IsConsole(STD_OUTPUT_HANDLE); }

bool IsErrorTerminal() { return IsConsole(STD_ERROR_HANDLE); }

bool IsInputTerminal() { return IsConsole(STD_INPUT_HANDLE); }

bool ShowsColours() {
  const char* const noColour = std::getenv("NO_COLOR");
  if (noColour != nullptr && *noColour != '\0') return false;
  const HANDLE output = ::GetStdHandle(STD_OUTPUT_HANDLE);
  DWORD mode = 0;
  return ::GetConsoleMode(output, &mode) != 0 &&
         ::SetConsoleMode(output, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0;
}

std::thread StartThread(std::function<void()> work) { return std::thread(std::move(work)); }

// A pipe here does not report that its reader has gone before something is written to it.
struct ReaderWatch::Watcher {};

ReaderWatch::ReaderWatch(std::function<void()>) {}

ReaderWatch::~ReaderWatch() = default;

}  // namespace Tool
