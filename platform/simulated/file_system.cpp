#include "platform/simulated/file_system.h"

#include "base/text.h"
#include "platform/files.h"
#include "platform/security.h"
#include "platform/simulated/file_open.h"
#include "platform/simulated/file_tree.h"
#include "platform/simulated/file_values.h"
#include "platform/simulated/security_values.h"
#include "platform/simulated/upper_case.h"

#include <algorithm>
#include <stdexcept>
#include <tuple>

namespace vorn::platform::simulated {

namespace {

constexpr std::u16string_view kLongPathPrefix = u"\\\\?\\";
constexpr std::u16string_view kVolumePrefix = u"Volume{";

/// Documented: on a freshly formatted system volume administrators and the system have
/// full access, users may read, and authenticated users have what they create.
SecurityRecord RootSecurity() {
  constexpr std::uint8_t kInherit = OBJECT_INHERIT_ACE | CONTAINER_INHERIT_ACE;
  constexpr std::uint8_t kInheritOnly = kInherit | INHERIT_ONLY_ACE;
  constexpr std::uint32_t kReadAndExecute = FILE_GENERIC_READ | FILE_GENERIC_EXECUTE;
  constexpr std::uint32_t kModify = kReadAndExecute | FILE_GENERIC_WRITE | DELETE;
  SecurityRecord record;
  record.owner = kTrustedInstaller;
  record.group = kTrustedInstaller;
  record.daclProtected = true;
  record.entries = {{ACCESS_ALLOWED_ACE_TYPE, kInherit, FILE_ALL_ACCESS, kAdministrators},
                    {ACCESS_ALLOWED_ACE_TYPE, kInherit, FILE_ALL_ACCESS, kLocalSystem},
                    {ACCESS_ALLOWED_ACE_TYPE, kInherit, kReadAndExecute, kUsers},
                    {ACCESS_ALLOWED_ACE_TYPE, kInheritOnly, kModify, kAuthenticatedUsers},
                    {ACCESS_ALLOWED_ACE_TYPE, 0, FILE_APPEND_DATA, kAuthenticatedUsers}};
  return record;
}

std::u16string Shown(std::u16string_view path) {
  return std::u16string(path);
}

[[noreturn]] void Refuse(const char* what, std::u16string_view path) {
  throw std::invalid_argument(std::string(what) + ": " + ToUtf8(Shown(path)));
}

/// A path split into its volume and its names.
struct WorldPath {
  const Volume* volume = nullptr;
  std::vector<std::u16string_view> names;
};

const Volume* FindVolume(const FileSystem& files, std::u16string_view name) {
  const auto found =
      std::find_if(files.volumes.begin(), files.volumes.end(), [&](const Volume& volume) {
        if (name.starts_with(kVolumePrefix)) {
          return IsSameName(name, u"Volume{" + volume.guid + u"}");
        }
        return name.size() == 2 && name[1] == u':' && volume.letter != 0 &&
               ToUpperAscii(name[0]) == ToUpperAscii(volume.letter);
      });
  return found == files.volumes.end() ? nullptr : &*found;
}

WorldPath CutWorldPath(const FileSystem& files, std::u16string_view path) {
  WorldPath cut;
  std::u16string_view rest = path;
  if (rest.starts_with(kLongPathPrefix)) rest.remove_prefix(kLongPathPrefix.size());
  bool first = true;
  while (!rest.empty()) {
    const std::size_t end = std::min(rest.find(u'\\'), rest.size());
    const std::u16string_view name = rest.substr(0, end);
    rest.remove_prefix(std::min(end + 1, rest.size()));
    if (first) {
      cut.volume = FindVolume(files, name);
      first = false;
    } else if (!name.empty()) {
      cut.names.push_back(name);
    }
  }
  return cut;
}

/// The place and node of the last name; no place when a folder above it is missing.
struct Found {
  Place place;
  std::optional<NodeId> node;
};

Found Look(const FileSystem& files, std::u16string_view path) {
  const WorldPath cut = CutWorldPath(files, path);
  if (cut.volume == nullptr) return {};
  Found found;
  found.node = cut.volume->root;
  for (const std::u16string_view name : cut.names) {
    if (!found.node) return {};
    const NodeId folder = *found.node;
    std::u16string key;
    const Entry* entry = FindEntry(files.nodes.at(folder), name, &key);
    found.place = entry == nullptr ? PlaceOf(folder, name) : Place{folder, std::move(key)};
    found.node = entry == nullptr ? std::nullopt : std::optional(entry->node);
  }
  return found;
}

Place ExistingPlace(const FileSystem& files, std::u16string_view path) {
  const Found found = Look(files, path);
  if (!found.node || found.place.folder == 0) Refuse("no such name", path);
  return found.place;
}

std::u16string_view LastName(std::u16string_view path) {
  while (path.ends_with(u'\\'))
    path.remove_suffix(1);
  return path.substr(path.rfind(u'\\') + 1);
}

std::u16string_view FolderOf(std::u16string_view path) {
  while (path.ends_with(u'\\'))
    path.remove_suffix(1);
  const std::size_t last = path.rfind(u'\\');
  if (last == std::u16string_view::npos) return path;
  return path.substr(0, last + 1);
}

NodeId NewChild(FileSystem& files, NodeId folder, std::u16string_view name, bool directory) {
  const SecurityRecord& above = files.nodes.Get(folder).security;
  const NodeId child =
      NewNode(files, folder, directory, InheritFrom(above, directory, kAdministrators));
  if (!directory) files.nodes.at(child).attributes = FILE_ATTRIBUTE_ARCHIVE;
  AddEntry(files, folder, name, child);
  return child;
}

NodeId PutContent(FileSystem& files, std::u16string_view path, Bytes content,
                  std::uint64_t zeroTail) {
  const Found found = Look(files, path);
  NodeId file = 0;
  if (found.node) {
    if (files.nodes.Get(*found.node).directory) Refuse("is a folder", path);
    file = *found.node;
  } else {
    file = NewChild(files, MakeFolder(files, FolderOf(path)), LastName(path), false);
  }
  ReplaceContent(files, file, std::move(content), zeroTail);
  return file;
}

bool IsRoot(const FileSystem& files, NodeId node) {
  return VolumeOf(files, files.nodes.Get(node)).root == node;
}

/// A name and its file are on one volume.
void DemandSameVolume(const FileSystem& files, NodeId node, NodeId folder,
                      std::u16string_view name) {
  if (files.nodes.Get(node).volume != files.nodes.Get(folder).volume) {
    Refuse("is on another volume", name);
  }
}

void RemoveNodeTree(FileSystem& files, const Place& place) {
  const NodeId id = FindEntry(files, place)->node;
  while (!files.nodes.Get(id).entries.empty())
    RemoveNodeTree(files, {id, files.nodes.Get(id).entries.begin()->first});
  RemoveEntry(files, place);
}

auto FileSystemFacts(const FileSystem& files) {
  return std::tie(files.volumes, files.dosDevices, files.nodes, files.opens, files.windowsFolder,
                  files.tempFolder, files.modulePath, files.currentFolder, files.scanMs);
}

}  // namespace

bool operator==(const FileSystem& left, const FileSystem& right) {
  return FileSystemFacts(left) == FileSystemFacts(right);
}

NodeId AddVolume(FileSystem& files, char16_t letter, std::u16string device, std::u16string guid) {
  Volume volume;
  volume.letter = letter;
  volume.device = std::move(device);
  volume.guid = std::move(guid);
  volume.serial += static_cast<std::uint32_t>(files.volumes.size());
  const NodeId root = NewNode(files, 0, true, RootSecurity());
  Node& node = files.nodes.at(root);
  node.volume = static_cast<std::uint32_t>(files.volumes.size());
  node.attributes = FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM;
  node.links = 1;
  volume.root = root;
  if (letter != 0) files.dosDevices[{ToUpperAscii(letter), u':'}] = volume.device;
  files.volumes.push_back(std::move(volume));
  return root;
}

std::optional<NodeId> FindNode(const FileSystem& files, std::u16string_view path) {
  return Look(files, path).node;
}

const Node& NodeAt(const FileSystem& files, std::u16string_view path) {
  const std::optional<NodeId> node = FindNode(files, path);
  if (!node) Refuse("no such name", path);
  return files.nodes.at(*node);
}

Node& NodeAt(FileSystem& files, std::u16string_view path) {
  const std::optional<NodeId> node = FindNode(files, path);
  if (!node) Refuse("no such name", path);
  return files.nodes.at(*node);
}

NodeId MakeFolder(FileSystem& files, std::u16string_view path) {
  const WorldPath cut = CutWorldPath(files, path);
  if (cut.volume == nullptr) Refuse("no such volume", path);
  NodeId folder = cut.volume->root;
  for (const std::u16string_view name : cut.names) {
    const Entry* entry = FindEntry(files.nodes.Get(folder), name);
    folder = entry == nullptr ? NewChild(files, folder, name, true) : entry->node;
    if (!files.nodes.Get(folder).directory) Refuse("a file is in the way", path);
  }
  return folder;
}

NodeId PutFile(FileSystem& files, std::u16string_view path, Bytes content) {
  return PutContent(files, path, std::move(content), 0);
}

NodeId PutFile(FileSystem& files, std::u16string_view path, std::string_view content) {
  return PutContent(files, path, Bytes(content.begin(), content.end()), 0);
}

NodeId PutEmptyFile(FileSystem& files, std::u16string_view path, std::uint64_t size) {
  return PutContent(files, path, {}, size);
}

void AddHardLink(FileSystem& files, std::u16string_view existing, std::u16string_view name) {
  const std::optional<NodeId> node = FindNode(files, existing);
  if (!node) Refuse("no such file", existing);
  if (files.nodes.Get(*node).directory) Refuse("is a folder", existing);
  if (FindNode(files, name)) Refuse("name is taken", name);
  const NodeId folder = MakeFolder(files, FolderOf(name));
  DemandSameVolume(files, *node, folder, name);
  AddEntry(files, folder, LastName(name), *node);
}

NodeId PutLink(FileSystem& files, std::u16string_view path, ReparseKind kind,
               std::u16string_view target, bool directory) {
  const std::optional<NodeId> there = FindNode(files, path);
  if (there && IsRoot(files, *there)) Refuse("is the root of a volume", path);
  RemovePath(files, path);
  const NodeId link = NewChild(files, MakeFolder(files, FolderOf(path)), LastName(path), directory);
  Node& node = files.nodes.at(link);
  node.reparse = kind;
  node.reparseTarget = target;
  return link;
}

void RemovePath(FileSystem& files, std::u16string_view path) {
  const Found found = Look(files, path);
  if (found.node && found.place.folder != 0) RemoveNodeTree(files, found.place);
}

void MovePath(FileSystem& files, std::u16string_view from, std::u16string_view to) {
  const NodeId folder = MakeFolder(files, FolderOf(to));
  const Place source = ExistingPlace(files, from);
  const NodeId node = FindEntry(files, source)->node;
  if (IsWithin(files, folder, node)) Refuse("a folder cannot move into itself", to);
  DemandSameVolume(files, node, folder, to);
  const std::optional<NodeId> taken = FindNode(files, to);
  if (taken && IsWithin(files, source.folder, *taken)) Refuse("holds what is moved", to);
  if (taken && *taken != node) RemovePath(files, to);
  MoveEntry(files, source, folder, LastName(to));
}

void MarkDeletePending(FileSystem& files, std::u16string_view path) {
  const Place place = ExistingPlace(files, path);
  files.nodes.at(place.folder).entries.at(place.key).deletePending = true;
}

void SetShortName(FileSystem& files, std::u16string_view path, std::u16string_view shortName) {
  const Place place = ExistingPlace(files, path);
  files.nodes.at(place.folder).entries.at(place.key).shortName = shortName;
}

std::optional<Bytes> ReadWholeFile(const FileSystem& files, std::u16string_view path) {
  const std::optional<NodeId> id = FindNode(files, path);
  if (!id || files.nodes.at(*id).directory) return std::nullopt;
  const Node& node = files.nodes.at(*id);
  Bytes content = *node.content;
  content.resize(static_cast<std::size_t>(FileSize(node)));
  return content;
}

std::vector<std::u16string> ListFolder(const FileSystem& files, std::u16string_view path) {
  std::vector<std::u16string> names;
  const std::optional<NodeId> id = FindNode(files, path);
  if (!id) return names;
  for (const auto& [key, entry] : files.nodes.at(*id).entries)
    names.push_back(entry.name);
  return names;
}

std::uint64_t HoldOpen(FileSystem& files, std::u16string_view path, std::uint32_t access,
                       std::uint32_t share, std::uint64_t until) {
  const Found found = Look(files, path);
  if (!found.node) Refuse("no such name", path);
  Open open;
  open.place = found.place;
  open.access = MapFileRights(access);
  open.share = share;
  open.until = until;
  open.description = path;
  return AddForeignOpen(files, *found.node, std::move(open));
}

// Documented (rename information): a rename or a hard link opens the folder of the new name for
// writing. Assumed: before Windows 11 22H2 that open takes part in sharing, so it fails with a
// sharing violation while the folder is held with read sharing alone, and whoever opens the folder
// so meanwhile is refused. Question (rename-into-held-folder): does a rename into a folder that is
// held with FILE_SHARE_READ alone fail with error 32?
bool BeginRenameInto(FileSystem& files, std::u16string_view folder, std::uint64_t until) {
  constexpr std::uint32_t kAccess = FILE_WRITE_DATA | SYNCHRONIZE;
  constexpr std::uint32_t kShare = FILE_SHARE_READ | FILE_SHARE_WRITE;
  const std::optional<NodeId> node = FindNode(files, folder);
  if (!node || !SharesWithOthers(files, *node, kAccess, kShare)) return false;
  HoldOpen(files, folder, kAccess, kShare, until);
  return true;
}

void ReleaseHold(FileSystem& files, std::uint64_t number) {
  const auto open = std::find_if(files.opens.begin(), files.opens.end(),
                                 [&](const auto& held) { return held.first.number == number; });
  if (open != files.opens.end()) ReleaseOpen(files, OpenKey(open->first));
}

void ReleaseHoldsUntil(FileSystem& files, std::uint64_t tick) {
  if (tick < files.nextRelease) return;
  std::vector<OpenKey> over;
  files.nextRelease = kNever;
  for (const auto& [key, open] : files.opens) {
    if (open.until == 0) continue;
    if (open.until <= tick) {
      over.push_back(key);
    } else {
      files.nextRelease = std::min(files.nextRelease, open.until);
    }
  }
  for (const OpenKey& key : over)
    ReleaseOpen(files, key);
}

std::size_t CountOwnOpens(const FileSystem& files) {
  return static_cast<std::size_t>(
      std::count_if(files.opens.begin(), files.opens.end(),
                    [](const auto& open) { return !open.second.foreign; }));
}

}  // namespace vorn::platform::simulated
