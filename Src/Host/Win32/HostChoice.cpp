#include <Ondrel/Host.h>

namespace Ondrel::Host {

// Events live in the host's own log.
bool UseEventStore(const std::string&, std::uint64_t) { return false; }

bool UseJournal() { return false; }

bool UseJournalFiles(const std::string&) { return false; }

void UseHostEventLog() {}

std::string EventStorePath() { return {}; }

}  // namespace Ondrel::Host
