#include "tests/adversaries/attack_judge.h"

#include "base/text.h"
#include "platform/files.h"
#include "platform/simulated/file_tree.h"
#include "platform/simulated/neighbours.h"
#include "tests/invariants/checkers.h"
#include "tests/support/machine_view.h"
#include "tests/support/sample.h"

#include <algorithm>

namespace vorn::tests {

using namespace platform::simulated;

namespace {

std::string Text(std::u16string_view text) {
  return ToUtf8(std::u16string(text));
}

bool IsBeingWritten(const FileSystem& files, NodeId node) {
  for (auto open = files.opens.lower_bound({node, 0});
       open != files.opens.end() && open->first.node == node; ++open) {
    if ((open->second.access & platform::FILE_WRITE_DATA) != 0) return true;
  }
  return false;
}

/// The content of the INF in one of the program's snapshot folders, once it is complete; otherwise
/// null.
std::shared_ptr<const Bytes> FinishedInf(const FileSystem& files, const Node& folder) {
  if (!folder.directory || folder.security.owner != kAdministrators) return nullptr;
  const Entry* own = FindEntry(files, folder.place);
  if (own == nullptr || !own->name.starts_with(kSnapshotPrefix)) return nullptr;
  const Entry* inf = FindEntry(folder, u"vorn_audio.inf");
  if (inf == nullptr || IsBeingWritten(files, inf->node)) return nullptr;
  return files.nodes.Get(inf->node).content;
}

// ------------------------------------------------------------------------------------------------
// Files.

void ListBelow(const FileSystem& files, const std::map<NodeId, std::shared_ptr<const Node>>& nodes,
               NodeId folder, const std::u16string& path, FileTree& tree) {
  for (const auto& [key, entry] : files.nodes.Get(folder).entries) {
    const std::u16string below = path + u"\\" + entry.name;
    const auto& node = nodes.at(entry.node);
    tree[below] = {entry.node, node};
    if (node->directory) ListBelow(files, nodes, entry.node, below, tree);
  }
}

FileTree TreeOf(const FileSystem& files) {
  const std::map<NodeId, std::shared_ptr<const Node>> nodes(files.nodes.begin(), files.nodes.end());
  FileTree tree;
  for (const Volume& volume : files.volumes) {
    ListBelow(files, nodes, volume.root, std::u16string{volume.letter, u':'}, tree);
  }
  return tree;
}

bool IsBelow(std::u16string_view path, std::u16string_view folder) {
  return path.size() > folder.size() && path.starts_with(folder) && path[folder.size()] == u'\\';
}

/// Folders that only the system and administrators may change.
bool IsProtectedPlace(std::u16string_view path) {
  for (const std::u16string_view folder :
       {u"C:\\Windows", u"C:\\Program Files", u"C:\\Users", u"C:\\protected"}) {
    if (path == folder || IsBelow(path, folder)) return true;
  }
  return false;
}

bool IsPublishedInf(std::u16string_view path) {
  return path.starts_with(u"C:\\Windows\\INF\\oem");
}

/// A folder changes with its entries, which are judged by themselves.
bool IsSame(const Node& left, const Node& right) {
  if (&left == &right) return true;
  return left.directory == right.directory && left.reparse == right.reparse &&
         left.security == right.security && (left.directory || *left.content == *right.content);
}

/// Findings that compare the INF or the temporary folder with their state before the run. An
/// attacker changes both, so this judge goes by the authenticated INF and by the owner of a folder
/// instead.
bool IsJudgedHere(std::string_view violation) {
  return violation == "a private snapshot is left" ||
         violation == "the published INF is not the target's" ||
         violation == "a package with the INF's bytes is left";
}

Command CommandOf(Job job) {
  switch (job) {
    case Job::FreshInstall:
    case Job::Update:
      return Command::Install;
    case Job::Remove:
      return Command::Remove;
    case Job::AuditCurrent:
      return Command::AuditCurrent;
    case Job::Verify:
      return Command::Verify;
    case Job::HotActivate:
      return Command::HotActivate;
    case Job::AuditCatalog:
      return Command::AuditCatalog;
    case Job::ResumeEndpoints:
      break;
  }
  return Command::ResumeEndpoints;
}

// ------------------------------------------------------------------------------------------------

class Findings {
 public:
  Findings(Job job, const std::u16string& statePath, const Machine& before, const JudgedRun& judged)
      : job_(job), statePath_(statePath), before_(before), after_(judged.after), judged_(judged) {}

