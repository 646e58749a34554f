#include "Host/DrivesOperations.h"

namespace Ondrel::Host {

// Nothing here reports the statuses of this host's drives.
DrivesOperations MakeDrivesOperations() { return {}; }

}  // namespace Ondrel::Host
