#include "Pirsk/LanguageFileParser.h"

#include <Pirsk/Strings.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

/// A language file's content of any bytes, for the catalogue of nine texts that the module has.
/// What comes out has to be texts of that catalogue, each one line of UTF-8; and written down in
/// the plainest form it has to read the same again.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::size_t kTexts = 9;
  using Pirsk::Language_Support::ParseLanguageFile;

  const std::string content(reinterpret_cast<const char*>(data), size);
  const auto texts = ParseLanguageFile(content, kTexts);
  if (!texts) return 0;

  std::string written;
  for (const auto& [index, text] : *texts) {
    if (index >= kTexts) std::abort();
    if (text.find_first_of(std::string("\n\0", 2)) != std::string::npos) std::abort();
    if (Pirsk::Strings::UTF8length(text) == static_cast<std::size_t>(-1)) std::abort();
    written += std::to_string(index) + "=" + text + "\n";
  }
  if (ParseLanguageFile(written, kTexts) != texts) std::abort();
  return 0;
}
