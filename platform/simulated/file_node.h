#pragma once

// What the disks hold: nodes, which are files or folders, and the names that lead to them. A name
// is an entry of a folder, so two hard links are two names of one node.

#include "platform/simulated/copy_on_write.h"
#include "platform/simulated/security_model.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vorn::platform::simulated {

using Bytes = std::vector<std::uint8_t>;
using NodeId = std::uint64_t;  // 0 means no node

/// The place of a name: its folder and its upper-cased form. A volume's root has no name: folder 0.
struct Place {
  NodeId folder = 0;
  std::u16string key;

  friend bool operator==(const Place&, const Place&) = default;
};

enum class ReparseKind { None, Junction, SymbolicLink, Other };

struct Entry {
  std::u16string name;       // as originally written
  std::u16string shortName;  // 8.3 alias; empty when it has none
  NodeId node = 0;
  bool deletePending = false;  // removed when the last handle opened by this name closes

  friend bool operator==(const Entry&, const Entry&) = default;
};

/// In units of 100 ns since 1601, UTC.
struct FileTimes {
  static constexpr std::int64_t kStartOf2026 = 134'116'992'000'000'000;

  std::int64_t creation = kStartOf2026;
  std::int64_t lastAccess = kStartOf2026;
  std::int64_t lastWrite = kStartOf2026;
  std::int64_t change = kStartOf2026;
};

struct Node {
  bool directory = false;
  std::uint32_t attributes = 0;  // without DIRECTORY and REPARSE_POINT, which the node implies
  std::shared_ptr<const Bytes> content = std::make_shared<const Bytes>();
  std::uint64_t zeroTail = 0;  // zero bytes after `content`, which take no memory
  std::map<std::u16string, Entry, std::less<>> entries;  // of a folder, by upper-cased name
  Place place;                                           // of a folder: its own name
  ReparseKind reparse = ReparseKind::None;
  std::u16string reparseTarget;
  SecurityRecord security;
  std::uint32_t volume = 0;  // index in FileSystem::volumes
  std::uint32_t links = 0;   // names of this node
  FileTimes times;

  // What the volume reports instead of the truth, for tests.
  std::optional<std::uint32_t> reportedLinks;
  std::optional<std::uint32_t> reportedType;   // of GetFileType
  std::optional<std::uint64_t> reportedIndex;  // the file index
  std::vector<Bytes> reportedPages;            // a folder's listing, page by page

  /// Equal except for times and for how zeros are stored.
  friend bool operator==(const Node& left, const Node& right);
};

/// The size of a file in bytes.
std::uint64_t FileSize(const Node& node);

/// The file index that the volume reports: the number of the table record in the low 48 bits, its
/// sequence number above.
std::uint64_t FileIndexOf(NodeId id, const Node& node);

/// All nodes by number.
using NodeTable = SharedTable<NodeId, Node>;

}  // namespace vorn::platform::simulated
