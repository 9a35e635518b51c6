#include "tests/adversaries/attacker.h"

#include "platform/files.h"
#include "platform/simulated/file_open.h"
#include "platform/simulated/file_tree.h"
#include "platform/simulated/file_values.h"
#include "platform/simulated/native_values.h"
#include "platform/simulated/path_walk.h"

#include <utility>

namespace vorn::tests {

using namespace platform::simulated;

namespace {

std::u16string_view FolderOf(std::u16string_view path) {
  const std::size_t cut = path.rfind(u'\\');
  // "C:" alone does not name the root.
  return path.substr(0, cut == 2 ? 3 : cut);
}

std::u16string_view NameOf(std::u16string_view path) {
  return path.substr(path.rfind(u'\\') + 1);
}

Token TokenOfOtherUser() {
  Token token;
  token.sids = {kOtherUser, kEveryone, kAuthenticatedUsers, kUsers};
  token.owner = kOtherUser;
  token.holdsBackup = false;
  token.holdsRestore = false;
  return token;
}

}  // namespace

/// An existing name: its place, the node it leads to, and its folder.
struct Attacker::Named {
  NodeId node = 0;
  Place place;
  const Node* folder = nullptr;

  explicit operator bool() const { return node != 0; }
};

Attacker::Attacker(Machine& machine)
    : machine_(machine), files_(machine.files), token_(TokenOfOtherUser()) {}

Attacker::Named Attacker::Find(std::u16string_view path) const {
  const Walked walked = Walk(files_, u"\\??\\" + std::u16string(path), {true, false});
  if (walked.status != platform::STATUS_SUCCESS || walked.rawVolume) return {};
  const Entry* entry = FindEntry(files_, walked.place);
  if (entry != nullptr && entry->deletePending) return {};
  return {walked.node, walked.place, files_.nodes.Find(walked.place.folder)};
}

bool Attacker::MayOpen(const Named& named, std::uint32_t access, std::uint32_t share) const {
  if (!named) return false;
  const Node& node = files_.nodes.Get(named.node);
  std::uint32_t missing = access & ~GrantedRights(node.security, token_, access);
  const auto folderGives = [&](std::uint32_t right) {
    return named.folder != nullptr && IsGranted(named.folder->security, token_, right);
  };
  if ((missing & platform::DELETE) != 0 && folderGives(platform::FILE_DELETE_CHILD)) {
    missing &= ~platform::DELETE;
  }
  if ((missing & platform::FILE_READ_ATTRIBUTES) != 0 &&
      folderGives(platform::FILE_LIST_DIRECTORY)) {
    missing &= ~platform::FILE_READ_ATTRIBUTES;
  }
  return missing == 0 && SharesWithOthers(files_, named.node, access, share);
}

bool Attacker::MayDelete(const Named& named) const {
  return named.place.folder != 0 && MayOpen(named, platform::DELETE, kShareAll);
}

bool Attacker::MayCreateIn(std::u16string_view path, bool directory) const {
  if (Find(path)) return false;
  const Named folder = Find(FolderOf(path));
  if (!folder) return false;
  const Node& node = files_.nodes.Get(folder.node);
  if (!node.directory || node.reparse != ReparseKind::None) return false;
  const Entry* pending = FindEntry(node, NameOf(path));
  const std::uint32_t right = directory ? platform::FILE_APPEND_DATA : platform::FILE_WRITE_DATA;
  return pending == nullptr && IsGranted(node.security, token_, right);
}

bool Attacker::IsAnythingOpenBelow(NodeId folder) const {
  for (const auto& [key, open] : files_.opens) {
    NodeId above = open.place.folder;
    while (above != 0) {
      if (above == folder) return true;
      const Node* node = files_.nodes.Find(above);
      above = node == nullptr ? 0 : node->place.folder;
    }
  }
  return false;
}

bool Attacker::TryRename(std::u16string_view from, std::u16string_view to) {
  const Named named = Find(from);
  if (!MayDelete(named)) return false;
  const bool directory = files_.nodes.Get(named.node).directory;
  if (directory && IsAnythingOpenBelow(named.node)) return false;
  if (!MayCreateIn(to, directory)) return false;
  const Named target = Find(FolderOf(to));
  if (files_.nodes.Get(target.node).volume != files_.nodes.Get(named.node).volume) return false;
  MovePath(files_, from, to);
  return true;
}

bool Attacker::TryDelete(std::u16string_view path) {
  const Named named = Find(path);
  if (!MayDelete(named)) return false;
  const Node& node = files_.nodes.Get(named.node);
  if (node.directory && !node.entries.empty()) return false;
  if ((node.attributes & platform::FILE_ATTRIBUTE_READONLY) != 0) return false;
  if (IsOpen(files_, named.node)) {
    MarkDeletePending(files_, path);
  } else {
    RemovePath(files_, path);
  }
  return true;
}

NodeId Attacker::Create(std::u16string_view path, bool directory) {
  if (!MayCreateIn(path, directory)) return 0;
  const Named folder = Find(FolderOf(path));
  SecurityRecord security =
      InheritFrom(files_.nodes.Get(folder.node).security, directory, kOtherUser);
  const NodeId node = NewNode(files_, folder.node, directory, std::move(security));
  AddEntry(files_, folder.node, NameOf(path), node);
  return node;
}

bool Attacker::TryCreateFile(std::u16string_view path, std::string_view content) {
  const NodeId file = Create(path, false);
  if (file == 0) return false;
  ReplaceContent(files_, file, Bytes(content.begin(), content.end()), 0);
  return true;
}

bool Attacker::TryCreateFolder(std::u16string_view path) {
  return Create(path, true) != 0;
}

bool Attacker::CreateLink(std::u16string_view path, ReparseKind kind, std::u16string_view target,
                          bool directory) {
  const NodeId link = Create(path, directory);
  if (link == 0) return false;
  Node& node = files_.nodes.at(link);
  node.reparse = kind;
  node.reparseTarget = target;
  return true;
}

bool Attacker::TryCreateJunction(std::u16string_view path, std::u16string_view target) {
  return CreateLink(path, ReparseKind::Junction, target, true);
}

bool Attacker::TryCreateSymbolicLink(std::u16string_view path, std::u16string_view target,
                                     bool directory) {
  return CreateLink(path, ReparseKind::SymbolicLink, target, directory);
}

bool Attacker::TryCreateUnknownLink(std::u16string_view path, bool directory) {
  return CreateLink(path, ReparseKind::Other, u"", directory);
}

bool Attacker::TryCreateHardLink(std::u16string_view existing, std::u16string_view name) {
  const Named named = Find(existing);
  if (!MayOpen(named, platform::FILE_READ_ATTRIBUTES, kShareAll)) return false;
  if (files_.nodes.Get(named.node).directory || !MayCreateIn(name, false)) return false;
  const Named folder = Find(FolderOf(name));
  if (files_.nodes.Get(folder.node).volume != files_.nodes.Get(named.node).volume) return false;
  AddHardLink(files_, existing, name);
  return true;
}

bool Attacker::TryKeepRenamingInto(std::u16string_view folder) {
  constexpr std::uint32_t kShare = platform::FILE_SHARE_READ | platform::FILE_SHARE_WRITE;
  return MayOpen(Find(folder), platform::FILE_WRITE_DATA, kShare) &&
         BeginRenameInto(files_, folder, 0);
}

bool Attacker::TryTurnIntoJunction(std::u16string_view path, std::u16string_view target) {
  const Named named = Find(path);
  if (!MayOpen(named, platform::FILE_WRITE_ATTRIBUTES, kShareAll)) return false;
  const Node& node = files_.nodes.Get(named.node);
  if (!node.directory || !node.entries.empty() || node.reparse != ReparseKind::None) return false;
  Node& folder = files_.nodes.at(named.node);
  folder.reparse = ReparseKind::Junction;
  folder.reparseTarget = target;
  return true;
}

bool Attacker::TryWrite(std::u16string_view path, std::string_view content) {
  const Named named = Find(path);
  if (!MayOpen(named, platform::FILE_WRITE_DATA, kShareAll)) return false;
  if (files_.nodes.Get(named.node).directory) return false;
  ReplaceContent(files_, named.node, Bytes(content.begin(), content.end()), 0);
  return true;
}

bool Attacker::TryGrow(std::u16string_view path, std::uint64_t size) {
  const Named named = Find(path);
  if (!MayOpen(named, platform::FILE_WRITE_DATA, kShareAll)) return false;
  const Node& node = files_.nodes.Get(named.node);
  return !node.directory && FileSize(node) < size && ResizeContent(files_, named.node, size);
}

bool Attacker::TryHold(std::u16string_view path, std::uint32_t access, std::uint32_t share) {
  if (!MayOpen(Find(path), access, share)) return false;
  HoldOpen(files_, path, access, share);
  return true;
}

bool Attacker::TrySetSecurity(std::u16string_view path, std::u16string_view sddl) {
  const Named named = Find(path);
  if (!MayOpen(named, platform::WRITE_DAC, kShareAll)) return false;
  const auto record = ParseSddl(sddl);
  if (!record) return false;
  SecurityRecord& own = files_.nodes.at(named.node).security;
  const std::u16string owner = own.owner;
  own = *record;
  own.owner = owner;
  return true;
}

bool Attacker::TryDefineDosDevice(char16_t letter, std::u16string_view target) {
  for (const Volume& volume : files_.volumes) {
    if (volume.letter == letter) return false;
  }
  const std::u16string name = {letter, u':'};
  if (target.empty()) return files_.dosDevices.erase(name) > 0;
  files_.dosDevices[name] = target;
  return true;
}

bool Attacker::TryLinkRegistryKey(std::u16string_view parent, std::u16string_view name,
                                  std::u16string_view target) {
  constexpr std::uint32_t kCreateLink = 0x20;   // KEY_CREATE_LINK
  constexpr std::uint32_t kCreateSubkey = 0x4;  // KEY_CREATE_SUB_KEY
  Registry& registry = machine_.registry;
  const auto key = FindKey(registry, parent);
  if (!key || FindChild(registry, *key, name)) return false;
  if (!IsGranted(SecurityOf(registry, *key), token_, kCreateLink | kCreateSubkey)) return false;
  registry.keys.at(MakeChild(registry, *key, name)).linkTarget = target;
  return true;
}

}  // namespace vorn::tests
