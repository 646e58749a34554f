#pragma once

#include <string>
#include <vector>

namespace Ondrel::Host {

/// The files that a journal at `path` consists of: those of the folder and of the folders in it
/// that bear a machine's id, or the one file.
std::vector<std::string> JournalFilesAt(const std::string& path);

/// Whether a journal file cannot be opened. A journal of many files leaves it out without a word.
bool IsUnreadableJournalFile(const std::string& file);

}  // namespace Ondrel::Host
