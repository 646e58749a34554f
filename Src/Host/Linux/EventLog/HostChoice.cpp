#include "Host/Linux/EventLog/HostChoice.h"

#include "Host/Immortal.h"
#include "Host/Linux/EventLog/Journal.h"

#include <Ondrel/Host.h>

#include <filesystem>
#include <mutex>
#include <system_error>
#include <utility>

namespace Ondrel::Host {

namespace {

constexpr char kDefaultPath[] = ONDREL_STATE_DIRECTORY "/events.db";

enum class Kind { kHostsOwn, kJournal, kStore };

struct Choice {
  Kind kind = Kind::kHostsOwn;
  EventStoreChoice store{kDefaultPath, kDefaultEventStoreCapacity};
};

constinit std::mutex g_mutex;

Choice& CurrentChoice() {
  static Immortal<Choice> choice{Choice{}};
  return choice.Get();
}

// A program that changes its current folder later goes on with the same file.
std::string AbsolutePath(const std::string& path) {
  std::error_code failure;
  const std::filesystem::path absolute = std::filesystem::absolute(path, failure);
  return failure ? path : absolute.string();
}

}  // namespace

std::optional<EventStoreChoice> ChosenEventStore() {
  Choice choice;
  {
    const std::lock_guard lock(g_mutex);
    choice = CurrentChoice();
  }
  if (choice.kind == Kind::kHostsOwn)
    choice.kind = JournalIsThere() ? Kind::kJournal : Kind::kStore;
  if (choice.kind == Kind::kJournal) return std::nullopt;
  return choice.store;
}

bool UseEventStore(const std::string& path, std::uint64_t capacity) {
  if (capacity < kMinEventStoreCapacity) return false;
  Choice chosen{.kind = Kind::kStore,
                .store = {path.empty() ? kDefaultPath : AbsolutePath(path), capacity}};
  const std::lock_guard lock(g_mutex);
  CurrentChoice() = std::move(chosen);
  return true;
}

bool UseJournal() {
  if (!JournalIsThere()) return false;
  const std::lock_guard lock(g_mutex);
  CurrentChoice().kind = Kind::kJournal;
  return true;
}

void UseHostEventLog() {
  const std::lock_guard lock(g_mutex);
  CurrentChoice() = Choice{};
}

std::string EventStorePath() {
  const std::optional<EventStoreChoice> store = ChosenEventStore();
  return store ? store->path : std::string();
}

}  // namespace Ondrel::Host
