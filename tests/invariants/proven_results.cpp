// What a RESULT=OK claims.

#include "base/text.h"
#include "platform/last_error.h"
#include "tests/invariants/checkers.h"
#include "tests/invariants/target.h"
#include "tests/support/machine_view.h"
#include "tests/support/sample.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <string_view>

namespace vorn::tests {

namespace model = platform::simulated;
using model::FaultKind;

namespace {

bool ClaimsActivation(const Observation& run) {
  const bool proves = IsInstall(run.command) || run.command == Command::Verify ||
                      run.command == Command::HotActivate || run.command == Command::AuditCurrent;
  return proves && !run.run.killed && run.run.status == 0;
}

/// An update must keep the endpoint ids that the builder remembers for the root, and which of them
/// the user disabled.
Violations CompareMemory(const Observation& run) {
  if (!KnowsFormerEndpoints(run)) return {};
  const model::Device* before = OnlyPresentRoot(run.before);
  const model::Device* after = OnlyPresentRoot(run.after);
  if (before == nullptr || after == nullptr || before->instanceId != after->instanceId) return {};
  const auto old = run.before.audio.remembered.find(before->instanceId);
  const auto now = run.after.audio.remembered.find(after->instanceId);
  if (old == run.before.audio.remembered.end()) return {};
  if (now == run.after.audio.remembered.end()) return {"the endpoints were forgotten"};
  for (const auto& [cable, endpoint] : old->second) {
    const auto kept = now->second.find(cable);
    if (kept == now->second.end() || !(kept->second == endpoint)) {
      return {"cable " + std::to_string(cable.first) + " lost its id or the user's choice"};
    }
  }
  return {};
}

constexpr std::size_t kAllRecords = std::numeric_limits<std::size_t>::max();

/// Whether a fault of that kind hit the open of a key that lists records. Needs the call log.
bool HidesListing(const Observation& run, FaultKind kind) {
  const auto hits = run.Hits("RegOpenKeyExW", kind);
  return std::any_of(hits.begin(), hits.end(), [](const model::CallRecord* call) {
    return !call->Argument("subkey").starts_with("{");
  });
}

/// How many records a run may have overlooked without a warning. The program cannot detect a false
/// answer that a record is absent or foreign, nor a deletion that only reports success. A listing
/// that ends early hides all that follow.
std::size_t CountHiddenRecords(const Observation& run) {
  std::size_t hidden = 0;
  for (const model::Fault& fault : run.faults) {
    const bool lies =
        fault.kind == FaultKind::SucceedWithoutEffect || fault.kind == FaultKind::AnswerFromPast;
    const bool absent = lies || fault.kind == FaultKind::Short || fault.kind == FaultKind::Long ||
                        fault.error == platform::ERROR_FILE_NOT_FOUND ||
                        fault.error == platform::ERROR_MORE_DATA ||
                        fault.error == platform::ERROR_NO_MORE_ITEMS;
    if (fault.call == "RegEnumKeyExW" && absent) return kAllRecords;
    if (fault.call == "RegOpenKeyExW" && absent && HidesListing(run, fault.kind)) {
      return kAllRecords;
    }
    if ((fault.call.starts_with("Reg") && absent) || (fault.call == "NtDeleteKey" && lies)) {
      hidden += run.CountHits(fault);
    }
  }
  return hidden;
}

// A published INF that cannot be opened, read or hashed cannot be recognised as the product's.
constexpr std::string_view kPackageReads[] = {"NtCreateFile",
                                              "GetFileType",
                                              "GetFileInformationByHandle",
                                              "GetFileInformationByHandleEx",
                                              "ReadFile",
                                              "SetFilePointerEx",
                                              "GetFinalPathNameByHandleW",
                                              "BCryptOpenAlgorithmProvider",
                                              "BCryptGetProperty",
                                              "BCryptCreateHash",
                                              "BCryptHashData",
                                              "BCryptFinishHash"};

std::size_t CountUnreadPackages(const Observation& run) {
  std::size_t unread = 0;
  for (const std::string_view call : kPackageReads)
    unread += run.Hits(call).size();
  return unread;
}

}  // namespace

Violations CheckProvenActivation(const Observation& run) {
  if (!ClaimsActivation(run)) return {};
  // The program saw only one of two roots.
  const bool oneUnseen =
      InstalledRoots(run.after).size() > 1 && OnlyPresentRoot(run.after) == nullptr;
  if (oneUnseen && run.CountUnseenRoots() > 0) return {};
  const model::Device* const root = OnlyPresentRoot(run.after);
  if (root == nullptr) return {"there is not exactly one present root"};
  const auto bound =
      model::ReadWholeFile(run.after.files, PublishedInfPath(run.after, root->publishedInf));
  if (!bound || !WasAskedFor(run, *bound)) return {"the published INF is not the target's"};
  if (auto why = WhyNotRunning(run.after, DriverVerOf(*bound).version)) return {*why};
  return CompareMemory(run);
}

Violations CheckProvenRemoval(const Observation& run) {
  if (run.command != Command::Remove || run.run.killed || run.run.status != 0) return {};
  Violations found;
  if (!InstalledRoots(run.after).empty() && !run.AreRootsOverlooked()) {
    found.push_back("an installed root is left");
  }
  const auto target = model::ReadWholeFile(run.before.files, kSampleInf);
  const bool another =
      target && run.OthersDid("-inf");  // the removal targeted the INF that it found
  if (target && !another && CountUnreadPackages(run) < kLooksOfRemoval &&
      CountPackagesWithInf(run.after, *target) != 0) {
    found.push_back("a package with the INF's bytes is left");
  }
  if (run.Said(u"could not all be listed")) return found;
  std::size_t silent = 0;
  for (const std::u16string& record : OwnedRecords(run.after)) {
    const bool warned = run.Said(u"WARNING - VORN endpoint record " + record) ||
                        run.Said(u"WARNING - endpoint record " + record);
    if (!warned) ++silent;
  }
  if (silent > CountHiddenRecords(run)) {
    found.push_back(std::to_string(silent) + " records are left without a warning");
  }
  return found;
}

}  // namespace vorn::tests
