// The place in the sources that sends an entry is of no use to its reader.
#define SD_JOURNAL_SUPPRESS_LOCATION

#include "Host/Linux/EventLog/Journal.h"
#include "Host/Linux/EventLog/JournalFields.h"
#include "Host/Linux/FileDescriptor.h"
#include "Host/Linux/LastError.h"

#include <systemd/sd-journal.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sys/socket.h>
#include <sys/uio.h>
#include <sys/un.h>
#include <unistd.h>

namespace Ondrel::Host {

namespace {

class JournalSource final : public RegisteredSource {
public:
  JournalSource(const std::string& identifier, const std::string& token)
      : m_identifier(identifier), m_token(token) {}

  ULong Report(const EventToWrite& event) override {
    std::vector<std::string> fields;
    fields.push_back(Message(event.strings));
    fields.push_back("PRIORITY=" + std::to_string(PriorityOfType(event.type)));
    fields.push_back("SYSLOG_IDENTIFIER=" + m_identifier);
    fields.push_back(MessageId(event.id));
    fields.push_back(Field(kIdField, std::to_string(event.id)));
    fields.push_back(Field(kTypeField, std::to_string(event.type)));
    fields.push_back(Field(kHeadField, Head(event)));
    if (event.category != 0)
      fields.push_back(Field(kCategoryField, std::to_string(event.category)));
    for (std::size_t i = 0; i < event.strings.size(); ++i)
      fields.push_back(Field(kStringField + std::to_string(i + 1), event.strings[i]));
    if (!event.data.empty()) {
      fields.push_back(Field(kDataField, ""));
      fields.back().append(reinterpret_cast<const char*>(event.data.data()), event.data.size());
    }
    if (!m_token.empty()) fields.push_back(Field(kTokenField, m_token));
    return Send(fields);
  }

private:
  // All strings, with a space between them.
  static std::string Message(const std::vector<std::string>& strings) {
    std::string message = "MESSAGE=";
    for (std::size_t i = 0; i < strings.size(); ++i) {
      if (i > 0) message.push_back(' ');
      message.append(strings[i]);
    }
    return message;
  }

  static std::string MessageId(ULong id) {
    char digits[9];
    std::snprintf(digits, sizeof digits, "%08x", id);
    return std::string("MESSAGE_ID=") + kMessageIdPrefix + digits;
  }

  static std::string Head(const EventToWrite& event) {
    return std::to_string(event.id) + " " + std::to_string(event.type) + " " +
           std::to_string(event.category) + " " + std::to_string(event.strings.size()) + " " +
           std::to_string(event.data.size());
  }

  static std::string Field(const std::string& name, const std::string& value) {
    return name + "=" + value;
  }

  static ULong Send(std::vector<std::string>& fields) {
    // sd_journal_sendv calls it a success when there is no journal to send to.
    if (access(kJournalSocket, F_OK) != 0) return ErrorFromErrno(errno);
    std::vector<iovec> parts;
    parts.reserve(fields.size());
    for (std::string& field : fields) parts.push_back({field.data(), field.size()});
    const int outcome = sd_journal_sendv(parts.data(), static_cast<int>(parts.size()));
    // The socket is there and nobody listens.
    if (outcome == -ECONNREFUSED) return ERROR_FILE_NOT_FOUND;
    return outcome == 0 ? ERROR_SUCCESS : ErrorFromErrno(-outcome);
  }

  std::string m_identifier;
  std::string m_token;
};

}  // namespace

bool JournalIsThere() {
  const FileDescriptor probe(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, kJournalSocket, sizeof kJournalSocket);
  return probe.IsOpen() &&
         connect(probe.Number(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

bool JournalIsInstalled() {
  // As sd_booted(3) has it: a host that systemd has started has a journal.
  return access("/run/systemd/system", F_OK) == 0 || access(kJournalSocket, F_OK) == 0;
}

std::unique_ptr<RegisteredSource> RegisterJournalSource(const std::string& source,
                                                        const std::string& token) {
  return std::make_unique<JournalSource>(source, token);
}

}  // namespace Ondrel::Host
