#pragma once

#include <string>

namespace Ondrel {

/// The current local time as the Date line has it: weekday, a comma and a tab, day, month, year,
/// time of day, and the offset from UTC as sign, hours and minutes.
///
/// The offset is always that of standard time, also while the clock shows summer time. UTC itself
/// has a minus sign. The names of weekday and month are those of the C library's current locale.
std::string MailDate();

}  // namespace Ondrel
