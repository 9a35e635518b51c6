#pragma once

// VolumeTree: a volume's files and folders as they lie in the machine's folder on the host, by
// stored path. machine.json holds the rest of what describes them.

#include "platform/simulated/file_node.h"

#include <cstdint>
#include <map>
#include <memory>
#include <string>

namespace vorn::lab {

struct StoredItem {
  bool directory = false;
  std::shared_ptr<const platform::simulated::Bytes> content;  // of a file
  std::uint64_t zeroTail = 0;  // zero bytes after the content, stored as a hole

  /// Equal to anyone who reads the file.
  friend bool operator==(const StoredItem& left, const StoredItem& right);
};

/// By path with slashes, below the volume's folder; a folder comes before its content.
using VolumeTree = std::map<std::string, StoredItem>;

}  // namespace vorn::lab
