#pragma once

// The simulated machine's volumes and files: what is on the disks, and who has what open.
//
// Names are looked up without regard to case, and stored as written.

#include "platform/simulated/file_node.h"

#include <compare>
#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vorn::platform::simulated {

struct Volume {
  char16_t letter = u'C';  // drive letter; 0 when it has none
  std::u16string device;   // \Device\HarddiskVolume3
  std::u16string guid;     // 01234567-89ab-cdef-0123-456789abcdef; empty when it has none
  std::uint32_t serial = 0x5A17C0DE;
  bool readOnly = false;
  bool scattersListings = false;  // folders list their names in an order that no sort gives
  bool omitsDots = false;         // no folder lists "." and ".."
  std::uint64_t freeBytes = std::uint64_t{64} << 30;
  NodeId root = 0;
  std::optional<std::u16string> reportedRoot;  // reported instead of \\?\Volume{guid}\, for tests

  friend bool operator==(const Volume&, const Volume&) = default;
};

/// Identifies one open of a node. Sorted by node, so that all opens of a node are adjacent.
struct OpenKey {
  NodeId node = 0;
  std::uint64_t number = 0;

  // NOLINTNEXTLINE(modernize-use-nullptr): the check takes its zero for a pointer
  friend auto operator<=>(const OpenKey&, const OpenKey&) = default;
};

/// One open of a node. Opens of other processes are part of the machine.
struct Open {
  Place place;  // the name it was opened by
  std::uint32_t access = 0;
  std::uint32_t share = 0;
  bool foreign = false;     // held by another process
  std::uint64_t until = 0;  // the tick at which that process closes it; 0: it keeps it open
  std::u16string description;

  friend bool operator==(const Open&, const Open&) = default;
};

/// A tick that does not come.
inline constexpr std::uint64_t kNever = std::numeric_limits<std::uint64_t>::max();

struct FileSystem {
  std::vector<Volume> volumes;
  std::map<std::u16string, std::u16string> dosDevices;  // upper-cased "C:" to its NT target
  NodeTable nodes;
  NodeId nextNode = 5;  // as on NTFS, whose volumes use the first numbers for their own files
  std::map<OpenKey, Open> opens;
  std::uint64_t nextOpen = 1;
  std::uint64_t nextRelease = kNever;  // no other process closes anything before this tick
  std::uint64_t scanMs = 0;  // how long a scanner holds what was just written; 0: there is none
  std::u16string windowsFolder = u"C:\\Windows";
  std::u16string tempFolder = u"C:\\Users\\operator\\AppData\\Local\\Temp\\";
  std::u16string modulePath = u"C:\\Program Files\\VORN\\bin\\vorn_devnode.exe";
  std::u16string currentFolder = u"C:\\";

  /// Equal except for file times and the numbers of the next node and the next open.
  friend bool operator==(const FileSystem& left, const FileSystem& right);
};

// ------------------------------------------------------------------------------------------------
// Building and examining machines, by path: "C:\\a\\b", "\\\\?\\C:\\a\\b" or below a volume GUID
// root. These functions serve whoever sets up or inspects a machine, so they check no access list
// and no share mode. A path on a volume that does not exist is a mistake of the caller: they throw
// std::invalid_argument, unless the function says otherwise.

/// Adds a volume with an empty root and its drive letter (0 for none); returns its root.
NodeId AddVolume(FileSystem& files, char16_t letter, std::u16string device, std::u16string guid);

/// The node at a path; nothing when there is none. Links are not followed.
std::optional<NodeId> FindNode(const FileSystem& files, std::u16string_view path);

/// The node at a path, which must exist, for reading or for writing.
const Node& NodeAt(const FileSystem& files, std::u16string_view path);
Node& NodeAt(FileSystem& files, std::u16string_view path);

/// Creates every missing folder of a path, with inherited security; returns the last.
NodeId MakeFolder(FileSystem& files, std::u16string_view path);

/// Creates a file and the folders above it, or replaces the content of an existing file, which
/// keeps its index and security (remove it first to get another file of that name). Returns the
/// file.
NodeId PutFile(FileSystem& files, std::u16string_view path, Bytes content);
NodeId PutFile(FileSystem& files, std::u16string_view path, std::string_view content);

/// As PutFile, with `size` zero bytes that take no memory.
NodeId PutEmptyFile(FileSystem& files, std::u16string_view path, std::uint64_t size);

/// Gives a file a second name.
void AddHardLink(FileSystem& files, std::u16string_view existing, std::u16string_view name);

/// Puts a link at `path`: a junction or symbolic link to `target`, or another reparse point.
NodeId PutLink(FileSystem& files, std::u16string_view path, ReparseKind kind,
               std::u16string_view target, bool directory);

/// Removes a name with everything below it; does nothing when there is none. Open files go when
/// their last handle closes.
void RemovePath(FileSystem& files, std::u16string_view path);

/// Moves a name to another place on the same volume, replacing whatever has that name.
void MovePath(FileSystem& files, std::u16string_view from, std::u16string_view to);

/// Marks a name for deletion: it goes when the last handle opened by it closes.
void MarkDeletePending(FileSystem& files, std::u16string_view path);

/// Gives a name an 8.3 alias.
void SetShortName(FileSystem& files, std::u16string_view path, std::u16string_view shortName);

/// The content of a file; nothing when there is no such file.
std::optional<Bytes> ReadWholeFile(const FileSystem& files, std::u16string_view path);

/// The names in a folder in listing order; empty when there is no such folder.
std::vector<std::u16string> ListFolder(const FileSystem& files, std::u16string_view path);

/// Another process opens a node and keeps it open, until that tick unless it is 0; returns the
/// number of the open.
std::uint64_t HoldOpen(FileSystem& files, std::u16string_view path, std::uint32_t access,
                       std::uint32_t share, std::uint64_t until = 0);

/// Another process renames a file into a folder, or links one there, until that tick: for that it
/// opens the folder. False when a present open of the folder does not allow it.
bool BeginRenameInto(FileSystem& files, std::u16string_view folder, std::uint64_t until);

/// The other process closes it.
void ReleaseHold(FileSystem& files, std::uint64_t number);

/// Other processes close what they held until this tick.
void ReleaseHoldsUntil(FileSystem& files, std::uint64_t tick);

/// Opens of this machine's current process, which are not foreign.
std::size_t CountOwnOpens(const FileSystem& files);

// ------------------------------------------------------------------------------------------------
// What Windows itself reads for a program: by path, following links, subject to the share modes of
// all opens, but without access checks.

/// The content of a file as a system component reads it. Nothing, with a Win32 error code in
/// `*error` (which may be null), when it cannot be opened.
std::optional<Bytes> ReadAsSystem(const FileSystem& files, std::u16string_view path,
                                  std::uint32_t* error);

}  // namespace vorn::platform::simulated
