#include "tests/adversaries/attack_run.h"

#include "base/text.h"
#include "platform/files.h"
#include "platform/simulated/file_tree.h"
#include "platform/simulated/neighbours.h"

#include <algorithm>
#include <map>
#include <memory>
#include <set>

namespace vorn::tests {

using namespace platform::simulated;

namespace {

constexpr std::u16string_view kSnapshotPrefix = u"VORN-input-";

std::string Text(std::u16string_view text) {
  return ToUtf8(std::u16string(text));
}

// ------------------------------------------------------------------------------------------------
// What the program authenticated: the INF in its private copy, once that is written.

class SnapshotWatch {
 public:
  /// Remembers the content of every finished INF in a private snapshot of the program's.
  void Look(const FileSystem& files) {
    for (const auto& [id, node] : files.nodes) {
      if (!node->directory || node->security.owner != kAdministrators) continue;
      const Entry* own = FindEntry(files, node->place);
      if (own == nullptr || !own->name.starts_with(kSnapshotPrefix)) continue;
      const Entry* inf = FindEntry(*node, u"vorn_audio.inf");
      if (inf != nullptr && !IsBeingWritten(files, inf->node)) Add(files.nodes.Get(inf->node));
    }
  }

  /// The contents that were seen, one in a sound run.
  const std::vector<std::shared_ptr<const Bytes>>& Seen() const { return seen_; }

  bool Saw(const Bytes& content) const {
    return std::any_of(seen_.begin(), seen_.end(),
                       [&](const auto& bytes) { return *bytes == content; });
  }

 private:
  static bool IsBeingWritten(const FileSystem& files, NodeId node) {
    for (auto open = files.opens.lower_bound({node, 0});
         open != files.opens.end() && open->first.node == node; ++open) {
      if ((open->second.access & platform::FILE_WRITE_DATA) != 0) return true;
    }
    return false;
  }

  void Add(const Node& inf) {
    if (!seen_.empty() && seen_.back() == inf.content) return;
    if (!Saw(*inf.content)) seen_.push_back(inf.content);
  }

  std::vector<std::shared_ptr<const Bytes>> seen_;
};

// ------------------------------------------------------------------------------------------------
// The files of the machine, name by name.

struct Seen {
  NodeId node = 0;
  std::shared_ptr<const Node> value;
};
using Tree = std::map<std::u16string, Seen>;

void ListBelow(const FileSystem& files, NodeId folder, const std::u16string& path, Tree& tree) {
  for (const auto& [key, entry] : files.nodes.Get(folder).entries) {
    const std::u16string below = path + u"\\" + entry.name;
    tree[below] = {entry.node, std::make_shared<const Node>(files.nodes.Get(entry.node))};
    if (files.nodes.Get(entry.node).directory) ListBelow(files, entry.node, below, tree);
  }
}

Tree TreeOf(const FileSystem& files) {
  Tree tree;
  for (const Volume& volume : files.volumes) {
    ListBelow(files, volume.root, std::u16string{volume.letter, u':'}, tree);
  }
  return tree;
}

bool IsBelow(std::u16string_view path, std::u16string_view folder) {
  return path.size() > folder.size() && path.starts_with(folder) && path[folder.size()] == u'\\';
}

/// Folders that are nobody's business but the system's and its administrators'.
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

// ------------------------------------------------------------------------------------------------

class Judge {
 public:
  Judge(Job job, const Machine& before, const Machine& after, const RunResult& run,
        const SnapshotWatch& watch)
      : job_(job), before_(before), after_(after), run_(run), watch_(watch) {}

  std::vector<std::string> Run() {
    CheckFiles();
    CheckSnapshot();
    CheckJournal();
    CheckClaims();
    CheckOthers();
    for (const auto& [kind, count] : run_.openObjects) {
      Say("left open: " + std::to_string(count) + " of kind " +
          std::to_string(static_cast<int>(kind)));
    }
    return std::move(violations_);
  }

