#pragma once

#include <Pirsk/Export.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace Pirsk::Language_Support {

/// The texts of a module's errors in the language of its users.
class CLanguageSupport {
public:
  /// One row of a module's error list: an error number and the index of its text. A list ends with
  /// a row of two zeros.
  struct ERROR_MSG_LIST {
    std::uint32_t errorNumber;    ///< As it is raised.
    std::uintptr_t messageIndex;  ///< In the module's texts.
  };

  /// A module's language file and the texts that stand in for it.
  ///
  /// The file is UTF-8 text, with or without a byte order mark, of lines `index = text` that end
  /// with LF or CR LF. Spaces around index and text do not count; empty lines and lines that begin
  /// with `#` are passed over. It is looked for in the folder of the module's own file, then in the
  /// data directory, and read once, when a text is first asked for.
  ///
  /// A file that is missing, is larger than 1 MiB or not UTF-8, or has a line of another form, an
  /// index beyond the table or an index twice counts as absent as a whole; an index that a good
  /// file does not have, or has without a text, takes the built-in text.
  ///
  /// `Text` and `Path` may be called from any thread.
  class CLngFile {
  public:
    /// Binds the file `fileName` to the built-in `texts` in the language `languageCode` (two
    /// letters, the first in the high byte), `count` of them and at least one; the last is the
    /// stand-in for errors without a text of their own. A file is only looked for when `encoding`
    /// is "utf-8" and `formatVersion`, the version of the file's form, is 1. All arguments have
    /// static storage in the module.
    PIRSK_API CLngFile(const char* fileName, std::uint32_t languageCode, const char* encoding,
                       std::uint32_t formatVersion, const char* const* texts, std::size_t count);
    PIRSK_API ~CLngFile();

    CLngFile(const CLngFile&) = delete;
    CLngFile& operator=(const CLngFile&) = delete;

    /// The text of an index: from the file, else built in. An index beyond the table gives the
    /// stand-in text.
    PIRSK_API std::string Text(std::size_t index) const;

    /// Index of the stand-in text.
    std::size_t StandInIndex() const { return m_count - 1; }

    /// Path of the language file in use, UTF-8 on Windows; empty when the built-in texts are.
    PIRSK_API std::string Path() const;

  private:
    struct Contents;

    const Contents& Load() const;

    const char* m_fileName;
    bool m_isFormKnown;
    const char* const* m_texts;
    std::size_t m_count;
    std::string m_folder;                                // Of the module's file.
    mutable std::unique_ptr<const Contents> m_contents;  // Null until a text is first asked for.
  };
};

/// Sets the folder in which language files are looked for after the module's own; takes effect for
/// modules whose file has not been read yet. Initially the data directory of the installation; the
/// empty text for none. UTF-8 on Windows. May be called from any thread.
PIRSK_API void SetDataDirectory(const std::string& path);

}  // namespace Pirsk::Language_Support
