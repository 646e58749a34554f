#include "Support/SmtpServer.h"

#include "Support/Pipe.h"

#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <signal.h>
#include <spawn.h>
#include <stdexcept>
#include <stdlib.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>
#include <utility>

extern char** environ;

namespace Ondrel::Testing {

namespace {

constexpr const char* kScript = ONDREL_SOURCE_FOLDER "/Tests/Support/smtp_server.py";

[[noreturn]] void ThrowErrno(int error, const char* what) {
  throw std::system_error(error, std::generic_category(), what);
}

std::filesystem::path MakeStore() {
  std::string path = (std::filesystem::temp_directory_path() / "ondrel-smtp-XXXXXX").string();
  if (::mkdtemp(path.data()) == nullptr) ThrowErrno(errno, "mkdtemp");
  return path;
}

std::vector<std::string> CommandLine(const SmtpServer::Options& options,
                                     const std::filesystem::path& store) {
  std::vector<std::string> command{ONDREL_TEST_PYTHON, kScript, "--store", store.string()};
  const auto add = [&command](const char* name, const std::string& value) {
    if (value.empty()) return;
    command.emplace_back(name);
    command.push_back(value);
  };
  add("--tls", options.tls == SmtpServer::Tls::Offered        ? "starttls"
               : options.tls == SmtpServer::Tls::FromTheStart ? "implicit"
                                                              : "none");
  add("--user", options.user);
  add("--password", options.password);
  add("--only-mechanism", options.onlyMechanism);
  add("--refuse-recipient", options.refusedRecipient);
  add("--idle-seconds", options.idleSeconds);
  return command;
}

pid_t Spawn(std::vector<std::string> command, int input, int output) {
  std::vector<char*> arguments;
  for (std::string& argument : command) arguments.push_back(argument.data());
  arguments.push_back(nullptr);

  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
  ::posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
  pid_t process = -1;
  const int error =
      ::posix_spawn(&process, arguments[0], &actions, nullptr, arguments.data(), environ);
  ::posix_spawn_file_actions_destroy(&actions);
  if (error != 0) ThrowErrno(error, "posix_spawn");
  return process;
}

// Reads one line; what there is at the end of the file.
std::string ReadLine(int file) {
  std::string line;
  char byte = 0;
  while (::read(file, &byte, 1) == 1 && byte != '\n') line.push_back(byte);
  return line;
}

std::string ReadFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

ReceivedMail ReadMail(const std::filesystem::path& store, const std::string& number) {
  ReceivedMail mail;
  mail.data = ReadFile(store / (number + ".eml"));
  std::ifstream envelope(store / (number + ".envelope"));
  for (std::string line; std::getline(envelope, line);) {
    const std::size_t colon = line.find(": ");
    const std::string name = line.substr(0, colon);
    const std::string value = line.substr(colon + 2);
    if (name == "connections") mail.connections = std::stoi(value);
    if (name == "tls") mail.isSecure = value == "yes";
    if (name == "user") mail.user = value;
    if (name == "from") mail.from = value;
    if (name == "to") mail.to.push_back(value);
  }
  return mail;
}

}  // namespace

std::vector<std::string> ReceivedMail::Lines() const {
  std::vector<std::string> lines;
  std::size_t begin = 0;
  while (begin < data.size()) {
    const std::size_t end = data.find("\r\n", begin);
    if (end == std::string::npos) throw std::runtime_error("the mail's last line has no end");
    lines.push_back(data.substr(begin, end - begin));
    begin = end + 2;
  }
  return lines;
}

SmtpServer::SmtpServer(const Options& options) : m_store(MakeStore()) {
  Pipe input;
  Pipe output;
  m_process = Spawn(CommandLine(options, m_store), input.reading.Number(), output.writing.Number());
  output.writing.Close();
  m_input = std::move(input.writing);

  const std::string line = ReadLine(output.reading.Number());
  if (!line.starts_with("PORT ")) throw std::runtime_error("the mail server did not start");
  m_port = static_cast<unsigned short>(std::stoul(line.substr(5)));
}

SmtpServer::~SmtpServer() {
  m_input.Close();
  ::kill(m_process, SIGTERM);
  ::waitpid(m_process, nullptr, 0);
  std::error_code ignored;
  std::filesystem::remove_all(m_store, ignored);
}

std::vector<ReceivedMail> SmtpServer::Mails() const {
  std::vector<ReceivedMail> mails;
  for (int number = 1;; ++number) {
    const std::string name = std::to_string(number);
    if (!std::filesystem::exists(m_store / (name + ".envelope"))) return mails;
    mails.push_back(ReadMail(m_store, name));
  }
}

}  // namespace Ondrel::Testing
