#pragma once

// The simulated machine's volumes and files: what is on the disks, and who holds what open.
//
// Names are found without regard to ASCII case and kept as written.

#include "platform/simulated/file_node.h"

#include <compare>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vorn::platform::simulated {

struct Volume {
  char16_t letter = u'C';  // as DOS device; 0 for none
  std::u16string device;   // \Device\HarddiskVolume3
  std::u16string guid;     // 01234567-89ab-cdef-0123-456789abcdef; empty for none
  std::uint32_t serial = 0x5A17C0DE;
  bool readOnly = false;
  std::uint64_t freeBytes = std::uint64_t{64} << 30;
  NodeId root = 0;
  std::optional<std::u16string> reportedRoot;  // said instead of \\?\Volume{guid}\, for tests

  friend bool operator==(const Volume&, const Volume&) = default;
};

/// One open of a node: ordered by node, so that all opens of one stand together.
struct OpenKey {
  NodeId node = 0;
  std::uint64_t number = 0;

  // NOLINTNEXTLINE(modernize-use-nullptr): the check takes its zero for a pointer
  friend auto operator<=>(const OpenKey&, const OpenKey&) = default;
};

/// Who has a node open, and how. Opens of other processes are part of the world.
struct Open {
  Place place;  // the name by which it was opened
  std::uint32_t access = 0;
  std::uint32_t share = 0;
  bool foreign = false;  // another process's
  std::u16string description;

  friend bool operator==(const Open&, const Open&) = default;
};

struct FileSystem {
  std::vector<Volume> volumes;
  std::map<std::u16string, std::u16string> dosDevices;  // upper-cased "C:" to its NT target
  NodeTable nodes;
  NodeId nextNode = 5;  // as on NTFS, where the first numbers are the volume's own files
  std::map<OpenKey, Open> opens;
  std::uint64_t nextOpen = 1;
  std::u16string windowsFolder = u"C:\\Windows";
  std::u16string tempFolder = u"C:\\Users\\operator\\AppData\\Local\\Temp\\";
  std::u16string modulePath = u"C:\\Program Files\\VORN\\bin\\vorn_devnode.exe";
  std::u16string currentFolder = u"C:\\";

  /// Equal in everything but file times and the numbers that the next node and open will get.
  friend bool operator==(const FileSystem& left, const FileSystem& right);
};

// ------------------------------------------------------------------------------------------------
// World building and looking, by path: "C:\\a\\b", "\\\\?\\C:\\a\\b" or below a volume GUID root.
// These are the hand of whoever sets up or examines a machine: they ask no access list and respect
// no share mode. A path whose volume does not exist is a mistake of the caller and throws
// std::invalid_argument, unless the function says otherwise.

/// Adds a volume with an empty root and its drive letter (0 for none); returns its root.
NodeId AddVolume(FileSystem& files, char16_t letter, std::u16string device, std::u16string guid);

/// The node at a path; nothing when there is none. Links are not followed.
std::optional<NodeId> FindNode(const FileSystem& files, std::u16string_view path);

/// The node at a path, which must exist, to be read or to be written to.
const Node& NodeAt(const FileSystem& files, std::u16string_view path);
Node& NodeAt(FileSystem& files, std::u16string_view path);

/// Creates every missing folder of a path with inherited security; returns the last.
NodeId MakeFolder(FileSystem& files, std::u16string_view path);

/// Creates a file, and the folders above it, or gives an existing file new content, which leaves
/// its index and security as they are (remove it first for another file of that name). Returns it.
NodeId PutFile(FileSystem& files, std::u16string_view path, Bytes content);
NodeId PutFile(FileSystem& files, std::u16string_view path, std::string_view content);

/// As PutFile, with `size` zero bytes that take no memory.
NodeId PutEmptyFile(FileSystem& files, std::u16string_view path, std::uint64_t size);

/// Gives a file a second name.
void AddHardLink(FileSystem& files, std::u16string_view existing, std::u16string_view name);

/// Puts a link at `path`: a junction or symbolic link to `target`, or another reparse point.
NodeId PutLink(FileSystem& files, std::u16string_view path, ReparseKind kind,
               std::u16string_view target, bool directory);

/// Removes a name, with everything below it; nothing when there is none. What is held open goes
/// when its last handle closes.
void RemovePath(FileSystem& files, std::u16string_view path);

/// Moves a name to another place of the same volume, over whatever has that name.
void MovePath(FileSystem& files, std::u16string_view from, std::u16string_view to);

/// Marks a name as being deleted: it goes when the last handle that was opened by it closes.
void MarkDeletePending(FileSystem& files, std::u16string_view path);

/// Gives a name an 8.3 alias.
void SetShortName(FileSystem& files, std::u16string_view path, std::u16string_view shortName);

/// Content of a file; nothing when there is no file.
std::optional<Bytes> ReadWholeFile(const FileSystem& files, std::u16string_view path);

/// Names in a folder, in its listing order; empty when there is no folder.
std::vector<std::u16string> ListFolder(const FileSystem& files, std::u16string_view path);

/// Another process opens a node and keeps it open; returns the open's number.
std::uint64_t HoldOpen(FileSystem& files, std::u16string_view path, std::uint32_t access,
                       std::uint32_t share);

/// The other process closes it.
void ReleaseHold(FileSystem& files, std::uint64_t number);

/// Opens of this machine's current process, which are not foreign.
std::size_t CountOwnOpens(const FileSystem& files);

// ------------------------------------------------------------------------------------------------
// What Windows itself reads for a program: by path, following links, against the share modes of all
// opens, under no access list.

/// Content of a file as a system component reads it; nothing, with a Win32 error code in `*error`
/// (which may be null), when it cannot be opened.
std::optional<Bytes> ReadAsSystem(const FileSystem& files, std::u16string_view path,
                                  std::uint32_t* error);

}  // namespace vorn::platform::simulated
