#pragma once

// The tree of names and nodes, as the volume itself changes it: names are added and removed, nodes
// come and go with their last name and their last open, space is counted.

#include "platform/simulated/file_system.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace vorn::platform::simulated {

/// The place of a name in a folder.
Place PlaceOf(NodeId folder, std::u16string_view name);

/// The entry of a folder by its name or its 8.3 alias; null when there is none. `*key`, when given,
/// gets the upper-cased name of the entry.
const Entry* FindEntry(const Node& folder, std::u16string_view name, std::u16string* key = nullptr);

/// The entry at a place; null when there is none.
const Entry* FindEntry(const FileSystem& files, const Place& place);

/// A node without a name, on the volume of `folder`.
NodeId NewNode(FileSystem& files, NodeId folder, bool directory, SecurityRecord security);

/// Gives a node a name in a folder that does not have that name.
void AddEntry(FileSystem& files, NodeId folder, std::u16string_view name, NodeId node);

/// Removes a name. The node goes with its last name, once nobody has it open.
void RemoveEntry(FileSystem& files, const Place& place);

bool IsOpen(const FileSystem& files, NodeId node);

/// Ends an open; a name that was being deleted goes with the last open by it.
void ReleaseOpen(FileSystem& files, const OpenKey& key);

/// The volume that a node is on.
const Volume& VolumeOf(const FileSystem& files, const Node& node);
Volume& VolumeOf(FileSystem& files, const Node& node);

/// Path of a place from its volume's root: "\" for the root, "\a\b"; empty when the name, or a
/// folder above it, no longer exists.
std::u16string PathBelowRoot(const FileSystem& files, const Place& place);

/// Replaces a file's content and size; the volume's free bytes follow, never below none.
void ReplaceContent(FileSystem& files, NodeId file, Bytes content, std::uint64_t zeroTail);

/// Cuts or extends a file with zeros. False when the volume has no room.
bool ResizeContent(FileSystem& files, NodeId file, std::uint64_t size);

/// Writes bytes at a position; what lies between the end and the position becomes zeros. False when
/// the volume has no room; nothing is written then.
bool WriteContent(FileSystem& files, NodeId file, std::uint64_t position, const void* bytes,
                  std::size_t count);

/// Copies up to `count` bytes from a position; returns how many there were.
std::size_t ReadContent(const Node& file, std::uint64_t position, void* bytes, std::size_t count);

}  // namespace vorn::platform::simulated
