#include "Support/Postfix.h"

#include "Host/Linux/FileDescriptor.h"

#include <arpa/inet.h>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <netinet/in.h>
#include <pwd.h>
#include <stdexcept>
#include <string_view>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace Ondrel::Testing {

namespace {

constexpr std::chrono::minutes kPatience{1};
constexpr std::chrono::milliseconds kPause{10};

sockaddr_in Loopback(unsigned short port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(port);
  return address;
}

// A socket that keeps a free port from everybody but those who share addresses, as Postfix does.
Host::FileDescriptor FreePort(unsigned short& port) {
  Host::FileDescriptor kept(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  const int yes = 1;
  sockaddr_in address = Loopback(0);
  socklen_t length = sizeof address;
  const bool isBound =
      setsockopt(kept.Number(), SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes) == 0 &&
      bind(kept.Number(), reinterpret_cast<sockaddr*>(&address), length) == 0 &&
      getsockname(kept.Number(), reinterpret_cast<sockaddr*>(&address), &length) == 0;
  if (!isBound) throw std::runtime_error("no free port");
  port = ntohs(address.sin_port);
  return kept;
}

bool TakesConnections(unsigned short port) {
  const Host::FileDescriptor probe(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  const sockaddr_in address = Loopback(port);
  return connect(probe.Number(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

std::string Content(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

template <class Condition>
bool WaitUntil(Condition condition) {
  const auto deadline = std::chrono::steady_clock::now() + kPatience;
  while (!condition()) {
    if (std::chrono::steady_clock::now() >= deadline) return false;
    std::this_thread::sleep_for(kPause);
  }
  return true;
}

}  // namespace

Postfix::Postfix() {
  const Host::FileDescriptor kept = FreePort(m_port);
  Configure();
  // The folders of the queue.
  const ProcessResult check =
      RunProcess("/usr/sbin/postfix", {"-c", m_folder.Path("etc"), "check"});
  if (check.exitStatus != 0) throw std::runtime_error("postfix check: " + check.errors + Log());
  // Without the script around it, which would not pass the signal on that ends it.
  m_process = std::make_unique<Process>("/usr/lib/postfix/sbin/master",
                                        std::vector<std::string>{"-c", m_folder.Path("etc")});
  if (!WaitUntil([this] { return TakesConnections(m_port); })) {
    m_process->Signal(SIGTERM);
    throw std::runtime_error("Postfix did not start: " + m_process->Wait().errors + Log());
  }
}

Postfix::~Postfix() {
  m_process->Signal(SIGTERM);
  m_process->Wait();
}

void Postfix::Configure() const {
  const passwd* const owner = getpwnam("postfix");
  if (owner == nullptr) throw std::runtime_error("there is no user postfix");
  // Its own processes go through this folder without root's rights.
  std::filesystem::permissions(m_folder.Path(), std::filesystem::perms{0755});
  for (const char* name : {"etc", "queue", "data", "mail"})
    std::filesystem::create_directory(m_folder.Path(name));
  for (const char* name : {"data", "mail"})
    if (chown(m_folder.Path(name).c_str(), owner->pw_uid, owner->pw_gid) != 0)
      throw std::runtime_error("chown");

  const std::string user = std::to_string(owner->pw_uid);
  const std::string group = std::to_string(owner->pw_gid);
  m_folder.Write("etc/main.cf",
                 "compatibility_level = 3.6\n"
                 "queue_directory = " +
                     m_folder.Path("queue") +
                     "\n"
                     "data_directory = " +
                     m_folder.Path("data") +
                     "\n"
                     "maillog_file_prefixes = " +
                     m_folder.Path() +
                     "\n"
                     "maillog_file = " +
                     m_folder.Path("mail.log") +
                     "\n"
                     "myhostname = relay.test\n"
                     "mydestination =\n"
                     "mynetworks = 127.0.0.0/8\n"
                     "inet_interfaces = 127.0.0.1\n"
                     "inet_protocols = ipv4\n"
                     "alias_maps =\n"
                     "alias_database =\n"
                     "smtpd_tls_security_level = none\n"
                     "smtpd_relay_restrictions = permit_mynetworks, reject\n"
                     "virtual_mailbox_domains = mail.test\n"
                     "virtual_mailbox_base = " +
                     m_folder.Path("mail") +
                     "\n"
                     "virtual_mailbox_maps = inline:{to@mail.test=to, cc@mail.test=cc,"
                     " bcc@mail.test=bcc, service@mail.test=service}\n"
                     "virtual_mailbox_lock = fcntl\n"
                     "virtual_minimum_uid = 1\n"
                     "virtual_uid_maps = static:" +
                     user +
                     "\n"
                     "virtual_gid_maps = static:" +
                     group + "\n");
  m_folder.Write("etc/master.cf", "127.0.0.1:" + std::to_string(m_port) +
                                      " inet n - n - - smtpd\n"
                                      "cleanup unix n - n - 0 cleanup\n"
                                      "qmgr unix n - n 300 1 qmgr\n"
                                      "rewrite unix - - n - - trivial-rewrite\n"
                                      "bounce unix - - n - 0 bounce\n"
                                      "defer unix - - n - 0 bounce\n"
                                      "trace unix - - n - 0 bounce\n"
                                      "proxymap unix - - n - - proxymap\n"
                                      "anvil unix - - n - 1 anvil\n"
                                      "error unix - - n - - error\n"
                                      "retry unix - - n - - error\n"
                                      "virtual unix - n n - - virtual\n"
                                      "postlog unix-dgram n - n - 1 postlogd\n");
}

std::string Postfix::WaitForMailbox(const std::string& user) const {
  const std::string path = m_folder.Path("mail/" + user);
  // The last thing written to a mailbox is the empty line after a mail.
  const bool hasCome = WaitUntil([&path] { return Content(path).ends_with("\n\n"); });
  return hasCome ? path : "";
}

std::string Postfix::Log() const { return Content(m_folder.Path("mail.log")); }

}  // namespace Ondrel::Testing