 private:
  void Say(std::string what) { violations_.push_back(std::move(what)); }

  void CheckFiles() {
    const Tree was = TreeOf(before_.files);
    const Tree is = TreeOf(after_.files);
    std::set<NodeId> known;
    for (const auto& [path, seen] : was)
      known.insert(seen.node);
    for (const auto& [path, seen] : was) {
      if (!IsProtectedPlace(path)) continue;
      const auto found = is.find(path);
      if (found == is.end()) {
        CheckGone(path, *seen.value);
      } else if (!IsSame(*seen.value, *found->second.value)) {
        Say("changed: " + Text(path));
      }
    }
    for (const auto& [path, seen] : is) {
      if (IsProtectedPlace(path) && !was.contains(path)) CheckNew(path, *seen.value);
      if (!known.contains(seen.node)) CheckPlace(path, *seen.value);
    }
  }

  /// A published INF goes only when it is the authenticated one.
  void CheckGone(const std::u16string& path, const Node& node) {
    const bool ours = job_ == Job::Remove && IsPublishedInf(path) && watch_.Saw(*node.content);
    if (!ours) Say("deleted: " + Text(path));
  }

  void CheckNew(const std::u16string& path, const Node& node) {
    const bool ours = IsPublishedInf(path) && watch_.Saw(*node.content);
    if (!ours) Say("created: " + Text(path));
  }

  /// What the program makes is owned by Administrators: it lies where the program may write.
  void CheckPlace(const std::u16string& path, const Node& node) {
    if (node.security.owner != kAdministrators || IsProtectedPlace(path)) return;
    if (path.find(kSnapshotPrefix) != std::u16string::npos) {
      Say("private snapshot left: " + Text(path));
    } else if (!IsBelow(path, u"C:\\pkg") && !IsBelow(path, kStolen) &&
               !IsBelow(path, u"D:\\pkg")) {
      Say("written outside its places: " + Text(path));
    }
  }

  /// A folder changes with what is in it; what is in it is judged by itself.
  static bool IsSame(const Node& left, const Node& right) {
    return left.directory == right.directory && left.reparse == right.reparse &&
           left.security == right.security && (left.directory || *left.content == *right.content);
  }

  void CheckSnapshot() {
    if (watch_.Seen().size() > 1) Say("the authenticated INF changed");
    for (const PublishedPackage& package : after_.store.packages) {
      if (before_.store.Find(package.publishedInf) != nullptr) continue;
      const auto inf = ReadWholeFile(after_.files, PublishedInfPath(after_, package.publishedInf));
      if (!inf || !watch_.Saw(*inf)) Say("published what was not authenticated");
    }
  }

