#include "Tool/CommandLine.h"

#include <csignal>

int main(int argumentCount, char** arguments) {
#ifdef SIGPIPE
  // A reader that goes away is noticed where standard output or a connection is written.
  std::signal(SIGPIPE, SIG_IGN);
#endif
  return Tool::RunLine({arguments + (argumentCount > 0 ? 1 : 0), arguments + argumentCount});
}
