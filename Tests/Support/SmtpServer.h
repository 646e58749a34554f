#pragma once

#include "Host/Linux/FileDescriptor.h"

#include <filesystem>
#include <string>
#include <sys/types.h>
#include <vector>

namespace Ondrel::Testing {

/// A mail as a server received it.
struct ReceivedMail {
  std::string data;             ///< The bytes as they came, the dots of the transfer taken out.
  std::string from;             ///< The envelope's sender.
  std::vector<std::string> to;  ///< The envelope's recipients in their order.
  std::string user{};           ///< Who had logged in; empty for nobody.
  bool isSecure = false;        ///< Whether it came over TLS.
  int connections = 0;          ///< Connections that the server had taken by then.

  /// The lines of the bytes, each without its line end, which has to be that of the transfer.
  std::vector<std::string> Lines() const;
};

/// A real SMTP server on 127.0.0.1, in a process of its own, on a port that the system chose.
///
/// It answers from the end of the constructor to the destructor and keeps what it receives.
class SmtpServer {
public:
  enum class Tls { None, Offered, FromTheStart };

  struct Options {
    Tls tls = Tls::None;             ///< With a certificate that nobody signed.
    std::string user{};              ///< Login without which no mail is taken; empty for none.
    std::string password{};          ///< Its password.
    std::string onlyMechanism{};     ///< "PLAIN" or "LOGIN"; empty for both.
    std::string refusedRecipient{};  ///< An address that is refused; empty for none.
    std::string idleSeconds{};       ///< After which a silent client is left; empty for 300.
  };

  SmtpServer() : SmtpServer(Options()) {}
  explicit SmtpServer(const Options& options);
  ~SmtpServer();

  SmtpServer(const SmtpServer&) = delete;
  SmtpServer& operator=(const SmtpServer&) = delete;

  unsigned short Port() const { return m_port; }

  /// The mails received so far. A mail is here as soon as its sender has the answer that it was
  /// taken.
  std::vector<ReceivedMail> Mails() const;

private:
  std::filesystem::path m_store;
  pid_t m_process = -1;
  Host::FileDescriptor m_input;  // Closing it ends the server, also when this process dies.
  unsigned short m_port = 0;
};

}  // namespace Ondrel::Testing