  std::vector<std::string> Take() { return std::move(violations_); }

  void CheckFiles(const FileTree& was, const std::set<NodeId>& known) {
    const FileTree is = TreeOf(after_.files);
    for (const auto& [path, seen] : was) {
      if (!IsProtectedPlace(path)) continue;
      const auto found = is.find(path);
      if (found == is.end()) {
        CheckGone(path, *seen.node);
      } else if (!IsSame(*seen.node, *found->second.node)) {
        Say("changed: " + Text(path));
      }
    }
    std::set<NodeId> judged;  // nodes with a protected name; their other names are made by others
    for (const auto& [path, seen] : is) {
      if (!IsProtectedPlace(path)) continue;
      judged.insert(seen.id);
      if (!was.contains(path)) CheckNew(path, *seen.node);
    }
    for (const auto& [path, seen] : is) {
      if (!known.contains(seen.id) && !judged.contains(seen.id)) CheckPlace(path, *seen.node);
    }
  }

  void CheckSnapshot() {
    if (judged_.watch.CountSeen() > 1) Say("the authenticated INF changed");
    for (const PublishedPackage& package : after_.store.packages) {
      if (before_.store.Find(package.publishedInf) != nullptr) continue;
      const auto inf = PublishedBytes(package.publishedInf);
      if (!inf || !judged_.watch.Saw(*inf)) Say("published what was not authenticated");
    }
  }

  void CheckJournal() {
    if (!statePath_.starts_with(u"C:\\")) return;  // not a valid path of a journal
    const auto node = FindNode(after_.files, statePath_);
    if (!node || node == FindNode(before_.files, statePath_)) return;
    const Node& journal = after_.files.nodes.Get(*node);
    if (*node == FindNode(after_.files, kVictim)) return;  // a second name of another file
    if (journal.directory || journal.security.owner != kAdministrators) return;
    const SecurityRecord& security = journal.security;
    const bool others =
        std::any_of(security.entries.begin(), security.entries.end(), [](const AccessEntry& entry) {
          return entry.sid != kLocalSystem && entry.sid != kAdministrators;
        });
    if (!security.daclProtected || !security.daclPresent || others) Say("journal not protected");
  }

  /// RESULT=OK claims that the package is the authenticated one.
  void CheckClaims() {
    const bool ok = judged_.run.output.find(u"RESULT=OK") != std::u16string::npos;
    if (ok != (judged_.run.status == 0) && job_ != Job::AuditCatalog &&
        job_ != Job::ResumeEndpoints) {
      Say("status and final line differ");
    }
    if (ok && ClaimsActivation(job_)) CheckBoundPackage();
    if (ok && job_ == Job::Remove) CheckRemovedPackages();
  }

  void CheckOthers(const std::vector<std::u16string>& foreignBefore) {
    if (foreignBefore != DescribeForeignParts(after_)) Say("something of somebody else's changed");
    const RegistryValue* kept =
        FindValue(after_.registry, std::u16string(kVictimKey) + u"\\Below", u"kept");
    if (kept == nullptr) Say("somebody else's registry key was deleted");
  }

  /// The promises that hold whatever others do, and those that only another process's act excuses.
  void CheckPromises() {
    const std::vector<Fault> acts = {ByOthers()};
    const std::vector<Fault> none;
    const Observation run = {CommandOf(job_), before_, after_, judged_.run, acts};
    const Observation alone = {CommandOf(job_), before_, after_, judged_.run, none};
    Add("final line", CheckFinalLine(run));
    Add("proven activation", CheckProvenActivation(run));
    Add("proven removal", CheckProvenRemoval(judged_.struck ? run : alone));
    Add("endpoints visible", CheckEndpointsVisible(run));
    Add("nothing left", CheckNothingLeft(judged_.struck ? run : alone));
    Add("untouched", CheckUntouched(run));
    Add("packages after roots", CheckPackagesAfterRoots(run));
    Add("time bound", CheckTimeBound(alone));
    Add("opens by path", CheckOpensByPath(run));
    if (!judged_.journalTouched && statePath_ == kSampleJournal)
      Add("journal", vorn::tests::CheckJournal(alone));
  }

