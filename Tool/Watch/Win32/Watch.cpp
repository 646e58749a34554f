#include "Tool/Watch/Watch.h"

namespace Tool::Watch {

WatchAnswer RunWatch(const WatchRequest&) {
  throw WatchError("there are no drive statuses to watch on this host: watch runs on Linux", 1);
}

}  // namespace Tool::Watch
