#pragma once

// The simulated machine's volumes and files: what is on the disks, and who holds what open.
//
// A node is a file or a folder; names are entries of folders, so that hard links are two names of
// one node. Names are found without regard to ASCII case and kept as written. Content is shared
// until it is written, so that a machine is cheap to copy.

#include "platform/simulated/security_model.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vorn::platform::simulated {

using Bytes = std::vector<std::uint8_t>;
using NodeId = std::uint64_t;

enum class ReparseKind { None, Junction, SymbolicLink, Other };

struct Entry {
  std::u16string name;       // as written
  std::u16string shortName;  // 8.3 alias, empty when there is none
  NodeId node = 0;

  friend bool operator==(const Entry&, const Entry&) = default;
};

struct Node {
  bool directory = false;
  std::uint32_t attributes = 0;  // without DIRECTORY and REPARSE_POINT, which follow from the node
  std::shared_ptr<const Bytes> content = std::make_shared<const Bytes>();
  std::map<std::u16string, Entry> entries;  // of a folder, by upper-cased name
  ReparseKind reparse = ReparseKind::None;
  std::u16string reparseTarget;
  SecurityRecord security;
  std::uint32_t links = 1;                     // names that lead here
  std::optional<std::uint32_t> reportedLinks;  // what the volume says instead, for tests
  bool deletePending = false;
};

struct Volume {
  char16_t letter = u'C';  // as DOS device; 0 for none
  std::u16string device;   // \Device\HarddiskVolume3
  std::u16string guid;     // 01234567-89ab-cdef-0123-456789abcdef
  std::uint32_t serial = 0x5A17C0DE;
  bool readOnly = false;
  std::uint64_t freeBytes = std::uint64_t{64} << 30;
  NodeId root = 0;
};

/// Who has a node open, and how. Opens of other processes are part of the world.
struct Open {
  NodeId node = 0;
  std::uint32_t access = 0;
  std::uint32_t share = 0;
  bool foreign = false;  // another process's
  std::u16string description;
};

struct FileSystem {
  std::vector<Volume> volumes;
  std::map<std::u16string, std::u16string> dosDevices;  // upper-cased "C:" to its NT target
  std::map<NodeId, Node> nodes;
  NodeId nextNode = 1;
  std::map<std::uint64_t, Open> opens;
  std::uint64_t nextOpen = 1;
  std::u16string windowsFolder = u"C:\\Windows";
  std::u16string tempFolder = u"C:\\Users\\operator\\AppData\\Local\\Temp\\";
  std::u16string modulePath = u"C:\\Program Files\\VORN\\bin\\vorn_devnode.exe";
  std::u16string currentFolder = u"C:\\";
};

// ------------------------------------------------------------------------------------------------
// World building and looking, by DOS path ("C:\\a\\b"). These are the hand of whoever sets up or
// examines a machine: they ask no access list and respect no share mode.

/// Adds a volume with an empty root and its drive letter; returns its root.
NodeId AddVolume(FileSystem& files, char16_t letter, std::u16string device, std::u16string guid);

/// The node at a path; nothing when there is none. Links are not followed.
std::optional<NodeId> FindNode(const FileSystem& files, std::u16string_view path);

/// Creates every missing folder of a path with inherited security; returns the last.
NodeId MakeFolder(FileSystem& files, std::u16string_view path);

/// Creates or replaces a file, and the folders above it; returns it.
NodeId PutFile(FileSystem& files, std::u16string_view path, Bytes content);
NodeId PutFile(FileSystem& files, std::u16string_view path, std::string_view content);

/// Gives a file a second name.
void AddHardLink(FileSystem& files, std::u16string_view existing, std::u16string_view name);

/// Puts a link at `path`: a junction or symbolic link to `target`, or another reparse point.
NodeId PutLink(FileSystem& files, std::u16string_view path, ReparseKind kind,
               std::u16string_view target, bool directory);

/// Removes a name, with everything below it.
void RemovePath(FileSystem& files, std::u16string_view path);

/// Moves a name to another place of the same volume.
void MovePath(FileSystem& files, std::u16string_view from, std::u16string_view to);

/// Content of a file; nothing when there is no file.
std::optional<Bytes> ReadWholeFile(const FileSystem& files, std::u16string_view path);

/// Names in a folder, in its listing order; empty when there is no folder.
std::vector<std::u16string> ListFolder(const FileSystem& files, std::u16string_view path);

/// Another process opens a node and keeps it open; returns the open's number.
std::uint64_t HoldOpen(FileSystem& files, std::u16string_view path, std::uint32_t access,
                       std::uint32_t share);

}  // namespace vorn::platform::simulated
