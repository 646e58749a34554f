#include "Host/Host.h"
#include "Instrumentation.h"
#include "LanguageFileParser.h"

#include <Pirsk/LanguageFile.h>
#include <Pirsk/Strings.h>

#include <fstream>
#include <mutex>
#include <optional>

namespace Pirsk::Language_Support {

namespace {

constexpr char kStandInText[] = "No information available for this error";
constexpr std::size_t kLargestFile = std::size_t{1024} * 1024;

// Guards the data directory and the first reading of every language file.
constinit std::mutex g_mutex;
constinit const std::string* g_dataDirectory = nullptr;

std::string DataDirectory() {
  return g_dataDirectory != nullptr ? *g_dataDirectory : std::string(PIRSK_DATA_DIRECTORY);
}

std::optional<std::string> ReadFile(const std::string& path) {
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

CLanguageSupport::CLngFile::CLngFile(const char* fileName, std::uint32_t languageCode,
                                     const char* encoding, std::uint32_t formatVersion,
                                     const char* const* texts, std::size_t count)
    : m_fileName(fileName),
      m_languageCode(languageCode),
      m_encoding(encoding),
      m_formatVersion(formatVersion),
      m_texts(texts),
      m_count(count),
      m_contents(nullptr) {
  PIRSK_RECORD(std::string("CLngFile::CLngFile(") + fileName + ", " + std::to_string(languageCode) +
               ", " + encoding + ", " + std::to_string(formatVersion) + ", " +
               std::to_string(count) + ")");
}

CLanguageSupport::CLngFile::~CLngFile() {
  PIRSK_RECORD("CLngFile::~CLngFile");
  delete m_contents;
}

const CLanguageSupport::CLngFile::Contents& CLanguageSupport::CLngFile::Load() const {
  const std::lock_guard lock(g_mutex);
  if (m_contents != nullptr) return *m_contents;

  auto* contents = new Contents;
  for (const std::string& folder : {Host::FolderOfModule(m_fileName), DataDirectory()}) {
    if (folder.empty()) continue;
    const std::string path = folder + "/" + m_fileName;
    const std::optional<std::string> text = ReadFile(path);
    if (!text) continue;
    std::optional<LanguageTexts> parsed = ParseLanguageFile(*text, m_count);
    if (!parsed) continue;
    contents->path = path;
    contents->texts = std::move(*parsed);
    break;
  }
  m_contents = contents;
  return *contents;
}

std::string CLanguageSupport::CLngFile::Text(std::size_t index) const {
  if (m_count == 0) return kStandInText;
  if (index >= m_count) index = StandInIndex();
  const Contents& contents = Load();
  const auto found = contents.texts.find(index);
  return found != contents.texts.end() ? found->second : m_texts[index];
}

std::string CLanguageSupport::CLngFile::Path() const { return Load().path; }

void SetDataDirectory(const std::string& path) {
  const std::lock_guard lock(g_mutex);
  const auto* directory = new std::string(path);
  delete g_dataDirectory;
  g_dataDirectory = directory;
}

}  // namespace Pirsk::Language_Support
