#pragma once

#include <boost/format.hpp>

#include <locale>

namespace Ondrel {

/// A format whose numbers come out as printf gives them, without the grouping of a locale that the
/// host program has made the global one.
inline boost::format TextFormat(const char* pattern) {
  return boost::format(pattern, std::locale::classic());
}

}  // namespace Ondrel
