#pragma once

// Volumes, names and files in machine.json: everything about them but the content of files, which
// lies in the machine's folder.

#include "lab/facts.h"
#include "platform/simulated/file_system.h"

#include <optional>
#include <string>
#include <vector>

namespace vorn::lab {

/// File times as the document has them.
struct FileTimesFacts {
  std::int64_t creation = 0;
  std::int64_t lastAccess = 0;
  std::int64_t lastWrite = 0;
  std::int64_t change = 0;

  friend bool operator==(const FileTimesFacts&, const FileTimesFacts&) = default;
};

/// What is said of one name of a volume, and of the file or folder that it leads to.
struct FileFacts {
  std::u16string path;                               // below the volume's root, which is empty
  std::optional<platform::simulated::NodeId> index;  // number of the file or folder
  std::string stored;  // name in the host's folder, when it is not the usual one

  // Of the name.
  std::u16string shortName;
  bool deletePending = false;

  // Of the file or folder. Said once, where its first name stands.
  std::optional<platform::simulated::SecurityRecord> security;  // inherited when there is none
  std::optional<std::uint32_t> attributes;  // the usual ones when there are none
  platform::simulated::ReparseKind reparse = platform::simulated::ReparseKind::None;
  std::u16string target;
  std::optional<FileTimesFacts> times;
  std::optional<std::uint32_t> reportedLinks;
  std::optional<std::uint32_t> reportedType;
  std::optional<std::uint64_t> reportedIndex;
  std::vector<Bytes> reportedPages;

  /// Whether anything is said that belongs to the file rather than to the name.
  bool SaysOfNode() const;
};

struct VolumeFacts {
  platform::simulated::Volume volume;  // without its root
  std::string folder;                  // in the machine's folder
  std::vector<FileFacts> files;
};

/// A file that another process holds open.
struct HeldFile {
  std::u16string path;
  std::uint32_t access = 0;
  std::uint32_t share = 0;
  std::u16string description;
};

void Describe(FactWriter& facts, VolumeFacts& volume);
void Describe(FactReader& facts, VolumeFacts& volume);
void Describe(FactWriter& facts, HeldFile& held);
void Describe(FactReader& facts, HeldFile& held);

}  // namespace vorn::lab