 private:
  void Say(std::string what) { violations_.push_back(std::move(what)); }

  void Add(const std::string& checker, const Violations& found) {
    for (const std::string& what : found) {
      if (!judged_.struck || !IsJudgedHere(what)) Say(checker + ": " + what);
    }
  }

  /// Tells the checkers that somebody else acted.
  static Fault ByOthers() {
    Fault fault;
    fault.call = "an act of another user";
    fault.kind = FaultKind::Change;
    return fault;
  }

  std::optional<Bytes> PublishedBytes(const std::u16string& publishedInf) const {
    return ReadWholeFile(after_.files, PublishedInfPath(after_, publishedInf));
  }

  /// A published INF may be deleted only if it is the authenticated one.
  void CheckGone(const std::u16string& path, const Node& node) {
    const bool ours =
        job_ == Job::Remove && IsPublishedInf(path) && judged_.watch.Saw(*node.content);
    if (!ours) Say("deleted: " + Text(path));
  }

  void CheckNew(const std::u16string& path, const Node& node) {
    const bool ours = IsPublishedInf(path) && judged_.watch.Saw(*node.content);
    if (!ours) Say("created: " + Text(path));
  }

  /// Whatever Administrators own was created by the program, and must lie where the program may
  /// write.
  void CheckPlace(const std::u16string& path, const Node& node) {
    if (node.security.owner != kAdministrators || IsProtectedPlace(path)) return;
    if (path.find(kSnapshotPrefix) != std::u16string::npos) {
      Say("private snapshot left: " + Text(path));
    } else if (!IsBelow(path, u"C:\\pkg") && !IsBelow(path, kStolen) &&
               !IsBelow(path, u"D:\\pkg") && path != statePath_) {
      Say("written outside its places: " + Text(path));
    }
  }

  void CheckBoundPackage() {
    const std::vector<const Device*> roots = InstalledRoots(after_);
    if (roots.size() != 1 || !IsStarted(*roots.front())) return Say("OK without one started root");
    const Device& root = *roots.front();
    const PublishedPackage* package = after_.store.Find(root.publishedInf);
    const auto inf = PublishedBytes(root.publishedInf);
    if (package == nullptr || !inf) return Say("OK without a published package");
    if (TakesInf(job_) && !judged_.watch.Saw(*inf)) Say("OK for a package not authenticated");
    const bool resident =
        root.resident && root.resident->loadedVersion == ParseImage(package->image).loadedVersion;
    if (!resident) Say("OK although the package's image is not resident");
  }

  void CheckRemovedPackages() {
    for (const PublishedPackage& package : after_.store.packages) {
      const auto inf = PublishedBytes(package.publishedInf);
      if (inf && judged_.watch.Saw(*inf)) Say("OK although the package is published");
    }
  }

  Job job_;
  const std::u16string& statePath_;
  const Machine& before_;
  const Machine& after_;
  const JudgedRun& judged_;
  std::vector<std::string> violations_;
};

}  // namespace

void SnapshotWatch::Look(const FileSystem& files) {
  for (const auto& [id, node] : files.nodes) {
    const auto content = FinishedInf(files, *node);
    if (content != nullptr && !Saw(*content)) seen_.push_back(content);
  }
}

bool SnapshotWatch::Saw(const Bytes& content) const {
  return std::any_of(seen_.begin(), seen_.end(),
                     [&](const auto& bytes) { return *bytes == content; });
}

AttackJudge::AttackJudge(Job job, std::u16string statePath, Machine before)
    : job_(job),
      statePath_(std::move(statePath)),
      before_(std::move(before)),
      treeBefore_(TreeOf(before_.files)),
      foreignBefore_(DescribeForeignParts(before_)) {
  for (const auto& [path, seen] : treeBefore_)
    nodesBefore_.insert(seen.id);
}

std::vector<std::string> AttackJudge::Judge(const JudgedRun& judged) const {
  Findings findings(job_, statePath_, before_, judged);
  findings.CheckFiles(treeBefore_, nodesBefore_);
  findings.CheckSnapshot();
  findings.CheckJournal();
  findings.CheckClaims();
  findings.CheckOthers(foreignBefore_);
  findings.CheckPromises();
  return findings.Take();
}

}  // namespace vorn::tests
