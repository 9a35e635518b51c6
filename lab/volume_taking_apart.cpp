#include "lab/stored_name.h"
#include "lab/volume_form.h"
#include "platform/simulated/file_tree.h"
#include "platform/simulated/file_values.h"

#include <algorithm>
#include <set>

namespace vorn::lab {

using platform::simulated::Entry;
using platform::simulated::FileSystem;
using platform::simulated::FileTimes;
using platform::simulated::InheritFrom;
using platform::simulated::kAdministrators;
using platform::simulated::Node;
using platform::simulated::NodeId;
using platform::simulated::Open;
using platform::simulated::Volume;

namespace {

FileTimesFacts FactsOf(const FileTimes& times) {
  return {times.creation, times.lastAccess, times.lastWrite, times.change};
}

/// Walks one volume from its root and records what is there.
class VolumeWalk {
 public:
  VolumeWalk(const FileSystem& files, const Volume& volume, VolumeForm& form)
      : files_(files), form_(form) {
    FileFacts root;
    DescribeNode(volume.root, nullptr, root);
    form_.facts.files.push_back(std::move(root));
    WalkFolder(files_.nodes.at(volume.root), {}, {});
  }

 private:
  void WalkFolder(const Node& folder, const std::u16string& path, const std::string& storedPath) {
    for (const auto& [key, entry] : folder.entries)
      WalkName(folder, entry, path, storedPath);
  }

  void WalkName(const Node& folder, const Entry& entry, const std::u16string& folderPath,
                const std::string& storedFolder) {
    const Node& node = files_.nodes.at(entry.node);
    FileFacts facts;
    facts.path = folderPath.empty() ? entry.name : folderPath + u"\\" + entry.name;
    facts.shortName = entry.shortName;
    facts.deletePending = entry.deletePending;
    const std::string usual = ToStoredName(entry.name);
    if (usual.size() > kMaxStoredName) facts.stored = "%~" + std::to_string(entry.node);
    DescribeNode(entry.node, &folder, facts);

    const std::string& stored = facts.stored.empty() ? usual : facts.stored;
    const std::string storedPath = storedFolder.empty() ? stored : storedFolder + "/" + stored;
    form_.tree[storedPath] = {node.directory, node.content, node.zeroTail};
    const std::u16string path = facts.path;
    form_.facts.files.push_back(std::move(facts));
    if (node.directory) WalkFolder(node, path, storedPath);
  }

  /// What differs from a file just created there; recorded only at its first name.
  void DescribeNode(NodeId id, const Node* folder, FileFacts& facts) {
    facts.index = id;
    if (!described_.insert(id).second) return;
    const Node& node = files_.nodes.at(id);
    const bool plain =
        folder != nullptr && node.links <= 1 &&
        node.security == InheritFrom(folder->security, node.directory, kAdministrators);
    if (!plain) facts.security = node.security;
    const std::uint32_t usual = node.directory ? 0 : platform::FILE_ATTRIBUTE_ARCHIVE;
    if (node.attributes != usual) facts.attributes = node.attributes;
    facts.reparse = node.reparse;
    facts.target = node.reparseTarget;
    if (FactsOf(node.times) != FactsOf(FileTimes())) facts.times = FactsOf(node.times);
    facts.reportedLinks = node.reportedLinks;
    facts.reportedType = node.reportedType;
    facts.reportedIndex = node.reportedIndex;
    facts.reportedPages = node.reportedPages;
  }

  const FileSystem& files_;
  VolumeForm& form_;
  std::set<NodeId> described_;
};

/// A folder name for a volume that no earlier volume has.
std::string NewFolderName(const Volume& volume, const std::vector<std::string>& taken) {
  const auto isFree = [&taken](const std::string& name) {
    return std::find(taken.begin(), taken.end(), name) == taken.end();
  };
  std::string letter(volume.letter != 0 ? 1 : 0, static_cast<char>(volume.letter));
  if (!letter.empty() && isFree(letter)) return letter;
  std::size_t number = taken.size() + 1;
  while (!isFree("volume" + std::to_string(number)))
    ++number;
  return "volume" + std::to_string(number);
}

std::u16string RootPathOf(const Volume& volume) {
  if (volume.letter != 0) return {volume.letter, u':'};
  return u"\\\\?\\Volume{" + volume.guid + u"}";
}

}  // namespace

std::vector<VolumeForm> TakeVolumesApart(const FileSystem& files,
                                         const std::vector<std::string>& folders) {
  std::vector<std::string> names = folders;
  std::vector<VolumeForm> forms(files.volumes.size());
  for (std::size_t i = 0; i < forms.size(); ++i) {
    const Volume& volume = files.volumes[i];
    if (i >= names.size()) names.push_back(NewFolderName(volume, names));
    forms[i].facts.volume = volume;
    forms[i].facts.folder = names[i];
    VolumeWalk(files, volume, forms[i]);
  }
  return forms;
}

std::vector<HeldFile> ListHeldFiles(const FileSystem& files) {
  std::vector<HeldFile> heldFiles;
  for (const auto& [key, open] : files.opens) {
    if (!open.foreign || !files.nodes.contains(key.node)) continue;
    const Volume& volume = VolumeOf(files, files.nodes.at(key.node));
    const std::u16string below = PathBelowRoot(files, open.place);
    const bool isRoot = key.node == volume.root;
    if (below.empty() && !isRoot) continue;  // its name is gone
    heldFiles.push_back({RootPathOf(volume) + (isRoot ? u"\\" : below), open.access, open.share,
                         open.until, open.description});
  }
  return heldFiles;
}

}  // namespace vorn::lab
