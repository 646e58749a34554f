#include "Host/Linux/EventLog/HostChoice.h"

#include "Host/Immortal.h"
#include "Host/Linux/EventLog/Journal.h"

#include <filesystem>
#include <mutex>
#include <system_error>
#include <utility>

namespace Ondrel::Host {

namespace {

constexpr char kDefaultPath[] = ONDREL_STATE_DIRECTORY "/events.db";

struct Choice {
  bool isHostsOwn = true;
  EventLogChoice log{EventLogKind::kStore, {kDefaultPath, kDefaultEventStoreCapacity}, {}};
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

EventLogChoice ChosenEventLog() {
  Choice choice;
  {
    const std::lock_guard lock(g_mutex);
    choice = CurrentChoice();
  }
  if (choice.isHostsOwn && JournalIsThere()) choice.log.kind = EventLogKind::kJournal;
  return choice.log;
}

bool UseEventStore(const std::string& path, std::uint64_t capacity) {
  if (capacity < kMinEventStoreCapacity) return false;
  Choice chosen{.isHostsOwn = false,
                .log = {.kind = EventLogKind::kStore,
                        .store = {path.empty() ? kDefaultPath : AbsolutePath(path), capacity},
                        .files = {}}};
  const std::lock_guard lock(g_mutex);
  CurrentChoice() = std::move(chosen);
  return true;
}

bool UseJournal() {
  if (!JournalIsThere()) return false;
  const std::lock_guard lock(g_mutex);
  CurrentChoice().isHostsOwn = false;
  CurrentChoice().log.kind = EventLogKind::kJournal;
  CurrentChoice().log.files.clear();
  return true;
}

bool UseJournalFiles(const std::string& path) {
  std::error_code failure;
  const std::filesystem::file_status status = std::filesystem::status(path, failure);
  if (failure ||
      (!std::filesystem::is_directory(status) && !std::filesystem::is_regular_file(status)))
    return false;
  const std::lock_guard lock(g_mutex);
  CurrentChoice().isHostsOwn = false;
  CurrentChoice().log.kind = EventLogKind::kJournalFiles;
  CurrentChoice().log.files = AbsolutePath(path);
  return true;
}

void UseHostEventLog() {
  const std::lock_guard lock(g_mutex);
  CurrentChoice() = Choice{};
}

EventLogPlace CurrentEventLog() {
  const EventLogChoice choice = ChosenEventLog();
  EventLogPlace place{.kind = choice.kind, .path = {}, .isJournalAway = false};
  if (choice.kind == EventLogKind::kStore) place.path = choice.store.path;
  if (choice.kind == EventLogKind::kJournalFiles) place.path = choice.files;
  const std::lock_guard lock(g_mutex);
  place.isJournalAway =
      CurrentChoice().isHostsOwn && choice.kind == EventLogKind::kStore && JournalIsInstalled();
  return place;
}

std::string EventStorePath() {
  const EventLogChoice choice = ChosenEventLog();
  return choice.kind == EventLogKind::kStore ? choice.store.path : std::string();
}

}  // namespace Ondrel::Host
