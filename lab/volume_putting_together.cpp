#include "base/text.h"
#include "lab/stored_name.h"
#include "lab/volume_form.h"
#include "platform/simulated/file_tree.h"
#include "platform/simulated/file_values.h"
#include "platform/simulated/upper_case.h"

#include <algorithm>
#include <map>

namespace vorn::lab {

using platform::simulated::AddEntry;
using platform::simulated::AddVolume;
using platform::simulated::Entry;
using platform::simulated::FileSystem;
using platform::simulated::FindNode;
using platform::simulated::HoldOpen;
using platform::simulated::InheritFrom;
using platform::simulated::kAdministrators;
using platform::simulated::NewNode;
using platform::simulated::Node;
using platform::simulated::NodeId;
using platform::simulated::ToUpperName;

namespace {

/// The largest number that a volume's file table has room for: 48 bits.
constexpr NodeId kLastIndex = (NodeId{1} << 48) - 1;

std::u16string_view FolderOf(std::u16string_view path) {
  const std::size_t last = path.rfind(u'\\');
  return last == std::u16string_view::npos ? std::u16string_view() : path.substr(0, last);
}

std::u16string_view NameOf(std::u16string_view path) {
  const std::size_t last = path.rfind(u'\\');
  return last == std::u16string_view::npos ? path : path.substr(last + 1);
}

std::u16string Join(const std::u16string& folder, const std::u16string& name) {
  return folder.empty() ? name : folder + u"\\" + name;
}

/// Hands out the numbers of nodes: those that the document names, and free ones above them.
class NodeNumbers {
 public:
  explicit NodeNumbers(const std::vector<VolumeForm>& volumes, NodeId first) : next_(first) {
    for (const VolumeForm& volume : volumes) {
      for (const FileFacts& file : volume.facts.files)
        next_ = std::max(next_, std::min(file.index.value_or(0), kLastIndex) + 1);
    }
  }
  NodeId Take(const std::optional<NodeId>& wanted) { return wanted ? *wanted : next_++; }
  NodeId Next() const { return next_; }

 private:
  NodeId next_;
};

/// Rebuilds one volume from its form.
class VolumeBuilder {
 public:
  VolumeBuilder(const VolumeForm& form, std::size_t number, NodeNumbers& numbers, FileSystem& files)
      : form_(form),
        facts_(form.facts.files),
        path_(PathOfElement("volumes", number) + ".files"),
        numbers_(numbers),
        files_(files) {}

  void Build() {
    IndexFacts();
    BuildRoot();
    for (const auto& [storedPath, item] : form_.tree)
      BuildItem(storedPath, item);
    RefuseUnused();
  }

 private:
  std::string PathOf(std::size_t fact) const { return PathOfElement(path_, fact); }

  [[noreturn]] void Refuse(std::size_t fact, const char* key, const std::string& what) const {
    throw BadInput(PathOf(fact) + "." + key, what);
  }

  /// Indexes the facts by path, by stored name and by node.
  void IndexFacts() {
    for (std::size_t i = 0; i < facts_.size(); ++i) {
      const FileFacts& fact = facts_[i];
      if (!byPath_.emplace(ToUpperName(fact.path), i).second) Refuse(i, "path", "appears twice");
      if (fact.index && (*fact.index == 0 || *fact.index > kLastIndex)) {
        Refuse(i, "index", "must be from 1 to " + std::to_string(kLastIndex));
      }
      if (!fact.stored.empty()) {
        byStored_[{ToUpperName(FolderOf(fact.path)), fact.stored}] = i;
      }
      if (fact.index && fact.SaysOfNode() && !saying_.emplace(*fact.index, i).second) {
        Refuse(i, "index",
               "is also the index of " + PathOf(saying_.at(*fact.index)) +
                   ", which already describes the file");
      }
    }
  }

  const FileFacts* FactsAt(std::u16string_view path) {
    const auto found = byPath_.find(ToUpperName(path));
    if (found == byPath_.end()) return nullptr;
    used_.insert(found->second);
    return &facts_[found->second];
  }

  /// The facts about a node: found by its number, or else at the name itself.
  const FileFacts* FactsOfNode(NodeId id, const FileFacts* named) const {
    const auto found = saying_.find(id);
    return found == saying_.end() ? named : &facts_[found->second];
  }

  void BuildRoot() {
    const FileFacts* const named = FactsAt({});
    const NodeId id = TakeNumber(named);
    files_.nextNode = id;
    const auto& volume = form_.facts.volume;
    AddVolume(files_, volume.letter, volume.device, volume.guid);
    files_.volumes.back() = volume;
    files_.volumes.back().root = id;
    if (const FileFacts* const facts = FactsOfNode(id, named)) Apply(*facts, files_.nodes.at(id));
    folders_[""] = {id, u""};
  }

  NodeId TakeNumber(const FileFacts* facts) {
    const NodeId id = numbers_.Take(facts == nullptr ? std::nullopt : facts->index);
    if (files_.nodes.contains(id)) {
      Refuse(static_cast<std::size_t>(facts - facts_.data()), "index", "is taken");
    }
    return id;
  }

