#include "Host/Linux/Services/VersionRecord.h"

#include <cstring>
#include <optional>
#include <string_view>
#include <strings.h>

namespace Ondrel::Host {

namespace {

constexpr std::size_t kHeadSize = 4;
constexpr char kRootKey[] = "VS_VERSION_INFO";

constexpr std::size_t Padded(std::size_t size) { return (size + 3) & ~std::size_t{3}; }

std::uint16_t NumberAt(std::span<const char> bytes, std::size_t offset) {
  std::uint16_t number;
  std::memcpy(&number, bytes.data() + offset, sizeof number);
  return number;
}

struct Node {
  std::string_view key;
  std::span<const char> value;
  std::span<const char> children;
};

// The node at the beginning of `bytes`; nothing where it reaches past their end.
std::optional<Node> NodeAt(std::span<const char> bytes) {
  if (bytes.size() < kHeadSize) return std::nullopt;
  const std::size_t length = NumberAt(bytes, 0);
  const std::size_t valueLength = NumberAt(bytes, 2);
  if (length < kHeadSize || length > bytes.size()) return std::nullopt;
  const std::span<const char> whole = bytes.first(length);

  const std::size_t room = length - kHeadSize;
  const std::size_t keyLength = strnlen(whole.data() + kHeadSize, room);
  if (keyLength == room) return std::nullopt;
  const std::size_t valueBegin = Padded(kHeadSize + keyLength + 1);
  const std::size_t childrenBegin = Padded(valueBegin + valueLength);
  if (valueBegin > length || valueLength > length - valueBegin) return std::nullopt;
  return Node{
      .key = {whole.data() + kHeadSize, keyLength},
      .value = whole.subspan(valueBegin, valueLength),
      .children = childrenBegin < length ? whole.subspan(childrenBegin) : std::span<const char>()};
}

bool IsSameKey(std::string_view left, std::string_view right) {
  return left.size() == right.size() && strncasecmp(left.data(), right.data(), left.size()) == 0;
}

std::optional<Node> ChildOf(const Node& parent, std::string_view key) {
  std::span<const char> rest = parent.children;
  while (!rest.empty()) {
    const std::optional<Node> child = NodeAt(rest);
    if (!child) return std::nullopt;
    if (IsSameKey(child->key, key)) return child;
    const std::size_t step = Padded(NumberAt(rest, 0));
    if (step >= rest.size()) return std::nullopt;
    rest = rest.subspan(step);
  }
  return std::nullopt;
}

void AppendNumber(std::vector<char>& bytes, std::size_t number) {
  bytes.push_back(static_cast<char>(number & 0xFF));
  bytes.push_back(static_cast<char>(number >> 8 & 0xFF));
}

std::vector<char> MakeNode(const char* key, const std::vector<char>& value,
                           const std::vector<char>& children) {
  std::vector<char> node(2);
  AppendNumber(node, value.size());
  node.insert(node.end(), key, key + std::strlen(key) + 1);
  node.resize(Padded(node.size()));
  node.insert(node.end(), value.begin(), value.end());
  node.resize(Padded(node.size()));
  node.insert(node.end(), children.begin(), children.end());
  const auto length = static_cast<std::uint16_t>(node.size());
  std::memcpy(node.data(), &length, sizeof length);
  return node;
}

}  // namespace

std::vector<char> MakeVersionRecord(const std::string& version) {
  // All lengths have 16 bits.
  constexpr std::size_t kLongestVersion = 1024;
  const std::string cut = version.substr(0, kLongestVersion);
  const std::vector<char> text(cut.c_str(), cut.c_str() + cut.size() + 1);
  std::vector<char> translation;
  AppendNumber(translation, kVersionLanguage);
  AppendNumber(translation, kVersionCodePage);

  const std::vector<char> strings =
      MakeNode("StringFileInfo", {}, MakeNode("040904B0", {}, MakeNode("FileVersion", text, {})));
  const std::vector<char> variables =
      MakeNode("VarFileInfo", {}, MakeNode("Translation", translation, {}));
  std::vector<char> children = strings;
  children.insert(children.end(), variables.begin(), variables.end());
  return MakeNode(kRootKey, {}, children);
}

bool FindVersionValue(std::span<const char> record, const char* key, std::span<const char>& value) {
  std::optional<Node> node = NodeAt(record);
  bool isText = false;
  std::string_view path = key;
  while (node && !path.empty()) {
    if (path.front() == '\\') {
      path.remove_prefix(1);
      continue;
    }
    const std::string_view step = path.substr(0, path.find('\\'));
    path.remove_prefix(step.size());
    isText = isText || IsSameKey(step, "StringFileInfo");
    node = ChildOf(*node, step);
  }
  if (!node) return false;
  if (isText && (node->value.empty() || node->value.back() != '\0')) return false;
  value = node->value;
  return true;
}

}  // namespace Ondrel::Host
