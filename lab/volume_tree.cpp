#include "lab/volume_tree.h"

#include <algorithm>

namespace vorn::lab {

namespace {

bool IsZero(std::uint8_t byte) {
  return byte == 0;
}

}  // namespace

bool operator==(const StoredItem& left, const StoredItem& right) {
  if (left.directory || right.directory) return left.directory == right.directory;
  if (left.content == right.content) return left.zeroTail == right.zeroTail;
  const auto& a = *left.content;
  const auto& b = *right.content;
  if (a.size() + left.zeroTail != b.size() + right.zeroTail) return false;
  const auto [aEnd, bEnd] = std::mismatch(a.begin(), a.end(), b.begin(), b.end());
  if (aEnd != a.end() && bEnd != b.end()) return false;
  return std::all_of(aEnd, a.end(), IsZero) && std::all_of(bEnd, b.end(), IsZero);
}

}  // namespace vorn::lab
