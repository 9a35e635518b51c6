#pragma once

// VolumeTree: what a volume holds as it lies in the machine's folder on the host: plain files and
// folders by their stored path. The rest of what the volume says of them is in machine.json.

#include "platform/simulated/file_node.h"

#include <cstdint>
#include <map>
#include <memory>
#include <string>

namespace vorn::lab {

struct StoredItem {
  bool directory = false;
  std::shared_ptr<const platform::simulated::Bytes> content;  // of a file
  std::uint64_t zeroTail = 0;  // zero bytes behind the content, stored as a hole

  /// Equal in what a reader of the file sees.
  friend bool operator==(const StoredItem& left, const StoredItem& right);
};

/// By path with slashes, below the volume's folder; a folder stands before what is in it.
using VolumeTree = std::map<std::string, StoredItem>;

}  // namespace vorn::lab
