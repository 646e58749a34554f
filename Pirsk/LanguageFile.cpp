#include "Host/Host.h"
#include "Host/Mutex.h"
#include "Instrumentation.h"
#include "LanguageFileParser.h"

#include <Pirsk/LanguageFile.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <optional>
#include <system_error>
#include <utility>

namespace Pirsk::Language_Support {

namespace {

constexpr std::uint32_t kFormatVersion = 1;
constexpr std::size_t kLargestFile = std::size_t{1024} * 1024;

// Guards the data directory and the first reading of every language file.
constinit Host::Mutex g_mutex;
constinit const std::string* g_dataDirectory = nullptr;

std::string DataDirectory() {
  return g_dataDirectory != nullptr ? *g_dataDirectory : std::string(PIRSK_DATA_DIRECTORY);
}

std::optional<std::string> ReadFile(const std::string& path) {
  // Opening anything else could wait for ever.
  std::error_code error;
  if (!std::filesystem::is_regular_file(path, error)) return std::nullopt;
  std::ifstream file(path, std::ios::binary);
  if (!file) return std::nullopt;
  std::string text;
  char part[4096];
  while (file.read(part, sizeof part), file.gcount() > 0) {
    text.append(part, static_cast<std::size_t>(file.gcount()));
    if (text.size() > kLargestFile) return std::nullopt;
  }
  if (file.bad()) return std::nullopt;
  return text;
}

}  // namespace

struct CLanguageSupport::CLngFile::Contents {
  std::string path;
  LanguageTexts texts;
};

CLanguageSupport::CLngFile::CLngFile(const char* fileName,
                                     [[maybe_unused]] std::uint32_t languageCode,
                                     const char* encoding, std::uint32_t formatVersion,
                                     const char* const* texts, std::size_t count)
    : m_fileName(fileName),
      m_isFormKnown(std::strcmp(encoding, "utf-8") == 0 && formatVersion == kFormatVersion),
      m_texts(texts),
      m_count(count),
      // Asked at load: later the host's lock on its modules, which a module being loaded holds when
      // it registers, would be taken after ours.
      m_folder(Host::FolderOfModule(fileName)) {
  PIRSK_RECORD(std::string("CLngFile::CLngFile(") + fileName + ", " + std::to_string(languageCode) +
               ", " + encoding + ", " + std::to_string(formatVersion) + ", " +
               std::to_string(count) + ")");
}

CLanguageSupport::CLngFile::~CLngFile() { PIRSK_RECORD("CLngFile::~CLngFile"); }

const CLanguageSupport::CLngFile::Contents& CLanguageSupport::CLngFile::Load() const {
  const std::lock_guard lock(g_mutex);
  if (m_contents) return *m_contents;

  Contents contents;
  if (m_isFormKnown) {
    for (const std::string& folder : {m_folder, DataDirectory()}) {
      if (folder.empty()) continue;
      std::string path = folder + "/" + m_fileName;
      const std::optional<std::string> text = ReadFile(path);
      if (!text) continue;
      std::optional<LanguageTexts> parsed = ParseLanguageFile(*text, m_count);
      if (!parsed) continue;
      contents = {std::move(path), std::move(*parsed)};
      break;
    }
  }
  m_contents = std::make_unique<const Contents>(std::move(contents));
  return *m_contents;
}

std::string CLanguageSupport::CLngFile::Text(std::size_t index) const {
  if (index >= m_count) index = StandInIndex();
  const LanguageTexts& texts = Load().texts;
  const auto found = texts.find(index);
  const bool isGiven = found != texts.end() && !found->second.empty();
  return isGiven ? found->second : m_texts[index];
}

std::string CLanguageSupport::CLngFile::Path() const { return Load().path; }

void SetDataDirectory(const std::string& path) {
  auto directory = std::make_unique<const std::string>(path);
  const std::lock_guard lock(g_mutex);
  delete std::exchange(g_dataDirectory, directory.release());
}

}  // namespace Pirsk::Language_Support
