#pragma once

#include <boost/format.hpp>

#include <locale>

namespace Ondrel {

/// A format whose numbers read the same whatever the program's global locale: it would group their
/// digits where that locale does.
inline boost::format ClassicFormat(const char* format) {
  return boost::format(format, std::locale::classic());
}

}  // namespace Ondrel
