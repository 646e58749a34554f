#include <Ondrel/System.h>

#include <boost/algorithm/string/classification.hpp>
#include <boost/algorithm/string/split.hpp>
#include <boost/convert.hpp>
#include <boost/convert/stream.hpp>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <optional>
#include <system_error>

namespace Ondrel {

namespace {

using Parts = std::vector<std::string>;

Parts SplitVersion(const std::string& version) {
  Parts parts;
  boost::split(parts, version, boost::is_any_of(".-"), boost::token_compress_off);
  return parts;
}

// Reads the parts of a version as numbers.
class PartReader {
public:
  // Throws for what is not a number.
  int Read(const std::string& part) {
    int number = 0;
    const char* const end = part.data() + part.size();
    // What is digits alone, as nearly every part is, needs no stream.
    const auto [last, error] = std::from_chars(part.data(), end, number);
    if (error == std::errc() && last == end) return number;
    if (!m_converter) m_converter.emplace()(std::dec)(std::skipws);
    return boost::convert<int>(part, *m_converter).value();
  }

private:
  std::optional<boost::cnv::cstream> m_converter;
};

// Throws where a part that is reached is not a number.
int CompareNumbers(const std::string& first, const std::string& second, std::size_t count) {
  Parts firstParts = SplitVersion(first);
  Parts secondParts = SplitVersion(second);
  std::size_t length = std::max(firstParts.size(), secondParts.size());
  firstParts.resize(length, "0");
  secondParts.resize(length, "0");
  if (count != 0 && count < length) length = count;

  PartReader reader;
  for (std::size_t i = 0; i < length; ++i) {
    const int left = reader.Read(firstParts[i]);
    const int right = reader.Read(secondParts[i]);
    if (left != right) return left < right ? -1 : 1;
  }
  return 0;
}

// Of two that differ.
int CompareTexts(const std::string& first, const std::string& second) {
  const int bytes = std::memcmp(first.data(), second.data(), std::min(first.size(), second.size()));
  if (bytes != 0) return bytes;
  return first.size() < second.size() ? -1 : 1;
}

}  // namespace

int CSystem::VersionCompare(const std::string& first, const std::string& second,
                            std::size_t count) {
  if (first.empty()) return second.empty() ? 0 : -1;
  if (second.empty()) return 1;
  if (first == second) return 0;
  try {
    return CompareNumbers(first, second, count);
  } catch (...) {
    // Whatever went wrong with the numbers, the texts still have an order.
    return CompareTexts(first, second);
  }
}

}  // namespace Ondrel