  void CheckJournal() {
    const auto node = FindNode(after_.files, kStatePath);
    if (!node) return;
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

  void CheckClaims() {
    const bool ok = run_.output.find(u"RESULT=OK") != std::u16string::npos;
    if (ok != (run_.status == 0) && job_ != Job::AuditCatalog && job_ != Job::ResumeEndpoints) {
      Say("status and final line differ");
    }
    if (!ok) return;
    if (ClaimsActivation(job_)) CheckActivation();
    if (job_ == Job::Remove) CheckRemoval();
  }

  std::vector<const Device*> Roots() const {
    std::vector<const Device*> roots;
    for (const Device& device : after_.devices.devices) {
      const bool named = std::any_of(
          device.hardwareIds.begin(), device.hardwareIds.end(),
          [](const std::u16string& id) { return EqualsIgnoringCase(id, u"Root\\VornAudio"); });
      if (named && device.enumerator == u"ROOT") roots.push_back(&device);
    }
    return roots;
  }

  void CheckActivation() {
    const std::vector<const Device*> roots = Roots();
    if (roots.size() != 1 || !IsStarted(*roots.front())) return Say("OK without one started root");
    const Device& root = *roots.front();
    const PublishedPackage* package = after_.store.Find(root.publishedInf);
    const auto inf = ReadWholeFile(after_.files, PublishedInfPath(after_, root.publishedInf));
    if (package == nullptr || !inf) return Say("OK without a published package");
    if (TakesInf(job_) && !watch_.Saw(*inf)) Say("OK for a package that was not authenticated");
    const bool resident =
        root.resident && root.resident->loadedVersion == ParseImage(package->image).loadedVersion;
    if (!resident) Say("OK although the package's image is not resident");
    const auto active = std::count_if(
        after_.audio.endpoints.begin(), after_.audio.endpoints.end(),
        [&](const AudioEndpoint& endpoint) { return endpoint.root == root.instanceId; });
    if (active != 20) Say("OK with " + std::to_string(active) + " endpoints");
  }

  void CheckRemoval() {
    if (!Roots().empty()) Say("OK although a root is installed");
    for (const PublishedPackage& package : after_.store.packages) {
      const auto inf = ReadWholeFile(after_.files, PublishedInfPath(after_, package.publishedInf));
      if (inf && watch_.Saw(*inf)) Say("OK although the package is published");
    }
  }

  void CheckOthers() {
    if (DescribeForeignParts(before_) != DescribeForeignParts(after_)) {
      Say("something of somebody else's changed");
    }
    const RegistryValue* kept =
        FindValue(after_.registry, std::u16string(kVictimKey) + u"\\Below", u"kept");
    if (kept == nullptr) Say("somebody else's registry key was deleted");
  }

  Job job_;
  const Machine& before_;
  const Machine& after_;
  const RunResult& run_;
  const SnapshotWatch& watch_;
  std::vector<std::string> violations_;
};

Fault AtMoment(std::uint64_t moment, std::function<void(Machine&)> change) {
  Fault fault;
  fault.first = fault.last = static_cast<std::uint32_t>(moment);
  fault.kind = FaultKind::Change;
  fault.change = std::move(change);
  return fault;
}

Machine Prepared(const Attack& attack, Job job) {
  Machine machine = MachineFor(job);
  if (attack.prepare) attack.prepare(machine);
  return machine;
}

}  // namespace

AttackedRun RunAttack(const Attack& attack, Job job, std::uint64_t moment) {
  const Machine before = Prepared(attack, job);
  Machine machine = before;
  AttackedRun run;
  SnapshotWatch watch;
  RunOptions options;
  options.logCalls = false;
  for (const char* call : {"FlushFileBuffers", "SetupOpenInfFileW", "BCryptFinishHash",
                           "UpdateDriverForPlugAndPlayDevicesW", "SetupUninstallOEMInfW"}) {
    Fault look = AtMoment(1, [&watch](Machine& now) { watch.Look(now.files); });
    look.call = call;
    look.last = kEveryLaterCall;
    options.faults.push_back(std::move(look));
  }
  if (moment != 0 && attack.follow) {
    Fault follow = AtMoment(1, [&](Machine& now) {
      Attacker attacker(now);
      if (run.acted) attack.follow(attacker);
    });
    follow.last = kEveryLaterCall;
    options.faults.push_back(std::move(follow));
  }
  if (moment != 0) {
    options.faults.push_back(AtMoment(moment, [&](Machine& now) {
      Attacker attacker(now);
      run.acted = attack.strike(attacker);
      // Nothing happened, so the rest is as without the strike.
      if (!run.acted) Process::Current().Kill();
    }));
  }
  run.result = RunCommand(machine, CommandLine(job, attack.infPath, attack.statePath), options);
  if (run.acted || moment == 0) {
    run.violations = Judge(job, before, machine, run.result, watch).Run();
  }
  return run;
}

std::vector<std::string> CallsWithout(const Attack& attack, Job job) {
  Machine machine = Prepared(attack, job);
  const RunResult result = RunCommand(machine, CommandLine(job, attack.infPath, attack.statePath));
  std::vector<std::string> names;
  for (const CallRecord& call : result.calls)
    names.push_back(call.name);
  return names;
}

}  // namespace vorn::tests
