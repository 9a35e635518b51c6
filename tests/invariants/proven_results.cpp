// What a RESULT=OK claims, looked at without the program.

#include "base/text.h"
#include "platform/last_error.h"
#include "tests/invariants/checkers.h"
#include "tests/invariants/machine_view.h"

#include <algorithm>
#include <iterator>
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

/// Endpoint ids that the builder remembers for the root, which an update must keep, and which of
/// them the user had disabled.
Violations CompareMemory(const Observation& run) {
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

/// An answer that something is absent cannot be told from the truth, nor can a deletion that
/// reports success: these records stay without a word.
bool HidesRecords(const model::Fault& fault) {
  const bool absent =
      fault.kind == FaultKind::Short ||
      (fault.kind != FaultKind::SucceedWithoutEffect &&
       (fault.error == platform::ERROR_FILE_NOT_FOUND || fault.error == platform::ERROR_MORE_DATA ||
        fault.error == platform::ERROR_NO_MORE_ITEMS)) ||
      fault.kind == FaultKind::SucceedWithoutEffect;
  if (fault.call.starts_with("Reg")) return absent;
  return fault.call == "NtDeleteKey" && fault.kind == FaultKind::SucceedWithoutEffect;
}

// What cannot be read is passed over: a device whose hardware ids fail to be read is nobody's root,
// an INF that fails to be opened or hashed is nobody's package. A second look, where there is one,
// catches one such failure; failures in both leave the thing unseen.
constexpr std::string_view kRootReads[] = {"SetupDiGetDeviceRegistryPropertyW",
                                           "SetupDiEnumDeviceInfo"};
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

template <std::size_t N>
std::size_t CountFailures(const Observation& run, const std::string_view (&reads)[N]) {
  std::size_t failures = 0;
  for (const model::Fault& fault : run.faults) {
    if (std::find(std::begin(reads), std::end(reads), fault.call) == std::end(reads)) continue;
    failures += fault.last == fault.first ? 1 : 2;
  }
  return failures;
}

/// A removal looks twice at everything.
template <std::size_t N>
bool IsOverlooked(const Observation& run, const std::string_view (&reads)[N]) {
  return CountFailures(run, reads) >= 2;
}

}  // namespace

Violations CheckProvenActivation(const Observation& run) {
  if (!ClaimsActivation(run)) return {};
  const bool rootUnseen =
      CountFailures(run, kRootReads) > 0 && OnlyPresentRoot(run.after) == nullptr;
  if (rootUnseen) return {};
  if (auto why = WhyNotRunning(run.after, kTargetVersion)) return {*why};
  const auto target = model::ReadWholeFile(run.before.files, kTargetInf);
  const model::Device& root = *OnlyPresentRoot(run.after);
  const auto bound =
      model::ReadWholeFile(run.after.files, PublishedInfPath(run.after, root.publishedInf));
  if (!bound || (!run.Has(FaultKind::Change) && bound != target)) {
    return {"the published INF is not the target's"};
  }
  return CompareMemory(run);
}

Violations CheckProvenRemoval(const Observation& run) {
  if (run.command != Command::Remove || run.run.killed || run.run.status != 0) return {};
  Violations found;
  if (!InstalledRoots(run.after).empty() && !IsOverlooked(run, kRootReads))
    found.push_back("an installed root is left");
  const auto target = model::ReadWholeFile(run.before.files, kTargetInf);
  if (target && !run.Has(FaultKind::Change) && !IsOverlooked(run, kPackageReads) &&
      CountPackagesWithInf(run.after, *target) != 0) {
    found.push_back("a package with the INF's bytes is left");
  }
  if (std::any_of(run.faults.begin(), run.faults.end(), HidesRecords)) return found;
  if (run.Said(u"could not all be listed")) return found;
  for (const std::u16string& record : OwnedRecords(run.after)) {
    if (!run.Said(u"WARNING - VORN endpoint record " + record) &&
        !run.Said(u"WARNING - endpoint record " + record)) {
      found.push_back("the record " + ToUtf8(record) + " is left without a warning");
      break;
    }
  }
  return found;
}

}  // namespace vorn::tests
