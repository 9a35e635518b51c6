#pragma once

// Volumes, names and files in machine.json: everything except the content of files, which is in the
// machine's folder.

#include "lab/facts.h"
#include "platform/simulated/file_system.h"

#include <optional>
#include <string>
#include <vector>

namespace vorn::lab {

/// File times, as the document writes them.
struct FileTimesFacts {
  std::int64_t creation = 0;
  std::int64_t lastAccess = 0;
  std::int64_t lastWrite = 0;
  std::int64_t change = 0;

  friend bool operator==(const FileTimesFacts&, const FileTimesFacts&) = default;
};

/// What the document says about one name of a volume, and about the file or folder it leads to.
struct FileFacts {
  std::u16string path;                               // below the volume's root, whose path is empty
  std::optional<platform::simulated::NodeId> index;  // number of the file or folder
  std::string stored;  // name in the host's folder, when it is not the usual one

  // About the name.
  std::u16string shortName;
  bool deletePending = false;

  // About the file or folder; given once, at its first name.
  std::optional<platform::simulated::SecurityRecord> security;  // inherited when missing
  std::optional<std::uint32_t> attributes;                      // the usual ones when missing
  platform::simulated::ReparseKind reparse = platform::simulated::ReparseKind::None;
  std::u16string target;
  std::optional<FileTimesFacts> times;
  std::optional<std::uint32_t> reportedLinks;
  std::optional<std::uint32_t> reportedType;
  std::optional<std::uint64_t> reportedIndex;
  std::vector<Bytes> reportedPages;

  /// Whether any of this describes the file rather than the name.
  bool SaysOfNode() const;
};

struct VolumeFacts {
  platform::simulated::Volume volume;  // without its root
  std::string folder;                  // name in the machine's folder
  std::vector<FileFacts> files;
};

/// A file that another process holds open.
struct HeldFile {
  std::u16string path;
  std::uint32_t access = 0;
  std::uint32_t share = 0;
  std::uint64_t until = 0;
  std::u16string description;
};

void Describe(FactWriter& facts, VolumeFacts& volume);
void Describe(FactReader& facts, VolumeFacts& volume);
void Describe(FactWriter& facts, HeldFile& held);
void Describe(FactReader& facts, HeldFile& held);

}  // namespace vorn::lab
