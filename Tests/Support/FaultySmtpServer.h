#pragma once

#include "Support/Process.h"

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

}  // namespace Ondrel::Testing
