#pragma once

// The tree of names and nodes, as the volume itself changes it: names are added and removed, nodes
// go with their last name and their last open, and space is accounted for.

#include "platform/simulated/file_system.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace vorn::platform::simulated {

/// The place of a name in a folder.
Place PlaceOf(NodeId folder, std::u16string_view name);

/// The entry of a folder by its name or its 8.3 alias; null when there is none. `*key`, if not
/// null, receives the upper-cased name of the entry.
const Entry* FindEntry(const Node& folder, std::u16string_view name, std::u16string* key = nullptr);

/// The entry at a place; null when there is none.
const Entry* FindEntry(const FileSystem& files, const Place& place);

/// Creates a node without a name, on the volume of `folder`.
NodeId NewNode(FileSystem& files, NodeId folder, bool directory, SecurityRecord security);

/// Gives a node a name in a folder, which must not have that name yet.
void AddEntry(FileSystem& files, NodeId folder, std::u16string_view name, NodeId node);

/// Removes a name. The node goes with its last name, as soon as nobody has it open.
void RemoveEntry(FileSystem& files, const Place& place);

/// Gives the node of a name another name, on the same volume; nothing may have that name. Opens by
/// the old name follow.
void MoveEntry(FileSystem& files, const Place& source, NodeId folder, std::u16string_view name);

/// Whether a folder is `above`, or is below it.
bool IsWithin(const FileSystem& files, NodeId folder, NodeId above);

bool IsOpen(const FileSystem& files, NodeId node);

/// Records an open of a node; returns its number.
std::uint64_t AddOpen(FileSystem& files, NodeId node, Open open);

/// Another process has the node open from now on; returns the number of the open.
std::uint64_t AddForeignOpen(FileSystem& files, NodeId node, Open open);

/// Ends an open; a name marked for deletion goes with the last open made by it.
void ReleaseOpen(FileSystem& files, const OpenKey& key);

/// The volume that a node is on.
const Volume& VolumeOf(const FileSystem& files, const Node& node);
Volume& VolumeOf(FileSystem& files, const Node& node);

/// The path of a place from its volume's root: "\" for the root, "\a\b"; empty when the name or a
/// folder above it no longer exists.
std::u16string PathBelowRoot(const FileSystem& files, const Place& place);

/// Replaces a file's content and size. The volume's free bytes follow, but never fall below zero.
void ReplaceContent(FileSystem& files, NodeId file, Bytes content, std::uint64_t zeroTail);

/// Truncates a file, or extends it with zeros. False when the volume is full.
bool ResizeContent(FileSystem& files, NodeId file, std::uint64_t size);

/// Writes bytes at a position; a gap between the end and the position is filled with zeros. False
/// when the volume is full, in which case nothing is written.
bool WriteContent(FileSystem& files, NodeId file, std::uint64_t position, const void* bytes,
                  std::size_t count);

/// Copies up to `count` bytes from a position; returns how many.
std::size_t ReadContent(const Node& file, std::uint64_t position, void* bytes, std::size_t count);

}  // namespace vorn::platform::simulated
