#include "Host/Linux/Volumes/MapperTargets.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <functional>
#include <iterator>

namespace Ondrel::Host {

namespace {

// What a word of the parameters is: '-' nothing of interest, 'D' a device that is followed by the
// sector at which the target begins on it, 'd' one on which the target lies sector by sector, and
// 'a' one on which it may lie anywhere. The words after the last are not of interest.
struct Pattern {
  std::string_view type;
  std::string_view words;
};

constexpr std::array kPatterns = {
    Pattern{"linear", "D"},     Pattern{"crypt", "---D"},  // Cipher, key, first vector.
    Pattern{"flakey", "D"},     Pattern{"delay", "D"},
    Pattern{"dust", "D"},       Pattern{"ebs", "D"},
    Pattern{"integrity", "a"},  // Data and checksums are interleaved.
    Pattern{"verity", "-d"},    Pattern{"log-writes", "d"},
    Pattern{"era", "-d"},       Pattern{"snapshot-origin", "d"},
    Pattern{"snapshot", "da"},  Pattern{"snapshot-merge", "da"},
    Pattern{"cache", "-ad"},    Pattern{"writecache", "-da"},
    Pattern{"clone", "-da"},    Pattern{"thin", "a"},
    Pattern{"thin-pool", "-d"},
};

const Pattern* FindPattern(std::string_view type) {
  const auto* const found = std::ranges::find(kPatterns, type, &Pattern::type);
  return found != kPatterns.end() ? found : nullptr;
}

std::optional<std::uint64_t> Number(std::string_view text) {
  std::uint64_t number = 0;
  const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || rest != text.data() + text.size()) return std::nullopt;
  return number;
}

// "8:1"
std::optional<DeviceNumber> Device(std::string_view text) {
  const std::size_t colon = text.find(':');
  if (colon == std::string_view::npos) return std::nullopt;
  const auto major = Number(text.substr(0, colon));
  const auto minor = Number(text.substr(colon + 1));
  if (!major || !minor) return std::nullopt;
  return DeviceNumber(static_cast<unsigned>(*major), static_cast<unsigned>(*minor));
}

// The words of the parameters, one after the other. A word that is not there is empty, which is
// neither a number nor a device.
class Words {
public:
  explicit Words(std::string_view text) : m_rest(text) {}

  std::string_view Next() {
    m_rest.remove_prefix(std::min(m_rest.find_first_not_of(' '), m_rest.size()));
    const std::string_view word = m_rest.substr(0, m_rest.find(' '));
    m_rest.remove_prefix(word.size());
    return word;
  }

  std::optional<std::uint64_t> NextNumber() { return Number(Next()); }
  std::optional<DeviceNumber> NextDevice() { return Device(Next()); }

  bool Skip(std::uint64_t count) {
    for (; count > 0; --count)
      if (Next().empty()) return false;
    return true;
  }

