// A program that writes what a test asks for, and ends as it asks.
// Usage: ondrel-test-printer line TEXT | long COUNT | bytes | blank | error TEXT | arguments ... |
// sleep SECONDS | exit STATUS

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

#if defined(_WIN32)
#include <fcntl.h>
#include <io.h>
#endif

namespace {

void WriteAllBytes() {
#if defined(_WIN32)
  _setmode(_fileno(stdout), _O_BINARY);
#endif
  // Each on a line of its own: a zero byte hides what follows it on its line.
  // Byte 26 comes last: for some hosts it ends a text.
  constexpr int kEndOfText = 26;
  for (int byte = 0; byte < 256; ++byte)
    if (byte != kEndOfText) std::printf("%c!\n", byte);
  std::putchar(kEndOfText);
}

}  // namespace

int main(int count, char** arguments) {
  const std::string what = count > 1 ? arguments[1] : "";
  const char* const value = count > 2 ? arguments[2] : "";
  if (what == "line") std::printf("%s\n", value);
  if (what == "long")
    std::printf("%s\n", std::string(std::strtoul(value, nullptr, 10), 'x').c_str());
  if (what == "blank") std::printf("a\n\nb\n");
  if (what == "bytes") WriteAllBytes();
  if (what == "error") std::fprintf(stderr, "%s\n", value);
  if (what == "arguments")
    for (int i = 2; i < count; ++i) std::printf("[%s]\n", arguments[i]);
  if (what == "sleep") {
    std::puts("asleep");
    std::fflush(stdout);
    std::this_thread::sleep_for(std::chrono::seconds(std::atoi(value)));
  }
  return what == "exit" ? std::atoi(value) : 0;
}
