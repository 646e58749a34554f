#include "Host/Host.h"
#include "Host/Mutex.h"
#include "Instrumentation.h"
#include "LanguageFaults.h"
#include "LanguageFileParser.h"

#include <Pirsk/LanguageFile.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <system_error>
#include <utility>
#include <vector>

namespace Pirsk::Language_Support {

namespace {

constexpr std::uint32_t kFormatVersion = 1;
constexpr std::size_t kLargestFile = std::size_t{1024} * 1024;

// What is wrong with the language files of one object.
struct Faults {
  std::vector<std::string> texts;
  bool areNew = true;
};

// Guards the data directory, the first reading of every language file, and the faults.
constinit Host::Mutex g_mutex;
constinit const std::string* g_dataDirectory = nullptr;
// Held through a plain pointer, as modules may outlive the static objects; gone with its last
// entry.
constinit std::map<const void*, Faults>* g_faults = nullptr;

std::string DataDirectory() {
  return g_dataDirectory != nullptr ? *g_dataDirectory : std::string(PIRSK_DATA_DIRECTORY);
}

std::nullopt_t Refused(std::string& fault, const char* reason) {
  fault = reason;
  return std::nullopt;
}

// UTF-8 where the host's paths are wide text, else the bytes as they are.
std::optional<std::filesystem::path> PathOf(const std::string& text) {
  try {
    return std::filesystem::path(std::u8string(text.begin(), text.end()));
  } catch (const std::system_error&) {
    return std::nullopt;
  }
}

// Nothing, without a fault, where no file is.
std::optional<std::string> ReadFile(const std::string& name, std::string& fault) {
  const std::optional<std::filesystem::path> known = PathOf(name);
  if (!known) return Refused(fault, "its path is not UTF-8");
  const std::filesystem::path& path = *known;
  std::error_code error;
  const std::filesystem::file_status status = std::filesystem::status(path, error);
  if (status.type() == std::filesystem::file_type::not_found) return std::nullopt;
  // Opening anything else could wait for ever.
  if (status.type() != std::filesystem::file_type::regular)
    return Refused(fault, error ? "it cannot be looked at" : "it is not a file");
  std::ifstream file(path, std::ios::binary);
  if (!file) return Refused(fault, "it cannot be opened");
  std::string text;
  char part[4096];
  while (file.read(part, sizeof part), file.gcount() > 0) {
    text.append(part, static_cast<std::size_t>(file.gcount()));
    if (text.size() > kLargestFile) return Refused(fault, "it is larger than 1 MiB");
  }
  if (file.bad()) return Refused(fault, "it cannot be read");
  return text;
}

std::string FolderOf(const std::string& file) {
  const std::size_t separator = file.find_last_of("/\\");
  return separator == std::string::npos ? std::string() : file.substr(0, separator);
}

// The folder that the module was loaded from; where that is a link, and the language file does not
// stand beside it, the folder of the file that it leads to.
std::string FolderOfModule(const char* fileName) {
  const std::string loaded = Host::PathOfModule(fileName);
  const std::string real = Host::RealPath(loaded);
  std::string folder = FolderOf(loaded);
  if (real.empty() || real == loaded) return folder;
  std::error_code error;
  return std::filesystem::exists(folder + "/" + fileName, error) ? folder : FolderOf(real);
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
      m_folder(FolderOfModule(fileName)) {
  PIRSK_RECORD(std::string("CLngFile::CLngFile(") + fileName + ", " + std::to_string(languageCode) +
               ", " + encoding + ", " + std::to_string(formatVersion) + ", " +
               Instrumentation::TextsOf(texts, count) + ")");
}

CLanguageSupport::CLngFile::~CLngFile() {
  PIRSK_RECORD("CLngFile::~CLngFile");
  const std::lock_guard lock(g_mutex);
  if (g_faults == nullptr) return;
  g_faults->erase(this);
  if (g_faults->empty()) delete std::exchange(g_faults, nullptr);
}

const CLanguageSupport::CLngFile::Contents& CLanguageSupport::CLngFile::Load() const {
  const std::lock_guard lock(g_mutex);
  if (m_contents) return *m_contents;

  Contents contents;
  std::vector<std::string> faults;
  if (!m_isFormKnown) {
    faults.push_back(std::string(m_fileName) +
                     ": its encoding or the version of its form is not known");
  } else {
    for (const std::string& folder : {m_folder, DataDirectory()}) {
      if (folder.empty()) continue;
      std::string path = folder + "/" + m_fileName;
      std::string fault;
      const std::optional<std::string> text = ReadFile(path, fault);
      std::optional<LanguageTexts> parsed;
      if (text) parsed = ParseLanguageFile(*text, m_count, &fault);
      if (!fault.empty()) faults.emplace_back(path).append(": ").append(fault);
      if (!parsed) continue;
      contents = {std::move(path), std::move(*parsed)};
      break;
    }
  }
  if (!faults.empty()) {
    if (g_faults == nullptr) g_faults = new std::map<const void*, Faults>;
    (*g_faults)[this].texts = std::move(faults);
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

std::vector<std::string> FaultsOf(const CLanguageSupport::CLngFile& file) {
  const std::lock_guard lock(g_mutex);
  if (g_faults == nullptr) return {};
  const auto found = g_faults->find(&file);
  return found == g_faults->end() ? std::vector<std::string>() : found->second.texts;
}

std::vector<std::string> NewFaultsOf(const CLanguageSupport::CLngFile& file) {
  const std::lock_guard lock(g_mutex);
  if (g_faults == nullptr) return {};
  const auto found = g_faults->find(&file);
  if (found == g_faults->end() || !std::exchange(found->second.areNew, false)) return {};
  return found->second.texts;
}

void SetDataDirectory(const std::string& path) {
  auto directory = std::make_unique<const std::string>(path);
  const std::lock_guard lock(g_mutex);
  delete std::exchange(g_dataDirectory, directory.release());
}

}  // namespace Pirsk::Language_Support