  void BuildItem(const std::string& storedPath, const StoredItem& item) {
    const std::size_t slash = storedPath.rfind('/');
    const std::string storedFolder = slash == std::string::npos ? "" : storedPath.substr(0, slash);
    const Folder& folder = folders_.at(storedFolder);
    const std::u16string name = NameOfStored(folder, storedPath.substr(slash + 1), storedPath);
    const std::u16string path = Join(folder.path, name);
    if (files_.nodes.at(folder.id).entries.contains(ToUpperName(name))) {
      throw BadHostFile(form_.facts.folder + "/" + storedPath,
                        "another name of the folder differs from it in case only");
    }
    const FileFacts* const facts = FactsAt(path);
    const NodeId id = NodeOf(facts, folder.id, item);
    AddEntry(files_, folder.id, name, id);
    if (facts != nullptr) {
      Entry& entry = files_.nodes.at(folder.id).entries.at(ToUpperName(name));
      entry.shortName = facts->shortName;
      entry.deletePending = facts->deletePending;
    }
    if (item.directory) folders_[storedPath] = {id, path};
  }

  struct Folder {
    NodeId id = 0;
    std::u16string path;
  };

  std::u16string NameOfStored(const Folder& folder, const std::string& stored,
                              const std::string& storedPath) const {
    const auto found = byStored_.find({ToUpperName(folder.path), stored});
    if (found != byStored_.end()) return std::u16string(NameOf(facts_[found->second].path));
    std::u16string name;
    if (!FromStoredName(stored, name)) {
      throw BadHostFile(form_.facts.folder + "/" + storedPath, "is not a UTF-8 name");
    }
    return name;
  }

  /// The node of a name: an existing one for a further name, otherwise a new one.
  NodeId NodeOf(const FileFacts* named, NodeId folder, const StoredItem& item) {
    if (named != nullptr && named->index && built_.contains(*named->index)) {
      const Node& first = files_.nodes.at(*named->index);
      const StoredItem firstItem{first.directory, first.content, first.zeroTail};
      if (item.directory || first.directory || !(item == firstItem)) {
        Refuse(static_cast<std::size_t>(named - facts_.data()), "index",
               "makes it a second name of a file with another content");
      }
      return *named->index;
    }
    const NodeId id = TakeNumber(named);
    built_.insert(id);
    files_.nextNode = id;
    NewNode(files_, folder, item.directory,
            InheritFrom(files_.nodes.at(folder).security, item.directory, kAdministrators));
    Node& node = files_.nodes.at(id);
    if (!item.directory) {
      node.attributes = platform::FILE_ATTRIBUTE_ARCHIVE;
      node.content = item.content;
      node.zeroTail = item.zeroTail;
    }
    if (const FileFacts* const facts = FactsOfNode(id, named)) Apply(*facts, node);
    return id;
  }

  static void Apply(const FileFacts& facts, Node& node) {
    if (facts.security) node.security = *facts.security;
    if (facts.attributes) node.attributes = *facts.attributes;
    node.reparse = facts.reparse;
    node.reparseTarget = facts.target;
    if (facts.times) {
      node.times = {facts.times->creation, facts.times->lastAccess, facts.times->lastWrite,
                    facts.times->change};
    }
    node.reportedLinks = facts.reportedLinks;
    node.reportedType = facts.reportedType;
    node.reportedIndex = facts.reportedIndex;
    node.reportedPages = facts.reportedPages;
  }

  void RefuseUnused() const {
    for (std::size_t i = 0; i < facts_.size(); ++i) {
      if (!used_.contains(i) && !facts_[i].index) {
        Refuse(i, "path", "names nothing in the folder " + form_.facts.folder);
      }
    }
  }

  const VolumeForm& form_;
  const std::vector<FileFacts>& facts_;
  std::string path_;  // of the key in the document
  NodeNumbers& numbers_;
  FileSystem& files_;
  std::map<std::u16string, std::size_t> byPath_;  // upper-cased
  std::map<std::pair<std::u16string, std::string>, std::size_t> byStored_;
  std::map<NodeId, std::size_t> saying_;
  std::set<std::size_t> used_;
  std::set<NodeId> built_;
  std::map<std::string, Folder> folders_;  // by stored path
};

}  // namespace

void PutVolumesTogether(const std::vector<VolumeForm>& volumes, FileSystem& files) {
  NodeNumbers numbers(volumes, files.nextNode);
  const auto dosDevices = files.dosDevices;
  for (std::size_t i = 0; i < volumes.size(); ++i)
    VolumeBuilder(volumes[i], i, numbers, files).Build();
  files.nextNode = numbers.Next();
  files.dosDevices = dosDevices;
}

void HoldFiles(const std::vector<HeldFile>& heldFiles, FileSystem& files) {
  for (std::size_t i = 0; i < heldFiles.size(); ++i) {
    const HeldFile& held = heldFiles[i];
    if (!FindNode(files, held.path)) {
      throw BadInput(PathOfElement("heldFiles", i) + ".path", "is not a file of the machine");
    }
    const std::uint64_t number = HoldOpen(files, held.path, held.access, held.share, held.until);
    for (auto& [key, open] : files.opens) {
      if (key.number == number) open.description = held.description;
    }
  }
}

}  // namespace vorn::lab
