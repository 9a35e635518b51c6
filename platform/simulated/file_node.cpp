#include "platform/simulated/file_node.h"

#include <algorithm>
#include <tuple>

namespace vorn::platform::simulated {

namespace {

/// Documented: NTFS keeps the sequence number of a table record in the index's high word. Nodes are
/// never reused here, so it is always the first.
constexpr std::uint64_t kFirstSequence = std::uint64_t{1} << 48;

bool IsZeroFrom(const Bytes& bytes, std::size_t from) {
  return std::all_of(bytes.begin() + static_cast<std::ptrdiff_t>(from), bytes.end(),
                     [](std::uint8_t byte) { return byte == 0; });
}

bool SameContent(const Node& left, const Node& right) {
  if (left.content == right.content) return left.zeroTail == right.zeroTail;
  if (FileSize(left) != FileSize(right)) return false;
  const Bytes& a = *left.content;
  const Bytes& b = *right.content;
  const std::size_t common = std::min(a.size(), b.size());
  return std::equal(a.begin(), a.begin() + static_cast<std::ptrdiff_t>(common), b.begin()) &&
         IsZeroFrom(a, common) && IsZeroFrom(b, common);
}

auto NodeFacts(const Node& node) {
  return std::tie(node.directory, node.attributes, node.entries, node.place, node.reparse,
                  node.reparseTarget, node.security, node.volume, node.links, node.reportedLinks,
                  node.reportedType, node.reportedIndex, node.reportedPages);
}

}  // namespace

bool operator==(const Node& left, const Node& right) {
  return NodeFacts(left) == NodeFacts(right) && SameContent(left, right);
}

std::uint64_t FileSize(const Node& node) {
  return node.content->size() + node.zeroTail;
}

std::uint64_t FileIndexOf(NodeId id, const Node& node) {
  return node.reportedIndex.value_or(kFirstSequence | id);
}

}  // namespace vorn::platform::simulated
