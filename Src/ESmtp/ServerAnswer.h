#pragma once

#include <curl/curl.h>

#include <string>
#include <string_view>

namespace Ondrel {

/// The server's last answer in the transfer that runs on this thread while the object lives.
///
/// It belongs to the thread, not to the transfer's handle, because the handle's options are fixed.
class ServerAnswer {
public:
  ServerAnswer();
  ~ServerAnswer();

  ServerAnswer(const ServerAnswer&) = delete;
  ServerAnswer& operator=(const ServerAnswer&) = delete;

  /// Takes what libcurl reports of the dialogue, in the thread of a transfer. Does nothing in
  /// another thread.
  static void Notice(curl_infotype type, std::string_view text);

  /// The answer, its lines separated by line feeds; empty while none has come.
  const std::string& Text() const { return m_text; }

private:
  void TakeLine(std::string_view line);

  ServerAnswer* m_earlier;
  std::string m_text;
  bool m_goesOn = false;  ///< The answer's last line says that another follows.
  bool m_isOver = false;  ///< The dialogue is being ended.
};

}  // namespace Ondrel
