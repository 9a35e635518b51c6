// What a run may change on the machine.

#include "base/text.h"
#include "platform/simulated/endpoint_builder.h"
#include "platform/simulated/neighbours.h"
#include "tests/invariants/checkers.h"
#include "tests/support/machine_view.h"
#include "tests/support/sample.h"

#include <algorithm>

namespace vorn::tests {

namespace model = platform::simulated;
using model::FaultKind;
using model::Machine;
using model::NodeId;

namespace {

/// Paths of what was added, removed or changed below a folder.
void Compare(const model::FileSystem& before, const model::FileSystem& after, NodeId folder,
             const std::u16string& path, std::vector<std::u16string>& changed) {
  const model::Node* old = before.nodes.Find(folder);
  const model::Node* now = after.nodes.Find(folder);
  if (old == nullptr || now == nullptr) return;
  for (const auto& [key, entry] : now->entries) {
    const std::u16string name = path + u"\\" + entry.name;
    const auto same = old->entries.find(key);
    if (same == old->entries.end() || same->second.node != entry.node) {
      changed.push_back(name);
      continue;
    }
    const model::Node& one = before.nodes.at(entry.node);
    const model::Node& other = after.nodes.at(entry.node);
    if (one.directory) Compare(before, after, entry.node, name, changed);
    const bool sameContent = one.content == other.content || *one.content == *other.content;
    if (!sameContent || one.zeroTail != other.zeroTail || !(one.security == other.security) ||
        one.attributes != other.attributes) {
      changed.push_back(name);
    }
  }
  for (const auto& [key, entry] : old->entries) {
    if (!now->entries.contains(key)) changed.push_back(path + u"\\" + entry.name);
  }
}

std::vector<std::u16string> ChangedPaths(const Machine& before, const Machine& after) {
  std::vector<std::u16string> changed;
  for (const model::Volume& volume : before.files.volumes) {
    Compare(before.files, after.files, volume.root, std::u16string{volume.letter, u':'}, changed);
  }
  return changed;
}

bool StartsWith(std::u16string_view path, std::u16string_view prefix) {
  return path.size() >= prefix.size() && EqualsIgnoringCase(path.substr(0, prefix.size()), prefix);
}

bool MayChange(const Observation& run, std::u16string_view path) {
  const bool takesInf = IsInstall(run.command) || run.command == Command::Remove ||
                        run.command == Command::AuditCurrent;
  if (takesInf && StartsWith(path, run.before.files.tempFolder + u"VORN-input-")) return true;
  if (IsInstall(run.command) && EqualsIgnoringCase(path, kSampleJournal)) return true;
  const bool package = IsInstall(run.command) || run.command == Command::Remove;
  if (package && StartsWith(path, u"C:\\Windows\\INF\\oem")) return true;
  return run.command == Command::Remove &&
         (EqualsIgnoringCase(path, kSampleLogFolder) || EqualsIgnoringCase(path, kSampleLog));
}

/// Whether another process acted on anything but the journal.
bool DidOthersMore(const Observation& run) {
  return std::any_of(run.faults.begin(), run.faults.end(), [](const model::Fault& fault) {
    return !fault.changeName.empty() && !fault.changeName.ends_with("journal");
  });
}

/// Where other processes write when they act between two calls.
bool MayOthersChange(const Observation& run, std::u16string_view path) {
  if (run.OthersDid("journal") && EqualsIgnoringCase(path, kSampleJournal)) return true;
  if (run.OthersDid("binds-another") && StartsWith(path, u"C:\\Windows\\INF\\oem")) return true;
  return DidOthersMore(run) &&
         (StartsWith(path, u"C:\\elsewhere") || StartsWith(path, kSampleFolder));
}

/// Compares what a driver change leaves on a root, not its momentary state.
bool IsSameSelection(const model::Device& one, const model::Device& other) {
  return one.instanceId == other.instanceId && one.present == other.present &&
         one.publishedInf == other.publishedInf && one.pendingInf == other.pendingInf &&
         one.resident == other.resident && one.generation == other.generation &&
         one.hidden == other.hidden && one.leaseHeld == other.leaseHeld;
}

bool HasSameRoots(const Machine& before, const Machine& after) {
  const auto old = InstalledRoots(before);
  const auto now = InstalledRoots(after);
  return std::equal(
      old.begin(), old.end(), now.begin(), now.end(),
      [](const auto* one, const auto* other) { return IsSameSelection(*one, *other); });
}

/// Whether the command refused before it was allowed to change anything.
bool WasRefused(const Observation& run) {
  if (run.run.killed) return false;
  if (IsInstall(run.command))
    return run.run.status == 2 ||
           (run.run.status == 9 && run.Said(u"protected activation state exists"));
  return run.command == Command::Remove && run.run.status == 3 &&
         !run.Said(u"SetupDiGetClassDevs failed");
}

bool Contains(const std::vector<std::u16string>& parts, const std::u16string& part) {
  return std::find(parts.begin(), parts.end(), part) != parts.end();
}

/// Whether a text names the record of an endpoint that the builder created for the product,
/// according to the builder's own memory. A deletion removes the marker first, and without it the
/// record looks foreign.
bool IsOwnRecord(const Observation& run, std::u16string_view text) {
  for (const Machine* machine : {&run.before, &run.after}) {
    for (const auto& [root, endpoints] : machine->audio.remembered) {
      for (const auto& [cable, endpoint] : endpoints) {
        const std::size_t guid = endpoint.id.rfind(u'{');
        if (guid != std::u16string::npos && text.find(endpoint.id.substr(guid)) != text.npos) {
          return true;
        }
      }
    }
  }
  return false;
}

/// Whether two keys have the same names and values all the way down, except for the endpoint
/// records and the bare keys that lead to them.
bool IsSameKey(const model::Registry& before, model::KeyId one, const model::Registry& after,
               model::KeyId other, const std::u16string& path) {
  constexpr std::u16string_view kRecords = model::kEndpointRecordsPath;
  if (EqualsIgnoringCase(path, kRecords)) return true;
  const model::Key& old = before.keys.at(one);
  const model::Key& now = after.keys.at(other);
  if (old.values != now.values) return false;
  for (const model::KeyId child : now.children) {
    const std::u16string& name = after.keys.at(child).name;
    const std::u16string below = path.empty() ? name : path + u"\\" + name;
    const auto same = FindChild(before, one, name);
    if (!same && !StartsWith(kRecords, below)) return false;
    if (same && !IsSameKey(before, *same, after, child, below)) return false;
  }
  return std::all_of(old.children.begin(), old.children.end(), [&](model::KeyId child) {
    return FindChild(after, other, before.keys.at(child).name).has_value();
  });
}

bool HasSameOtherKeys(const model::Registry& before, const model::Registry& after) {
  return before == after || IsSameKey(before, before.localMachine, after, after.localMachine, u"");
}

/// Whether nothing changed that could be foreign. Much cheaper than describing the foreign parts.
bool HasSameParts(const Machine& before, const Machine& after) {
  return before.registry == after.registry && before.devices == after.devices &&
         before.store == after.store && before.audio.endpoints == after.audio.endpoints &&
         before.files.nodes == after.files.nodes;
}

/// The foreign parts before the run. Most runs start from the machine that the one before them
/// started from.
const std::vector<std::u16string>& ForeignPartsBefore(const Machine& before) {
  static Machine described;
  static std::vector<std::u16string> parts = model::DescribeForeignParts(described);
  if (!HasSameParts(described, before)) {
    described = before;
    parts = model::DescribeForeignParts(described);
  }
  return parts;
}

}  // namespace

Violations CheckForeignParts(const Observation& run) {
  if (HasSameParts(run.before, run.after)) return {};
  const std::vector<std::u16string>& before = ForeignPartsBefore(run.before);
  const std::vector<std::u16string> after = model::DescribeForeignParts(run.after);
  for (const std::u16string& part : before) {
    if (!Contains(after, part) && !IsOwnRecord(run, part)) {
      return {ToUtf8(part.substr(0, part.find(u'|', 10))) + " changed"};
    }
  }
  const std::vector<std::u16string> records = OtherRecords(run.after);
  for (const std::u16string& record : OtherRecords(run.before)) {
    if (!Contains(records, record) && !IsOwnRecord(run, record)) {
      return {"the record " + ToUtf8(record) + " is gone"};
    }
  }
  for (const std::u16string& part : after) {
    if (!Contains(before, part) && !IsOwnRecord(run, part)) return {"something foreign appeared"};
  }
  return {};
}

Violations CheckOwnedPlaces(const Observation& run) {
  if (!HasSameOtherKeys(run.before.registry, run.after.registry)) {
    return {"the registry changed outside the endpoint records"};
  }
  for (const std::u16string& path : ChangedPaths(run.before, run.after)) {
    if (!MayChange(run, path) && !MayOthersChange(run, path)) return {ToUtf8(path) + " changed"};
  }
  return {};
}

Violations CheckUntouched(const Observation& run) {
  if (!IsReadOnly(run.command) && !WasRefused(run)) return {};
  Violations found;
  if (!HasSameRoots(run.before, run.after)) found.push_back("a root changed");
  if (run.before.store.packages != run.after.store.packages) found.push_back("packages changed");
  if (!(run.before.registry == run.after.registry) &&
      OwnedRecords(run.before).size() > OwnedRecords(run.after).size()) {
    found.push_back("endpoint records are gone");
  }
  return found;
}

Violations CheckPackagesAfterRoots(const Observation& run) {
  if (InstalledRoots(run.after).empty() || run.AreRootsOverlooked()) return {};
  for (const model::PublishedPackage& package : run.before.store.packages) {
    if (run.after.store.Find(package.publishedInf) == nullptr) {
      return {ToUtf8(package.publishedInf) + " was uninstalled while a root remains"};
    }
  }
  return {};
}

}  // namespace vorn::tests
