#include "Tool/TimeLimit.h"

#include <future>
#include <memory>
#include <thread>
#include <utility>

namespace Tool {

namespace {

bool isWorkLeftBehind = false;

}  // namespace

bool IsDoneWithin(std::chrono::milliseconds limit, std::function<void()> work) {
  auto task = std::make_shared<std::packaged_task<void()>>(std::move(work));
  std::future<void> end = task->get_future();
  std::thread worker([task] { (*task)(); });
  if (end.wait_for(limit) != std::future_status::ready) {
    worker.detach();
    isWorkLeftBehind = true;
    return false;
  }
  worker.join();
  end.get();
  return true;
}

bool IsWorkLeftBehind() { return isWorkLeftBehind; }

}  // namespace Tool
