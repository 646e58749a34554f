#include "Host/SystemFactsOperations.h"

namespace Ondrel::Host {

// None of them is there: the honest answer is a record of zeros.
SystemFactsOperations MakeSystemFactsOperations() { return {}; }

}  // namespace Ondrel::Host
