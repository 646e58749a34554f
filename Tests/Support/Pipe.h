#pragma once

#include "Host/Linux/FileDescriptor.h"

#include <cerrno>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>

namespace Ondrel::Testing {

/// The two ends of a pipe, which a program that is started does not inherit.
struct Pipe {
  Pipe() {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0)
      throw std::system_error(errno, std::generic_category(), "pipe2");
    reading = Host::FileDescriptor(ends[0]);
    writing = Host::FileDescriptor(ends[1]);
  }

  Host::FileDescriptor reading;
  Host::FileDescriptor writing;
};

}  // namespace Ondrel::Testing
