#pragma once

#include "Support/Process.h"
#include "Support/TemporaryFolder.h"

#include <memory>
#include <string>

namespace Ondrel::Testing {

/// A Postfix of the test's own on 127.0.0.1, with its configuration, queue and mailboxes in a
/// folder of its own. It takes mail for `mail.test`: everybody has a mailbox file there. Needs
/// root.
class Postfix {
public:
  /// Starts it and waits until it takes connections.
  Postfix();
  ~Postfix();

  Postfix(const Postfix&) = delete;
  Postfix& operator=(const Postfix&) = delete;

  unsigned short Port() const { return m_port; }

  /// Waits for a mail in the mailbox file of `user` and yields the file's path. Empty when none
  /// comes within a minute.
  std::string WaitForMailbox(const std::string& user) const;

  /// What it has logged so far.
  std::string Log() const;

private:
  void Configure() const;

  TemporaryFolder m_folder;
  unsigned short m_port = 0;
  std::unique_ptr<Process> m_process;
};

}  // namespace Ondrel::Testing
