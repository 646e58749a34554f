#include <Ondrel/Smtp.h>

#include <benchmark/benchmark.h>
#include <curl/curl.h>

#include <algorithm>
#include <cstring>
#include <netinet/in.h>
#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

// A mail through the library against bare libcurl programs that send the same bytes to the same
// server, a thread of this program that takes every mail and keeps none but the last. Line by line
// is how libcurl's documentation shows it and how the library does it, with a transcript for
// whoever wants it; in one piece is the least that can be done.

namespace {

class Server {
public:
  Server() : m_listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    auto* const place = reinterpret_cast<sockaddr*>(&address);
    if (bind(m_listener, place, length) != 0 || getsockname(m_listener, place, &length) != 0 ||
        listen(m_listener, 8) != 0)
      throw std::runtime_error("no server");
    m_port = ntohs(address.sin_port);
    m_thread = std::thread([this] {
      for (int peer = -1; (peer = accept(m_listener, nullptr, nullptr)) >= 0; close(peer))
        Serve(peer);
    });
  }
  ~Server() {
    shutdown(m_listener, SHUT_RDWR);
    m_thread.join();
    close(m_listener);
  }

  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  unsigned short Port() const { return m_port; }

  /// The bytes of the mail that was taken last; to be read when no mail is on its way.
  const std::string& Data() const { return m_data; }

private:
  void Serve(int peer) {
    const auto say = [peer](const char* line) { return write(peer, line, std::strlen(line)) > 0; };
    say("220 bench\r\n");
    std::string bytes;
    bool inData = false;
    char piece[65536];
    for (ssize_t count = 0; (count = read(peer, piece, sizeof piece)) > 0;) {
      bytes.append(piece, static_cast<std::size_t>(count));
      for (;;) {
        const std::size_t end = bytes.find(inData ? "\r\n.\r\n" : "\r\n");
        if (end == std::string::npos) break;
        if (inData) m_data = bytes.substr(0, end + 2);
        const bool wantsData = !inData && bytes.compare(0, 4, "DATA") == 0;
        bytes.erase(0, end + (inData ? 5 : 2));
        say(wantsData ? "354 go on\r\n" : "250 ok\r\n");
        inData = wantsData;
      }
    }
  }

  int m_listener;
  unsigned short m_port = 0;
  std::string m_data;
  std::thread m_thread;
};

Ondrel::CSmtp Mail(const Server& server) {
  Ondrel::CSmtp mail;
  mail.SetServer("127.0.0.1", server.Port());
  mail.SetFrom("raid@storage.test", "RAID monitor");
  mail.AddTO("admin@storage.test", "Admin");
  mail.SetSubject("Critical: physical drive failed");
  mail.SetMessageBody("Controller 1, enclosure 0, slot 3:\nphysical drive failed.\n");
  return mail;
}

void Send(benchmark::State& state) {
  const Server server;
  for (auto _ : state) {
    Ondrel::CSmtp mail = Mail(server);
    if (!mail.Send()) state.SkipWithError("not sent");
  }
}
BENCHMARK(Send)->Name("Mail/send/ondrel")->UseRealTime();

void SendLines(benchmark::State& state, int lines) {
  const Server server;
  std::string body;
  for (int line = 0; line < lines; ++line) body += std::string(60, 'x') + "\n";
  for (auto _ : state) {
    Ondrel::CSmtp mail = Mail(server);
    mail.SetMessageBody(body);
    if (!mail.Send()) state.SkipWithError("not sent");
  }
}
BENCHMARK_CAPTURE(SendLines, growth1, 100)
    ->Name("Growth/lines of a mail sent, 100 and more/1")
    ->UseRealTime();
BENCHMARK_CAPTURE(SendLines, growth10, 1'000)
    ->Name("Growth/lines of a mail sent, 100 and more/10")
    ->UseRealTime();
BENCHMARK_CAPTURE(SendLines, growth100, 10'000)
    ->Name("Growth/lines of a mail sent, 100 and more/100")
    ->UseRealTime();

enum class Upload { kByLine, kInOnePiece };

struct Position {
  const std::string& bytes;
  std::size_t done;
  Upload upload;

  static std::size_t Read(char* buffer, std::size_t size, std::size_t count, void* context) {
    auto& position = *static_cast<Position*>(context);
    std::size_t part = std::min(size * count, position.bytes.size() - position.done);
    const char* const from = position.bytes.data() + position.done;
    if (position.upload == Upload::kByLine)
      if (const void* end = std::memchr(from, '\n', part))
        part = static_cast<std::size_t>(static_cast<const char*>(end) - from) + 1;
    std::memcpy(buffer, from, part);
    position.done += part;
    return part;
  }
};

int NoTranscript(CURL*, curl_infotype, char*, std::size_t, void*) { return 0; }

bool SendPlain(const std::string& url, const std::string& bytes, Upload upload) {
  CURL* const handle = curl_easy_init();
  curl_easy_setopt(handle, CURLOPT_URL, url.c_str());
  if (upload == Upload::kByLine) {
    curl_easy_setopt(handle, CURLOPT_VERBOSE, 1L);
    curl_easy_setopt(handle, CURLOPT_DEBUGFUNCTION, NoTranscript);
    curl_easy_setopt(handle, CURLOPT_CRLF, 1L);
  }
  curl_easy_setopt(handle, CURLOPT_USE_SSL, static_cast<long>(CURLUSESSL_TRY));
  curl_easy_setopt(handle, CURLOPT_MAIL_FROM, "<raid@storage.test>");
  curl_slist* const recipients = curl_slist_append(nullptr, "<admin@storage.test>");
  curl_easy_setopt(handle, CURLOPT_MAIL_RCPT, recipients);
  Position position{bytes, 0, upload};
  curl_easy_setopt(handle, CURLOPT_READFUNCTION, Position::Read);
  curl_easy_setopt(handle, CURLOPT_READDATA, &position);
  curl_easy_setopt(handle, CURLOPT_UPLOAD, 1L);
  const CURLcode result = curl_easy_perform(handle);
  curl_slist_free_all(recipients);
  curl_easy_cleanup(handle);
  return result == CURLE_OK;
}

template <Upload kUpload>
void SendWithLibcurl(benchmark::State& state) {
  const Server server;
  if (!Mail(server).Send()) state.SkipWithError("no mail to send again");
  std::string bytes = server.Data();
  // libcurl puts the carriage returns back.
  if (kUpload == Upload::kByLine) std::erase(bytes, '\r');
  const std::string url = "smtp://127.0.0.1:" + std::to_string(server.Port());
  for (auto _ : state)
    if (!SendPlain(url, bytes, kUpload)) state.SkipWithError("not sent");
}
BENCHMARK(SendWithLibcurl<Upload::kByLine>)->Name("Mail/send/libcurl, line by line")->UseRealTime();
BENCHMARK(SendWithLibcurl<Upload::kInOnePiece>)
    ->Name("Mail/send/libcurl, in one piece")
    ->UseRealTime();

}  // namespace