  /// A number, and as many words after it.
  bool SkipCounted() {
    const auto count = NextNumber();
    return count && Skip(*count);
  }

private:
  std::string_view m_rest;
};

using Parts = std::vector<PartBeneath>;

// What a target of one type reads from its words. False for words of another form.
using Reader = bool (*)(Words& words, const MapperTarget& target, std::uint64_t start,
                        std::uint64_t count, Parts& parts);

bool AddPlaced(Words& words, std::uint64_t start, std::uint64_t count, Parts& parts) {
  const auto device = words.NextDevice();
  const auto offset = words.NextNumber();
  if (!device || !offset) return false;
  parts.push_back({*device, *offset + start, count});
  return true;
}

bool ReadPattern(std::string_view pattern, Words& words, std::uint64_t start, std::uint64_t count,
                 Parts& parts) {
  return std::ranges::all_of(pattern, [&](char kind) {
    if (kind == '-') return words.Skip(1);
    if (kind == 'D') return AddPlaced(words, start, count, parts);
    const auto device = words.NextDevice();
    if (!device) return false;
    if (kind == 'd')
      parts.push_back({*device, start, count});
    else
      parts.push_back({*device, 0, std::nullopt});
    return true;
  });
}

// Stripes, sectors of a chunk, then device and offset of each.
bool ReadStriped(Words& words, const MapperTarget& target, std::uint64_t start, std::uint64_t count,
                 Parts& parts) {
  const std::uint64_t stripes = words.NextNumber().value_or(0);
  const std::uint64_t chunk = words.NextNumber().value_or(0);
  if (stripes == 0 || chunk == 0) return false;
  // Whole chunks: the rows of them that the range touches.
  const std::uint64_t row = stripes * chunk;
  const std::uint64_t first = start / row * chunk;
  const std::uint64_t last = (start + count + row - 1) / row * chunk;
  const std::uint64_t length = std::min(last, target.count / stripes) - first;
  for (std::uint64_t stripe = 0; stripe < stripes; ++stripe)
    if (!AddPlaced(words, first, length, parts)) return false;
  return true;
}

// Features, the handler's arguments, the number of groups and the next one; of each group the
// selector with its arguments, and its paths with theirs. All paths lead to the same sectors.
bool ReadMultipath(Words& words, const MapperTarget&, std::uint64_t start, std::uint64_t count,
                   Parts& parts) {
  if (!words.SkipCounted() || !words.SkipCounted()) return false;
  const auto groups = words.NextNumber();
  if (!groups || !words.Skip(1)) return false;
  for (std::uint64_t group = 0; group < *groups; ++group) {
    if (!words.Skip(1) || !words.SkipCounted()) return false;
    const auto paths = words.NextNumber();
    const auto arguments = words.NextNumber();
    if (!paths || !arguments) return false;
    for (std::uint64_t path = 0; path < *paths; ++path) {
      const auto device = words.NextDevice();
      if (!device || !words.Skip(*arguments)) return false;
      parts.push_back({*device, start, count});
    }
  }
  return true;
}

// The log's type with its arguments, then device and offset of each side.
bool ReadMirror(Words& words, const MapperTarget&, std::uint64_t start, std::uint64_t count,
                Parts& parts) {
  if (!words.Skip(1) || !words.SkipCounted()) return false;
  const auto sides = words.NextNumber();
  for (std::uint64_t side = 0; sides && side < *sides; ++side)
    if (!AddPlaced(words, start, count, parts)) return false;
  return sides.has_value();
}

// The level with its arguments, then the device of the bookkeeping and that of the data of each
// member, "-" for one that is not there.
bool ReadRaid(Words& words, const MapperTarget&, std::uint64_t start, std::uint64_t count,
              Parts& parts) {
  const bool isMirror = words.Next() == "raid1";
  if (!words.SkipCounted()) return false;
  const auto members = words.NextNumber();
  for (std::uint64_t member = 0; members && member < *members; ++member) {
    if (!words.Skip(1)) return false;
    const std::string_view data = words.Next();
    if (data == "-") continue;
    const auto device = Device(data);
    if (!device) return false;
    // A mirror's members hold the same at the same place; others hold a share of every part.
    if (isMirror)
      parts.push_back({*device, start, count});
    else
      parts.push_back({*device, 0, std::nullopt});
  }
  return members.has_value();
}

// On no device.
bool ReadNothing(Words&, const MapperTarget&, std::uint64_t, std::uint64_t, Parts&) { return true; }

struct SpecialTarget {
  std::string_view type;
  Reader read;
};

constexpr std::array kSpecialTargets = {
    SpecialTarget{"striped", ReadStriped}, SpecialTarget{"multipath", ReadMultipath},
    SpecialTarget{"mirror", ReadMirror},   SpecialTarget{"raid", ReadRaid},
    SpecialTarget{"zero", ReadNothing},    SpecialTarget{"error", ReadNothing},
};

const SpecialTarget* FindSpecial(std::string_view type) {
  const auto* const found = std::ranges::find(kSpecialTargets, type, &SpecialTarget::type);
  return found != kSpecialTargets.end() ? found : nullptr;
}

}  // namespace

std::string ParametersToKeep(std::string_view type, std::string_view parameters) {
  if (FindSpecial(type) != nullptr) return std::string(parameters);
  const Pattern* const pattern = FindPattern(type);
  if (pattern == nullptr) return {};
  Words words(parameters);
  std::string kept;
  const auto keep = [&kept](std::string_view word) {
    if (!kept.empty() && !word.empty()) kept += ' ';
    kept += word;
  };
  for (const char kind : pattern->words) {
    const std::string_view word = words.Next();
    keep(kind == '-' && !word.empty() ? "-" : word);
    if (kind == 'D') keep(words.Next());
  }
  return kept;
}

bool IsKnownTarget(std::string_view type) {
  return FindPattern(type) != nullptr || FindSpecial(type) != nullptr;
}

std::optional<std::vector<PartBeneath>> PartsBeneath(const MapperTarget& target,
                                                     std::uint64_t start, std::uint64_t count) {
  Words words(target.parameters);
  Parts parts;
  const SpecialTarget* const special = FindSpecial(target.type);
  const Pattern* const pattern = FindPattern(target.type);
  const bool isRead = special != nullptr   ? special->read(words, target, start, count, parts)
                      : pattern != nullptr ? ReadPattern(pattern->words, words, start, count, parts)
                                           : false;
  if (!isRead) return std::nullopt;
  return parts;
}

}  // namespace Ondrel::Host
