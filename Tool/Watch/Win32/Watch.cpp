#include "Tool/Watch/Watch.h"

namespace Tool::Watch {

WatchAnswer RunWatch(const WatchRequest&) {
  throw WatchError("cannot watch drives", "this host has no drive statuses; watch runs on Linux");
}

}  // namespace Tool::Watch
