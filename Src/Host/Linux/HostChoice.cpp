#include "Host/Linux/HostChoice.h"

#include "Host/Immortal.h"

#include <Ondrel/Host.h>

#include <filesystem>
#include <mutex>
#include <system_error>
#include <utility>

namespace Ondrel::Host {

namespace {

constexpr char kDefaultPath[] = ONDREL_STATE_DIRECTORY "/events.db";

constinit std::mutex g_mutex;

EventStoreChoice& CurrentChoice() {
  static Immortal<EventStoreChoice> choice(
      EventStoreChoice{kDefaultPath, kDefaultEventStoreCapacity});
  return choice.Get();
}

// A program that changes its current folder later goes on with the same file.
std::string AbsolutePath(const std::string& path) {
  std::error_code failure;
  const std::filesystem::path absolute = std::filesystem::absolute(path, failure);
  return failure ? path : absolute.string();
}

}  // namespace

EventStoreChoice ChosenEventStore() {
  const std::lock_guard lock(g_mutex);
  return CurrentChoice();
}

bool UseEventStore(const std::string& path, std::uint64_t capacity) {
  if (capacity < kMinEventStoreCapacity) return false;
  EventStoreChoice choice{path.empty() ? kDefaultPath : AbsolutePath(path), capacity};
  const std::lock_guard lock(g_mutex);
  CurrentChoice() = std::move(choice);
  return true;
}

std::string EventStorePath() { return ChosenEventStore().path; }

}  // namespace Ondrel::Host
