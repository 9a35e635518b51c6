#include "platform/simulated/file_tree.h"

#include "base/text.h"
#include "platform/simulated/upper_case.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <span>
#include <vector>

namespace vorn::platform::simulated {

namespace {

/// Documented: an 8.3 alias contains a tilde before its number. So other names need no search by
/// alias.
constexpr char16_t kAliasMark = u'~';

void ReturnSpace(FileSystem& files, const Node& node) {
  VolumeOf(files, node).freeBytes += FileSize(node);
}

/// Reserves `wanted` more bytes, or releases bytes; false when there is no room.
bool TakeSpace(Volume& volume, std::uint64_t held, std::uint64_t wanted) {
  if (wanted > held && wanted - held > volume.freeBytes) return false;
  volume.freeBytes = volume.freeBytes + held - wanted;
  return true;
}

void EraseWhenForsaken(FileSystem& files, NodeId id) {
  const Node* node = files.nodes.Find(id);
  if (node == nullptr || node->links != 0 || IsOpen(files, id)) return;
  ReturnSpace(files, *node);
  files.nodes.Erase(id);
}

bool OpenByName(const FileSystem& files, NodeId node, const Place& place) {
  for (auto open = files.opens.lower_bound({node, 0});
       open != files.opens.end() && open->first.node == node; ++open) {
    if (open->second.place == place) return true;
  }
  return false;
}

/// The content as writable bytes, copied first if another machine shares it.
Bytes& WritableContent(Node& node) {
  if (node.content.use_count() > 1) node.content = std::make_shared<Bytes>(*node.content);
  // The content was created writable (here or by make_shared), and only this node holds it.
  return const_cast<Bytes&>(*node.content);  // NOLINT(cppcoreguidelines-pro-type-const-cast)
}

bool AllZero(const std::uint8_t* bytes, std::size_t count) {
  return count == 0 || (bytes[0] == 0 && std::memcmp(bytes, bytes + 1, count - 1) == 0);
}

/// The name in upper case, in the room if it fits.
std::u16string_view UpperCased(std::u16string_view name, std::span<char16_t> room,
                               std::u16string& longer) {
  if (name.size() > room.size()) return longer = ToUpperName(name);
  std::transform(name.begin(), name.end(), room.begin(),
                 [](char16_t unit) { return ToUpperName(unit); });
  return {room.data(), name.size()};
}

void SetSize(Node& node, std::uint64_t size) {
  if (size >= node.content->size()) {
    node.zeroTail = size - node.content->size();
    return;
  }
  WritableContent(node).resize(static_cast<std::size_t>(size));
  node.zeroTail = 0;
}

}  // namespace

Place PlaceOf(NodeId folder, std::u16string_view name) {
  return {folder, ToUpperName(name)};
}

const Entry* FindEntry(const Node& folder, std::u16string_view name, std::u16string* key) {
  // Room for every name that a volume takes; only what is written there is read.
  std::array<char16_t, 255> room;  // NOLINT(cppcoreguidelines-pro-type-member-init)
  std::u16string longer;
  auto found = folder.entries.find(UpperCased(name, room, longer));
  if (found == folder.entries.end() && name.find(kAliasMark) != std::u16string_view::npos) {
    found = std::find_if(folder.entries.begin(), folder.entries.end(), [&](const auto& entry) {
      return IsSameName(entry.second.shortName, name);
    });
  }
  if (found == folder.entries.end()) return nullptr;
  if (key != nullptr) *key = found->first;
  return &found->second;
}

const Entry* FindEntry(const FileSystem& files, const Place& place) {
  const Node* folder = files.nodes.Find(place.folder);
  if (folder == nullptr) return nullptr;
  const auto found = folder->entries.find(place.key);
  return found == folder->entries.end() ? nullptr : &found->second;
}

NodeId NewNode(FileSystem& files, NodeId folder, bool directory, SecurityRecord security) {
  Node node;
  node.directory = directory;
  node.security = std::move(security);
  if (const Node* parent = files.nodes.Find(folder)) node.volume = parent->volume;
  const NodeId id = files.nextNode++;
  files.nodes.Put(id, std::move(node));
  return id;
}

void AddEntry(FileSystem& files, NodeId folder, std::u16string_view name, NodeId node) {
  Place place = PlaceOf(folder, name);
  files.nodes.at(folder).entries[place.key] = {std::u16string(name), {}, node};
  Node& named = files.nodes.at(node);
  ++named.links;
  if (named.directory) named.place = std::move(place);
}

void RemoveEntry(FileSystem& files, const Place& place) {
  const Entry* entry = FindEntry(files, place);
  if (entry == nullptr) return;
  const NodeId id = entry->node;
  const std::u16string key = place.key;  // the caller's place may be the node's own
  files.nodes.at(place.folder).entries.erase(key);
  --files.nodes.at(id).links;
  EraseWhenForsaken(files, id);
}

void MoveEntry(FileSystem& files, const Place& source, NodeId folder, std::u16string_view name) {
  const Place from = source;  // the caller's place may be the node's own
  const NodeId node = FindEntry(files, from)->node;
  files.nodes.at(from.folder).entries.erase(from.key);
  --files.nodes.at(node).links;
  AddEntry(files, folder, name, node);
  for (auto open = files.opens.lower_bound({node, 0});
       open != files.opens.end() && open->first.node == node; ++open) {
    if (open->second.place == from) open->second.place = PlaceOf(folder, name);
  }
}

bool IsWithin(const FileSystem& files, NodeId folder, NodeId above) {
  for (NodeId at = folder; at != 0; at = files.nodes.Get(at).place.folder) {
    if (at == above) return true;
  }
  return false;
}

bool IsOpen(const FileSystem& files, NodeId node) {
  const auto first = files.opens.lower_bound({node, 0});
  return first != files.opens.end() && first->first.node == node;
}

std::uint64_t AddOpen(FileSystem& files, NodeId node, Open open) {
  const std::uint64_t number = files.nextOpen++;
  if (open.until != 0) files.nextRelease = std::min(files.nextRelease, open.until);
  files.opens.emplace(OpenKey{node, number}, std::move(open));
  return number;
}

std::uint64_t AddForeignOpen(FileSystem& files, NodeId node, Open open) {
  open.foreign = true;
  return AddOpen(files, node, std::move(open));
}

void ReleaseOpen(FileSystem& files, const OpenKey& key) {
  const auto open = files.opens.find(key);
  if (open == files.opens.end()) return;
  const Place place = std::move(open->second.place);
  files.opens.erase(open);
  const Entry* entry = FindEntry(files, place);
  // Documented: a name marked for deletion goes when the last handle opened by it closes.
  const bool pending = entry != nullptr && entry->node == key.node && entry->deletePending;
  if (pending && !OpenByName(files, key.node, place)) {
    RemoveEntry(files, place);
  } else {
    EraseWhenForsaken(files, key.node);
  }
}

const Volume& VolumeOf(const FileSystem& files, const Node& node) {
  return files.volumes.at(node.volume);
}

Volume& VolumeOf(FileSystem& files, const Node& node) {
  return files.volumes.at(node.volume);
}

std::u16string PathBelowRoot(const FileSystem& files, const Place& place) {
  if (place.folder == 0) return u"\\";
  std::vector<std::u16string_view> names;  // from the last one up
  std::size_t length = 0;
  for (const Place* at = &place; at->folder != 0; at = &files.nodes.Get(at->folder).place) {
    const Entry* entry = FindEntry(files, *at);
    if (entry == nullptr) return {};
    names.push_back(entry->name);
    length += entry->name.size() + 1;
  }
  std::u16string path;
  path.reserve(length);
  std::reverse(names.begin(), names.end());
  for (const auto& name : names) {
    path += u'\\';
    path += name;
  }
  return path;
}

void ReplaceContent(FileSystem& files, NodeId file, Bytes content, std::uint64_t zeroTail) {
  Node& node = files.nodes.at(file);
  Volume& volume = VolumeOf(files, node);
  const std::uint64_t room = volume.freeBytes + FileSize(node);
  volume.freeBytes = room - std::min(room, content.size() + zeroTail);
  node.content = std::make_shared<Bytes>(std::move(content));
  node.zeroTail = zeroTail;
}

bool ResizeContent(FileSystem& files, NodeId file, std::uint64_t size) {
  Node& node = files.nodes.at(file);
  if (!TakeSpace(VolumeOf(files, node), FileSize(node), size)) return false;
  SetSize(node, size);
  return true;
}

bool WriteContent(FileSystem& files, NodeId file, std::uint64_t position, const void* bytes,
                  std::size_t count) {
  if (count == 0) return true;
  const std::uint64_t size = FileSize(files.nodes.Get(file));
  if (position + count > size && !ResizeContent(files, file, position + count)) return false;
  Node& node = files.nodes.at(file);
  const auto* source = static_cast<const std::uint8_t*>(bytes);
  const std::uint64_t stored = node.content->size();
  // Writing zeros to the zero tail changes nothing, so a copy of a huge empty file stays small.
  if (position >= stored && AllZero(source, count)) return true;
  Bytes& content = WritableContent(node);
  const std::uint64_t end = position + count;
  if (end > stored) {
    content.resize(static_cast<std::size_t>(end));
    node.zeroTail -= end - stored;
  }
  std::memcpy(content.data() + position, source, count);
  return true;
}

std::size_t ReadContent(const Node& file, std::uint64_t position, void* bytes, std::size_t count) {
  const std::uint64_t size = FileSize(file);
  if (position >= size) return 0;
  const auto available = static_cast<std::size_t>(std::min<std::uint64_t>(count, size - position));
  const std::uint64_t stored = file.content->size();
  const std::size_t explicitBytes =
      position >= stored
          ? 0
          : static_cast<std::size_t>(std::min<std::uint64_t>(available, stored - position));
  auto* target = static_cast<std::uint8_t*>(bytes);
  if (explicitBytes != 0) std::memcpy(target, file.content->data() + position, explicitBytes);
  std::memset(target + explicitBytes, 0, available - explicitBytes);
  return available;
}

}  // namespace vorn::platform::simulated
