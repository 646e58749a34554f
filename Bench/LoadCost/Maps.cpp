#include <Ondrel/CodeNames.h>

#include <cstdint>
#include <map>
#include <string>

// The vocabularies as a program would write them down at first: five maps, built at load.

namespace {

using Map = std::map<std::int32_t, std::string>;

const Map g_errors(Ondrel::ErrorCodeNames);
const Map g_operations(Ondrel::OperationCodeNames);
const Map g_events(Ondrel::EventCodeNames);
const Map g_properties(Ondrel::PropertyCodeNames);
const Map g_values(Ondrel::ValueCodeNames);

}  // namespace
