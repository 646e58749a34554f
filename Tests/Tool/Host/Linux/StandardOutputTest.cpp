#include "Tool/StandardOutput.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <iostream>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace Tool {
namespace {

using TemporaryFile = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

/// Puts a file in the place of standard output for its own life.
class OutputInFile {
public:
  OutputInFile() : m_file(std::tmpfile(), std::fclose) {
    std::cout.flush();
    std::fflush(stdout);
    m_earlier = ::dup(STDOUT_FILENO);
    ::dup2(::fileno(m_file.get()), STDOUT_FILENO);
  }

  ~OutputInFile() {
    ::dup2(m_earlier, STDOUT_FILENO);
    ::close(m_earlier);
  }

  OutputInFile(const OutputInFile&) = delete;
  OutputInFile& operator=(const OutputInFile&) = delete;

  off_t Size() const {
    struct stat status {};
    return ::fstat(STDOUT_FILENO, &status) == 0 ? status.st_size : -1;
  }

private:
  TemporaryFile m_file;
  int m_earlier = -1;
};

TEST(StandardOutput, IsWrittenInBlocksOf64KiB) {
  off_t before = -1;
  off_t after = -1;
  off_t atEnd = -1;
  {
    const OutputInFile file;
    StandardOutput output;
    std::cout << std::string(65535, 'x');
    before = file.Size();
    std::cout << 'x';
    after = file.Size();
    std::cout << "rest";
    output.Finish();
    atEnd = file.Size();
  }
  EXPECT_EQ(before, 0);
  EXPECT_EQ(after, 65536);
  EXPECT_EQ(atEnd, 65540);
}

}  // namespace
}  // namespace Tool
