#pragma once

#include "Support/Process.h"

#include <cstddef>
#include <fstream>
#include <stdexcept>
#include <string>

namespace Ondrel::Testing {

/// The mail server that fails at one stage of the dialogue; faulty_smtp_server.py says how. Ends
/// with its first connection.
class FaultySmtpServer {
public:
  FaultySmtpServer(const std::string& stage, const std::string& action)
      : m_process(ONDREL_TEST_PYTHON,
                  {ONDREL_SOURCE_FOLDER "/Tests/Support/faulty_smtp_server.py", stage, action}) {
    if (!m_process.WaitForOutput("\n")) throw std::runtime_error("the mail server did not start");
  }

  unsigned short Port() const { return static_cast<unsigned short>(std::stoi(m_process.Output())); }

  Process& Running() { return m_process; }

private:
  Process m_process;
};

/// Lines that are more than the connection to a server that reads no further holds: what it has
/// read and what waits for it is little beside what this host keeps for a sender (tcp_wmem).
inline std::string MoreThanAConnectionHolds() {
  std::size_t least = 0, usual = 0, most = 0;
  std::ifstream("/proc/sys/net/ipv4/tcp_wmem") >> least >> usual >> most;
  if (most == 0) throw std::runtime_error("it is not known what a connection holds");
  const std::string line = std::string(1023, 'x') + "\n";
  std::string lines;
  while (lines.size() < 2 * most) lines += line;
  return lines;
}

}  // namespace Ondrel::Testing
